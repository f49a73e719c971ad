#include "ondrix/SignalProcessing/SignalFilter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/sigcore/envelope.h"
#include "ondrix/sigcore/filter_response.h"
#include "ondrix/sigcore/fir_design.h"
#include "ondrix/sigcore/iir_order.h"
#include "ondrix/sigcore/remez.h"
#include "ondrix/sigcore/savgol.h"
#include "ondrix/sigcore/zero_pole.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

constexpr int kMaxFirLength = 10000;
// Pole radius of the notch in the direct (second-order sections) path and in the zero-pole
// path of the design.
constexpr double kNotchRadius = 0.9999;
constexpr double kNotchRadiusZeroPole = 0.99;
// Points of the grid on which a design is measured.
constexpr int kReportGrid = 4096;


bool IsFirFamily(TResponseType r) {
  switch (r) {
    case rstFIR:
    case rstDifferentiator:
    case rstDoubleDifferentiator:
    case rstIntegrator:
    case rstDoubleIntegrator:
    case rstHilbert:
    case rstSavGolay:
    case rstMovingAverage: return true;
    default: return false;
  }
}

}  // namespace

const TClassInfo& TSignalFilter::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSignalFilter, TSignal>("TSignalFilter")
          .Prop("Input", &TSignalFilter::GetInput, &TSignalFilter::SetInput)
          .Stored(&TSignalFilter::InputsStored)
          .Prop("Filters", &TSignalFilter::Filters)
          .Prop("Taps", &TSignalFilter::TapsArray, &TSignalFilter::SetTapsArray)
          .Prop("ExternalTaps", &TSignalFilter::ExternalTaps, &TSignalFilter::SetExternalTaps, false)
          .Prop("FirLength", &TSignalFilter::FirLength, &TSignalFilter::SetFirLength, 1)
          .Prop("UpSample", &TSignalFilter::UpSample, &TSignalFilter::SetUpSample, 1)
          .Prop("UpDelay", &TSignalFilter::UpDelay, &TSignalFilter::SetUpDelay, 0)
          .Prop("DownSample", &TSignalFilter::DownSample, &TSignalFilter::SetDownSample, 1)
          .Prop("DownDelay", &TSignalFilter::DownDelay, &TSignalFilter::SetDownDelay, 0)
          .Enum("FirMethod", &TSignalFilter::FirMethod, &TSignalFilter::SetFirMethod,
                {"fimWindow", "fimParksMcClellan"}, fimWindow)
          .Enum("Window", &TSignalFilter::Window, &TSignalFilter::SetWindow,
                {"wtRectangular", "wtHanning", "wtHamming", "wtFlatTop", "wtBartlett", "wtBlackman",
                 "wtBlackmanHarris", "wtBlackmanExact", "wtCosineTapered", "wtKaiser", "wtChebyshev",
                 "wtExponent"},
                wtKaiser)
          .Prop("Beta", &TSignalFilter::Beta, &TSignalFilter::SetBeta, 4.0)
          .Prop("IgnoreAtt", &TSignalFilter::IgnoreAtt, &TSignalFilter::SetIgnoreAtt, false)
          .Prop("GridDensity", &TSignalFilter::GridDensity, &TSignalFilter::SetGridDensity, 16)
          .Prop("Order", &TSignalFilter::Order, &TSignalFilter::SetOrder, 4)
          .Prop("AutoFilterOrder", &TSignalFilter::AutoFilterOrder, &TSignalFilter::SetAutoFilterOrder, true)
          .Enum("IirMethod", &TSignalFilter::IirMethod, &TSignalFilter::SetIirMethod,
                {"imButterworth", "imChebyshevI", "imChebyshevII", "imElliptic", "imDcRemoval", "imNotch",
                 "imBessel"},
                imButterworth)
          .Enum("IIRFrequencyTransform", &TSignalFilter::IIRFrequencyTransform,
                &TSignalFilter::SetIIRFrequencyTransform,
                {"iftBilinear", "iftBilinearNoPrewarp", "iftMatchedZ", "iftAnalog"}, iftBilinear)
          .Prop("NormalizedFrequency", &TSignalFilter::NormalizedFrequency, &TSignalFilter::SetNormalizedFrequency,
                2.0)
          .Prop("UseNormalizedFrequency", &TSignalFilter::UseNormalizedFrequency,
                &TSignalFilter::SetUseNormalizedFrequency, true)
          .Enum("Response", &TSignalFilter::Response, &TSignalFilter::SetResponse,
                {"rstUnit", "rstFIR", "rstDifferentiator", "rstDoubleDifferentiator", "rstIntegrator",
                 "rstDoubleIntegrator", "rstHilbert", "rstIIR", "rstSavGolay", "rstMovingAverage", "rstMedian",
                 "rstEnvelope", "rstWavelet", "rstIntegerDelay"},
                rstUnit)
          .Enum("Wavelet", &TSignalFilter::Wavelet, &TSignalFilter::SetWavelet,
                {"wvHaar", "wvDaubechies", "wvSymlet", "wvCoiflet", "wvBiorthogonal"}, wvHaar)
          .Prop("WaveletP1", &TSignalFilter::WaveletP1, &TSignalFilter::SetWaveletP1, 1)
          .Prop("WaveletP2", &TSignalFilter::WaveletP2, &TSignalFilter::SetWaveletP2, 1)
          .Enum("WaveletDecomp", &TSignalFilter::WaveletDecomp, &TSignalFilter::SetWaveletDecomp,
                {"wdDecimated", "wdUndecimated"}, wdDecimated)
          .Build();
  return info;
}

TSignalFilter::TSignalFilter(TComponent* AOwner)
    : TSignal(AOwner), filters_(std::make_unique<TFilterList>(this)) {
  SetUsesInputs(true);
}

TSignalFilter::~TSignalFilter() { BeginDestroy(); }

TFloatArray TSignalFilter::TapsArray() const { return ToFloatArray(taps_); }
void TSignalFilter::SetTapsArray(const TFloatArray& a) { FromFloatArray(taps_, a); }

// --- Setters -------------------------------------------------------------------------------

void TSignalFilter::SetFirLength(int v) {
  v = std::clamp(v, 1, kMaxFirLength);
  if (response_ == rstSavGolay && v % 2 == 0) v = v < kMaxFirLength ? v + 1 : v - 1;
  firLength_ = v;
}

void TSignalFilter::SetUpSample(int v) {
  upSample_ = std::max(v, 0);
  upDelay_ = std::min(upDelay_, upSample_ - 1);
}

void TSignalFilter::SetUpDelay(int v) { upDelay_ = std::min(v, upSample_ - 1); }

void TSignalFilter::SetDownSample(int v) {
  downSample_ = std::max(v, 0);
  downDelay_ = std::min(downDelay_, downSample_ - 1);
}

void TSignalFilter::SetDownDelay(int v) { downDelay_ = std::min(v, downSample_ - 1); }

void TSignalFilter::SetOrder(int v) {
  order_ = response_ == rstSavGolay ? std::min(v, firLength_ - 1) : std::clamp(v, 1, 50);
}

void TSignalFilter::SetResponse(TResponseType v) {
  if (v == response_) return;
  response_ = v;
  prepared_ = false;
  if (v == rstSavGolay) SetFirLength(firLength_);
}

void TSignalFilter::Assign(const TPersistent& Source) {
  TSignal::Assign(Source);
  prepared_ = false;
}

void TSignalFilter::InternalParamUpdate(TObject* Sender) {
  TSignal::InternalParamUpdate(Sender);
  prepared_ = false;
}

void TSignalFilter::SaveToStream(TStream& Stream) const {
  filters_->Consolidate();
  TSignal::SaveToStream(Stream);
}

void TSignalFilter::LoadFromStream(TStream& Stream) {
  filters_->SetTemplateIndex(-1);
  TSignal::LoadFromStream(Stream);
}

double TSignalFilter::DesignFS() const { return useNormalizedFrequency_ ? normalizedFrequency_ : SamplingFrequency(); }

// --- Filtering -----------------------------------------------------------------------------

TPipeState TSignalFilter::InternalUpdate() {
  const double fs = Input()->SamplingFrequency();
  SetSamplingFrequency(downSample_ != 0 ? fs * upSample_ / downSample_ : 0.0);
  Process(Input()->Data(), Data());
  return pipeOK;
}

void TSignalFilter::Prepare() {
  if (prepared_) return;
  if (!externalTaps_) ApplyChanges();
  prepared_ = Init();
}

void TSignalFilter::Process(const TVec& Src, TVec& Dst) {
  Prepare();
  if (!prepared_) {
    Dst.Copy(Src);
    return;
  }
  switch (response_) {
    case rstUnit: Dst.Copy(Src); break;
    case rstIIR: IirFilter(Src, Dst, iirState_); break;
    case rstMedian: MedianFilter(Src, Dst, medianState_); break;
    case rstEnvelope: EnvelopeDetector(Src, Dst, firLength_); break;
    case rstIntegerDelay: DelayFilter(Src, Dst, medianState_); break;
    case rstWavelet: break;  // the state is prepared; the output is left as it is
    default: FirFilter(Src, Dst, firState_); break;
  }
}

double TSignalFilter::ProcessSample(double x) {
  Prepare();
  if (!prepared_) return x;
  if (firState_.ComplexImpulse) ERaise("FirState.ComplexImpulse = True!");
  if (response_ != rstFIR) ERaise("Only real valued FIR is supported!");
  return FirOneSample(x, firState_);
}

bool TSignalFilter::Init() {
  TSignal* in = Input();
  if (response_ == rstUnit || response_ == rstEnvelope) return true;
  if (IsFirFamily(response_)) {
    if (taps_.Length() == 0 || !in) return false;
    FirInit(taps_, firState_, upSample_, upDelay_, downSample_, downDelay_);
    return true;
  }
  switch (response_) {
    case rstIIR:
      if (taps_.Length() == 0 || !in) return false;
      IirInit(taps_, iirState_, in->Data().Complex());
      return true;
    case rstMedian: MedianInit(firLength_, medianState_); return true;
    case rstIntegerDelay: DelayInit(firLength_, medianState_); return true;
    case rstWavelet:
      WaveletInit(in ? in->Length() : 0, waveletP1_, waveletP2_, order_, wavelet_, waveletState_);
      return true;
    default: return false;
  }
}

// --- Design --------------------------------------------------------------------------------

TFilterType TSignalFilter::TypeFromBands(bool iir) const {
  const TBandFilterList& b = Bands();
  const bool three = b.Count() == 3;
  if (iir) {
    // The IIR design reads band 0: a stop band first means highpass (or bandpass).
    if (b.Items(0)->IsStopBand()) return three ? ftBandpass : ftHighpass;
    return three ? ftBandstop : ftLowpass;
  }
  // The windowed design reads band 1: a stop band there means lowpass (or bandstop).
  if (b.Items(1)->IsStopBand()) return three ? ftBandstop : ftLowpass;
  return three ? ftBandpass : ftHighpass;
}

namespace {

std::vector<double> TransitionEdges(const TBandFilterList& b) {
  std::vector<double> e{b.Items(0)->FreqStop, b.Items(1)->FreqStart};
  if (b.Count() == 3) e.insert(e.end(), {b.Items(1)->FreqStop, b.Items(2)->FreqStart});
  return e;
}

double SmallestDeviation(const TBandFilterList& b) {
  double d = b.Items(0)->Deviation();
  for (int i = 1; i < b.Count(); ++i) d = std::min(d, b.Items(i)->Deviation());
  return d;
}

void RequireBands(const TBandFilterList& b) {
  if (b.Count() < 1) ERaise("Filters.Templates.Count < 1");
}

}  // namespace

void TSignalFilter::ApplyChanges() {
  taps_.SetLength(0);
  report_ = TDesignReport{};
  switch (response_) {
    case rstFIR:
      if (firMethod_ == fimWindow)
        DesignWindowed();
      else
        DesignEquiripple();
      break;
    case rstDifferentiator:
    case rstDoubleDifferentiator:
    case rstIntegrator:
    case rstDoubleIntegrator:
    case rstHilbert: DesignSpecial(); break;
    case rstIIR: ComputeIirFilter(irtNumDen, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, true); break;
    case rstSavGolay:
      SavGolayImpulse(taps_, firLength_, order_);
      break;
    case rstMovingAverage: MovingAverageImpulse(taps_, firLength_); break;
    default: return;
  }
  Measure();
}

void TSignalFilter::DesignWindowed() {
  TBandFilterList& b = Bands();
  b.Sort();
  if (b.Count() != 2 && b.Count() != 3) ERaise("Windowed filter design: 2 or 3 bands required!");
  const TFilterType type = TypeFromBands(false);
  const int passBand = type == ftLowpass || type == ftBandstop ? 0 : 1;
  ComputeWindowFilter(DesignFS(), SmallestDeviation(b), b.Items(passBand)->Gain, TransitionEdges(b), type, taps_);
}

void TSignalFilter::ComputeWindowFilter(double FS, double Delta, double Gain, const std::vector<double>& Edges,
                                        TFilterType Type, TVec& Dst) {
  if (autoFilterOrder_ && window_ == wtKaiser) {
    int n = KaiserFirLength({Edges[0], Edges[1]}, Delta, FS);
    if (Edges.size() == 4) n = std::max(n, KaiserFirLength({Edges[2], Edges[3]}, Delta, FS));
    firLength_ = n;
  }
  firLength_ = std::clamp(firLength_, 3, kMaxFirLength);
  Dst.Size(firLength_, false);
  double param = 0.0;
  if (window_ == wtBlackman)
    param = beta_;
  else if (window_ == wtKaiser)
    param = ignoreAtt_ ? beta_ : KaiserBetaFir(Delta);
  else if (window_ == wtChebyshev)
    param = -20.0 * std::log10(Delta) * 0.8;
  FirImpulse(Dst, Edges, FS, window_, Type, param);
  Dst.Scale(Gain);
  if (&Dst != &taps_) {
    // Several designs may be summed into Taps.
    if (taps_.Length() < Dst.Length()) taps_.SetLength(Dst.Length());
    for (int i = 0; i < Dst.Length(); ++i) taps_.Values(i) += Dst.Values(i);
  }
  firLength_ = taps_.Length();
}

void TSignalFilter::DesignEquiripple() {
  TBandFilterList& b = Bands();
  b.Sort();
  const double fs = DesignFS();
  std::vector<double> bands, desired, deviations;
  for (int i = 0; i < b.Count(); ++i) {
    bands.insert(bands.end(), {b.Items(i)->FreqStart, b.Items(i)->FreqStop});
    desired.push_back(b.Items(i)->Gain);
    deviations.push_back(b.Items(i)->Deviation());
  }
  // The band allowed the largest deviation gets weight 1, the others proportionally more.
  const double largest = *std::max_element(deviations.begin(), deviations.end());
  std::vector<double> weights;
  for (double d : deviations) weights.push_back(largest / d);
  if (autoFilterOrder_) firLength_ = RemezLength(bands, deviations, fs);
  firLength_ = std::clamp(firLength_, 1, kMaxFirLength);
  remez(taps_, firLength_, bands, desired, weights, rtBandpass, fs, gridDensity_);
}

void TSignalFilter::DesignSpecial() {
  TBandFilterList& b = Bands();
  RequireBands(b);
  b.Sort();
  const double fs = DesignFS();
  const TBandFilterRecord& band = *b.Items(0);
  const double f1 = band.FreqStart, f2 = band.FreqStop;
  // The transition of a special response is the room its band leaves at either end of the
  // axis: below f1 (integrators, Hilbert) or above f2 (differentiators).
  const double below = f1, above = fs / 2.0 - f2;
  double transition = (response_ == rstDifferentiator || response_ == rstDoubleDifferentiator) ? above : below;
  if (!(transition > 0)) transition = std::max(below, above);
  if (!(transition > 0)) transition = fs / 20.0;
  const double delta = std::min(band.Deviation(), 0.5);
  const bool windowed = firMethod_ == fimWindow && (response_ == rstDifferentiator || response_ == rstHilbert);
  if (windowed) {
    if (autoFilterOrder_ && window_ == wtKaiser) firLength_ = KaiserFirLength({0.0, transition}, delta, fs);
    firLength_ = std::clamp(firLength_, 3, kMaxFirLength);
    taps_.Size(firLength_, false);
    double param = window_ == wtKaiser ? (ignoreAtt_ ? beta_ : KaiserBetaFir(delta)) : (window_ == wtBlackman ? beta_ : 0.0);
    if (response_ == rstDifferentiator)
      FirDifferentiator(taps_, window_, param, f2, fs);
    else
      FirHilbert(taps_, window_, param, f1, f2, fs);
    return;
  }
  TRemezImpulseType kind = ritDifferentiator;
  switch (response_) {
    case rstDoubleDifferentiator: kind = ritDoubleDifferentiator; break;
    case rstIntegrator: kind = ritIntegrator; break;
    case rstDoubleIntegrator: kind = ritDoubleIntegrator; break;
    case rstHilbert: kind = ritHilbert; break;
    default: break;
  }
  if (autoFilterOrder_) firLength_ = RemezFirLength(transition, delta, fs);
  firLength_ = std::clamp(firLength_, 3, kMaxFirLength);
  RemezImpulse(taps_, firLength_, kind, f1, f2, fs, gridDensity_);
}

void TSignalFilter::ComputeIirFilter(TIirResultType Result, TVec* R0, TVec* R1, double* Gain, TMtx* A, TMtx* B,
                                     TMtx* C, TMtx* D, bool toTaps) {
  TBandFilterList& b = Bands();
  b.Sort();
  if (b.Count() != 2 && b.Count() != 3) ERaise("IIR filter design: 2 or 3 bands required!");
  const double fs = DesignFS();
  const std::vector<double> edges = TransitionEdges(b);
  const TFilterType type = TypeFromBands(true);
  double rp = 0, rs = 0;
  switch (type) {
    case ftLowpass: rp = b.Items(0)->Ripple, rs = b.Items(1)->Ripple; break;
    case ftHighpass: rp = b.Items(1)->Ripple, rs = b.Items(0)->Ripple; break;
    case ftBandpass: rp = b.Items(1)->Ripple, rs = std::max(b.Items(0)->Ripple, b.Items(2)->Ripple); break;
    case ftBandstop: rs = b.Items(1)->Ripple, rp = std::max(b.Items(0)->Ripple, b.Items(2)->Ripple); break;
  }
  // Without order estimation the design is specified at the passband edges.
  std::vector<double> wn;
  switch (type) {
    case ftLowpass: wn = {edges[0]}; break;
    case ftHighpass: wn = {edges[1]}; break;
    case ftBandpass: wn = {edges[1], edges[2]}; break;
    case ftBandstop: wn = {edges[0], edges[3]}; break;
  }
  if (iirMethod_ == imDcRemoval || iirMethod_ == imNotch) {
    order_ = 1;
    wn = edges;
  } else if (autoFilterOrder_) {
    TIirOrder est = IirOrder(iirMethod_, edges, type, rp, rs, fs);
    order_ = std::clamp(est.Order, 1, 50);
    wn = est.Wn;
  }
  const bool zeroPolePath = Result == irtZeroPole;
  TZeroPole zp = IirDesign(iirMethod_, order_, rp, rs, wn, type, fs, transform_,
                           zeroPolePath ? kNotchRadiusZeroPole : kNotchRadius);
  if (toTaps) {
    ZeroPoleToSos(zp, taps_);
    return;
  }
  switch (Result) {
    case irtNumDen:
      if (!R0) ERaise("Result[0] not assigned");
      if (!R1) ERaise("Result[1] not assigned");
      ZeroPoleToTransferFun(zp, *R0, *R1);
      break;
    case irtZeroPole:
      if (!R0) ERaise("Result[0] not assigned");
      if (!R1) ERaise("Result[1] not assigned");
      ZeroPoleToVec(zp, *R0, *R1);
      if (Gain) *Gain = zp.Gain;
      break;
    case irtStateSpace:
      if (!A || !B) ERaise(!A ? "Result[0] not assigned" : "Result[1] not assigned");
      if (!C || !D) ERaise("Result[1] not assigned");
      ZeroPoleToStateSpace(zp, *A, *B, *C, *D);
      break;
  }
}

void TSignalFilter::TransferFunIIR(TVec* Num, TVec* Den) {
  ComputeIirFilter(irtNumDen, Num, Den, nullptr, nullptr, nullptr, nullptr, nullptr, false);
}

void TSignalFilter::ZeroPoleIIR(TVec* Zeros, TVec* Poles, double* Gain) {
  ComputeIirFilter(irtZeroPole, Zeros, Poles, Gain, nullptr, nullptr, nullptr, nullptr, false);
}

void TSignalFilter::StateSpaceIIR(TMtx* A, TMtx* B, TMtx* C, TMtx* D) {
  ComputeIirFilter(irtStateSpace, nullptr, nullptr, nullptr, A, B, C, D, false);
}

// --- Design report -------------------------------------------------------------------------

bool TDesignReport::AllMet() const {
  return std::all_of(Bands.begin(), Bands.end(), [](const TBandReport& b) { return b.Met; });
}

std::string TDesignReport::ToString() const {
  std::string s;
  char line[200];
  std::snprintf(line, sizeof line, "%s %d%s\n", Response == rstIIR ? "order" : "taps", Length,
                AllMet() ? "" : " (specification not met)");
  s += line;
  for (const TBandReport& b : Bands) {
    std::snprintf(line, sizeof line, "%-12g %-12g %-6s %-10s %10.3f dB  %10.3f dB  %s\n", b.FreqStart, b.FreqStop,
                  b.Gain == 0 ? "stop" : "pass", b.Gain == 0 ? "atten." : "ripple", b.Specified, b.Achieved,
                  b.Met ? "met" : "NOT MET");
    s += line;
  }
  return s;
}

void TSignalFilter::Measure() {
  report_.Response = response_;
  report_.Designed = taps_.Length() > 0;
  report_.Length = response_ == rstIIR ? order_ : taps_.Length();
  if (!report_.Designed || (response_ != rstFIR && response_ != rstIIR)) return;
  const TBandFilterList& b = Bands();
  const double fs = DesignFS();
  TVec freqs(kReportGrid), h, db;
  freqs.Ramp(0.0, fs / 2.0 / (kReportGrid - 1));
  if (response_ == rstIIR)
    SosResponse(taps_, freqs, h, fs);
  else
    TransferFunResponse(taps_, TVec(), freqs, h, fs);
  ResponseDb(h, db);
  std::vector<TBandCheck> checks;
  for (int i = 0; i < b.Count(); ++i) {
    const TBandFilterRecord& band = *b.Items(i);
    checks.push_back({band.FreqStart, band.FreqStop, band.IsStopBand(), band.Ripple});
  }
  CheckBands(freqs, db, checks);
  for (int i = 0; i < b.Count(); ++i) {
    const TBandFilterRecord& band = *b.Items(i);
    const TBandCheck& c = checks[static_cast<std::size_t>(i)];
    if (c.Sampled)  // a band narrower than the grid step is left out
      report_.Bands.push_back({band.FreqStart, band.FreqStop, band.Gain, band.Ripple, c.Achieved, c.Met});
  }
}

// --- List ----------------------------------------------------------------------------------

const TClassInfo& TSignalFilterList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSignalFilterList, TSignalList>("TSignalFilterList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSignalFilterList::AddItem() { return std::make_unique<TSignalFilter>(nullptr); }

}  // namespace ondrix
