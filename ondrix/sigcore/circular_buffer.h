// A circular buffer of samples: a TVec holding the ring and a small state struct. Plain
// functions, no allocation except when the ring is (re)sized.
#pragma once

#include "ondrix/vec/TVec.h"

namespace ondrix {

/// State of a circular buffer whose ring is a separate TVec (real or complex elements).
///
/// Write never grows the ring: when a block does not fit, the oldest unread samples are
/// overwritten and Overrun is set. A read asking for more samples than are buffered reads
/// nothing and sets Underrun. Both flags stay set until the next Init. IncrementStep is not
/// used by the kernels; it is kept for owners that grow the ring (CircularBufferGrowth).
struct TCircularBuffer {
  int Size = 0;       ///< capacity in elements
  int ReadPos = 0;    ///< next element to read
  int WritePos = 0;   ///< next element to write
  int Count = 0;      ///< unread elements
  double IncrementStep = 1;
  bool Underrun = false;
  bool Overrun = false;
};

/// Sizes Ring to Size zeroed elements (complex or real) and empties the state.
void InitCircularBuffer(TCircularBuffer& State, TVec& Ring, int Size, double IncrementStep,
                        bool Complex = false);
/// Appends all of Src (same complexity as Ring); overwrites the oldest on overflow.
void WriteToCircularBuffer(TCircularBuffer& State, TVec& Ring, const TVec& Src);
/// Copies the Count oldest unread elements into Dst (sized to Count) and consumes Advance of
/// them (Advance < 0: Count; clamped to 0..buffered). False, with Underrun set and Dst left
/// alone, when fewer than Count are buffered.
bool ReadFromCircularBuffer(TCircularBuffer& State, const TVec& Ring, TVec& Dst, int Count,
                            int Advance = -1);
/// The number of unread elements.
inline int PeekCircularBuffer(const TCircularBuffer& State) noexcept { return State.Count; }
/// Changes the capacity keeping the newest min(old, new) elements written (read or not);
/// grown space counts as written zeros older than all data. Unread = min(Count, NewSize).
void ResizeCircularBuffer(TCircularBuffer& State, TVec& Ring, int NewSize);
/// Dst := the newest Count elements written, oldest first, whether read or not (Count ≤ Size;
/// places never written read as zeros). Nothing is consumed.
void MonitorCircularBuffer(const TCircularBuffer& State, const TVec& Ring, TVec& Dst, int Count);
/// The capacity to grow to so that Needed elements fit: max(Needed, Size·(1 + IncrementStep)),
/// IncrementStep below 0 taken as 0, so the ring grows geometrically (doubles by default).
int CircularBufferGrowth(const TCircularBuffer& State, int Needed) noexcept;

}  // namespace ondrix
