#include "ondrix/sigcore/median_state.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

// A total order of doubles: NaN above everything, so NaNs neither break the sorted window
// nor get lost.
bool Less(double a, double b) {
  if (std::isnan(a)) return false;
  if (std::isnan(b)) return true;
  return a < b;
}

// Ring capacity in samples: the window plus the extra latency beyond the minimum.
int RingSamples(const TMedianState& s) {
  if (s.IsDelay) return s.Length;
  const int h = (s.Length - 1) / 2;
  return s.Delay + h + 1;
}

void Promote(TMedianState& s) {
  const size_t n = s.Ring.size();
  std::vector<double> r(2 * n, 0.0);
  for (size_t i = 0; i < n; ++i) r[2 * i] = s.Ring[i];
  s.Ring = std::move(r);
  if (!s.IsDelay) s.Sorted[1].assign(static_cast<size_t>(s.Length), 0.0);
  s.ComplexData = true;
}

// Copies src into a buffer of the state's layout (real widened to complex when needed);
// returns the doubles to read, which may be src's own.
const double* Input(const TVec& src, TMedianState& s, std::vector<double>& tmp) {
  if (src.Complex() && !s.ComplexData) Promote(s);
  if (s.ComplexData && !src.Complex()) {
    tmp.assign(2 * static_cast<size_t>(src.Length()), 0.0);
    for (int i = 0; i < src.Length(); ++i) tmp[2 * i] = src.Values(i);
    return tmp.data();
  }
  tmp.assign(src.PValues(), src.PValues() + src.RealLength());  // dst may be src
  return tmp.data();
}

void Replace(std::vector<double>& sorted, double out, double in) {
  auto it = std::lower_bound(sorted.begin(), sorted.end(), out, Less);
  // `out` is in the window; with the total order lower_bound finds an equal value.
  if (it == sorted.end()) --it;
  const auto pos = std::lower_bound(sorted.begin(), sorted.end(), in, Less);
  if (pos <= it) {
    std::move_backward(pos, it, it + 1);
    *pos = in;
  } else {
    std::move(it + 1, pos, it);
    *(pos - 1) = in;
  }
}

double Median(const std::vector<double>& sorted) {
  const size_t n = sorted.size();
  return n % 2 == 1 ? sorted[n / 2] : 0.5 * (sorted[n / 2 - 1] + sorted[n / 2]);
}

}  // namespace

void MedianInit(int length, TMedianState& state, int delay) {
  if (length < 1) ERaise("MedianInit: the window length must be at least 1");
  const int minDelay = length / 2;
  if (delay == -1) delay = minDelay;
  if (delay < minDelay)
    ERaise("MedianInit: the delay must be at least " + std::to_string(minDelay) + " (or -1) for a window of " +
           std::to_string(length));
  state.IsDelay = false;
  state.Length = length;
  state.Delay = delay;
  state.ComplexData = false;
  state.Ring.assign(static_cast<size_t>(RingSamples(state)), 0.0);
  state.Pos = 0;
  state.Sorted[0].assign(static_cast<size_t>(length), 0.0);
  state.Sorted[1].clear();
}

void MedianFilter(const TVec& src, TVec& dst, TMedianState& state) {
  TMedianState& s = state;
  if (s.IsDelay || s.Length < 1) ERaise("MedianFilter: the state is not set up by MedianInit");
  thread_local std::vector<double> tmp;
  const double* x = Input(src, s, tmp);
  const int n = src.Length();
  const int st = s.ComplexData ? 2 : 1;
  const int r = RingSamples(s);
  const int w = s.Length;
  // The window of output n ends `extra` samples before x[n].
  const int extra = r - w;
  dst.Size(n, s.ComplexData);
  double* y = dst.PValues();
  for (int i = 0; i < n; ++i) {
    // Ring slot Pos holds x[n − r], about to be overwritten by x[n].
    const int inSlot = (s.Pos + r - extra) % r;  // x[n − extra], or x[n] itself when extra = 0
    for (int c = 0; c < st; ++c) {
      const double newest = x[i * st + c];
      const double leaving = s.Ring[static_cast<size_t>(s.Pos) * st + c];  // x[n − r] = x[n − extra − w]
      const double entering = extra == 0 ? newest : s.Ring[static_cast<size_t>(inSlot) * st + c];
      Replace(s.Sorted[c], leaving, entering);
      s.Ring[static_cast<size_t>(s.Pos) * st + c] = newest;
      y[i * st + c] = Median(s.Sorted[c]);
    }
    s.Pos = (s.Pos + 1) % r;
  }
}

void DelayInit(int delay, TMedianState& state) {
  if (delay < 0) ERaise("DelayInit: the delay must not be negative");
  state.IsDelay = true;
  state.Length = delay;
  state.Delay = delay;
  state.ComplexData = false;
  state.Ring.assign(static_cast<size_t>(delay), 0.0);
  state.Pos = 0;
  state.Sorted[0].clear();
  state.Sorted[1].clear();
}

void DelayFilter(const TVec& src, TVec& dst, TMedianState& state) {
  TMedianState& s = state;
  if (!s.IsDelay) ERaise("DelayFilter: the state is not set up by DelayInit");
  thread_local std::vector<double> tmp;
  const double* x = Input(src, s, tmp);
  const int n = src.Length();
  const int st = s.ComplexData ? 2 : 1;
  const int d = s.Length;
  dst.Size(n, s.ComplexData);
  double* y = dst.PValues();
  if (d == 0) {
    std::copy(x, x + static_cast<size_t>(n) * st, y);
    return;
  }
  for (int i = 0; i < n; ++i) {
    for (int c = 0; c < st; ++c) {
      double& slot = s.Ring[static_cast<size_t>(s.Pos) * st + c];
      y[i * st + c] = slot;
      slot = x[i * st + c];
    }
    s.Pos = (s.Pos + 1) % d;
  }
}

}  // namespace ondrix
