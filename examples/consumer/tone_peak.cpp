// A generator feeding a spectrum analyzer: the smallest program built on an installed Ondrix.
// Prints the library version, the peak line of a 1 kHz tone, and that the class registry
// and the exception root work from outside the library.
#include <cstdio>
#include <memory>

#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/version.h"

using namespace ondrix;

int main() {
  std::printf("Ondrix %s\n", ONDRIX_VERSION);

  TSignalGenerator generator(nullptr);
  generator.SetSamplingFrequency(8000);
  generator.SetLength(1024);
  generator.Sounds()->Template()->Add(FunctionLine(funSine, {1000.0, 0.0, 1.0}));  // Hz, phase, amplitude

  // Made by class name, as a settings file would: the units registered themselves.
  std::unique_ptr<TComponent> made = CreateComponentByName("TSpectrumAnalyzer");
  auto* analyzer = dynamic_cast<TSpectrumAnalyzer*>(made.get());
  if (!analyzer) return 1;
  analyzer->SetInput(&generator);
  analyzer->Pull();

  int peak = 0;
  const double amplitude = analyzer->Amplt().Max(peak);  // a real tone of amplitude A reads A/2
  std::printf("peak at %g Hz, amplitude %.4f\n", analyzer->LineFrequency(peak), amplitude);

  try {
    CreateComponentByName("TNoSuchClass");
  } catch (const ondrix::Exception& e) {
    std::printf("caught: %s\n", e.what());
  }
  return 0;
}
