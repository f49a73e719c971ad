#include "ondrix/sigcore/circular_buffer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

int Wrap(int i, int n) noexcept { return n == 0 ? 0 : ((i % n) + n) % n; }

// Copies count elements out of the ring starting at element from (wrapping) into dst.
void CopyOut(const TVec& ring, int size, int from, int count, double* dst) {
  const int w = ring.Complex() ? 2 : 1;
  const int first = std::min(count, size - from);
  std::memcpy(dst, ring.PValues() + from * w, sizeof(double) * first * w);
  if (count > first) std::memcpy(dst + first * w, ring.PValues(), sizeof(double) * (count - first) * w);
}

}  // namespace

void InitCircularBuffer(TCircularBuffer& State, TVec& Ring, int Size, double IncrementStep, bool Complex) {
  State = TCircularBuffer{};
  State.Size = std::max(Size, 0);
  State.IncrementStep = IncrementStep;
  Ring.Size(State.Size, Complex);
  Ring.Resize(State.Size, false);
}

void WriteToCircularBuffer(TCircularBuffer& State, TVec& Ring, const TVec& Src) {
  if (Src.Complex() != Ring.Complex()) ERaise("WriteToCircularBuffer: complexity differs");
  const int n = Src.Length();
  if (n == 0 || State.Size == 0) {
    if (n > 0) State.Overrun = true;
    return;
  }
  const int w = Src.Complex() ? 2 : 1;
  // Only the newest Size elements of an oversized block can survive.
  const int skip = std::max(0, n - State.Size);
  const int m = n - skip;
  State.WritePos = Wrap(State.WritePos + skip, State.Size);
  const double* s = Src.PValues() + skip * w;
  const int first = std::min(m, State.Size - State.WritePos);
  std::memcpy(Ring.PValues() + State.WritePos * w, s, sizeof(double) * first * w);
  if (m > first) std::memcpy(Ring.PValues(), s + first * w, sizeof(double) * (m - first) * w);
  State.WritePos = Wrap(State.WritePos + m, State.Size);
  if (State.Count + n > State.Size) {
    State.Overrun = true;
    State.Count = State.Size;
    State.ReadPos = State.WritePos;
  } else {
    State.Count += n;
  }
}

bool ReadFromCircularBuffer(TCircularBuffer& State, const TVec& Ring, TVec& Dst, int Count, int Advance) {
  if (Count < 0 || Count > State.Count) {
    State.Underrun = true;
    return false;
  }
  Dst.Size(Count, Ring.Complex());
  if (Count > 0) CopyOut(Ring, State.Size, State.ReadPos, Count, Dst.PValues());
  const int adv = std::clamp(Advance < 0 ? Count : Advance, 0, State.Count);
  State.ReadPos = Wrap(State.ReadPos + adv, State.Size);
  State.Count -= adv;
  return true;
}

void ResizeCircularBuffer(TCircularBuffer& State, TVec& Ring, int NewSize) {
  NewSize = std::max(NewSize, 0);
  const int old = State.Size;
  if (NewSize == old) return;
  // Lay the history out oldest first, newest at the end.
  Ring.Rotate(-State.WritePos);
  if (NewSize > old) {
    Ring.Resize(NewSize, true);
    Ring.Rotate(NewSize - old);  // the new zeros go before the oldest sample
  } else {
    Ring.Rotate(-(old - NewSize));
    Ring.Resize(NewSize, true);
  }
  State.Size = NewSize;
  State.WritePos = 0;
  State.Count = std::min(State.Count, NewSize);
  State.ReadPos = Wrap(-State.Count, NewSize);
}

void MonitorCircularBuffer(const TCircularBuffer& State, const TVec& Ring, TVec& Dst, int Count) {
  if (Count < 0 || Count > State.Size) ERaise("MonitorCircularBuffer: Count > Size");
  Dst.Size(Count, Ring.Complex());
  if (Count > 0) CopyOut(Ring, State.Size, Wrap(State.WritePos - Count, State.Size), Count, Dst.PValues());
}

int CircularBufferGrowth(const TCircularBuffer& State, int Needed) noexcept {
  const double step = std::max(State.IncrementStep, 0.0);
  const double grown = std::ceil(State.Size * (1.0 + step));
  return std::max(Needed, grown > 268435455.0 ? 268435455 : static_cast<int>(grown));
}

}  // namespace ondrix
