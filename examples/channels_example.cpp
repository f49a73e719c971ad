// A 4-channel stream split into its channels, one channel low-pass filtered, and the channels
// joined again: the multiplexer, the demultiplexer list and a filter in one graph.
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "ondrix/SignalProcessing/SignalProcessing.h"

using namespace ondrix;

int main() {
  const double fs = 8000;
  // Four sources joined into one interleaved 4-channel stream; channel 2 carries a 3 kHz
  // tone on top of its 200 Hz tone.
  TComponent graph(nullptr);
  TSignalMux* recorder = new TSignalMux(&graph);
  recorder->SetMultiChannel(true);
  for (int c = 0; c < 4; ++c) {
    auto* g = new TSignalGenerator(&graph);
    g->SetSamplingFrequency(fs);
    g->SetLength(800);
    g->Sounds()->Template()->Add(FunctionLine(funSine, {200.0 * (c + 1), 0.0, 1.0}));
    if (c == 2) {
      g->Sounds()->Template()->Add(FunctionLine(funSine, {3000.0, 0.0, 1.0}));
      g->Sounds()->Template()->Add(OperatorLine(opAdd));
    }
    recorder->Inputs()->Add()->SetInput(g);
  }

  // Split, filter channel 2, join.
  auto* split = new TSignalDemuxList(&graph);
  split->SetInput(recorder);
  recorder->Pull();  // the stream's channel count is known once it has run
  split->MatchInputs();
  auto* lowpass = new TSignalFilter(&graph);
  lowpass->SetInput(split->Items(2));
  lowpass->SetResponse(rstIIR);
  lowpass->SetIirMethod(imElliptic);
  lowpass->SetUseNormalizedFrequency(false);
  lowpass->Bands().Add(0.0, 1000.0, 1.0, 0.1);
  lowpass->Bands().Add(1500.0, fs / 2, 0.0, 80.0);
  auto* joined = new TSignalMux(&graph);
  joined->SetMultiChannel(true);
  for (int c = 0; c < 4; ++c) joined->Inputs()->Add()->SetInput(c == 2 ? static_cast<TSignal*>(lowpass) : split->Items(c));

  for (int b = 0; b < 5; ++b) joined->Pull();  // past the filter's start
  const TVec& in = recorder->Data();
  const TVec& out = joined->Data();
  std::printf("%d channels, %d samples per block\n", joined->ChannelCount(), out.Length() / 4);
  for (int c = 0; c < 4; ++c) {
    double a = 0, b = 0;
    for (int k = c; k < out.Length(); k += 4) a += in.Values(k) * in.Values(k), b += out.Values(k) * out.Values(k);
    std::printf("channel %d: RMS in %.4f, out %.4f\n", c, std::sqrt(a / (out.Length() / 4)),
                std::sqrt(b / (out.Length() / 4)));
  }
  return 0;
}
