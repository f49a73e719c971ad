#include "ondrix/SignalProcessing/SignalBuffers.h"

#include <algorithm>
#include <cmath>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

constexpr int kMaxBufferSize = 268435455;

// Appends src to dst[0..length) growing capacity geometrically, so a long store costs
// amortised O(block) per append instead of a copy of everything stored.
void AppendGrowing(TVec& dst, int& length, int& capacity, const TVec& src, double step) {
  const int need = length + src.Length();
  dst.Size(length, src.Complex());
  if (need > capacity) {
    const double grown = std::ceil(capacity * (1.0 + std::max(step, 0.0)));
    capacity = std::max(need, static_cast<int>(std::min(grown, double(kMaxBufferSize))));
    dst.Size(capacity, src.Complex());
  }
  dst.Size(need, src.Complex());
  dst.Copy(src, 0, length, src.Length());
  length = need;
}

}  // namespace

// --- TSignalIncBuffer ------------------------------------------------------------------------

const TClassInfo& TSignalIncBuffer::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalIncBuffer, TSignal>("TSignalIncBuffer")
                                     .Prop("Input", &TSignalIncBuffer::GetInput, &TSignalIncBuffer::SetInput)
                                     .Stored(&TSignalIncBuffer::InputsStored)
                                     .Prop("Factor", &TSignalIncBuffer::Factor, &TSignalIncBuffer::SetFactor, 1)
                                     // It starts empty: a stored length of 128 must load back.
                                     .Prop("Length", &TSignal::Length, &TSignal::SetLength, 0)
                                     .Build();
  return info;
}

TSignalIncBuffer::TSignalIncBuffer(TComponent* AOwner) : TSignal(AOwner) {
  SetUsesInputs(true);
  SetLength(0);
}

TSignalIncBuffer::~TSignalIncBuffer() { BeginDestroy(); }

TPipeState TSignalIncBuffer::InternalUpdate() {
  const TVec& src = Input()->Data();
  const int n = src.Length();
  int len = Length();
  if (static_cast<long long>(n) * factor_ < len) len = 0;
  if (static_cast<long long>(n) * factor_ <= len) {
    Data().Rotate(-n);
  } else {
    Data().Resize(len + n, true);
    len += n;
  }
  Data().Copy(src, 0, len - n, n);
  return pipeOK;
}

// --- TSignalDecBuffer ------------------------------------------------------------------------

const TClassInfo& TSignalDecBuffer::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalDecBuffer, TSignal>("TSignalDecBuffer")
                                     .Prop("Input", &TSignalDecBuffer::GetInput, &TSignalDecBuffer::SetInput)
                                     .Stored(&TSignalDecBuffer::InputsStored)
                                     .Prop("Factor", &TSignalDecBuffer::Factor, &TSignalDecBuffer::SetFactor, 1)
                                     .Build();
  return info;
}

TSignalDecBuffer::TSignalDecBuffer(TComponent* AOwner) : TSignal(AOwner) { SetUsesInputs(true); }

TSignalDecBuffer::~TSignalDecBuffer() { BeginDestroy(); }

TPipeState TSignalDecBuffer::InternalPull() {
  if (counter_ >= factor_) counter_ = 0;  // Factor lowered in the middle of a block
  if (counter_ != 0 && (!Dirty() || !Active())) return TSignal::InternalPull();
  const TPipeState state = counter_ == 0 ? TSignal::InternalPull() : Update();
  if (state == pipeOK && ++counter_ >= factor_) counter_ = 0;
  return state;
}

TPipeState TSignalDecBuffer::InternalUpdate() {
  const TSignal& in = *Input();
  const int channels = std::max(in.ChannelCount(), 1);
  const int len = in.Length() / channels / factor_ * channels;
  Data().Size(len, in.Complex());
  Data().Copy(in.Data(), (factor_ - counter_ - 1) * len, 0, len);
  return pipeOK;
}

// --- TSignalBuffer ---------------------------------------------------------------------------

const TClassInfo& TSignalBuffer::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalBuffer, TSignal>("TSignalBuffer")
          .Prop("Input", &TSignalBuffer::GetInput, &TSignalBuffer::SetInput)
          .Stored(&TSignalBuffer::InputsStored)
          .Enum("BufferType", &TSignalBuffer::BufferType, &TSignalBuffer::SetBufferType,
                {"bftStreaming", "bftScrolling", "bftStoring"}, bftStreaming)
          .Prop("BufferSizeLimit", &TSignalBuffer::BufferSizeLimit, &TSignalBuffer::SetBufferSizeLimit, 200000)
          .Prop("Overlapping", &TSignalBuffer::Overlapping, &TSignalBuffer::SetOverlapping, 0.0)
          .Prop("UseOverlapping", &TSignalBuffer::UseOverlapping, &TSignalBuffer::SetUseOverlapping, false)
          .Prop("IncrementStep", &TSignalBuffer::IncrementStep, &TSignalBuffer::SetIncrementStep, 1.0)
          .Build();
  return info;
}

TSignalBuffer::TSignalBuffer(TComponent* AOwner) : TSignal(AOwner) {
  SetUsesInputs(true);
  ResetBuffer(0);
}

TSignalBuffer::~TSignalBuffer() { BeginDestroy(); }

void TSignalBuffer::SetBufferType(TBufferType Value) {
  if (Value == bufferType_) return;
  bufferType_ = Value;
  ResetBuffer(0);
}

void TSignalBuffer::SetBufferSizeLimit(int Value) { bufferSizeLimit_ = std::clamp(Value, 0, kMaxBufferSize); }

void TSignalBuffer::SetOverlapping(double Value) { overlapping_ = std::clamp(Value, 0.0, 100.0); }

void TSignalBuffer::ResetBuffer(int Size) {
  InitCircularBuffer(state_, ring_, Size, incrementStep_, ring_.Complex());
  stored_ = 0;
  storeCapacity_ = 0;
  SetContinuous(true);
}

int TSignalBuffer::ReadStep() const {
  if (bufferType_ != bftScrolling || !useOverlapping_) return Length();
  return std::max(1, static_cast<int>((1.0 - overlapping_ / 100.0) * Length()));
}

TPipeState TSignalBuffer::InternalPull() {
  // Without Continuous the base pull skips the input: the update serves buffered samples.
  inputFresh_ = Continuous();
  return TSignal::InternalPull();
}

TPipeState TSignalBuffer::InternalUpdate() {
  const bool fresh = inputFresh_;
  inputFresh_ = true;
  const TVec& src = Input()->Data();
  if (bufferType_ == bftStoring) {
    if (stored_ >= bufferSizeLimit_) ERaise("BufferSizeLimit exceeded!");
    if (stored_ > 0 && storeComplex_ != src.Complex()) stored_ = storeCapacity_ = 0;
    storeComplex_ = src.Complex();
    AppendGrowing(Data(), stored_, storeCapacity_, src, incrementStep_);
    return pipeOK;
  }
  if (ring_.Complex() != src.Complex()) InitCircularBuffer(state_, ring_, 0, incrementStep_, src.Complex());
  const int len = Length();
  if (bufferType_ == bftScrolling && !useOverlapping_) {
    ResizeCircularBuffer(state_, ring_, std::max(src.Length(), len));
    WriteToCircularBuffer(state_, ring_, src);
    MonitorCircularBuffer(state_, ring_, Data(), len);
    SetContinuous(true);
    return pipeOK;
  }
  if (fresh) {
    const int need = state_.Count + src.Length();
    if (need > state_.Size) ResizeCircularBuffer(state_, ring_, CircularBufferGrowth(state_, need));
    WriteToCircularBuffer(state_, ring_, src);
  }
  if (PeekCircularBuffer(state_) < len || len == 0) {
    SetContinuous(true);
    return len == 0 ? pipeOK : pipeStream;
  }
  ReadFromCircularBuffer(state_, ring_, Data(), len, ReadStep());
  SetContinuous(PeekCircularBuffer(state_) < len);
  return pipeOK;
}

// --- TSignalStoreBuffer ----------------------------------------------------------------------

const TClassInfo& TSignalStoreBuffer::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalStoreBuffer, TSignal>("TSignalStoreBuffer")
          .Prop("Input", &TSignalStoreBuffer::GetInput, &TSignalStoreBuffer::SetInput)
          .Stored(&TSignalStoreBuffer::InputsStored)
          .Prop("InitialBufferSize", &TSignalStoreBuffer::InitialBufferSize,
                &TSignalStoreBuffer::SetInitialBufferSize, 4096)
          .Prop("IncrementStep", &TSignalStoreBuffer::IncrementStep, &TSignalStoreBuffer::SetIncrementStep, 1.0)
          .Prop("Length", &TSignal::Length, &TSignal::SetLength, 0)  // it starts empty
          .Build();
  return info;
}

TSignalStoreBuffer::TSignalStoreBuffer(TComponent* AOwner) : TSignal(AOwner) {
  SetUsesInputs(true);
  Reset();
}

TSignalStoreBuffer::~TSignalStoreBuffer() { BeginDestroy(); }

void TSignalStoreBuffer::Reset() {
  capacity_ = initialBufferSize_;
  Data().Size(capacity_, Data().Complex());
  SetLength(0);
}

void TSignalStoreBuffer::Shift(int Count) {
  const int k = std::clamp(Count, 0, Length());
  Data().Copy(Data(), k, 0, Length() - k);
  SetLength(Length() - k);
}

TPipeState TSignalStoreBuffer::InternalUpdate() {
  const TVec& src = Input()->Data();
  int len = Length();
  // BeforeInternalUpdate reinterprets Data when the input's complexity flips: start afresh.
  if (complex_ != src.Complex()) {
    complex_ = src.Complex();
    len = 0;
  }
  AppendGrowing(Data(), len, capacity_, src, incrementStep_);
  return pipeOK;
}

// --- Lists -----------------------------------------------------------------------------------

#define ONDRIX_BUFFER_LIST(List, Item)                                                        \
  const TClassInfo& List::StaticClassInfo() {                                                 \
    static const TClassInfo info = TClassBuilder<List, TSignalList>(#List).Build();           \
    return info;                                                                              \
  }                                                                                           \
  std::unique_ptr<TKvxComponent> List::AddItem() { return std::make_unique<Item>(nullptr); }

ONDRIX_BUFFER_LIST(TSignalIncBufferList, TSignalIncBuffer)
ONDRIX_BUFFER_LIST(TSignalDecBufferList, TSignalDecBuffer)
ONDRIX_BUFFER_LIST(TSignalBufferList, TSignalBuffer)
ONDRIX_BUFFER_LIST(TSignalStoreBufferList, TSignalStoreBuffer)

#undef ONDRIX_BUFFER_LIST

}  // namespace ondrix
