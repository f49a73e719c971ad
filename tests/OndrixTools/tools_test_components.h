// Processing stages shared by the OndrixTools tests.
#pragma once

#include <memory>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/framework/ClassBuilder.h"

namespace ondrix::toolstest {

/// Copies its input times a gain; counts its updates; publishes Input, as processing stages do.
class TGain : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TGain(TComponent* owner, double g = 2.0) : TSignal(owner), gain(g) { SetUsesInputs(true); }
  double gain;
  int updates = 0;
  TPipeState InternalUpdate() override {
    ++updates;
    Data().Copy(Input()->Data()).Scale(gain);
    return pipeOK;
  }
};

inline const TClassInfo& TGain::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TGain, TSignal>("TGain")
                                     .Prop("Input", &TGain::GetInput, &TGain::SetInput)
                                     .Stored(&TGain::InputsStored)
                                     .Build();
  return info;
}

/// Sums its inputs; counts its updates; publishes Inputs and takes spectrum inputs too.
class TMixer : public TSignal {
public:
  ONDRIX_CLASS_INFO()
  explicit TMixer(TComponent* owner) : TSignal(owner) {
    SetMultiChannel(true);
    SetUsesInputs(true);
    spectra = std::make_unique<TSpectrumCollection>(this);
  }
  ~TMixer() override {
    BeginDestroy();
    spectra.reset();
  }
  std::unique_ptr<TSpectrumCollection> spectra;
  int updates = 0;
  TPipeState InternalUpdate() override {
    ++updates;
    Data().Copy(Inputs()->Items(0)->Input()->Data());
    for (int i = 1; i < Inputs()->Count(); ++i) Data().Add(Inputs()->Items(i)->Input()->Data());
    return pipeOK;
  }
};

inline const TClassInfo& TMixer::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TMixer, TSignal>("TMixer").Prop("Inputs", &TMixer::Inputs).Build();
  return info;
}

}  // namespace ondrix::toolstest
