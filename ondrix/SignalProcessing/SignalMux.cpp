#include "ondrix/SignalProcessing/SignalMux.h"

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/kernels.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

// --- TSignalDemux ----------------------------------------------------------------------------

const TClassInfo& TSignalDemux::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalDemux, TSignal>("TSignalDemux")
                                     .Prop("Input", &TSignalDemux::GetInput, &TSignalDemux::SetInput)
                                     .Stored(&TSignalDemux::InputsStored)
                                     .Prop("Channel", &TSignalDemux::Channel, &TSignalDemux::SetChannel, 0)
                                     .Build();
  return info;
}

TSignalDemux::TSignalDemux(TComponent* AOwner) : TSignal(AOwner) { SetUsesInputs(true); }

TSignalDemux::~TSignalDemux() { BeginDestroy(); }

TPipeState TSignalDemux::InternalUpdate() {
  const TSignal& in = *Input();
  SetChannelCount(1);
  if (prefilled_) {
    prefilled_ = false;
    return pipeOK;
  }
  Data().DownSample(in.Data(), in.ChannelCount(), channel_);
  return pipeOK;
}

// --- TSignalMux ------------------------------------------------------------------------------

const TClassInfo& TSignalMux::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalMux, TSignal>("TSignalMux")
                                     .Prop("Inputs", &TSignalMux::Inputs)
                                     .Stored(&TSignalMux::InputsStored)
                                     .Prop("InputList", &TSignalMux::InputList, &TSignalMux::SetInputList)
                                     .Build();
  return info;
}

TSignalMux::TSignalMux(TComponent* AOwner) : TSignal(AOwner) {
  SetMultiChannel(true);
  SetUsesInputs(true);
}

TSignalMux::~TSignalMux() {
  BeginDestroy();
  SetInputList(nullptr);
}

void TSignalMux::SetInputList(TAnalysisList* Value) {
  if (Value == inputList_) return;
  if (inputList_) RemoveFreeNotification(inputList_);
  inputList_ = Value;
  if (inputList_) FreeNotification(inputList_);
}

void TSignalMux::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent == inputList_) inputList_ = nullptr;
  TSignal::Notification(AComponent, Operation);
}

int TSignalMux::GetChannelCount() const { return Inputs() ? TSignal::GetChannelCount() : 0; }

void TSignalMux::MatchInputs() {
  if (!inputList_ || !Inputs()) return;
  TSignalCollection& items = *Inputs();
  const int n = inputList_->Count();
  while (items.Count() > n) items.Delete(items.Count() - 1);
  while (items.Count() < n) items.Add();
  for (int i = 0; i < n; ++i) items.Items(i)->SetInput(dynamic_cast<TSignal*>(inputList_->Items(i)));
}

TPipeState TSignalMux::InternalUpdate() {
  MatchInputs();
  // The inputs may have just been linked by MatchInputs: take their format now.
  if (inputList_) TSignal::BeforeInternalUpdate();
  const TSignalCollection& items = *Inputs();
  const int count = items.Count();
  if (count == 0) {
    SetLength(0);
    return pipeOK;
  }
  const TSignal& first = *items.Items(0)->Input();
  Data().Size(first.Length() * count, Complex());
  SetChannelCount(count);
  channels_.clear();
  for (int i = 0; i < count; ++i) {
    const TSignal& in = *items.Items(i)->Input();
    const char* error = nullptr;
    if (in.Data().Complex() != Complex()) error = "Inputs[i].Input.Complex <> Self.Complex!";
    else if (Length() / count != in.Data().Length()) error = "(Inputs[i].Input.Length * ChannelCount) <> Self.Length!";
    if (error) {
      for (int j = 0; j < i; ++j) Data().Scatter(items.Items(j)->Input()->Data(), j, count);
      throw Exception(error);
    }
    channels_.push_back(in.Data().PValues());
  }
  InterleaveChannels(Data().PValues(), channels_.data(), count, Length() / count, Complex() ? 2 : 1);
  return pipeOK;
}

TPipeState TSignalMux::InternalPull() {
  if (!inputList_) return TSignal::InternalPull();
  if (!Dirty() || !Active()) {
    SetPipeState(pipeOK);
    return pipeOK;
  }
  inputList_->InternalPull();
  TPipeState state = pipeOK;
  if (inputList_->Count() > 0) {
    state = inputList_->Items(0)->PipeState();
    if (state == pipeOK) Update();
  }
  SetPipeState(state);
  return state;
}

// --- Lists -----------------------------------------------------------------------------------

const TClassInfo& TSignalDemuxList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalDemuxList, TSignalList>("TSignalDemuxList")
                                     .Prop("Input", &TSignalDemuxList::Input, &TSignalDemuxList::SetInput)
                                     .Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalDemuxList::AddItem() { return std::make_unique<TSignalDemux>(nullptr); }

void TSignalDemuxList::InternalMatchInputs() {
  if (Input()) SetCount(Input()->ChannelCount());
  TSignalList::InternalMatchInputs();
  for (int i = 0; i < Count(); ++i) Items(i)->SetChannel(i);
}

TPipeState TSignalDemuxList::Update() {
  const TSignal* in = Input();
  const int count = GetCount();
  bool single = in && count > 1 && in->ChannelCount() == count && in->Data().Length() % count == 0;
  for (int i = 0; single && i < count; ++i) {
    const TSignalDemux& d = *Items(i);
    single = d.Input() == in && d.Channel() == i;
  }
  if (single) {
    const bool complex = in->Data().Complex();
    const int n = in->Data().Length() / count;
    channels_.clear();
    for (int i = 0; i < count; ++i) {
      Items(i)->Data().Size(n, complex);
      channels_.push_back(Items(i)->Data().PValues());
    }
    DeinterleaveChannels(channels_.data(), in->Data().PValues(), count, n, complex ? 2 : 1);
    for (int i = 0; i < count; ++i) Items(i)->prefilled_ = true;
  }
  try {
    const TPipeState state = TSignalList::Update();
    for (int i = 0; i < count; ++i) Items(i)->prefilled_ = false;
    return state;
  } catch (...) {
    for (int i = 0; i < count; ++i) Items(i)->prefilled_ = false;
    throw;
  }
}

const TClassInfo& TSignalMuxList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalMuxList, TSignalList>("TSignalMuxList")
                                     .Prop("Inputs", &TSignalMuxList::Inputs, &TSignalMuxList::SetInputs)
                                     .Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalMuxList::AddItem() { return std::make_unique<TSignalMux>(nullptr); }

}  // namespace ondrix
