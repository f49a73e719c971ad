// Splitting a multi-channel stream into channels and joining channels into one stream:
// TSignalDemux, TSignalMux and their lists. Channels are interleaved (sample k of channel c at
// index k·ChannelCount + c).
#pragma once

#include <memory>
#include <vector>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"

namespace ondrix {

/// Takes channel Channel out of its input: samples Channel, Channel + C, ... (C = the input's
/// ChannelCount), as a single-channel signal. Channel is not range-checked; a channel beyond
/// the input's raises the vector library's range error.
class TSignalDemux : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalDemux(TComponent* AOwner);
  ~TSignalDemux() override;

  int Channel() const noexcept { return channel_; }
  void SetChannel(int Value) noexcept { channel_ = Value; }
  TPipeState InternalUpdate() override;

private:
  friend class TSignalDemuxList;
  int channel_ = 0;
  bool prefilled_ = false;  // the list's single pass has just written this item's samples
};

/// Interleaves its Inputs (single-channel signals of equal length and complexity) into one
/// signal of Inputs.Count channels. With InputList assigned the inputs follow that list (item
/// i from the list's component i) and a pull pulls the list instead of the inputs. On a
/// failing input the output keeps the samples scattered before it.
class TSignalMux : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalMux(TComponent* AOwner);
  ~TSignalMux() override;

  /// The list the inputs follow (not owned; cleared when it is destroyed).
  TAnalysisList* InputList() const noexcept { return inputList_; }
  void SetInputList(TAnalysisList* Value);
  /// 0 while there is no Inputs collection.
  int GetChannelCount() const override;
  /// Makes Inputs as long as InputList, item i linked to the list's component i.
  virtual void MatchInputs();
  TPipeState InternalUpdate() override;
  TPipeState InternalPull() override;

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override;

private:
  TAnalysisList* inputList_ = nullptr;
  std::vector<const double*> channels_;  // the inputs' samples, kept to stay allocation-free
};

/// One demultiplexer per channel of Input, item i taking channel i.
class TSignalDemuxList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalDemuxList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalDemux* Items(int i) const { return static_cast<TSignalDemux*>(TAnalysisList::Items(i)); }
  /// Count := Input's ChannelCount, all items on Input, item i's Channel := i.
  void InternalMatchInputs() override;
  /// Updates the items. When they split Input as matched (item i on channel i, a whole number
  /// of samples per channel), every channel is taken out in one pass over the
  /// block instead of one pass per item.
  TPipeState Update() override;

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;

private:
  std::vector<double*> channels_;  // the items' samples during the single pass
};

/// A bank of multiplexers fed from a source list (Inputs).
class TSignalMuxList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalMuxList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalMux* Items(int i) const { return static_cast<TSignalMux*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
