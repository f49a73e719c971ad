#include "ondrix/sigcore/iir_transform.h"

#include <cmath>
#include <string>

#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

TCplx ProdNeg(const std::vector<TCplx>& v) {
  TCplx r = 1.0;
  for (const TCplx& x : v) r *= -x;
  return r;
}

int Degree(const TZeroPole& zp) {
  const int d = static_cast<int>(zp.Poles.size()) - static_cast<int>(zp.Zeros.size());
  if (d < 0) ERaise("IIR frequency transform: more zeros than poles");
  return d;
}

// H(x) of a zero-pole-gain filter.
TCplx Response(const TZeroPole& zp, TCplx x) {
  TCplx h = zp.Gain;
  for (const TCplx& z : zp.Zeros) h *= x - z;
  for (const TCplx& p : zp.Poles) h /= x - p;
  return h;
}

TZeroPole MatchedZ(const TZeroPole& analog, double fs, TCplx sRef) {
  TZeroPole d;
  for (const TCplx& z : analog.Zeros) d.Zeros.push_back(std::exp(z / fs));
  for (const TCplx& p : analog.Poles) d.Poles.push_back(std::exp(p / fs));
  d.Zeros.insert(d.Zeros.end(), Degree(analog), TCplx(-1.0, 0.0));
  d.Gain = 1.0;
  const double ha = std::abs(Response(analog, sRef));
  const double hd = std::abs(Response(d, std::exp(sRef / fs)));
  if (!(hd > 0.0) || !std::isfinite(ha / hd))
    ERaise("IIR matched z-transform: the response vanishes at the gain reference frequency");
  d.Gain = ha / hd;
  return d;
}

}  // namespace

TZeroPole LowpassToLowpass(const TZeroPole& proto, double wo) {
  TZeroPole r = proto;
  for (TCplx& z : r.Zeros) z *= wo;
  for (TCplx& p : r.Poles) p *= wo;
  r.Gain = proto.Gain * std::pow(wo, Degree(proto));
  return r;
}

TZeroPole LowpassToHighpass(const TZeroPole& proto, double wo) {
  TZeroPole r;
  r.Analog = proto.Analog;
  for (const TCplx& z : proto.Zeros) r.Zeros.push_back(wo / z);
  for (const TCplx& p : proto.Poles) r.Poles.push_back(wo / p);
  r.Zeros.insert(r.Zeros.end(), Degree(proto), TCplx(0.0, 0.0));
  r.Gain = proto.Gain * (ProdNeg(proto.Zeros) / ProdNeg(proto.Poles)).real();
  return r;
}

TZeroPole LowpassToBandpass(const TZeroPole& proto, double wo, double bw) {
  TZeroPole r;
  r.Analog = proto.Analog;
  const auto split = [wo, bw](const std::vector<TCplx>& in, std::vector<TCplx>& out) {
    for (const TCplx& x : in) {
      const TCplx s = x * (bw / 2.0);
      out.push_back(s + std::sqrt(s * s - wo * wo));
    }
    for (const TCplx& x : in) {
      const TCplx s = x * (bw / 2.0);
      out.push_back(s - std::sqrt(s * s - wo * wo));
    }
  };
  split(proto.Zeros, r.Zeros);
  split(proto.Poles, r.Poles);
  const int deg = Degree(proto);
  r.Zeros.insert(r.Zeros.end(), deg, TCplx(0.0, 0.0));
  r.Gain = proto.Gain * std::pow(bw, deg);
  return r;
}

TZeroPole LowpassToBandstop(const TZeroPole& proto, double wo, double bw) {
  TZeroPole r;
  r.Analog = proto.Analog;
  const auto split = [wo, bw](const std::vector<TCplx>& in, std::vector<TCplx>& out) {
    for (const TCplx& x : in) {
      const TCplx h = (bw / 2.0) / x;
      out.push_back(h + std::sqrt(h * h - wo * wo));
    }
    for (const TCplx& x : in) {
      const TCplx h = (bw / 2.0) / x;
      out.push_back(h - std::sqrt(h * h - wo * wo));
    }
  };
  split(proto.Zeros, r.Zeros);
  split(proto.Poles, r.Poles);
  const int deg = Degree(proto);
  r.Zeros.insert(r.Zeros.end(), deg, TCplx(0.0, wo));
  r.Zeros.insert(r.Zeros.end(), deg, TCplx(0.0, -wo));
  r.Gain = proto.Gain * (ProdNeg(proto.Zeros) / ProdNeg(proto.Poles)).real();
  return r;
}

TZeroPole BilinearZeroPole(const TZeroPole& analog, double fs) {
  const double fs2 = 2.0 * fs;
  TZeroPole d;
  TCplx num = 1.0, den = 1.0;
  for (const TCplx& z : analog.Zeros) {
    d.Zeros.push_back((fs2 + z) / (fs2 - z));
    num *= fs2 - z;
  }
  for (const TCplx& p : analog.Poles) {
    d.Poles.push_back((fs2 + p) / (fs2 - p));
    den *= fs2 - p;
  }
  d.Zeros.insert(d.Zeros.end(), Degree(analog), TCplx(-1.0, 0.0));
  d.Gain = analog.Gain * (num / den).real();
  return d;
}

TZeroPole PrototypeToFilter(const TZeroPole& proto, const std::vector<double>& wn, TFilterType type,
                            double fs, TIIRFrequencyTransform transform) {
  const bool band = type == ftBandpass || type == ftBandstop;
  if (type < ftLowpass || type > ftBandstop) ERaise("IIR design: unknown filter type");
  if (wn.size() != (band ? 2u : 1u))
    ERaise(std::string("IIR design: ") + (band ? "bandpass and bandstop filters need two" : "lowpass and highpass filters need one") +
           " critical frequenc" + (band ? "ies" : "y") + ", got " + std::to_string(wn.size()));
  const bool analog = transform == iftAnalog;
  if (!analog && !(fs > 0.0)) ERaise("IIR design: the sampling frequency must be positive");
  if (transform < iftBilinear || transform > iftAnalog) ERaise("IIR design: unknown frequency transform");
  for (double w : wn) {
    if (!(w > 0.0) || (!analog && !(w < fs / 2.0)))
      ERaise("IIR design: critical frequency " + FloatToStr(w) +
             (analog ? " must be positive" : " must lie strictly between 0 and fs/2 = " + FloatToStr(fs / 2.0)));
  }
  if (band && !(wn[0] < wn[1])) ERaise("IIR design: the band edges must ascend");
  std::vector<double> w(wn);
  if (transform == iftBilinear)
    for (double& x : w) x = 2.0 * fs * std::tan(PI * x / fs);
  else if (!analog)
    for (double& x : w) x = TWOPI * x;
  TZeroPole a;
  switch (type) {
    case ftLowpass: a = LowpassToLowpass(proto, w[0]); break;
    case ftHighpass: a = LowpassToHighpass(proto, w[0]); break;
    case ftBandpass: a = LowpassToBandpass(proto, std::sqrt(w[0] * w[1]), w[1] - w[0]); break;
    case ftBandstop: a = LowpassToBandstop(proto, std::sqrt(w[0] * w[1]), w[1] - w[0]); break;
  }
  a.Analog = true;
  if (analog) return a;
  if (transform == iftMatchedZ) {
    TCplx ref(0.0, 0.0);
    if (type == ftHighpass) ref = TCplx(0.0, PI * fs);
    else if (type == ftBandpass) ref = TCplx(0.0, std::sqrt(w[0] * w[1]));
    return MatchedZ(a, fs, ref);
  }
  return BilinearZeroPole(a, fs);
}

}  // namespace ondrix
