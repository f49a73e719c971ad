// Frequency transforms of zero-pole-gain filters: lowpass prototype to lowpass, highpass,
// bandpass and bandstop (in the s-plane), and analog to digital (bilinear, matched z).
// The zpk forms of scipy.signal.lp2lp_zpk, lp2hp_zpk, lp2bp_zpk, lp2bs_zpk and bilinear_zpk.
//
// Analog frequencies are in rad/s. Digital frequencies follow filter_types.h: in the units of
// fs, the sampling frequency (fs = 2: fractions of the Nyquist frequency).
#pragma once

#include <vector>

#include "ondrix/sigcore/filter_types.h"
#include "ondrix/sigcore/zero_pole.h"

namespace ondrix {

/// How an IIR design turns its analog filter into the result (the filters' stored
/// `IIRFrequencyTransform` property). Values are stored in settings files; keep them.
enum TIIRFrequencyTransform {
  /// Bilinear transform with prewarping: the analog filter is designed at
  /// 2·fs·tan(π·f/fs) so that the digital band edges fall exactly on f. SciPy's digital
  /// designs (butter, cheby1, ... with analog=False). The default.
  iftBilinear = 0,
  /// Bilinear transform of the analog filter designed at 2π·f: no prewarping, so the
  /// digital edges move toward DC, the more the closer f is to Nyquist.
  iftBilinearNoPrewarp = 1,
  /// Matched z-transform: each pole and zero s of the analog filter designed at 2π·f goes to
  /// e^(s/fs), zeros at infinity go to z = −1; the gain is matched to the analog filter at
  /// DC (lowpass, bandstop), at Nyquist (highpass) or at the band centre (bandpass).
  /// Suits filters well below Nyquist; aliasing bends the response near it.
  iftMatchedZ = 2,
  /// No transform: the analog filter itself, frequencies taken as rad/s and fs ignored
  /// (SciPy's analog=True). Outputs are polynomials in s.
  iftAnalog = 3
};

/// Lowpass prototype (cut-off 1 rad/s) to lowpass of cut-off wo rad/s.
TZeroPole LowpassToLowpass(const TZeroPole& proto, double wo);
/// Lowpass prototype to highpass of cut-off wo rad/s.
TZeroPole LowpassToHighpass(const TZeroPole& proto, double wo);
/// Lowpass prototype to bandpass of centre wo and width bw (rad/s).
TZeroPole LowpassToBandpass(const TZeroPole& proto, double wo, double bw);
/// Lowpass prototype to bandstop of centre wo and width bw (rad/s).
TZeroPole LowpassToBandstop(const TZeroPole& proto, double wo, double bw);

/// Analog to digital by the bilinear transform s = 2·fs·(z − 1)/(z + 1), fs in Hz
/// (scipy.signal.bilinear_zpk). Zeros at infinity go to z = −1.
TZeroPole BilinearZeroPole(const TZeroPole& analog, double fs);

/// Turns an analog lowpass prototype (cut-off 1 rad/s) into a filter of the given type with
/// the critical frequencies wn (one for lowpass / highpass, two ascending for bandpass /
/// bandstop, in the units of fs), through the chosen transform. This is the common back end
/// of every IIR design. Raises EVecError for a wrong count of frequencies or frequencies
/// outside (0, fs/2) (positive for iftAnalog).
TZeroPole PrototypeToFilter(const TZeroPole& proto, const std::vector<double>& wn, TFilterType type,
                            double fs = 2.0, TIIRFrequencyTransform transform = iftBilinear);

}  // namespace ondrix
