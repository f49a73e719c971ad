// Rate change by powers of two: TSignalMultiRate, the common base, and its two components,
// TSignalDecimator and TSignalInterpolator, with their lists. Each resamples a stream of
// single-channel blocks without seams through a cascade of 2:1 FIR stages (sigcore
// multirate.h): half-band stages, and one last-stage lowpass that sets the transition band.
//
// Band edges of the designs are on the scale of the rate each filter runs at with Nyquist 1
// (the half-band: pass 0.25, stop 0.75; the last stage: (1 − TransBW)/2 and (1 + TransBW)/2).
// Ripple is a linear deviation: both designs stay within 1 ± Ripple in their pass band and
// below Ripple (−20·log10(Ripple) dB, 80 dB by default) in their stop band, so tones above
// (1 + TransBW) times the new Nyquist frequency alias into the kept band attenuated by that
// much, and the band up to (1 − TransBW) times the new Nyquist frequency is kept.
#pragma once

#include <memory>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/sigcore/multirate.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// The common base of the decimator and the interpolator: the factor, the two designs and
/// the cascade of stages. Setting Factor reallocates the stages at the next update; setting
/// Ripple, TransBW, ScaleFactor or ExternalTaps redesigns the taps (and restarts the stages).
/// Otherwise the stages carry their state from block to block. Single-channel input only.
/// In the kept band the stages' ripples add up: a pass-band tone keeps its amplitude within
/// (1 + Ripple)^stages − 1.
class TSignalMultiRate : public TSignal {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalMultiRate(TComponent* AOwner);
  ~TSignalMultiRate() override;

  // --- Properties ----------------------------------------------------------------------------

  /// The rate change, a power of two (2 by default).
  int Factor() const noexcept { return factor_; }
  /// Values below 2 give 1; others are rounded up to a power of two (LargestExp2).
  virtual void SetFactor(int Value);
  /// Linear deviation of both designs in pass and stop band (0.0001: 80 dB).
  double Ripple() const noexcept { return ripple_; }
  void SetRipple(double Value);
  /// Transition width of the last-stage filter, as a fraction of its Nyquist frequency (0.1).
  double TransBW() const noexcept { return transBW_; }
  void SetTransBW(double Value);
  /// Linear gain applied to the last-stage taps (1).
  double ScaleFactor() const noexcept { return scaleFactor_; }
  void SetScaleFactor(double Value);
  /// When set, the designs are skipped: the application supplies HalfBandTaps and
  /// LastStageTaps (in OnGetFilterTaps). Taps must be real.
  bool ExternalTaps() const noexcept { return externalTaps_; }
  void SetExternalTaps(bool Value);

  /// Called after each (re)design (also with ExternalTaps), so the application can inspect or
  /// replace the taps.
  TNotifyEvent OnGetFilterTaps;

  /// The taps of the inner stages and of the last stage, as designed (or as the application
  /// set them). The interpolator filters with twice these taps (see TRateCascade).
  TVec& HalfBandTaps() noexcept { return halfBand_; }
  TVec& LastStageTaps() noexcept { return lastStage_; }
  /// Number of stages: log2 Factor.
  int Stages() const;
  /// The taps are designed for the current settings.
  bool FirInitialized() const noexcept { return firInitialized_; }
  /// The stages are allocated for the current factor.
  bool Initialized() const noexcept { return initialized_; }

  /// The delay through the component in input samples (designing the taps first if needed):
  /// output sample j of the stream stands for the input at time j·Fo − Delay, where Fo is
  /// the number of input samples per output sample (Factor for the decimator, Factor / 2
  /// with LastStageFilterOnly and for the demodulator, 1/Factor for the interpolator).
  virtual double Delay();

  // --- Operations ----------------------------------------------------------------------------

  /// Builds the stages (one per halving or doubling) on the current taps.
  virtual void AllocFirBuffers();
  /// Releases the stages.
  virtual void FreeFirBuffers();
  /// Prepares the next block: checks the input ("MultiRate: Input.ChannelCount > 1 not
  /// supported!"), designs the taps when FirInitialized is false, allocates the stages when
  /// Initialized is false.
  virtual void Initialize();
  /// Resamples Src into Dst outside the pull chain: Src becomes the input for one Update
  /// (with the previous input's sampling frequency), then the input is restored. The stages
  /// keep their state, so consecutive calls resample one stream.
  virtual void Process(const TVec& Src, TVec& Dst);
  /// Designs the taps (unless ExternalTaps), then OnGetFilterTaps; FirInitialized := true.
  virtual void InitFilters();

protected:
  /// How the stages change the rate; the base decimates.
  virtual TCascadeMode CascadeMode() const { return cmDecimate; }
  /// The stage whose input a decimator rectifies (−1: none; see TRateCascade).
  virtual int RectifyAt() const { return -1; }
  /// Designs the half-band and last-stage taps as the base does (with end-tap trimming).
  void DesignTaps();
  /// The stages match the factor, mode and rectification in force (rebuilt otherwise).
  void EnsureStages();

  TRateCascade cascade_;
  TVec halfBand_, lastStage_;
  int factor_ = 2;
  double ripple_ = 0.0001, transBW_ = 0.1, scaleFactor_ = 1.0;
  bool externalTaps_ = false;
  bool initialized_ = false, firInitialized_ = false;

private:
  std::unique_ptr<TSignal> processInput_;
};

/// Decimates its input by Factor: output rate = input rate / Factor.
///
/// EnvelopeFactor E ≥ 1 turns the decimator into an envelope detector by rectification: the
/// last log2(E) halvings act on |x|·π/2 (a steady tone of amplitude A reads A), so the output
/// is the low-passed magnitude of the signal decimated by Factor / E first (E = Factor:
/// rectify the input; E = 1: rectify the output). 0 (the default) never rectifies.
///
/// LastStageFilterOnly: the last stage filters without halving the rate, so the output rate is
/// input rate × 2 / Factor and the band the last-stage filter passes fills half of it (the
/// structure of the sub-band demodulator). A change takes effect at the next block and
/// restarts the stages.
class TSignalDecimator : public TSignalMultiRate {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalDecimator(TComponent* AOwner);
  ~TSignalDecimator() override;

  /// The base setter, then Initialized := false and EnvelopeFactor := min(Factor,
  /// EnvelopeFactor).
  void SetFactor(int Value) override;
  int EnvelopeFactor() const noexcept { return envelopeFactor_; }
  /// Values ≥ 2 are rounded up to a power of two, smaller ones become max(Value, 0); then
  /// Factor := max(Factor, EnvelopeFactor) and the stages are reallocated.
  virtual void SetEnvelopeFactor(int Value);
  bool LastStageFilterOnly() const noexcept { return lastStageFilterOnly_; }
  void SetLastStageFilterOnly(bool Value) noexcept { lastStageFilterOnly_ = Value; }

  /// Initialize, ApplyDecimation(Input.Data), output rate = input rate / Factor (× 2 with
  /// LastStageFilterOnly and Factor ≥ 2).
  TPipeState InternalUpdate() override;
  /// Runs Src through the stages into Data (Src must not be Data).
  virtual void ApplyDecimation(const TVec& Src);

protected:
  TCascadeMode CascadeMode() const override;
  int RectifyAt() const override;
  /// Input samples per output sample.
  int OutputStep() const;

  int envelopeFactor_ = 0;
  bool lastStageFilterOnly_ = false;
};

/// Interpolates its input by Factor: output rate = input rate × Factor; a pass-band tone keeps
/// its amplitude (times ScaleFactor). The last-stage filter runs at the low-rate end, the
/// first doubling, where its transition band decides which images remain; the half-band
/// stages follow, each far from its images.
class TSignalInterpolator : public TSignalMultiRate {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalInterpolator(TComponent* AOwner);
  ~TSignalInterpolator() override;

  /// Initialize, output rate = input rate × Factor, the stages from Input.Data into Data.
  TPipeState InternalUpdate() override;

protected:
  TCascadeMode CascadeMode() const override { return cmInterpolate; }
};

/// A bank of decimators.
class TSignalDecimatorList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalDecimatorList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalDecimator* Items(int i) const { return static_cast<TSignalDecimator*>(TAnalysisList::Items(i)); }
  /// Writes item i: copies Value's settings into it.
  void SetItems(int i, const TSignalDecimator& Value) { Items(i)->Assign(Value); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

/// A bank of interpolators.
class TSignalInterpolatorList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalInterpolatorList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalInterpolator* Items(int i) const { return static_cast<TSignalInterpolator*>(TAnalysisList::Items(i)); }
  /// Writes item i: copies Value's settings into it.
  void SetItems(int i, const TSignalInterpolator& Value) { Items(i)->Assign(Value); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
