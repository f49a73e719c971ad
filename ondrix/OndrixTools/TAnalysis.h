// TAnalysis: the base of every processing component, with its input links and the pull
// protocol; TAnalysisList: a bank of like components pulled together.
#pragma once

#include <memory>
#include <vector>

#include "ondrix/framework/TKvxComponent.h"
#include "ondrix/framework/TKvxComponentList.h"

namespace ondrix {

class TSignal;
class TSignalCollection;
class TSpectrumCollection;

/// State a component answers to a pull: a fresh complete result, more input needed (pull
/// again), or the source is exhausted.
enum TPipeState { pipeOK, pipeStream, pipeEnd };

/// How TAnalysisList::PullUntilEnd drives its items: in lock-step, or each to its end in turn.
enum TPipeProcessing { ppParallel, ppSerial };

/// Base of every processing component.
///
/// Components are linked by weak references: Input (one upstream signal) or, in multi-channel
/// mode, the Inputs collection. Pull marks the component and, through continuous components,
/// its sources dirty, then InternalPull recurses upstream and recomputes (Update →
/// BeforeInternalUpdate → InternalUpdate) only where the input answered pipeOK. Setting a
/// property never computes; the work is done at the next pull.
class TAnalysis : public TKvxComponent {
public:
  ONDRIX_CLASS_INFO()

  explicit TAnalysis(TComponent* AOwner);
  ~TAnalysis() override;

  // --- Links -------------------------------------------------------------------------------

  /// The single upstream signal; in multi-channel mode an alias of Inputs[0].Input.
  TSignal* Input() const { return GetInput(); }
  /// Sets Input (no dirty mark); registers for free-notification of Value.
  virtual void SetInput(TSignal* Value);
  virtual TSignal* GetInput() const;
  /// The inputs collection; exists only while MultiChannel is set.
  TSignalCollection* Inputs() const noexcept { return inputs_.get(); }
  /// Assigns the collection from Value (only in multi-channel mode), then Input from item 0.
  void SetInputs(const TSignalCollection* Value);
  /// The signal whose format a consumer copies: Input, or Inputs[0].Input in multi-channel
  /// mode (nullptr when there is none).
  TSignal* FormatSource() const;
  /// Links are stored in settings only at design time and never while block-assigned.
  virtual bool InputsStored() const;
  /// Also block-assigns the inputs collection, so templates leave its links alone.
  void SetBlockAssign(bool Value) override;

  // --- Flags and state ---------------------------------------------------------------------

  bool Active() const noexcept { return active_; }
  /// Stores the flag; overridden by components that open or close devices.
  virtual void SetActive(bool Value) { active_ = Value; }
  bool Continuous() const noexcept { return continuous_; }
  void SetContinuous(bool Value) noexcept { continuous_ = Value; }
  bool MultiChannel() const noexcept { return inputs_ != nullptr; }
  /// Creates (on) or frees (off) the owned inputs collection; Input is left as it was.
  void SetMultiChannel(bool Value);
  bool UsesInputs() const noexcept { return usesInputs_; }
  void SetUsesInputs(bool Value) noexcept { usesInputs_ = Value; }
  bool Dirty() const noexcept { return dirty_; }
  void SetDirty(bool Value) noexcept { dirty_ = Value; }
  TPipeState PipeState() const noexcept { return pipeState_; }
  void SetPipeState(TPipeState Value) noexcept { pipeState_ = Value; }
  bool SuspendNotifyUpdate() const noexcept { return suspendNotifyUpdate_; }
  void SetSuspendNotifyUpdate(bool Value) noexcept { suspendNotifyUpdate_ = Value; }

  // --- Events ------------------------------------------------------------------------------

  TNotifyEvent OnAfterUpdate;      ///< after each recomputation
  TNotifyEvent OnBeforeUpdate;     ///< before each recomputation
  TNotifyEvent OnParameterUpdate;  ///< fired by ParamUpdate, with its Sender
  TNotifyEvent OnNotifyUpdate;     ///< after each recomputation unless suspended
  TNotifyEvent OnDisplayUpdate;    ///< after each recomputation, when display events are on
  TNotifyEvent OnGetInput;         ///< at the start of each recomputation; stands in for inputs
  void SetOnNotifyUpdate(TNotifyEvent Value) { OnNotifyUpdate = std::move(Value); }

  /// Calls InternalParamUpdate(Sender), then OnParameterUpdate with Sender.
  void ParamUpdate(TObject* Sender);

  /// Raises "MultiChannel <> TAnalysis(Source).MultiChannel!" when Source is a TAnalysis in
  /// the other mode; otherwise copies the published properties.
  void Assign(const TPersistent& Source) override;

  // --- The pull protocol ---------------------------------------------------------------------

  /// The component's computation; base: pipeOK, nothing done.
  virtual TPipeState InternalUpdate() { return pipeOK; }
  virtual void InternalParamUpdate(TObject* Sender) { (void)Sender; }
  /// Runs before every InternalUpdate (signals and spectra copy the input's format here).
  virtual void BeforeInternalUpdate() {}
  /// Fires OnNotifyUpdate if assigned.
  virtual void UpdateNotify();
  /// The recursive step of a pull; returns the final PipeState.
  virtual TPipeState InternalPull();
  /// One recomputation, with its events; any exception is re-raised as Exception with the
  /// message "<Name>: <original message>".
  virtual TPipeState Update();
  /// Entry point of a consumer: marks dirty upstream, then pulls.
  virtual TPipeState Pull();
  /// Marks this component dirty and spreads it upstream through continuous components.
  virtual void MakeDirty();
  /// Pulls until pipeEnd, with OnNotifyUpdate suspended (no iteration limit).
  virtual void PullUntilEnd();

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

private:
  friend class TSpectrumCollection;  // registers itself so that dying spectra leave it

  bool dirty_ = true;
  bool active_ = true;
  bool continuous_ = true;
  bool usesInputs_ = false;
  bool suspendNotifyUpdate_ = false;
  TPipeState pipeState_ = pipeOK;
  TSignal* input_ = nullptr;
  std::unique_ptr<TSignalCollection> inputs_;
  std::vector<TSpectrumCollection*> spectrumInputs_;  // owned by descendants
};

/// A bank of like components fed from one source (every item shares Input) or from another
/// list (item i from source i), pulled in lock-step or in series.
class TAnalysisList : public TKvxComponentList {
public:
  ONDRIX_CLASS_INFO()

  explicit TAnalysisList(TComponent* AOwner) : TKvxComponentList(AOwner) {}

  /// Item i as a TAnalysis.
  TAnalysis* Items(int i) const;
  /// Writing an item raises ENoOperation.
  void SetItems(int i, TAnalysis* Value);
  int Count() const noexcept { return GetCount(); }

  TSignal* Input() const noexcept { return input_; }
  /// Sets the single source; clears Inputs when Value is set.
  void SetInput(TSignal* Value);
  TAnalysisList* Inputs() const noexcept { return inputsList_; }
  /// Sets the source list; clears Input when Value is set.
  void SetInputs(TAnalysisList* Value);
  TPipeProcessing PipeProcessing() const noexcept { return pipeProcessing_; }
  void SetPipeProcessing(TPipeProcessing Value) noexcept { pipeProcessing_ = Value; }

  /// Matches the source list first (recursively), then this list.
  void MatchInputs();
  /// Copies item SrcIndex's settings to every other item; raises
  /// "not CheckRange(0,SrcIndex,Count-1)" for a bad index.
  void Propagate(int SrcIndex);

  virtual void InternalMatchInputs();
  virtual TPipeState InternalPull();
  virtual TPipeState Update();
  virtual TPipeState Pull();
  virtual void PullUntilEnd();
  virtual void MakeDirty();

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

private:
  TPipeState FirstItemState() const;

  TSignal* input_ = nullptr;
  TAnalysisList* inputsList_ = nullptr;
  TPipeProcessing pipeProcessing_ = ppParallel;
};

}  // namespace ondrix
