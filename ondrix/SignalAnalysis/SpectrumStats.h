// TSpectrumStats: frame averaging and per-line statistics of a spectrum analyzer.
#pragma once

#include <memory>

#include "ondrix/OndrixTools/TSpectrum.h"
#include "ondrix/SignalAnalysis/AnalysisTypes.h"
#include "ondrix/framework/TPersistent.h"
#include "ondrix/vec/TVecList.h"

namespace ondrix {

class TSpectrumAnalyzer;

/// The averaging object of a TSpectrumAnalyzer (its `Stats`): keeps the average of the
/// analyzer's spectra over successive frames in one of the TAveraging modes, counts the frames
/// (Averaged), and optionally the per-line standard deviation of amplitude and phase with
/// confidence limits around the average.
///
/// The analyzer calls Update once per estimate, after converting to its spectrum type, and
/// then copies AveragedSpectrum into itself. Amplitude and phase are averaged alike, in the
/// units the analyzer produced them (so a phase average is the mean of the phase values).
/// The three complex modes are computed by the analyzer on the complex spectrum before the
/// conversion; here they only keep their settings and the frame count, and AveragedSpectrum
/// mirrors the analyzer's result.
///
/// Standard deviation: each frame has a weight, 1/n for the n frames of a linear mean, and
/// geometrically decaying weights for the exponential mode; the deviation is the square root
/// of the weighted variance with the unbiased correction for such weights,
///     Σ wᵢ(xᵢ − x̄)² / (1 − Σ wᵢ²)   (weights summing to 1),
/// which is the usual n − 1 estimate for the linear modes. It is defined from the second
/// frame on; on the first frame after a reset the lists are emptied.
class TSpectrumStats : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumStats(TSpectrumAnalyzer* AOwner);
  ~TSpectrumStats() override;
  TSpectrumStats(const TSpectrumStats&) = delete;
  TSpectrumStats& operator=(const TSpectrumStats&) = delete;

  /// The analyzer.
  TPersistent* GetOwner() const override;
  TSpectrumAnalyzer* Analyzer() const noexcept { return owner_; }

  /// One averaging step with the analyzer's current spectrum.
  virtual void Update();
  /// Averaged := 0 and every hold counter to 0: the next frame starts a new average.
  void Reset();

  TAveraging Averaging() const noexcept { return averaging_; }
  /// If changed: stored, Averaged := 0.
  void SetAveraging(TAveraging Value);
  /// Frames of the finite modes, and hold time in frames of the peak-hold modes.
  unsigned Averages() const noexcept { return averages_; }
  void SetAverages(unsigned Value) noexcept { averages_ = Value; }
  /// Frames averaged so far.
  unsigned Averaged() const noexcept { return averaged_; }
  void SetAveraged(unsigned Value) noexcept { averaged_ = Value; }
  /// Time constant in frames of the exponential and decaying modes (at least 1).
  int ExpDecay() const noexcept { return expDecay_; }
  /// If changed: stored as max(Value, 1), Averaged := 0.
  void SetExpDecay(int Value);
  /// Confidence interval of the limits, percent.
  double ConfidenceInterval() const noexcept { return confidenceInterval_; }
  /// Clamped to [1, 99.99999]; sets the confidence factor |z| with Φ(−z) = (1 − CI/100)/2.
  void SetConfidenceInterval(double Value);
  /// |z| of the normal distribution for the interval; 0 until ConfidenceInterval is assigned.
  double ConfidenceFactor() const noexcept { return confidenceFactor_; }
  bool CalcStdDev() const noexcept { return calcStdDev_; }
  /// If changed: stored; switching on restarts the average (Averaged := 0).
  void SetCalcStdDev(bool Value);
  bool CalcLimits() const noexcept { return calcLimits_; }
  void SetCalcLimits(bool Value) noexcept { calcLimits_ = Value; }

  /// Item 0: deviation of the amplitude per line; item 1: of the phase (when the analyzer
  /// keeps phase).
  TVecList& StdDev() noexcept { return stdDev_; }
  const TVecList& StdDev() const noexcept { return stdDev_; }
  /// Average − factor·StdDev, and average + factor·StdDev (items as StdDev).
  TVecList& LowerLimit() noexcept { return lowerLimit_; }
  const TVecList& LowerLimit() const noexcept { return lowerLimit_; }
  TVecList& UpperLimit() noexcept { return upperLimit_; }
  const TVecList& UpperLimit() const noexcept { return upperLimit_; }
  /// Replace the lists by copies of Value.
  void SetStdDev(const TVecList& Value) { CopyList(stdDev_, Value); }
  void SetLowerLimit(const TVecList& Value) { CopyList(lowerLimit_, Value); }
  void SetUpperLimit(const TVecList& Value) { CopyList(upperLimit_, Value); }

  /// The running average or held spectrum.
  TSpectrum& AveragedSpectrum() noexcept { return *averagedSpectrum_; }
  const TSpectrum& AveragedSpectrum() const noexcept { return *averagedSpectrum_; }
  /// Per-line hold counters of the peak-hold modes: item 0 amplitude, item 1 phase.
  const TVecList& HoldCounters() const noexcept { return holdCounters_; }

private:
  static void CopyList(TVecList& Dst, const TVecList& Src);
  void AverageMean(const TSpectrum& S, bool phase);
  void PeakHold(const TSpectrum& S, bool phase);
  void PeakAndDecay(const TSpectrum& S, bool phase);
  void UpdateDeviation(bool phase);
  void Count() noexcept { ++averaged_; }  // wraps to 0 past the largest value

  TSpectrumAnalyzer* owner_;
  bool calcStdDev_ = false;
  bool calcLimits_ = false;
  unsigned averages_ = 30;
  unsigned averaged_ = 0;
  double confidenceInterval_ = 99.0;
  int expDecay_ = 5;
  TAveraging averaging_ = avNone;
  TVecList stdDev_, lowerLimit_, upperLimit_;
  std::unique_ptr<TSpectrum> averagedSpectrum_;
  double confidenceFactor_ = 0.0;
  TVecList holdCounters_;
  // Weighted central second moments of amplitude and phase, and Σ wᵢ² of the frame weights.
  TVec m2Amplt_, m2Phase_;
  double sumW2_ = 1.0;
};

}  // namespace ondrix
