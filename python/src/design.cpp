// Filter design: the signal core's FIR, equiripple, IIR and Savitzky-Golay routines with
// their order estimates, and band-layout designs through the filter component, which add
// the design report.
#include <memory>
#include <optional>
#include <stdexcept>

#include <pybind11/stl.h>

#include "bindings.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/sigcore/fir_design.h"
#include "ondrix/sigcore/iir_design.h"
#include "ondrix/sigcore/iir_order.h"
#include "ondrix/sigcore/remez.h"
#include "ondrix/sigcore/savgol.h"
#include "ondrix/sigcore/zero_pole.h"

namespace ondrix::python {

namespace {

/// Name -> enumeration of the band types, IIR methods and Bessel norms (ValueError otherwise).
TFilterType TypeOf(const std::string& s) {
  if (s == "lowpass") return ftLowpass;
  if (s == "highpass") return ftHighpass;
  if (s == "bandpass") return ftBandpass;
  if (s == "bandstop") return ftBandstop;
  throw py::value_error("unknown filter type '" + s + "' (lowpass, highpass, bandpass, bandstop)");
}

TIirMethod MethodOf(const std::string& s) {
  if (s == "butterworth" || s == "butter") return imButterworth;
  if (s == "chebyshev1" || s == "cheby1") return imChebyshevI;
  if (s == "chebyshev2" || s == "cheby2") return imChebyshevII;
  if (s == "elliptic" || s == "ellip") return imElliptic;
  if (s == "bessel") return imBessel;
  throw py::value_error("unknown IIR method '" + s + "' (butterworth, chebyshev1, chebyshev2, elliptic, bessel)");
}

TBesselNorm NormOf(const std::string& s) {
  if (s == "phase") return bnPhase;
  if (s == "delay") return bnDelay;
  if (s == "mag") return bnMag;
  throw py::value_error("unknown Bessel norm '" + s + "' (phase, delay, mag)");
}

py::array Complexes(const std::vector<TCplx>& v) {
  TVec out(static_cast<int>(v.size()), true);
  for (std::size_t i = 0; i < v.size(); ++i) out.CValues(static_cast<int>(i)) = v[i];
  return FromVec(std::move(out));
}

/// A zero-pole-gain design in the form asked for: sos (sections × 6), zpk or ba.
py::object Output(const TZeroPole& zp, const std::string& output) {
  if (output == "zpk") return py::make_tuple(Complexes(zp.Zeros), Complexes(zp.Poles), zp.Gain);
  if (output == "ba") {
    TVec b, a;
    ZeroPoleToTransferFun(zp, b, a);
    return py::make_tuple(FromVec(std::move(b)), FromVec(std::move(a)));
  }
  if (output == "sos") {
    TVec sos;
    ZeroPoleToSos(zp, sos);
    const int sections = SosSections(sos);
    return FromVec(std::move(sos), sections, 6);
  }
  throw py::value_error("unknown output '" + output + "' (sos, zpk, ba)");
}

/// ondrix.firwin and the rest: the signal core's routines with NumPy arguments and results.
py::array FirWin(int numtaps, const py::handle& cutoff, const std::string& type, const std::string& window,
                 double param, double fs) {
  if (numtaps < 1) throw py::value_error("numtaps must be at least 1");
  TVec taps(numtaps);
  FirImpulse(taps, Doubles(cutoff), fs, WindowOf(window), TypeOf(type), param);
  return FromVec(std::move(taps));
}

py::array Remez(int numtaps, const py::handle& bands, const py::handle& desired, const py::object& weights,
                const std::string& type, double fs, int grid, int maxiter) {
  TRemezType t = rtBandpass;
  if (type == "differentiator") t = rtDifferentiator;
  else if (type == "hilbert") t = rtHilbert;
  else if (type != "bandpass") throw py::value_error("unknown remez type '" + type + "' (bandpass, differentiator, hilbert)");
  TVec taps;
  remez(taps, numtaps, Doubles(bands), Doubles(desired), weights.is_none() ? std::vector<double>{} : Doubles(weights),
        t, fs, grid, maxiter);
  return FromVec(std::move(taps));
}

py::object IirFilter(const std::string& method, int order, const py::handle& wn, const std::string& type, double rp,
                     double rs, double fs, const std::string& output, const std::string& norm) {
  const TIirMethod m = MethodOf(method);
  const std::vector<double> w = Doubles(wn);
  TZeroPole zp = m == imBessel ? BesselFilter(order, w, TypeOf(type), fs, iftBilinear, NormOf(norm))
                               : IirDesign(m, order, rp, rs, w, TypeOf(type), fs);
  return Output(zp, output);
}

py::tuple IirOrderOf(const std::string& method, const py::handle& wp, const py::handle& ws, double rp, double rs,
                     double fs) {
  const std::vector<double> p = Doubles(wp), s = Doubles(ws);
  TIirOrder o;
  switch (MethodOf(method)) {
    case imChebyshevI: o = ChebyshevIOrder(p, s, rp, rs, fs); break;
    case imChebyshevII: o = ChebyshevIIOrder(p, s, rp, rs, fs); break;
    case imElliptic: o = EllipticOrder(p, s, rp, rs, fs); break;
    default: o = ButterOrder(p, s, rp, rs, fs); break;
  }
  py::object wn = o.Wn.size() == 1 ? py::object(py::float_(o.Wn[0])) : py::object(py::cast(o.Wn));
  return py::make_tuple(o.Order, wn);
}

py::array SavGol(int length, int order, int deriv, double delta, int pos) {
  TVec taps;
  SavGolayImpulse(taps, length, order, deriv, delta, pos);
  return FromVec(std::move(taps));
}

/// A design report as a dict.
py::dict Report(const TDesignReport& r) {
  py::list bands;
  for (const TBandReport& b : r.Bands) {
    py::dict d;
    d["start"] = b.FreqStart;
    d["stop"] = b.FreqStop;
    d["gain"] = b.Gain;
    d["specified_db"] = b.Specified;
    d["achieved_db"] = b.Achieved;
    d["met"] = b.Met;
    bands.append(d);
  }
  py::dict d;
  d["designed"] = r.Designed;
  d["length"] = r.Length;
  d["all_met"] = r.AllMet();
  d["bands"] = bands;
  return d;
}

/// A band-layout design through the filter component (as `ondrix design` does).
py::dict Design(const std::vector<std::tuple<double, double, double, double>>& bands, double fs,
                const std::string& method, int order) {
  TSignalFilter f(nullptr);
  f.SetName("Filter");
  f.SetSamplingFrequency(fs);
  f.SetUseNormalizedFrequency(false);
  auto* shape = new TSignal(&f);  // the filter prepares for the kind of data its input carries
  shape->SetSamplingFrequency(fs);
  f.SetInput(shape);
  for (const auto& [lo, hi, gain, ripple] : bands) f.Bands().Add(lo, hi, gain, ripple);
  const bool fir = method == "window" || method == "remez";
  if (fir) {
    f.SetResponse(rstFIR);
    f.SetFirMethod(method == "remez" ? fimParksMcClellan : fimWindow);
    if (order > 0) f.SetAutoFilterOrder(false), f.SetFirLength(order);
  } else {
    f.SetResponse(rstIIR);
    f.SetIirMethod(MethodOf(method));
    if (order > 0) f.SetAutoFilterOrder(false), f.SetOrder(order);
  }
  f.Prepare();
  if (!f.Prepared() || !f.DesignReport().Designed) throw ondrix::Exception("the design failed for these bands");
  py::dict d;
  d["method"] = method;
  d["fs"] = fs;
  if (fir) {
    d["taps"] = CopyOf(f.Taps());
  } else {
    TVec num, den, zeros, poles;
    double gain = 0;
    f.TransferFunIIR(&num, &den);
    f.ZeroPoleIIR(&zeros, &poles, &gain);
    TVec sos;
    TransferFunToSos(num, den, sos);
    const int sections = SosSections(sos);
    d["sos"] = FromVec(std::move(sos), sections, 6);
    d["zpk"] = py::make_tuple(FromVec(std::move(zeros)), FromVec(std::move(poles)), gain);
    d["ba"] = py::make_tuple(FromVec(std::move(num)), FromVec(std::move(den)));
  }
  d["report"] = Report(f.DesignReport());
  return d;
}

}  // namespace

void BindDesign(py::module_& m) {
  m.def("firwin", &FirWin, py::arg("numtaps"), py::arg("cutoff"), py::arg("type") = "lowpass",
        py::arg("window") = "hamming", py::arg("param") = 0.0, py::arg("fs") = 2.0,
        "Windowed-sinc FIR taps (as scipy.signal.firwin with scale=True). cutoff: one edge (lowpass, "
        "highpass) or two (bandpass, bandstop) in units of fs (default fs = 2: Nyquist = 1). param: the "
        "window's parameter (Kaiser beta, Chebyshev attenuation in dB, ...). Even lengths of highpass and "
        "bandstop filters are raised by one.");
  m.def("kaiserord", [](const py::handle& edges, double delta, double fs) {
          return py::make_tuple(KaiserFirLength(Doubles(edges), delta, fs), KaiserBetaFir(delta));
        },
        py::arg("edges"), py::arg("delta"), py::arg("fs") = 2.0,
        "Kaiser's length and beta for a windowed design of ripple delta (linear) over transition bands "
        "given as ascending edge pairs.");
  m.def("remez", &Remez, py::arg("numtaps"), py::arg("bands"), py::arg("desired"), py::arg("weights") = py::none(),
        py::arg("type") = "bandpass", py::arg("fs") = 2.0, py::arg("grid_density") = 16, py::arg("maxiter") = 40,
        "Parks-McClellan equiripple taps (as scipy.signal.remez; note the default fs = 2 here).");
  m.def("remezord", [](const py::handle& bands, const py::handle& deviations, double fs) {
          return RemezLength(Doubles(bands), Doubles(deviations), fs);
        },
        py::arg("bands"), py::arg("deviations"), py::arg("fs") = 2.0,
        "Herrmann's length estimate of an equiripple multiband filter (one linear deviation per band).");
  m.def("iirfilter", &IirFilter, py::arg("method"), py::arg("order"), py::arg("wn"), py::arg("type") = "lowpass",
        py::arg("rp") = 1.0, py::arg("rs") = 40.0, py::arg("fs") = 2.0, py::arg("output") = "sos",
        py::arg("norm") = "phase",
        "A digital IIR design: method butterworth, chebyshev1 (rp dB ripple), chebyshev2 (rs dB stop band), "
        "elliptic (rp, rs) or bessel (norm phase, delay or mag); wn one or two critical frequencies in units "
        "of fs. output: 'sos' (sections x 6), 'zpk' (zeros, poles, gain) or 'ba'.");
  m.def("iirorder", &IirOrderOf, py::arg("method"), py::arg("wp"), py::arg("ws"), py::arg("rp"), py::arg("rs"),
        py::arg("fs") = 2.0,
        "The least order meeting rp dB in the pass band and rs dB in the stop band, and the natural "
        "frequencies to design with (scipy's buttord, cheb1ord, cheb2ord, ellipord). Returns (order, wn).");
  m.def("savgol_coeffs", &SavGol, py::arg("length"), py::arg("polyorder"), py::arg("deriv") = 0,
        py::arg("delta") = 1.0, py::arg("pos") = -1,
        "Savitzky-Golay taps in convolution order (scipy.signal.savgol_coeffs, use='conv'); pos -1: the centre.");
  m.def("design", &Design, py::arg("bands"), py::arg("fs") = 2.0, py::arg("method") = "window", py::arg("order") = 0,
        "Designs a filter from a band layout, as the filter component and `ondrix design` do. bands: "
        "(start, stop, gain, ripple_db) per band, gain 0 for a stop band (ripple_db its attenuation); "
        "method: window (Kaiser), remez, butterworth, chebyshev1, chebyshev2, elliptic, bessel; order 0: the "
        "least that meets the bands. Returns a dict with 'taps' (FIR) or 'sos', 'zpk', 'ba' (IIR), and "
        "'report': per band what the design achieved.");
}

}  // namespace ondrix::python
