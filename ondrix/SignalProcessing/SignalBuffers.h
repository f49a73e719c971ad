// Block-size changers: TSignalIncBuffer (a sliding window of the latest Factor input blocks),
// TSignalDecBuffer (each input block cut into Factor sub-blocks, one per pull),
// TSignalBuffer (re-blocking through a circular buffer, scrolling, or storing) and
// TSignalStoreBuffer (a growing store of all input), with their lists.
#pragma once

#include <memory>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/sigcore/circular_buffer.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Joins the latest Factor input blocks into one output block, oldest first. The output
/// grows by one block per update until it holds Factor blocks; a smaller input block or
/// Factor (n·Factor < Length) starts the window again at one block.
class TSignalIncBuffer : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalIncBuffer(TComponent* AOwner);
  ~TSignalIncBuffer() override;

  int Factor() const noexcept { return factor_; }
  /// Values below 1 become 1.
  void SetFactor(int Value) { factor_ = Value < 1 ? 1 : Value; }
  /// Empties the window (Length 0).
  void Reset() { SetLength(0); }
  TPipeState InternalUpdate() override;

private:
  int factor_ = 1;
};

/// Cuts each input block into Factor sub-blocks of Length = frames div Factor frames (whole
/// frames of ChannelCount samples), one per pull: a new input block is pulled only every
/// Factor-th pull. Sub-blocks come from the last part of the input block to the first. The
/// counter advances only on pipeOK, so a stream that stalls or ends does not skip sub-blocks.
class TSignalDecBuffer : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalDecBuffer(TComponent* AOwner);
  ~TSignalDecBuffer() override;

  int Factor() const noexcept { return factor_; }
  /// Values below 1 become 1.
  void SetFactor(int Value) { factor_ = Value < 1 ? 1 : Value; }
  /// The sub-block counter (0 .. Factor − 1).
  int Counter() const noexcept { return counter_; }
  /// Restarts at a new input block.
  void Reset() { counter_ = 0; }
  TPipeState InternalPull() override;
  TPipeState InternalUpdate() override;

private:
  int factor_ = 1;
  int counter_ = 0;
};

/// How TSignalBuffer shapes its output.
enum TBufferType { bftStreaming, bftScrolling, bftStoring };

/// Re-blocks its input to blocks of its own Length (set Length before pulling; 128 by default).
///
/// - bftStreaming: every input sample appears in exactly one output block, in order. Each
///   update writes the new input block (if one was pulled), then reads Length samples if that
///   many are buffered (pipeOK) or answers pipeStream. While Length or more remain buffered
///   the component is not Continuous, so the next pull reads from the buffer without pulling
///   the input. A tail shorter than Length at the end of the stream is not emitted.
/// - bftScrolling with UseOverlapping: as streaming, but block k starts at stream sample
///   k·step, step = trunc((1 − Overlapping/100)·Length), at least 1.
/// - bftScrolling without UseOverlapping: the output shows the newest Length samples written
///   (zeros before the stream's start); one output per input block.
/// - bftStoring: Data is everything received; "BufferSizeLimit exceeded!" once BufferLength
///   has reached BufferSizeLimit.
/// The ring grows only when a block does not fit, geometrically by IncrementStep (a relative
/// step: 1 doubles it), so steady streaming does not allocate. Changing BufferType or the
/// complexity of the input empties the buffer.
class TSignalBuffer : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalBuffer(TComponent* AOwner);
  ~TSignalBuffer() override;

  TBufferType BufferType() const noexcept { return bufferType_; }
  void SetBufferType(TBufferType Value);
  int BufferSizeLimit() const noexcept { return bufferSizeLimit_; }
  /// Clamped to 0 .. 268435455.
  void SetBufferSizeLimit(int Value);
  double Overlapping() const noexcept { return overlapping_; }
  /// Percent, clamped to 0 .. 100.
  void SetOverlapping(double Value);
  bool UseOverlapping() const noexcept { return useOverlapping_; }
  void SetUseOverlapping(bool Value) noexcept { useOverlapping_ = Value; }
  double IncrementStep() const noexcept { return incrementStep_; }
  void SetIncrementStep(double Value) noexcept { incrementStep_ = Value; state_.IncrementStep = Value; }
  /// Capacity of the ring; in storing mode the number of samples stored.
  int BufferLength() const noexcept { return bufferType_ == bftStoring ? stored_ : state_.Size; }
  bool BufferUnderrun() const noexcept { return state_.Underrun; }
  bool BufferOverrun() const noexcept { return state_.Overrun; }
  /// Samples waiting in the ring.
  int BufferedSamplesCount() const noexcept { return PeekCircularBuffer(state_); }
  /// Re-initialises the ring with Size zeroed places and forgets the stored samples.
  void ResetBuffer(int Size);
  /// The read position advance of one output block in the current mode.
  int ReadStep() const;

  TPipeState InternalPull() override;
  TPipeState InternalUpdate() override;

private:
  TVec ring_, block_;
  TCircularBuffer state_;
  TBufferType bufferType_ = bftStreaming;
  int bufferSizeLimit_ = 200000;
  double overlapping_ = 0;
  bool useOverlapping_ = false;
  double incrementStep_ = 1;
  int stored_ = 0, storeCapacity_ = 0;
  bool storeComplex_ = false;
  bool inputFresh_ = true;
};

/// Keeps every input sample it receives: Data is the whole store. Capacity starts at
/// InitialBufferSize and grows by IncrementStep (relative: 1 doubles) when a block does not
/// fit, so appending is amortised O(block). Shift drops the oldest samples; Reset empties it.
class TSignalStoreBuffer : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalStoreBuffer(TComponent* AOwner);
  ~TSignalStoreBuffer() override;

  int InitialBufferSize() const noexcept { return initialBufferSize_; }
  /// Negative values become 0; takes effect at the next Reset.
  void SetInitialBufferSize(int Value) noexcept { initialBufferSize_ = Value < 0 ? 0 : Value; }
  double IncrementStep() const noexcept { return incrementStep_; }
  void SetIncrementStep(double Value) noexcept { incrementStep_ = Value; }
  /// Samples that fit before the store grows.
  int ActualBufferSize() const noexcept { return capacity_; }
  /// Drops the oldest min(Count, Length) samples.
  void Shift(int Count);
  /// Empties the store, capacity back to InitialBufferSize.
  void Reset();
  TPipeState InternalUpdate() override;

private:
  int initialBufferSize_ = 4096;
  double incrementStep_ = 1;
  int capacity_ = 0;
  bool complex_ = false;
};

/// A bank of increasing buffers.
class TSignalIncBufferList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalIncBufferList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalIncBuffer* Items(int i) const { return static_cast<TSignalIncBuffer*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

/// A bank of decreasing buffers.
class TSignalDecBufferList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalDecBufferList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalDecBuffer* Items(int i) const { return static_cast<TSignalDecBuffer*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

/// A bank of re-blocking buffers.
class TSignalBufferList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalBufferList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalBuffer* Items(int i) const { return static_cast<TSignalBuffer*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

/// A bank of storing buffers.
class TSignalStoreBufferList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalStoreBufferList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalStoreBuffer* Items(int i) const { return static_cast<TSignalStoreBuffer*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
