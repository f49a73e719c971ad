#include "apps/ondrix/filter_demo.h"

#include <cmath>
#include <cstdio>

#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/sigcore/dtft.h"

namespace ondrix::app {

namespace {

// Amplitude of the tone at f in x: one DFT bin, exact when the block holds whole periods.
double ToneAmplitude(const TVec& x, double f, double fs) {
  return 2.0 * std::abs(Dtft(x, x.Length(), f, fs)) / x.Length();
}

}  // namespace

int RunFilterDemo(const FilterDemoOptions& o) {
  TComponent graph(nullptr);
  auto* gen = new TSignalGenerator(&graph);
  gen->SetName("Generator");
  gen->SetSamplingFrequency(o.fs);
  gen->SetLength(o.blockLength);
  TFuncSignalList* lines = gen->Sounds()->Template();
  lines->Add(FunctionLine(funSine, {o.keepFreq, 0.0, 1.0}));
  lines->Add(FunctionLine(funSine, {o.removeFreq, 0.0, 1.0}));
  lines->Add(OperatorLine(opAdd));

  auto* filter = new TSignalFilter(&graph);
  filter->SetName("Lowpass");
  filter->SetInput(gen);
  filter->SetResponse(rstIIR);
  filter->SetIirMethod(imElliptic);
  filter->SetUseNormalizedFrequency(false);  // band edges in Hz
  filter->Bands().Add(0.0, o.passEdge, 1.0, o.ripple);
  filter->Bands().Add(o.stopEdge, o.fs / 2, 0.0, o.attenuation);

  for (int b = 0; b < o.blocks; ++b) filter->Pull();  // the last block is past the transient
  const TVec& in = gen->Data();
  const TVec& out = filter->Data();
  std::printf("\nlow-pass filter: elliptic, pass 0..%g Hz (%g dB ripple), stop from %g Hz (%g dB)\n", o.passEdge,
              o.ripple, o.stopEdge, o.attenuation);
  std::printf("%s", filter->DesignReport().ToString().c_str());
  std::printf("%-10s %14s %14s %14s\n", "tone", "in", "out", "gain");
  for (double f : {o.keepFreq, o.removeFreq}) {
    double a = ToneAmplitude(in, f, o.fs), y = ToneAmplitude(out, f, o.fs);
    std::printf("%-10s %14.6f %14.3e %11.2f dB\n", (std::to_string(static_cast<int>(f)) + " Hz").c_str(), a, y,
                20.0 * std::log10(y / a));
  }
  return 0;
}

}  // namespace ondrix::app
