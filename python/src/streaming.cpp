// Streaming objects with state: filter, decimator, spectrum, cross-spectrum and bispectrum
// analyzers. Each keeps its state between process() calls, so a long signal processed
// block by block gives what it gives processed whole.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>

#include <pybind11/stl.h>

#include "bindings.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/framework/ClassInfo.h"
#include "ondrix/sigcore/fir_state.h"
#include "ondrix/sigcore/iir_state.h"
#include "ondrix/sigcore/multirate.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix::python {

namespace {

/// An FIR (with rational rate change) or SOS IIR filter over the signal core's states.
class Filter {
public:
  Filter(const py::object& sos, const py::object& taps, int up, int down) {
    if (sos.is_none() == taps.is_none()) throw py::value_error("give either sos or taps");
    if (!sos.is_none()) {
      auto a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(sos);
      if (!a || a.ndim() != 2 || a.shape(1) != 6) throw py::value_error("sos must be shaped (sections, 6)");
      if (up != 1 || down != 1) throw py::value_error("rate changes are for FIR taps only");
      TVec s(static_cast<int>(a.size()));
      std::memcpy(s.PValues(), a.data(), sizeof(double) * a.size());
      IirInit(s, iir_);
      isIir_ = true;
    } else {
      if (up < 1 || down < 1) throw py::value_error("up and down must be at least 1");
      const TVec t = ToVec(taps);
      if (t.Length() < 1) throw py::value_error("taps must hold at least one value");
      FirInit(t, fir_, up, 0, down, 0);
    }
  }
  py::array Process(const py::handle& x) {
    std::lock_guard<std::mutex> lock(mutex_);
    const py::array a = AsSamples(x);
    if (a.ndim() != 1) throw py::value_error("expected a 1-D array of samples");
    const bool complex = a.dtype().kind() == 'c';
    if (a.shape(0) > (1LL << 30)) throw py::value_error("a block holds at most 2^30 samples");
    const int n = static_cast<int>(a.shape(0));
    const double* src = static_cast<const double*>(a.data());
    if (isIir_ && complex == iir_.ComplexData) {
      // The cascade runs from NumPy's memory into the new array: no copy, no zero fill.
      py::array out = complex ? py::array(py::array_t<std::complex<double>>(n)) : py::array(py::array_t<double>(n));
      double* dst = static_cast<double*>(out.mutable_data());
      py::gil_scoped_release released;
      IirFilter(src, n, dst, complex, iir_);
      return out;
    }
    if (!isIir_ && !complex && !fir_.ComplexImpulse && !fir_.ComplexData && fir_.UpFactor == 1 &&
        fir_.DownFactor == 1) {
      py::array_t<double> out(n);
      double* dst = out.mutable_data();
      py::gil_scoped_release released;
      FirFilter(src, n, dst, fir_);
      return out;
    }
    ToVec(a, in_);
    TVec out;
    {
      py::gil_scoped_release released;
      if (isIir_)
        IirFilter(in_, out, iir_);
      else
        FirFilter(in_, out, fir_);
    }
    return FromVec(std::move(out));
  }
  void Reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (isIir_)
      IirReset(iir_);
    else
      FirReset(fir_);
  }

private:
  bool isIir_ = false;
  TIirState iir_;
  TFirState fir_;
  TVec in_;
  std::mutex mutex_;
};

/// Decimation by a power of two through the cascade of 2:1 stages of the decimator component
/// (half-band stages, then the last-stage lowpass), with the component's designs.
class Decimator {
public:
  Decimator(int factor, double ripple, double transbw) : factor_(factor) {
    if (factor < 1 || (factor & (factor - 1)) != 0) throw py::value_error("the factor must be a power of two");
    HalfBandLowpass(halfBand_, ripple, true);
    const double pass = (1.0 - transbw) * 0.5;
    MultiRateLowpass(lastStage_, pass, pass + transbw, ripple, true);
    stages_ = 0;
    for (int f = factor; f > 1; f >>= 1) ++stages_;
    CascadeInit(cascade_, cmDecimate, stages_, halfBand_, lastStage_);
  }
  py::array Process(const py::handle& x) {
    std::lock_guard<std::mutex> lock(mutex_);
    ToVec(AsSamples(x), in_);
    TVec out;
    {
      py::gil_scoped_release released;
      CascadeFilter(in_, out, cascade_);
    }
    return FromVec(std::move(out));
  }
  void Reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    CascadeReset(cascade_);
  }
  int factor_, stages_ = 0;
  TVec halfBand_, lastStage_;
  double Delay() const { return CascadeDelay(cascade_); }

private:
  TRateCascade cascade_;
  TVec in_;
  std::mutex mutex_;
};

/// Cuts a stream of blocks into frames of `length` samples every `hop` (≤ length) samples.
/// Frames that lie inside a block are read where the block is; only the stream's tail that
/// the next frame still needs is kept between blocks.
class Framer {
public:
  /// A frame as at most two runs of doubles: the kept tail, then the block.
  struct TFrame {
    const double* A = nullptr;
    std::size_t CountA = 0;
    const double* B = nullptr;
    std::size_t CountB = 0;
  };

  Framer(int length, int hop) : length_(length), hop_(hop) {}
  /// Starts on the next block (interleaved doubles when complex), which must stay alive
  /// until End.
  void Begin(const double* values, std::size_t count, bool complex) {
    if (!started_) complex_ = complex, started_ = true;
    if (complex != complex_) throw py::value_error("a stream is either real or complex throughout");
    block_ = values;
    count_ = static_cast<std::ptrdiff_t>(count);
    next_ = -static_cast<std::ptrdiff_t>(tail_.size() / Width());
  }
  /// The next complete frame, if the stream holds one.
  bool Next(TFrame& f) {
    if (next_ + length_ > count_) return false;
    const std::size_t w = Width();
    if (next_ >= 0) {
      f = {block_ + next_ * w, length_ * w, nullptr, 0};
    } else {
      const std::size_t kept = tail_.size() / w;
      f = {tail_.data() + (kept + next_) * w, static_cast<std::size_t>(-next_) * w, block_,
           static_cast<std::size_t>(length_ + next_) * w};
    }
    next_ += hop_;
    return true;
  }
  /// Keeps the samples from the next frame's start on.
  void End() {
    const std::size_t w = Width();
    if (next_ < 0) {
      tail_.erase(tail_.begin(), tail_.end() - static_cast<std::ptrdiff_t>(-next_ * w));
      tail_.insert(tail_.end(), block_, block_ + count_ * w);
    } else {
      tail_.assign(block_ + next_ * w, block_ + count_ * w);
    }
    block_ = nullptr;
    count_ = next_ = 0;
  }
  void Clear() {
    tail_.clear();
    started_ = false;
  }
  int Length() const { return length_; }

private:
  std::size_t Width() const { return complex_ ? 2 : 1; }

  int length_, hop_;
  bool complex_ = false, started_ = false;
  std::vector<double> tail_;
  const double* block_ = nullptr;
  std::ptrdiff_t count_ = 0, next_ = 0;  // in samples; next_ < 0 starts in the tail
};

/// Samples from one frame to the next; ValueError for a bad length or overlap.
int HopOf(int length, int overlap) {
  if (length < 2) throw py::value_error("frames need at least 2 samples");
  if (overlap < 0 || overlap >= length) throw py::value_error("overlap must lie in 0 .. length - 1 samples");
  return length - overlap;
}

/// Name -> averaging mode and spectrum type (ValueError otherwise).
TAveraging AveragingOf(const std::string& s) {
  if (s == "linear") return avLinearInf;
  if (s == "exponential") return avExponentInf;
  if (s == "none") return avNone;
  if (s == "peak") return avPeakHoldInf;
  throw py::value_error("unknown averaging '" + s + "' (linear, exponential, peak, none)");
}

TSpectrumType SpectrumTypeOf(const std::string& s) {
  if (s == "amplitude") return stAmplitude;
  if (s == "rms") return stRmsAmplitude;
  if (s == "power") return stPower;
  if (s == "peak") return stDoubleAmplitude;
  throw py::value_error("unknown spectrum type '" + s + "' (amplitude, rms, power, peak)");
}

/// What the frame-based analyzers share: the framer, the input signals and the component.
template <class A>
class FramedAnalysis {
public:
  FramedAnalysis(double fs, int length, int overlap, const std::string& window, int inputs)
      : framer_(length, HopOf(length, overlap)), an_(std::make_unique<A>(nullptr)) {
    if (!(fs > 0)) throw py::value_error("the sampling rate must be above 0");
    for (int i = 0; i < inputs; ++i) {
      signals_.push_back(std::make_unique<TSignal>(nullptr));
      signals_.back()->SetSamplingFrequency(fs);
      signals_.back()->SetName(i == 0 ? "X" : "Y");
    }
    an_->SetName("Analyzer");
    an_->SetWindow(WindowOf(window));
    an_->Stats()->SetAveraging(avLinearInf);
    Link();
  }
  TComponent* Component() { return an_.get(); }
  /// Starts again: no frame buffered, no average (the settings stay).
  void Reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    if constexpr (std::is_same_v<A, TBiSpectrumAnalyzer>) an_->BiAnalyzer()->FreeUpMemory();
    an_->Stats()->Reset();
    framer_.Clear();
    if (second_) second_->Clear();
  }
  py::array Frequencies() const {
    TVec f(an_->Amplt().Length());
    for (int i = 0; i < f.Length(); ++i) f.Values(i) = an_->LineFrequency(i);
    return FromVec(std::move(f));
  }
  unsigned Averaged() const { return an_->Stats()->Averaged(); }

protected:
  void Link() {
    an_->SetInput(signals_[0].get());
    if constexpr (std::is_same_v<A, TCrossSpectrumAnalyzer>) an_->SetOutput(signals_[1].get());
  }
  /// Feeds the frames of one stream (x), or of two streams in step (x, y).
  void Feed(const py::handle& x, const py::handle* y) {
    std::lock_guard<std::mutex> lock(mutex_);
    // The blocks go from NumPy's memory straight into the framers.
    const py::array ax = AsSamples(x);
    const py::array ay = y ? AsSamples(*y) : py::array();
    if (ax.ndim() != 1 || (y && ay.ndim() != 1)) throw py::value_error("expected 1-D arrays of samples");
    const bool complex = ax.dtype().kind() == 'c';
    const auto count = static_cast<std::size_t>(ax.shape(0));
    if (y) {
      if (static_cast<std::size_t>(ay.shape(0)) != count || (ay.dtype().kind() == 'c') != complex)
        throw py::value_error("x and y blocks must have the same length and type");
      if (!second_) second_ = std::make_unique<Framer>(framer_);
    }
    const auto* px = static_cast<const double*>(ax.data());
    const auto* py_ = y ? static_cast<const double*>(ay.data()) : nullptr;
    py::gil_scoped_release released;
    framer_.Begin(px, count, complex);
    if (y) second_->Begin(py_, count, complex);
    Framer::TFrame fx, fy;
    while (framer_.Next(fx)) {
      Put(*signals_[0], fx, complex);
      if (y) {
        second_->Next(fy);
        Put(*signals_[1], fy, complex);
      }
      an_->Update();
    }
    framer_.End();
    if (y) second_->End();
  }
  void Put(TSignal& s, const Framer::TFrame& f, bool complex) {
    TVec& d = s.Data();
    const int n = framer_.Length();
    if (d.Length() != n || d.Complex() != complex) d.Size(n, complex);
    std::memcpy(d.PValues(), f.A, sizeof(double) * f.CountA);
    if (f.CountB > 0) std::memcpy(d.PValues() + f.CountA, f.B, sizeof(double) * f.CountB);
  }

  Framer framer_;
  std::unique_ptr<Framer> second_;  // the second stream's frames (cross spectrum)
  std::vector<std::unique_ptr<TSignal>> signals_;
  std::unique_ptr<A> an_;
  std::mutex mutex_;
};

/// Averaged spectrum of the frames of a stream (the spectrum analyzer component).
class Analyzer : public FramedAnalysis<TSpectrumAnalyzer> {
public:
  Analyzer(double fs, int length, int overlap, const std::string& window, const std::string& type,
           const std::string& averaging, int zeroPadding)
      : FramedAnalysis(fs, length, overlap, window, 1) {
    an_->SetSpectrumType(SpectrumTypeOf(type));
    an_->Stats()->SetAveraging(AveragingOf(averaging));
    an_->SetZeroPadding(zeroPadding);
    an_->SetPhaseMode(pmIgnore);
  }
  void Process(const py::handle& x) { Feed(x, nullptr); }
  py::array Spectrum() const { return CopyOf(an_->Amplt()); }
};

/// Averaged cross and auto spectra, coherence and H1 of two streams.
class CrossSpectrum : public FramedAnalysis<TCrossSpectrumAnalyzer> {
public:
  CrossSpectrum(double fs, int length, int overlap, const std::string& window)
      : FramedAnalysis(fs, length, overlap, window, 2) {
    an_->SetPhaseMode(pmIgnore);
  }
  void Process(const py::handle& x, const py::handle& y) { Feed(x, &y); }
  TCrossAnalyzer& Cross() const { return *an_->CrossAnalyzer(); }
  py::array Coherence() const {
    Cross().DoCoherence();
    return CopyOf(Cross().Coherence());
  }
  py::array H1() const {
    Cross().DoTransferFunction();
    return CopyOf(Cross().TransferFunction());
  }
};

/// Averaged bispectrum and bicoherence of the frames of a stream.
class Bispectrum : public FramedAnalysis<TBiSpectrumAnalyzer> {
public:
  Bispectrum(double fs, int length, int overlap, const std::string& window, const std::string& normalisation,
             const std::optional<std::vector<double>>& lines)
      : FramedAnalysis(fs, length, overlap, window, 1) {
    TBiAnalyzer& b = *an_->BiAnalyzer();
    if (normalisation == "modified") b.SetBicoherenceType(bctModified);
    else if (normalisation == "default") b.SetBicoherenceType(bctDefault);
    else throw py::value_error("unknown normalisation '" + normalisation + "' (modified, default)");
    if (lines) {
      TVec v(static_cast<int>(lines->size()));
      for (std::size_t i = 0; i < lines->size(); ++i) v.Values(static_cast<int>(i)) = (*lines)[i];
      b.SetLines(v);
      b.SetSingleLinesOnly(true);
    }
  }
  void Process(const py::handle& x) { Feed(x, nullptr); }
  py::array Plane(bool bicoherence) {
    std::lock_guard<std::mutex> lock(mutex_);
    TBiAnalyzer& b = *an_->BiAnalyzer();
    b.SetTransform(bicoherence ? hoBicoherence : hoBispectrum);
    b.Update();
    const TMtx& m = b.Bispectrum();
    return FromVec(TVec(m), m.Rows(), m.Cols());
  }
  py::array AveragedPlane() const {
    const TMtx& m = an_->BiAnalyzer()->AveragedBispectrum();
    return FromVec(TVec(m), m.Rows(), m.Cols());
  }
};

}  // namespace

void BindStreaming(py::module_& m) {
  py::class_<Filter>(m, "Filter",
                     "A streaming filter: second-order sections (as scipy.signal.sosfilt with its state kept), or "
                     "FIR taps with an optional rational rate change (as scipy.signal.upfirdn without its tail). "
                     "Blocks of any lengths give the samples of the whole stream filtered at once.")
      .def(py::init<py::object, py::object, int, int>(), py::kw_only(), py::arg("sos") = py::none(),
           py::arg("taps") = py::none(), py::arg("up") = 1, py::arg("down") = 1)
      .def("process", &Filter::Process, py::arg("block"),
           "Filters the next block (1-D, real or complex); returns the outputs it completes.")
      .def("reset", &Filter::Reset, "Returns the delay lines to rest.");

  py::class_<Decimator>(m, "Decimator",
                        "Decimation by a power of two through a cascade of 2:1 equiripple stages (the decimator "
                        "component's designs): pass band up to (1 - transbw) of the new Nyquist frequency, "
                        "ripple a linear deviation (1e-4: 80 dB).")
      .def(py::init<int, double, double>(), py::arg("factor"), py::arg("ripple") = 1e-4, py::arg("transbw") = 0.1)
      .def("process", &Decimator::Process, py::arg("block"), "Decimates the next block; returns the new outputs.")
      .def("reset", &Decimator::Reset, "Returns every stage to rest.")
      .def_readonly("factor", &Decimator::factor_)
      .def_readonly("stages", &Decimator::stages_)
      .def_property_readonly("halfband_taps", [](const Decimator& d) { return CopyOf(d.halfBand_); })
      .def_property_readonly("last_stage_taps", [](const Decimator& d) { return CopyOf(d.lastStage_); })
      .def_property_readonly("delay", &Decimator::Delay, "Group delay through the cascade, input samples.");

  py::class_<Analyzer> analyzer(m, "Analyzer",
                                "Averaged spectrum of a stream (the spectrum analyzer component): frames of `length` "
                                "samples every length - overlap samples, the frame's mean removed, windowed, FFT of "
                                "length x zero_padding (rounded up to a power of two). A real tone A sin(2 pi f t) "
                                "reads A/2 ('amplitude'), A ('peak'), A/(2 sqrt 2) ('rms') or A^2/4 ('power') "
                                "on its line.");
  analyzer
      .def(py::init<double, int, int, const std::string&, const std::string&, const std::string&, int>(),
           py::arg("fs"), py::arg("length"), py::arg("overlap") = 0, py::arg("window") = "hann",
           py::arg("spectrum") = "power", py::arg("averaging") = "linear", py::arg("zero_padding") = 1)
      .def("process", &Analyzer::Process, py::arg("block"), "Analyses every frame the block completes.")
      .def("reset", &Analyzer::Reset, "Starts again: no frame, no average (settings kept).")
      .def_property_readonly("spectrum", &Analyzer::Spectrum, "The averaged spectrum, one value per line.")
      .def_property_readonly("frequencies", &Analyzer::Frequencies, "Line frequencies, Hz.")
      .def_property_readonly("averaged", &Analyzer::Averaged, "Frames averaged so far.");
  AddPropertyAccess(analyzer, &Analyzer::Component);

  py::class_<CrossSpectrum> cross(m, "CrossSpectrum",
                                  "Averaged cross spectrum Pxy = Y conj(X) and auto spectra of two streams, "
                                  "their coherence and H1 = Pxy/Pxx, over frames as Analyzer's. The spectra are "
                                  "scaled as scipy.signal.csd(scaling='spectrum') before its one-sided doubling.");
  cross
      .def(py::init<double, int, int, const std::string&>(), py::arg("fs"), py::arg("length"), py::arg("overlap") = 0,
           py::arg("window") = "hann")
      .def("process", &CrossSpectrum::Process, py::arg("x"), py::arg("y"),
           "Analyses every frame pair the blocks complete (x and y of equal lengths).")
      .def("reset", &CrossSpectrum::Reset, "Starts again (settings kept).")
      .def_property_readonly("pxy", [](const CrossSpectrum& c) { return CopyOf(c.Cross().CrossSpectrum()); })
      .def_property_readonly("pxx", [](const CrossSpectrum& c) { return CopyOf(c.Cross().InputSpectrum()); })
      .def_property_readonly("pyy", [](const CrossSpectrum& c) { return CopyOf(c.Cross().OutputSpectrum()); })
      .def_property_readonly("coherence", &CrossSpectrum::Coherence, "Magnitude-squared coherence per line.")
      .def_property_readonly("h1", &CrossSpectrum::H1, "Transfer function estimate Pxy/Pxx (0 where Pxx is 0).")
      .def_property_readonly("frequencies", &CrossSpectrum::Frequencies)
      .def_property_readonly("averaged", &CrossSpectrum::Averaged);
  AddPropertyAccess(cross, &CrossSpectrum::Component);

  py::class_<Bispectrum> bisp(m, "Bispectrum",
                              "Averaged bispectrum B(f1, f2) = X(f1) X(f2) conj(X(f1 + f2)) of a stream's frames "
                              "and its bicoherence; rows f1 and columns f2 from 0 to fs/2 in steps of fs/N, or "
                              "only the rows of `lines` (Hz).");
  bisp.def(py::init<double, int, int, const std::string&, const std::string&, std::optional<std::vector<double>>>(),
           py::arg("fs"), py::arg("length"), py::arg("overlap") = 0, py::arg("window") = "rectangular",
           py::arg("normalisation") = "modified", py::arg("lines") = py::none())
      .def("process", &Bispectrum::Process, py::arg("block"), "Analyses every frame the block completes.")
      .def("reset", &Bispectrum::Reset, "Starts again (settings kept).")
      .def_property_readonly("bicoherence", [](Bispectrum& b) { return b.Plane(true); },
                             "Squared bicoherence of the averages, in [0, 1].")
      .def_property_readonly("magnitude", [](Bispectrum& b) { return b.Plane(false); },
                             "Cube root of the averaged bispectrum's magnitude.")
      .def_property_readonly("bispectrum", &Bispectrum::AveragedPlane, "The averaged complex bispectrum.")
      .def_property_readonly("averaged", &Bispectrum::Averaged);
  AddPropertyAccess(bisp, &Bispectrum::Component);
}

}  // namespace ondrix::python
