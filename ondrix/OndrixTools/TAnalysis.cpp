#include "ondrix/OndrixTools/TAnalysis.h"

#include <string>
#include <vector>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/OndrixTools/TSpectrum.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

const TClassInfo& TAnalysis::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TAnalysis, TKvxComponent>("TAnalysis")
                                     .Prop("Active", &TAnalysis::Active, &TAnalysis::SetActive, true)
                                     .Prop("Continuous", &TAnalysis::Continuous, &TAnalysis::SetContinuous, true)
                                     .Build();
  return info;
}

TAnalysis::TAnalysis(TComponent* AOwner) : TKvxComponent(AOwner) {}

TAnalysis::~TAnalysis() {
  BeginDestroy();
  TAnalysis::SetInput(nullptr);
  inputs_.reset();
}

// --- Links ---------------------------------------------------------------------------------

void TAnalysis::SetInput(TSignal* Value) {
  if (Value == input_) return;
  input_ = Value;
  if (Value) FreeNotification(Value);
  if (inputs_) {
    if (inputs_->Count() == 0) inputs_->Add();
    inputs_->Items(0)->SetInput(Value);
  }
}

TSignal* TAnalysis::GetInput() const {
  if (inputs_) return inputs_->Count() > 0 ? inputs_->Items(0)->Input() : nullptr;
  return input_;
}

void TAnalysis::SetInputs(const TSignalCollection* Value) {
  if (!inputs_ || !Value) return;
  inputs_->Assign(*Value);
  if (inputs_->Count() > 0) SetInput(inputs_->Items(0)->Input());
}

TSignal* TAnalysis::FormatSource() const {
  if (inputs_) return inputs_->Count() > 0 ? inputs_->Items(0)->Input() : nullptr;
  return input_;
}

bool TAnalysis::InputsStored() const {
  return ComponentState().Contains(csDesigning) && !GetBlockAssign();
}

void TAnalysis::SetBlockAssign(bool Value) {
  TKvxComponent::SetBlockAssign(Value);
  if (inputs_) inputs_->SetBlockAssign(Value);
}

void TAnalysis::SetMultiChannel(bool Value) {
  if (Value == MultiChannel()) return;
  if (Value) {
    inputs_ = std::make_unique<TSignalCollection>(this);
    inputs_->SetBlockAssign(GetBlockAssign());
  } else
    inputs_.reset();
}

void TAnalysis::ParamUpdate(TObject* Sender) {
  InternalParamUpdate(Sender);
  if (OnParameterUpdate) OnParameterUpdate(Sender);
}

void TAnalysis::Assign(const TPersistent& Source) {
  if (auto* src = dynamic_cast<const TAnalysis*>(&Source)) {
    if (src->MultiChannel() != MultiChannel()) throw Exception("MultiChannel <> TAnalysis(Source).MultiChannel!");
  }
  TKvxComponent::Assign(Source);
}

void TAnalysis::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent != this && AComponent != nullptr) {
    if (inputs_) {
      for (int i = 0; i < inputs_->Count(); ++i) {
        TSignalItem* item = inputs_->Items(i);
        if (item->Input() == AComponent) item->SetInput(nullptr);
      }
    }
    for (TSpectrumCollection* c : spectrumInputs_) {
      for (int i = 0; i < c->Count(); ++i) {
        TSpectrumItem* item = c->Items(i);
        if (item->Input() == AComponent) item->SetInput(nullptr);
      }
    }
    if (GetInput() == AComponent) SetInput(nullptr);
    if (input_ == AComponent) input_ = nullptr;  // the field behind a multi-channel alias
  }
  TKvxComponent::Notification(AComponent, Operation);
}

// --- The pull protocol -----------------------------------------------------------------------

void TAnalysis::UpdateNotify() {
  if (OnNotifyUpdate) OnNotifyUpdate(this);
}

void TAnalysis::MakeDirty() {
  if (dirty_) return;  // ends the recursion in graphs with shared sources
  dirty_ = true;
  if (!continuous_) return;
  if (inputs_) {
    for (int i = 0; i < inputs_->Count(); ++i)
      if (TSignal* s = inputs_->Items(i)->Input()) s->MakeDirty();
  } else if (TSignal* s = GetInput()) {
    s->MakeDirty();
  }
}

TPipeState TAnalysis::Pull() {
  SetDirty(false);
  MakeDirty();
  return InternalPull();
}

TPipeState TAnalysis::InternalPull() {
  if (!dirty_ || !active_) {
    pipeState_ = pipeOK;
    return pipeState_;
  }
  if (!continuous_) {
    Update();
    return pipeState_;
  }
  if (inputs_) {
    // An input that answers pipeStream does not hold back the update here, unlike the
    // single-input case below.
    pipeState_ = pipeOK;
    for (int i = 0; i < inputs_->Count(); ++i) {
      if (TSignal* s = inputs_->Items(i)->Input()) {
        if (s->InternalPull() == pipeEnd) pipeState_ = pipeEnd;
      }
    }
    if (pipeState_ != pipeEnd) Update();
    return pipeState_;
  }
  if (TSignal* s = GetInput()) {
    switch (s->InternalPull()) {
      case pipeOK: Update(); break;
      case pipeStream: pipeState_ = pipeStream; break;
      case pipeEnd: pipeState_ = pipeEnd; break;
    }
    return pipeState_;
  }
  Update();
  return pipeState_;
}

TPipeState TAnalysis::Update() {
  try {
    if (usesInputs_) {
      if (inputs_) {
        if (!OnGetInput) {
          for (int i = 0; i < inputs_->Count(); ++i)
            if (!inputs_->Items(i)->Input()) throw Exception("Inputs[" + std::to_string(i) + "] = nil!");
        }
      } else if (!GetInput() && !OnGetInput) {
        throw Exception("Input = nil!");
      }
    }
    if (OnGetInput) OnGetInput(this);
    if (OnBeforeUpdate) OnBeforeUpdate(this);
    BeforeInternalUpdate();
    TPipeState state = InternalUpdate();
    pipeState_ = state;
    if (OnAfterUpdate) OnAfterUpdate(this);
    if (OnDisplayUpdate && DisplayEvents()) OnDisplayUpdate(this);
    if (!suspendNotifyUpdate_ && OnNotifyUpdate) OnNotifyUpdate(this);
    if (state == pipeOK) dirty_ = false;
    return state;
  } catch (const std::exception& e) {
    throw Exception(Name() + ": " + e.what());
  }
}

void TAnalysis::PullUntilEnd() {
  bool old = suspendNotifyUpdate_;
  suspendNotifyUpdate_ = true;
  try {
    while (Pull() != pipeEnd) {
    }
  } catch (...) {
    suspendNotifyUpdate_ = old;
    throw;
  }
  suspendNotifyUpdate_ = old;
}

// --- TAnalysisList ---------------------------------------------------------------------------

const TClassInfo& TAnalysisList::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TAnalysisList, TKvxComponentList>("TAnalysisList")
          .Enum("PipeProcessing", &TAnalysisList::PipeProcessing, &TAnalysisList::SetPipeProcessing,
                {"ppParallel", "ppSerial"}, ppParallel)
          .Build();
  return info;
}

TAnalysis* TAnalysisList::Items(int i) const { return static_cast<TAnalysis*>(TKvxComponentList::Items(i)); }

void TAnalysisList::SetItems(int, TAnalysis*) { throw ENoOperation(); }

void TAnalysisList::SetInput(TSignal* Value) {
  input_ = Value;
  if (Value) {
    inputsList_ = nullptr;
    FreeNotification(Value);  // a dying source must not leave the list dangling
  }
}

void TAnalysisList::SetInputs(TAnalysisList* Value) {
  inputsList_ = Value;
  if (Value) {
    input_ = nullptr;
    FreeNotification(Value);
  }
}

void TAnalysisList::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove) {
    if (AComponent == input_) input_ = nullptr;
    if (AComponent == inputsList_) inputsList_ = nullptr;
  }
  TKvxComponentList::Notification(AComponent, Operation);
}

void TAnalysisList::MatchInputs() {
  if (inputsList_) inputsList_->MatchInputs();
  InternalMatchInputs();
}

void TAnalysisList::Propagate(int SrcIndex) {
  if (SrcIndex < 0 || SrcIndex > GetCount() - 1) ERaise("not CheckRange(0,SrcIndex,Count-1)");
  std::vector<int> dst;
  for (int i = 0; i < GetCount(); ++i)
    if (i != SrcIndex) dst.push_back(i);
  TKvxComponentList::Propagate(SrcIndex, dst);
}

void TAnalysisList::InternalMatchInputs() {
  int n = inputsList_ ? inputsList_->GetCount() : GetCount();
  if (inputsList_ || input_) {
    while (GetCount() > n) Delete(GetCount() - 1);
    if (n > GetCount()) SetCount(n);
  }
  if (inputsList_) {
    for (int i = 0; i < n; ++i) {
      auto* src = dynamic_cast<TSignal*>(inputsList_->Items(i));
      Items(i)->SetInput(src);
    }
  }
  if (input_) {
    for (int i = 0; i < GetCount(); ++i) Items(i)->SetInput(input_);
  }
}

TPipeState TAnalysisList::FirstItemState() const { return GetCount() > 0 ? Items(0)->PipeState() : pipeOK; }

TPipeState TAnalysisList::Update() {
  for (int i = 0; i < GetCount(); ++i) Items(i)->Update();
  return FirstItemState();
}

TPipeState TAnalysisList::Pull() {
  MakeDirty();
  InternalPull();
  return FirstItemState();
}

void TAnalysisList::MakeDirty() {
  for (int i = 0; i < GetCount(); ++i) Items(i)->MakeDirty();
}

TPipeState TAnalysisList::InternalPull() {
  if (input_) {
    input_->InternalPull();
    InternalMatchInputs();
    TPipeState s = input_->PipeState();
    if (s == pipeStream || s == pipeEnd) {
      for (int i = 0; i < GetCount(); ++i) Items(i)->SetPipeState(s);
    } else {
      Update();
    }
  } else if (inputsList_) {
    inputsList_->InternalPull();
    InternalMatchInputs();
    for (int i = 0; i < GetCount(); ++i) {
      TAnalysis* item = Items(i);
      if (TSignalCollection* ins = item->Inputs()) {
        bool blocked = false;
        for (int k = 0; k < ins->Count(); ++k) {
          TSignal* s = ins->Items(k)->Input();
          if (s && (s->PipeState() == pipeStream || s->PipeState() == pipeEnd)) blocked = true;
        }
        if (!blocked) item->Update();
      } else if (TSignal* s = item->GetInput()) {
        if (s->PipeState() != pipeOK)
          item->SetPipeState(s->PipeState());
        else
          item->Update();
      }
    }
  } else {
    for (int i = 0; i < GetCount(); ++i) Items(i)->Pull();
  }
  return FirstItemState();
}

void TAnalysisList::PullUntilEnd() {
  if (pipeProcessing_ == ppParallel) {
    for (;;) {
      Pull();
      bool ended = GetCount() == 0;  // an empty list would otherwise loop for ever
      for (int i = 0; i < GetCount(); ++i) ended = ended || Items(i)->PipeState() == pipeEnd;
      if (ended) break;
    }
  } else {
    for (int i = 0; i < GetCount(); ++i) Items(i)->PullUntilEnd();
  }
}

}  // namespace ondrix
