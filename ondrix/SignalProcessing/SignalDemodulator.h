// Decimators with a purpose: TSignalDemodulator returns one frequency sub-band of a real
// signal as a real signal at a lower rate; TSignalEnvelopeDetector returns the decimated
// magnitude of the analytic signal. Both are single-channel and stream without seams.
#pragma once

#include "ondrix/SignalProcessing/SignalMultiRate.h"
#include "ondrix/sigcore/fir_state.h"
#include "ondrix/sigcore/median_state.h"
#include "ondrix/sigcore/tone.h"

namespace ondrix {

/// Sub-band demodulator. The band [SubBandFrequency, SubBandFrequency + r] (fractions of the
/// input rate) is shifted to zero frequency by a complex tone at its centre, decimated as a
/// complex signal by Factor / 2 (the last stage filters without the rate change, band edges
/// 0.45 and 0.55 of its Nyquist frequency), shifted up by a quarter of the new rate and
/// returned as its real part at input rate × 2 / Factor. An input tone at f Hz comes out at
/// f − BandWidthL Hz with its amplitude; r, the width a power-of-two decimation keeps, is at
/// least SubBandWidth and Factor = 1/r. The output's band edges fall at 5 % and 95 % of its
/// Nyquist frequency. A band reaching past half the input rate gives Factor 1: blocks pass
/// through unchanged. A new demodulator has Factor 1 until a band is set (the constructor
/// runs ComputeFactor). Blocks must have even lengths. Delay (in input samples) is that of
/// the cascade: output j stands for input time t = j·Factor/2 − Delay, so that an input tone
/// A·cos(2π·f·t + φ) comes out as A·cos(2π·(f − BandWidthL)·t + φ + π·Delay/Factor) (f in
/// Hz, t in seconds once divided by the input rate; the quarter-rate tone starts at phase 0
/// with the stream).
class TSignalDemodulator : public TSignalDecimator {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalDemodulator(TComponent* AOwner);
  ~TSignalDemodulator() override;

  /// Width of the band, a fraction of the input rate: clamped to 0 .. 0.5, then ComputeFactor.
  double SubBandWidth() const noexcept { return subBandWidth_; }
  void SetSubBandWidth(double Value);
  /// Lower edge of the band, a fraction of the input rate: clamped to 0 .. 0.5, then
  /// ComputeFactor.
  double SubBandFrequency() const noexcept { return subBandFrequency_; }
  void SetSubBandFrequency(double Value);
  /// Sets Factor from the band and restarts the two tones (see the class comment).
  void ComputeFactor();

  /// Does nothing: the factor follows the band.
  void SetFactor(int Value) override;
  /// Always sets EnvelopeFactor to 0.
  void SetEnvelopeFactor(int Value) override;

  /// Half-band taps without end trimming; last stage: lowpass 0.45 / 0.55, ripple Ripple,
  /// times 2 × ScaleFactor (the real part of the shifted band carries half its amplitude).
  void InitFilters() override;
  /// Factor / 2 halving stages, then the last-stage filter at the final rate.
  void AllocFirBuffers() override;
  /// Raises "(Input.Length mod 2) <> 0" for odd blocks; otherwise demodulates (see above).
  TPipeState InternalUpdate() override;

protected:
  TCascadeMode CascadeMode() const override { return cmDecimateFilterLast; }

private:
  double subBandWidth_ = 0, subBandFrequency_ = 0;
  TVec mix_, product_;
  TToneState bandTone_, quarterTone_;
};

/// Envelope detector: the magnitude of the analytic signal (input + j·its Hilbert transform,
/// the input delayed to match the transformer), decimated by Factor. A tone of amplitude A
/// gives A; an amplitude-modulated tone gives its modulation, for carriers between
/// HilbertTransBW / 2 and (1 − HilbertTransBW) / 2 of the input rate and modulation inside
/// the kept band. Delay (input samples) = the transformer's (length − 1)/2 plus the cascade's.
class TSignalEnvelopeDetector : public TSignalDecimator {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignalEnvelopeDetector(TComponent* AOwner);
  ~TSignalEnvelopeDetector() override;

  /// Linear deviation of the Hilbert transformer's gain from 1 in its band (0.001). Only
  /// stored: it takes effect at the next design.
  double HilbertRipple() const noexcept { return hilbertRipple_; }
  void SetHilbertRipple(double Value) noexcept { hilbertRipple_ = Value; }
  /// Width of the Hilbert transformer's transitions at 0 and Nyquist, as a fraction of the
  /// Nyquist frequency (0.1: the band 0.1 .. 0.9); a change redesigns the taps.
  double HilbertTransBW() const noexcept { return hilbertTransBW_; }
  void SetHilbertTransBW(double Value);
  /// The Hilbert transformer's taps (odd length).
  TVec& HilbertTaps() noexcept { return hilbert_; }

  /// The base design, then the Hilbert transformer; EnvelopeFactor := 0.
  void InitFilters() override;
  /// The decimator's stages, the Hilbert state and the matching delay line.
  void AllocFirBuffers() override;
  double Delay() override;
  /// Raises "Input.Length < FActor" for a non-empty block shorter than Factor; an empty
  /// block gives an empty output.
  TPipeState InternalUpdate() override;

private:
  double hilbertRipple_ = 0.001, hilbertTransBW_ = 0.1;
  TVec hilbert_, quadrature_, inPhase_, analytic_, magnitude_;
  TFirState hilbertState_;
  TMedianState delayState_;
};

/// A bank of sub-band demodulators.
class TSignalDemodulatorList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalDemodulatorList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalDemodulator* Items(int i) const { return static_cast<TSignalDemodulator*>(TAnalysisList::Items(i)); }
  /// Writes item i: copies Value's settings into it.
  void SetItems(int i, const TSignalDemodulator& Value) { Items(i)->Assign(Value); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

/// A bank of envelope detectors.
class TSignalEnvelopeDetectorList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSignalEnvelopeDetectorList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSignalEnvelopeDetector* Items(int i) const {
    return static_cast<TSignalEnvelopeDetector*>(TAnalysisList::Items(i));
  }
  /// Writes item i: copies Value's settings into it.
  void SetItems(int i, const TSignalEnvelopeDetector& Value) { Items(i)->Assign(Value); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
