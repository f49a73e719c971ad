// Band levels of a spectrum: the bands (TBandRecord, TSpectrumBands) and the analyzer's band
// object (TSpectrumBandsAnalyzer), with octave and third-octave presets.
#pragma once

#include <memory>

#include "ondrix/framework/TCollection.h"
#include "ondrix/framework/TPersistent.h"

namespace ondrix {

class TSpectrumAnalyzer;

/// One frequency band [StartFrequency, StopFrequency) in Hz, with its nominal centre
/// frequency (the preset's label; 0 for a band of one's own), and the level found in it.
class TBandRecord : public TCollectionItem {
public:
  ONDRIX_CLASS_INFO()

  explicit TBandRecord(TCollection* ACollection) : TCollectionItem(ACollection) {}

  double StartFrequency() const noexcept { return start_; }
  void SetStartFrequency(double Value) noexcept { start_ = Value; }
  double StopFrequency() const noexcept { return stop_; }
  void SetStopFrequency(double Value) noexcept { stop_ = Value; }
  double NominalFrequency() const noexcept { return nominal_; }
  void SetNominalFrequency(double Value) noexcept { nominal_ = Value; }
  /// The nominal frequency, or the geometric mean of the edges when there is none (the
  /// arithmetic mean for a band starting at or below 0 Hz).
  double CentreFrequency() const noexcept;

  /// Level found by the last update (see TSpectrumBandsAnalyzer), and the lines it summed.
  double Level() const noexcept { return level_; }
  int LineCount() const noexcept { return lines_; }
  void SetResult(double Level, int Lines) noexcept { level_ = Level, lines_ = Lines; }

private:
  double start_ = 0.0, stop_ = 0.0, nominal_ = 0.0;
  double level_ = 0.0;
  int lines_ = 0;
};

/// The list of bands of a TSpectrumBandsAnalyzer.
class TSpectrumBands : public TCollection {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumBands(TPersistent* AOwner = nullptr) : TCollection(AOwner) {}

  TBandRecord* Items(int i) const { return static_cast<TBandRecord*>(TCollection::Items(i)); }
  TBandRecord* Add() override { return static_cast<TBandRecord*>(TCollection::Add()); }
  /// Appends the band [Start, Stop) Hz.
  TBandRecord* AddBand(double Start, double Stop, double Nominal = 0.0);
  std::unique_ptr<TCollectionItem> CreateItem() override;
};

/// The band object of a TSpectrumAnalyzer (its `Bands`): after each update (on the linear
/// spectrum, before any dB conversion) every band gets the level of the analyzer's lines
/// whose frequency f lies in [StartFrequency, StopFrequency) on the analyzer's Hz axis:
///     Level = √(Σ Amplt²)  (SumOfAmpltSquares)
/// in the units of the spectrum: the RMS sum of the lines. For the power type (stPower),
/// whose lines are already squares, the level is the sum of the lines, the band's power.
/// A band without lines reads 0. The bands concern positive frequencies; on a two-sided axis
/// the lines below 0 Hz are not counted.
///
/// A window spreads a tone over its main lobe and widens the band each line collects noise
/// from, both by its equivalent noise bandwidth B (in lines, TSpectrumAnalyzer::
/// NoiseBandwidthLines: 1.5 for Hann, about 3.8 for the flat top). With
/// NoiseBandwidthCorrection the sum is divided by B, Level = √(Σ Amplt² / B), so that a tone
/// reads its line amplitude and noise its power whatever the window (off by default: the
/// plain root sum of squares).
///
/// Presets (base-ten bands, exact midband frequencies 1000·10^(x/10) Hz): octave bands are
/// x = 3k with edges midband·10^(±3/20), third-octave bands every x with edges
/// midband·10^(±1/20); each carries the nominal frequency of the R10 series (…, 20, 25,
/// 31.5, 40, 50, 63, 80, 100, 125, …, 1000, 1250, …, 16000, 20000).
class TSpectrumBandsAnalyzer : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumBandsAnalyzer(TSpectrumAnalyzer* AOwner);
  ~TSpectrumBandsAnalyzer() override;
  TSpectrumBandsAnalyzer(const TSpectrumBandsAnalyzer&) = delete;
  TSpectrumBandsAnalyzer& operator=(const TSpectrumBandsAnalyzer&) = delete;

  TPersistent* GetOwner() const override;

  /// Band levels on/off (off: Update does nothing, the levels stay).
  bool Active() const noexcept { return active_; }
  void SetActive(bool Value) noexcept { active_ = Value; }
  /// Divide the sums by the window's noise bandwidth (see the class comment).
  bool NoiseBandwidthCorrection() const noexcept { return enbwCorrection_; }
  void SetNoiseBandwidthCorrection(bool Value) noexcept { enbwCorrection_ = Value; }
  /// The bands (owned).
  TSpectrumBands* Bands() const noexcept { return bands_.get(); }
  int Count() const noexcept { return bands_->Count(); }
  TBandRecord& Band(int i) const { return *bands_->Items(i); }

  /// Computes every band's level from the analyzer's current amplitude.
  virtual void Update();
  /// Level of band i in dB: 10·log10(Level²), or 10·log10(Level) for the power type
  /// (−inf for 0).
  double LevelDb(int i) const;

  /// Replaces the bands by the octave bands whose nominal frequency lies in [FLow, FHigh].
  void SetOctaveBands(double FLow = 16.0, double FHigh = 20000.0);
  /// Replaces the bands by the third-octave bands whose nominal frequency lies in [FLow, FHigh].
  void SetThirdOctaveBands(double FLow = 20.0, double FHigh = 20000.0);
  /// Nominal (R10) frequency of the base-ten band of midband 1000·10^(x/10) Hz.
  static double NominalFrequency(int x);

private:
  void SetPreset(int step, double FLow, double FHigh);

  TSpectrumAnalyzer* owner_;
  bool active_ = true;
  bool enbwCorrection_ = false;
  std::unique_ptr<TSpectrumBands> bands_;
};

}  // namespace ondrix
