#include "ondrix/sigcore/iir_design.h"

#include <cmath>

#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

TZeroPole ButterFilter(int order, const std::vector<double>& wn, TFilterType type, double fs,
                       TIIRFrequencyTransform transform) {
  return PrototypeToFilter(ButterPrototype(order), wn, type, fs, transform);
}

TZeroPole ChebyshevIFilter(int order, double rp, const std::vector<double>& wn, TFilterType type,
                           double fs, TIIRFrequencyTransform transform) {
  return PrototypeToFilter(ChebyshevIPrototype(order, rp), wn, type, fs, transform);
}

TZeroPole ChebyshevIIFilter(int order, double rs, const std::vector<double>& wn, TFilterType type,
                            double fs, TIIRFrequencyTransform transform) {
  return PrototypeToFilter(ChebyshevIIPrototype(order, rs), wn, type, fs, transform);
}

TZeroPole EllipticFilter(int order, double rp, double rs, const std::vector<double>& wn,
                         TFilterType type, double fs, TIIRFrequencyTransform transform) {
  return PrototypeToFilter(EllipticPrototype(order, rp, rs), wn, type, fs, transform);
}

TZeroPole BesselFilter(int order, const std::vector<double>& wn, TFilterType type, double fs,
                       TIIRFrequencyTransform transform, TBesselNorm norm) {
  return PrototypeToFilter(BesselPrototype(order, norm), wn, type, fs, transform);
}

void DcFilter(TVec& num, TVec& den, double cutoff, double fs) {
  if (!(fs > 0.0) || !(cutoff > 0.0 && cutoff < fs / 2.0))
    ERaise("DcFilter: the cut-off must lie strictly between 0 and fs/2");
  const double w = TWOPI * cutoff / fs;
  // (1 − sin ω)/cos ω, written so that it stays exact around ω = π/2.
  const double r = std::cos(w) / (1.0 + std::sin(w));
  const double g = 0.5 * (1.0 + r);
  num.Size(2, false);
  den.Size(2, false);
  num.Values(0) = g;
  num.Values(1) = -g;
  den.Values(0) = 1.0;
  den.Values(1) = -r;
}

void NotchFilter(TVec& num, TVec& den, double f0, double radius, double fs) {
  if (!(fs > 0.0) || !(f0 >= 0.0 && f0 <= fs / 2.0))
    ERaise("NotchFilter: the notch frequency must lie in [0, fs/2]");
  if (!(radius > 0.0 && radius < 1.0)) ERaise("NotchFilter: the pole radius must lie in (0, 1)");
  const double alpha = radius * radius;
  const double c = std::cos(TWOPI * f0 / fs);
  const double g = 0.5 * (1.0 + alpha);
  num.Size(3, false);
  den.Size(3, false);
  num.Values(0) = g;
  num.Values(1) = -2.0 * g * c;
  num.Values(2) = g;
  den.Values(0) = 1.0;
  den.Values(1) = -(1.0 + alpha) * c;
  den.Values(2) = alpha;
}

TZeroPole IirDesign(TIirMethod method, int order, double rp, double rs,
                    const std::vector<double>& wn, TFilterType type, double fs,
                    TIIRFrequencyTransform transform, double notchRadius) {
  switch (method) {
    case imButterworth: return ButterFilter(order, wn, type, fs, transform);
    case imChebyshevI: return ChebyshevIFilter(order, rp, wn, type, fs, transform);
    case imChebyshevII: return ChebyshevIIFilter(order, rs, wn, type, fs, transform);
    case imElliptic: return EllipticFilter(order, rp, rs, wn, type, fs, transform);
    case imBessel: return BesselFilter(order, wn, type, fs, transform);
    case imDcRemoval:
    case imNotch: {
      if (wn.empty()) ERaise("IirDesign: no critical frequency given");
      TVec num, den;
      if (method == imDcRemoval) DcFilter(num, den, wn[0], fs);
      else NotchFilter(num, den, wn.size() > 1 ? 0.5 * (wn[0] + wn[1]) : wn[0], notchRadius, fs);
      return TransferFunToZeroPole(num, den, false);
    }
  }
  ERaise("IirDesign: unknown IIR method " + std::to_string(static_cast<int>(method)));
}

}  // namespace ondrix
