// The band type shared by the FIR and IIR design routines, and the frequency convention of
// every filter-design header of the signal core.
//
// Frequencies. Every design routine takes its frequencies together with `fs`, the sampling
// frequency in the same units: band edges lie in [0, fs/2]. The default fs = 2 makes them
// fractions of the Nyquist frequency (1 = Nyquist), as in SciPy; pass the sampling rate in Hz
// to give them in Hz.
#pragma once

namespace ondrix {

/// The four classic band layouts, in the order the filter components store them.
enum TFilterType {
  ftLowpass = 0,   ///< passes [0, fc]
  ftHighpass = 1,  ///< passes [fc, fs/2]
  ftBandpass = 2,  ///< passes [f1, f2]
  ftBandstop = 3   ///< stops [f1, f2]
};

}  // namespace ondrix
