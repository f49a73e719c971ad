// The filter step of the tool: low-pass a generated two-tone signal and show what was removed.
#pragma once

namespace ondrix::app {

/// Settings of the filter demonstration (frequencies in Hz).
struct FilterDemoOptions {
  double fs = 48000.0;
  double keepFreq = 1000.0;    // tone inside the pass band
  double removeFreq = 9000.0;  // tone inside the stop band
  double passEdge = 4000.0;
  double stopEdge = 6000.0;
  double ripple = 0.5;         // dB, pass band
  double attenuation = 80.0;   // dB, stop band
  int blockLength = 4800;  // 0.1 s: both tones complete whole periods, so the DFT bins are exact
  int blocks = 4;
};

/// Designs an elliptic low-pass from the band layout, filters the signal block by block and
/// prints the design report and each tone's level before and after. Returns 0.
int RunFilterDemo(const FilterDemoOptions& o);

}  // namespace ondrix::app
