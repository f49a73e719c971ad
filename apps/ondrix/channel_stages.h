// A component that runs every channel of an interleaved stream through its own stage.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "ondrix/OndrixTools/TSignal.h"

namespace ondrix::app {

/// One single-channel stage per channel of its input (any class with Process(Src, Dst) and a
/// rate factor): splits each interleaved block into channels, runs each through its stage and
/// interleaves the results. Samples are held back until a channel has MinBlock of them (a
/// stage may refuse shorter blocks); fewer left at the end are dropped.
template <class Stage>
class TChannelStages : public TSignal {
public:
  using TMaker = std::function<std::unique_ptr<Stage>()>;
  TChannelStages(TMaker make, int channels, double rateFactor = 1.0) : TSignal(nullptr), rateFactor_(rateFactor) {
    SetUsesInputs(true);
    for (int c = 0; c < channels; ++c) stages_.push_back(make());
  }
  ~TChannelStages() override { BeginDestroy(); }
  Stage& Item(int c) { return *stages_[static_cast<std::size_t>(c)]; }
  int MinBlock = 0;

  TPipeState InternalUpdate() override {
    const TSignal& in = *Input();
    const int ch = static_cast<int>(stages_.size()), n = in.Length() / ch, held = pending_.Length() / ch;
    pending_.SetLength((held + n) * ch);
    pending_.Copy(in.Data(), 0, held * ch, n * ch);
    Data().Size(0, false);
    if (held + n >= MinBlock) {
      for (int c = 0; c < ch; ++c) {
        chan_.Size(held + n, false);
        for (int i = 0; i < held + n; ++i) chan_.Values(i) = pending_.Values(i * ch + c);
        stages_[static_cast<std::size_t>(c)]->Process(chan_, out_);
        if (c == 0) Data().Size(out_.Length() * ch, false);
        for (int i = 0; i < out_.Length(); ++i) Data().Values(i * ch + c) = out_.Values(i);
      }
      pending_.SetLength(0);
    }
    SetChannelCount(ch);
    SetSamplingFrequency(in.SamplingFrequency() * rateFactor_);
    return pipeOK;
  }

private:
  std::vector<std::unique_ptr<Stage>> stages_;
  double rateFactor_;
  TVec pending_, chan_, out_;
};

}  // namespace ondrix::app
