#include "ondrix/SignalAnalysis/SpectrumBands.h"

#include <cmath>

#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/framework/ClassBuilder.h"

namespace ondrix {

namespace {

/// Mantissas of the R10 preferred numbers, the nominal frequencies of base-ten bands.
constexpr double kR10[10] = {1.0, 1.25, 1.6, 2.0, 2.5, 3.15, 4.0, 5.0, 6.3, 8.0};
/// Tolerance of a line at a band edge, in lines (absorbs the rounding of the axis).
constexpr double kEdgeTolerance = 1e-9;

}  // namespace

// --- TBandRecord, TSpectrumBands -------------------------------------------------------------------

const TClassInfo& TBandRecord::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TBandRecord, TCollectionItem>("TBandRecord")
          .Prop("StartFrequency", &TBandRecord::StartFrequency, &TBandRecord::SetStartFrequency, 0.0)
          .Prop("StopFrequency", &TBandRecord::StopFrequency, &TBandRecord::SetStopFrequency, 0.0)
          .Prop("NominalFrequency", &TBandRecord::NominalFrequency, &TBandRecord::SetNominalFrequency, 0.0)
          .Build();
  return info;
}

double TBandRecord::CentreFrequency() const noexcept {
  if (nominal_ > 0) return nominal_;
  if (start_ > 0 && stop_ > 0) return std::sqrt(start_ * stop_);
  return 0.5 * (start_ + stop_);
}

const TClassInfo& TSpectrumBands::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSpectrumBands, TCollection>("TSpectrumBands").Build();
  return info;
}

TBandRecord* TSpectrumBands::AddBand(double Start, double Stop, double Nominal) {
  TBandRecord* b = Add();
  b->SetStartFrequency(Start);
  b->SetStopFrequency(Stop);
  b->SetNominalFrequency(Nominal);
  return b;
}

std::unique_ptr<TCollectionItem> TSpectrumBands::CreateItem() { return std::make_unique<TBandRecord>(this); }

// --- TSpectrumBandsAnalyzer ----------------------------------------------------------------------

const TClassInfo& TSpectrumBandsAnalyzer::StaticClassInfo() {
  static const TClassInfo info =
      TClassBuilder<TSpectrumBandsAnalyzer, TPersistent>("TSpectrumBandsAnalyzer")
          .Prop("Active", &TSpectrumBandsAnalyzer::Active, &TSpectrumBandsAnalyzer::SetActive, true)
          .Prop("NoiseBandwidthCorrection", &TSpectrumBandsAnalyzer::NoiseBandwidthCorrection,
                &TSpectrumBandsAnalyzer::SetNoiseBandwidthCorrection, false)
          .Prop("Bands", &TSpectrumBandsAnalyzer::Bands)
          .Build();
  return info;
}

TSpectrumBandsAnalyzer::TSpectrumBandsAnalyzer(TSpectrumAnalyzer* AOwner)
    : owner_(AOwner), bands_(std::make_unique<TSpectrumBands>(this)) {}

TSpectrumBandsAnalyzer::~TSpectrumBandsAnalyzer() = default;

TPersistent* TSpectrumBandsAnalyzer::GetOwner() const { return owner_; }

void TSpectrumBandsAnalyzer::Update() {
  if (!active_) return;
  const TSpectrumAnalyzer& a = *owner_;
  const double hz = a.LastHzRes() > 0 ? a.LastHzRes() : a.HzRes();
  const double lo = a.LastHzRes() > 0 ? a.LastBandWidthL() : a.BandWidthL();
  const int n = a.Amplt().Length();
  const bool power = a.SpectrumType() == stPower;
  const double enbw = enbwCorrection_ ? a.NoiseBandwidthLines() : 1.0;
  for (int b = 0; b < Count(); ++b) {
    TBandRecord& band = Band(b);
    if (!(hz > 0) || n == 0) {
      band.SetResult(0.0, 0);
      continue;
    }
    const double start = std::max(band.StartFrequency(), 0.0);
    // Lines i with start ≤ lo + i·hz < stop.
    const int i0 = std::max(0, static_cast<int>(std::ceil((start - lo) / hz - kEdgeTolerance)));
    const int i1 = std::min(n, static_cast<int>(std::ceil((band.StopFrequency() - lo) / hz - kEdgeTolerance)));
    const int lines = std::max(0, i1 - i0);
    double level = 0.0;
    if (lines > 0) {
      if (power) {
        for (int i = i0; i < i1; ++i) level += a.Amplt().Values(i);
        level /= enbw;
      } else {
        level = std::sqrt(a.SumOfAmpltSquares(i0, lines) / enbw);
      }
    }
    band.SetResult(level, lines);
  }
}

double TSpectrumBandsAnalyzer::LevelDb(int i) const {
  const double v = Band(i).Level();
  return owner_->SpectrumType() == stPower ? 10.0 * std::log10(v) : 20.0 * std::log10(v);
}

double TSpectrumBandsAnalyzer::NominalFrequency(int x) {
  const int decade = x >= 0 ? x / 10 : -((-x + 9) / 10);
  const int m = x - 10 * decade;
  return kR10[m] * std::pow(10.0, decade + 3);
}

void TSpectrumBandsAnalyzer::SetPreset(int step, double FLow, double FHigh) {
  bands_->Clear();
  const double half = std::pow(10.0, step / 20.0);  // edge ratio: 10^(±step/20) about midband
  // Nominal frequencies from 1 Hz (x = −30) to 1 MHz (x = 30) cover every audio or
  // vibration range.
  for (int x = -30; x <= 30; ++x) {
    if (x % step != 0) continue;
    const double nominal = NominalFrequency(x);
    if (nominal < FLow || nominal > FHigh) continue;
    const double mid = 1000.0 * std::pow(10.0, x / 10.0);
    bands_->AddBand(mid / half, mid * half, nominal);
  }
}

void TSpectrumBandsAnalyzer::SetOctaveBands(double FLow, double FHigh) { SetPreset(3, FLow, FHigh); }
void TSpectrumBandsAnalyzer::SetThirdOctaveBands(double FLow, double FHigh) { SetPreset(1, FLow, FHigh); }

}  // namespace ondrix
