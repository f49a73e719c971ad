// Order selection of IIR filters: the lowest order that keeps the passband loss within rp dB
// and the stopband at least rs dB down, and the natural frequencies to design it with. These
// equal scipy.signal.buttord, cheb1ord, cheb2ord and ellipord, including their bandstop
// search for the passband edges (by MinimizeBounded, a port of SciPy's fminbound).
//
// Frequencies: in the units of fs, the sampling frequency; the default fs = 2 makes them
// fractions of the Nyquist frequency, as in SciPy. With analog = true they are rad/s and fs is
// not read. wp and ws hold one value each (lowpass: wp < ws, highpass: wp > ws) or two each
// (bandpass: ws[0] < wp[0] < wp[1] < ws[1]; bandstop: wp[0] < ws[0] < ws[1] < wp[1]).
#pragma once

#include <vector>

#include "ondrix/sigcore/filter_types.h"
#include "ondrix/sigcore/iir_design.h"

namespace ondrix {

/// An order and the natural (critical) frequencies to pass to the matching design routine,
/// one for lowpass / highpass, two for bandpass / bandstop, in the units of fs.
struct TIirOrder {
  int Order = 0;
  std::vector<double> Wn;
};

/// Butterworth order and −3 dB frequencies (scipy.signal.buttord).
TIirOrder ButterOrder(const std::vector<double>& wp, const std::vector<double>& ws, double rp,
                      double rs, double fs = 2.0, bool analog = false);

/// Chebyshev I order and passband edges (scipy.signal.cheb1ord).
TIirOrder ChebyshevIOrder(const std::vector<double>& wp, const std::vector<double>& ws, double rp,
                          double rs, double fs = 2.0, bool analog = false);

/// Chebyshev II order and stopband-side natural frequencies (scipy.signal.cheb2ord).
TIirOrder ChebyshevIIOrder(const std::vector<double>& wp, const std::vector<double>& ws,
                           double rp, double rs, double fs = 2.0, bool analog = false);

/// Elliptic order and passband edges (scipy.signal.ellipord).
TIirOrder EllipticOrder(const std::vector<double>& wp, const std::vector<double>& ws, double rp,
                        double rs, double fs = 2.0, bool analog = false);

/// Splits ascending transition edges into passband and stopband edges: two edges
/// [e0, e1] (lowpass: wp = e0, ws = e1; highpass: ws = e0, wp = e1) or four edges
/// [e0, e1, e2, e3] (bandpass: ws = {e0, e3}, wp = {e1, e2}; bandstop: wp = {e0, e3},
/// ws = {e1, e2}). Raises EVecError for another count or descending edges.
void SplitTransitionEdges(const std::vector<double>& edges, TFilterType type,
                          std::vector<double>& wp, std::vector<double>& ws);

/// Order selection for a design method from transition edges (see SplitTransitionEdges):
/// Butterworth rules for imButterworth and imBessel, the matching rules for Chebyshev and
/// elliptic filters. imDcRemoval and imNotch give order 1 and the edges' first pair.
TIirOrder IirOrder(TIirMethod method, const std::vector<double>& edges, TFilterType type,
                   double rp, double rs, double fs = 2.0);

}  // namespace ondrix
