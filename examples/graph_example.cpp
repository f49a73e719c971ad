// A small graph in one page: a tone source feeds a gain stage, and a spectrum of the gain
// stage is pulled block by block. Each component is a TSignal or TSpectrum that overrides
// InternalUpdate; links are weak (Input), and nothing is computed until the last one is
// pulled.
#include <cstdio>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/sigcore/tone.h"

using namespace ondrix;

// A source: each pull produces the next block of a phase-continuous sine.
class TToneSource : public TSignal {
public:
  explicit TToneSource(TComponent* owner, double freqHz) : TSignal(owner), freq_(freqHz) {}
  TPipeState InternalUpdate() override {
    if (!started_) ToneInit(freq_ / SamplingFrequency(), 0.0, 1.0, state_, false), started_ = true;
    Tone(Data(), state_);
    return pipeOK;
  }

private:
  double freq_;
  bool started_ = false;
  TToneState state_;
};

// A processing stage: copies its input's format (BeforeInternalUpdate) and scales it.
class TGainStage : public TSignal {
public:
  explicit TGainStage(TComponent* owner) : TSignal(owner) { SetUsesInputs(true); }
  double gain = 0.5;
  TPipeState InternalUpdate() override {
    Data().Copy(Input()->Data()).Scale(gain);
    return pipeOK;
  }
};

// An analysis stage: the one-sided amplitude spectrum of each block.
class TAmplitudeSpectrum : public TSpectrum {
public:
  explicit TAmplitudeSpectrum(TComponent* owner) : TSpectrum(owner) { SetUsesInputs(true); }
  TPipeState InternalUpdate() override {
    const TVec& x = Input()->Data();
    work_.FFTFromReal(x);
    work_.SetLength(x.Length() / 2);
    work_.Scale(2.0 / x.Length());  // a sine of amplitude A reads A
    AmpltSpectrum(work_);
    return pipeOK;
  }

private:
  TVec work_;
};

int main() {
  TComponent form(nullptr);  // owns the whole graph
  auto* source = new TToneSource(&form, 1000.0);
  source->SetName("Source");
  source->SetSamplingFrequency(8000.0);
  source->SetLength(256);
  auto* gain = new TGainStage(&form);
  gain->SetName("Gain");
  gain->SetInput(source);
  auto* spectrum = new TAmplitudeSpectrum(&form);
  spectrum->SetName("Spectrum");
  spectrum->SetInput(gain);
  spectrum->OnAfterUpdate = [](TObject* sender) {
    auto* s = static_cast<TAmplitudeSpectrum*>(sender);
    int peak = 0;
    double a = s->Amplt().Max(peak);
    std::printf("  peak at %g Hz, amplitude %.6f (%d lines, %g Hz apart)\n", s->LineFrequency(peak), a,
                s->Length(), s->HzRes());
  };

  for (int block = 0; block < 3; ++block) {
    std::printf("pull %d: %s\n", block, spectrum->Pull() == pipeOK ? "pipeOK" : "not ready");
  }
  std::printf("gain stage: %d samples at %g Hz, first samples %.4f %.4f %.4f\n", gain->Length(),
              gain->SamplingFrequency(), gain->Values(0), gain->Values(1), gain->Values(2));
  delete source;  // weak links to the source are cleared by free-notification
  std::printf("after deleting the source, Gain.Input is %s\n", gain->Input() ? "set" : "nil");
  return 0;
}
