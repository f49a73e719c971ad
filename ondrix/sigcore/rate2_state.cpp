#include "ondrix/sigcore/rate2_state.h"

#include <algorithm>
#include <cstring>

#include "ondrix/sigcore/fir_kernels.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

using TBranch = TRate2State::TBranch;

int Stride(const TRate2State& s) { return s.Complex ? 2 : 1; }

// The branch of taps h[phase], h[phase + step], ..., trimmed of zeros at both ends.
void SetBranch(TBranch& b, const TVec& taps, int phase, int step) {
  std::vector<double> h;
  for (int i = phase; i < taps.Length(); i += step) h.push_back(taps.Values(i));
  int first = 0, last = static_cast<int>(h.size()) - 1;
  while (first <= last && h[first] == 0.0) ++first;
  while (last >= first && h[last] == 0.0) --last;
  b.Rev.clear();
  b.Last = first <= last ? last : -1;
  for (int s = last; s >= first; --s) b.Rev.push_back(h[s]);
}

// Grows a line to hold `samples` samples; it never shrinks, so steady blocks do not allocate.
double* LineFor(TBranch& b, size_t samples, int stride) {
  const size_t doubles = samples * static_cast<size_t>(stride);
  if (b.Line.size() < doubles) b.Line.resize(doubles, 0.0);
  return b.Line.data();
}

// The first `samples` real samples of a line become complex (x, 0).
void Widen(TBranch& b, int samples) {
  if (b.Line.size() < 2 * static_cast<size_t>(samples)) b.Line.resize(2 * static_cast<size_t>(samples), 0.0);
  for (int i = samples - 1; i >= 0; --i) {
    b.Line[2 * i] = b.Line[i];
    b.Line[2 * i + 1] = 0.0;
  }
}

// Samples a line holds between blocks: the past, and in the odd branch of a decimator whose
// next input is even, the odd sample waiting for it. Only decimators fill the second line.
int Held(const TRate2State& s, int branch) {
  if (branch == 1) return s.Mode == r2Down ? s.Hist + (s.OddNext ? 0 : 1) : 0;
  return s.Hist;
}

// y[i] (n outputs, stride doubles each) = the branch's sum for the sample at index hist + i
// of line, or 0 for an all-zero branch.
void RunBranch(const TBranch& b, const double* line, int hist, double* y, int n, int stride) {
  if (b.Last < 0) {
    std::fill(y, y + static_cast<size_t>(n) * stride, 0.0);
    return;
  }
  kernels::FirDirect(line + static_cast<size_t>(hist - b.Last) * stride, b.Rev.data(),
                     static_cast<int>(b.Rev.size()), y, n, stride);
}

}  // namespace

void Rate2Init(const TVec& taps, TRate2State& state, TRate2Mode mode) {
  if (taps.Length() < 1) ERaise("Rate2Init: the filter needs at least one tap");
  if (taps.Complex()) ERaise("Rate2Init: the taps must be real");
  TRate2State& s = state;
  s.Mode = mode;
  s.TapCount = taps.Length();
  if (mode == r2Same) {
    SetBranch(s.Branch[0], taps, 0, 1);
    SetBranch(s.Branch[1], TVec(), 0, 1);
  } else {
    SetBranch(s.Branch[0], taps, 0, 2);
    SetBranch(s.Branch[1], taps, 1, 2);
  }
  s.Hist = std::max({s.Branch[0].Last, s.Branch[1].Last, 0});
  Rate2Reset(s);
}

void Rate2Reset(TRate2State& state) {
  state.Complex = false;
  state.OddNext = false;
  for (int b = 0; b < 2; ++b) state.Branch[b].Line.assign(static_cast<size_t>(Held(state, b)), 0.0);
}

int Rate2OutputLength(const TRate2State& s, int n) {
  switch (s.Mode) {
    case r2Down: return s.OddNext ? n / 2 : (n + 1) / 2;
    case r2Up: return 2 * n;
    default: return n;
  }
}

void Rate2Filter(const TVec& src, TVec& dst, TRate2State& state) {
  TRate2State& s = state;
  if (s.TapCount < 1) ERaise("Rate2Filter: the state is not initialised (Rate2Init)");
  if (&src == &dst) ERaise("Rate2Filter: the output must not be the input");
  if (src.Complex() && !s.Complex) {
    for (int b = 0; b < 2; ++b) Widen(s.Branch[b], Held(s, b));
    s.Complex = true;
  }
  const int st = Stride(s);
  const int n = src.Length();
  const int m = Rate2OutputLength(s, n);
  const int h = s.Hist;
  // Sample i of the block as `st` doubles at p (a real sample widened when the line is complex).
  const double* x = src.PValues();
  const bool widen = st == 2 && !src.Complex();
  const auto put = [&](double* p, int i) {
    if (widen) {
      p[0] = x[i];
      p[1] = 0.0;
    } else if (st == 2) {
      p[0] = x[2 * i];
      p[1] = x[2 * i + 1];
    } else {
      p[0] = x[i];
    }
  };
  dst.Size(m, s.Complex);
  double* y = dst.PValues();
  TBranch& b0 = s.Branch[0];
  TBranch& b1 = s.Branch[1];
  if (s.Mode == r2Up) {
    double* line = LineFor(b0, static_cast<size_t>(h + n), st);
    for (int i = 0; i < n; ++i) put(line + static_cast<size_t>(h + i) * st, i);
    if (s.Scratch.size() < 2 * static_cast<size_t>(n) * st) s.Scratch.resize(2 * static_cast<size_t>(n) * st);
    double* e = s.Scratch.data();
    double* o = e + static_cast<size_t>(n) * st;
    RunBranch(b0, line, h, e, n, st);
    RunBranch(b1, line, h, o, n, st);
    for (int i = 0; i < n; ++i)
      for (int c = 0; c < st; ++c) {
        y[(2 * i) * st + c] = e[i * st + c];
        y[(2 * i + 1) * st + c] = o[i * st + c];
      }
    std::memmove(line, line + static_cast<size_t>(n) * st, sizeof(double) * static_cast<size_t>(h) * st);
    return;
  }
  if (s.Mode == r2Same) {
    double* line = LineFor(b0, static_cast<size_t>(h + n), st);
    for (int i = 0; i < n; ++i) put(line + static_cast<size_t>(h + i) * st, i);
    RunBranch(b0, line, h, y, n, st);
    std::memmove(line, line + static_cast<size_t>(n) * st, sizeof(double) * static_cast<size_t>(h) * st);
    return;
  }
  // Down: even input samples to branch 0, odd ones to branch 1 (after the one waiting there).
  const int pending = s.OddNext ? 0 : 1;
  double* e = LineFor(b0, static_cast<size_t>(h + m), st);
  double* o = LineFor(b1, static_cast<size_t>(h + m + 1), st);
  int ne = 0, no = pending;
  if (st == 1) {
    // The common case without the per-sample dispatch.
    double* pe = e + h;
    double* po = o + h + pending;
    int i = 0;
    if (s.OddNext && n > 0) po[no++ - pending] = x[i++];
    for (; i + 1 < n; i += 2) {
      pe[ne++] = x[i];
      po[no++ - pending] = x[i + 1];
    }
    if (i < n) pe[ne++] = x[i];
  } else {
    for (int i = 0; i < n; ++i) {
      const bool odd = s.OddNext != (i % 2 == 1);
      if (odd)
        put(o + static_cast<size_t>(h + no++) * st, i);
      else
        put(e + static_cast<size_t>(h + ne++) * st, i);
    }
  }
  if (n % 2 == 1) s.OddNext = !s.OddNext;
  RunBranch(b0, e, h, y, m, st);
  if (b1.Last >= 0) {
    if (s.Scratch.size() < static_cast<size_t>(m) * st) s.Scratch.resize(static_cast<size_t>(m) * st);
    double* t = s.Scratch.data();
    RunBranch(b1, o, h, t, m, st);
    for (int i = 0; i < m * st; ++i) y[i] += t[i];
  }
  std::memmove(e, e + static_cast<size_t>(m) * st, sizeof(double) * static_cast<size_t>(h) * st);
  std::memmove(o, o + static_cast<size_t>(m) * st, sizeof(double) * static_cast<size_t>(h + no - m) * st);
}

}  // namespace ondrix
