// TSpectrum: one block of spectral lines (amplitude and phase) with its frequency scale.
#pragma once

#include <string>

#include "ondrix/OndrixTools/TAnalysis.h"
#include "ondrix/OndrixTools/TMarks.h"
#include "ondrix/framework/ClassInfo.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

class TStringList;

/// How phase is kept: not at all, as computed (−π..π or −180..180), as phase delay, or as
/// group delay.
enum TPhaseMode { pmIgnore, pm360, pmPhaseDelay, pmGroupDelay };
/// Units of Phase.
enum TPhaseUnits { puRad, puDeg };

/// Amplitude and phase over equally spaced frequency lines, with the scale that relates them
/// to the time block they came from (frequencies in Hz, times in seconds).
///
/// LineFactor is the number of time samples per line (2 for a real signal, 1 for a complex
/// one), so a real spectrum of 64 lines at 1 Hz spans 128 samples: SamplingTime 128,
/// BandWidth 0.5, HzRes 0.5/64. Line i lies at BandWidthL + i·HzRes.
///
/// The quality measures (SNR, SINAD, THDN, SFDR, NF) work on the linear amplitude spectrum
/// as powers, Σ Amplt² over groups of lines, so that they do not depend on the window (a
/// window scales a tone's main lobe and the noise floor alike). A component at frequency f
/// occupies its main lobe: the lines within ±MainlobeWidth/2 of the strongest line within
/// that distance of f. The DC lobe is the main lobe at 0 Hz, when 0 Hz is on the axis.
/// Noise lines are all lines outside the DC, fundamental and harmonic lobes (harmonics 2 ..
/// Harmonics of the fundamental's frequency that fall on the axis); the noise power is their
/// mean power times the number of lines outside the DC lobe, and each lobe's power has the
/// noise share under it (mean × lobe width) removed.
class TSpectrum : public TAnalysis {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrum(TComponent* AOwner);
  ~TSpectrum() override;

  TVec& Amplt() noexcept { return amplt_; }
  const TVec& Amplt() const noexcept { return amplt_; }
  TVec& Phase() noexcept { return phase_; }
  const TVec& Phase() const noexcept { return phase_; }
  void SetAmplt(const TVec& v) { amplt_.Assign(v); }
  void SetPhase(const TVec& v) { phase_.Assign(v); }
  /// Element i of Amplt (no check on reading).
  double AmpltValues(int i) const noexcept { return amplt_.Values(i); }
  /// Raises "Range check error: i >= Length" when i ≥ Length.
  void SetAmpltValues(int i, double v);
  double PhaseValues(int i) const noexcept { return phase_.Values(i); }
  void SetPhaseValues(int i, double v);
  TMarkList& Marks() noexcept { return marks_; }
  const TMarkList& Marks() const noexcept { return marks_; }

  int Length() const noexcept { return length_; }
  /// Sets the length of Amplt, then of Phase.
  void SetLength(int n);
  int MainlobeWidth() const noexcept { return mainlobeWidth_; }
  /// Clamped to 2 .. 100.
  void SetMainlobeWidth(int v);
  TPhaseMode PhaseMode() const noexcept { return phaseMode_; }
  void SetPhaseMode(TPhaseMode v) noexcept { phaseMode_ = v; }
  TPhaseUnits PhaseUnits() const noexcept { return phaseUnits_; }
  void SetPhaseUnits(TPhaseUnits v) noexcept { phaseUnits_ = v; }
  int Harmonics() const noexcept { return harmonics_; }
  void SetHarmonics(int v) noexcept { harmonics_ = v; }
  bool Complex() const noexcept { return complex_; }
  void SetComplex(bool v);
  double LineFactor() const noexcept { return lineFactor_; }
  int ZeroPadding() const noexcept { return zeroPadding_; }
  /// Stored as max(v, 1); recomputes the scale.
  virtual void SetZeroPadding(int v);
  bool ConjExtend() const noexcept { return conjExtend_; }
  void SetConjExtend(bool v) noexcept { conjExtend_ = v; }
  bool ConjFlip() const noexcept { return conjFlip_; }
  void SetConjFlip(bool v) noexcept { conjFlip_ = v; }

  double SamplingFrequency() const noexcept { return samplingFrequency_; }
  void SetSamplingFrequency(double F);
  double SamplingTime() const noexcept { return samplingTime_; }
  void SetSamplingTime(double T);
  double HzRes() const noexcept { return hzRes_; }
  /// Ignored: HzRes follows from the other settings.
  void SetHzRes(double) noexcept {}
  double Dt() const noexcept { return dt_; }
  void SetDt(double d) { SetSamplingFrequency(1.0 / d); }
  double BandWidth() const noexcept { return bandWidth_; }
  double BandWidthL() const noexcept { return bandWidthL_; }
  void SetBandWidthL(double L);
  double BandWidthH() const noexcept { return bandWidthH_; }

  /// Frequency of line i, Hz.
  double LineFrequency(int i) const noexcept { return bandWidthL_ + i * hzRes_; }
  /// Nearest line to frequency f (may lie off the axis).
  int LineOf(double f) const noexcept;

  // --- Filling from complex transform values -----------------------------------------------

  /// Splits X (complex, one value per line) into Amplt and Phase as PhaseMode asks.
  virtual void AmpltSpectrum(const TVec& X);
  /// As AmpltSpectrum with squared magnitudes.
  virtual void PowerSpectrum(const TVec& X);
  /// Phase of X only (Amplt untouched), in PhaseUnits.
  virtual void PhaseSpectrum(const TVec& X);
  /// Multiplies Amplt by 1/√2 (X is not read).
  virtual void RMSSpectrum(const TVec& X);
  /// Hooks of the delay phase modes; the base raises "Not implemented" (phase delay) and
  /// "Not implemented!" (group delay).
  virtual void ComputeGroupDelay();
  virtual void ComputePhaseDelay();

  // --- Operations on the lines ---------------------------------------------------------------

  /// Copies Amplt, Phase (unless PhaseMode is pmIgnore) and the sampling frequency of Src.
  virtual void Copy(const TSpectrum& Src);
  /// Takes Src's complex flag, length and sampling frequency.
  void Size(const TSpectrum& Src);
  /// Amplt (and, unless pmIgnore, Phase) times f: the phase is scaled too, deliberately.
  void Scale(double f);
  virtual void SetZero();
  /// Reverses Amplt and Phase.
  void BandFlip();
  /// Amplt := Amplt ± Src.Amplt, element-wise (equal lengths).
  void Add(const TSpectrum& Src);
  void Subtract(const TSpectrum& Src);
  /// Amplt := Amplt · Src.Amplt; Phase := Phase + Src.Phase (unless pmIgnore).
  void Mul(const TSpectrum& Src);
  /// Amplt := Amplt / Src.Amplt; Phase := Phase − Src.Phase (unless pmIgnore).
  virtual void Divide(const TSpectrum& Src);
  /// Copies Src, then squares Amplt and doubles Phase (unless pmIgnore).
  virtual void Sqr(const TSpectrum& Src);
  /// Multiplies line i by 2π·f_i (f_i including BandWidthL); see ConjExtend / ConjFlip.
  virtual void Differentiate();
  /// Divides line i by 2π·f_i over the same lines; a line at exactly 0 Hz becomes 0 (the
  /// integral has no defined DC value).
  virtual void Integrate();

  /// Converts Amplt to decibels: Factor·log10(Amplt²) for Absolute, Factor·log10(Amplt² /
  /// Reference²) otherwise (Factor 10 gives dB for amplitudes), then raises every value to at
  /// least top − Span, where top is the largest dB value. Zero amplitudes become top − Span.
  virtual void LogAmplt(double Reference, double Span, double Factor, bool Absolute);

  /// Σ Amplt² over Len lines from Index (clipped to the axis).
  double SumOfAmpltSquares(int Index, int Len) const;
  /// Refreshes the amplitude and phase extremes.
  void MinMax();
  double MaxAmplt() const noexcept { return maxAmplt_; }
  double MinAmplt() const noexcept { return minAmplt_; }
  double MaxPhase() const noexcept { return maxPhase_; }
  double MinPhase() const noexcept { return minPhase_; }
  void SetMaxAmplt(double v) noexcept { maxAmplt_ = v; }
  void SetMinAmplt(double v) noexcept { minAmplt_ = v; }
  void SetMaxPhase(double v) noexcept { maxPhase_ = v; }
  void SetMinPhase(double v) noexcept { minPhase_ = v; }

  // --- Peaks and quality measures (see the class comment) ----------------------------------

  /// Amplitude of the strongest line within one line of f.
  virtual double AmpltEst(double f);
  /// Phase of that line.
  virtual double PhaseEst(double f);
  /// Frequency of the peak nearest f, by a parabola through the strongest line within one
  /// line of f and its neighbours (Hz).
  virtual double PeakApproximate(double f);
  /// Removes the peak at line Index: its main lobe is replaced by a straight line between
  /// the lines just outside the lobe.
  virtual void FilterPeak(int Index);
  /// Total harmonic distortion in percent from the marks: mark 0 (lowest frequency) is the
  /// fundamental, marks 1 .. min(Harmonics, count) − 1 its harmonics. 0 without marks or on
  /// any error.
  virtual double THD();
  /// Distortion plus noise relative to the fundamental at f, percent: 100·√((N + H)/S).
  virtual double THDN(double f);
  /// Signal-to-noise ratio of the component at f, dB: 10·log10(S/N) (harmonics excluded).
  double SNR(double f);
  /// Signal to noise and distortion, dB: 10·log10(S/(N + H)).
  double SINAD(double f);
  /// Spurious-free dynamic range, dB: the strongest line outside the DC lobe against the
  /// strongest line outside its lobe and the DC lobe (20·log10 of the amplitude ratio).
  double SFDR();
  /// Noise floor, dB: 10·log10 of the mean power of the noise lines (re amplitude 1).
  double NF(double f);
  /// RMS of the lines from 0 up to and including the line of f: √(Σ Amplt²).
  double RMS(double f);

  // --- Streaming and text --------------------------------------------------------------------

  virtual void SaveBinaryStream(TStream& Stream) const;
  virtual void LoadBinaryStream(TStream& Stream);
  /// AllowStreaming and not at design time.
  virtual bool AllowDStreaming() const;
  virtual void UpdateSetLength(TObject* Sender);
  /// One line per spectral line: frequency (from 0, BandWidthL not added), amplitude and,
  /// when IncludePhase and PhaseMode is not pmIgnore, phase.
  virtual void ValuesToStrings(TStringList& Dst, const std::string& FreqFormat = "",
                               const std::string& AmpltFormat = "", const std::string& PhaseFormat = "",
                               const std::string& FreqHeader = "", const std::string& AmpltHeader = "",
                               const std::string& PhaseHeader = "", bool IncludePhase = false) const;
  /// One line per mark: Freq, Amplt and optionally Phase, in the same layout.
  virtual void MarksToStrings(TStringList& Dst, const std::string& FreqFormat = "",
                              const std::string& AmpltFormat = "", const std::string& PhaseFormat = "",
                              const std::string& FreqHeader = "", const std::string& AmpltHeader = "",
                              const std::string& PhaseHeader = "", bool IncludePhase = false) const;

  void BeforeInternalUpdate() override;
  void DefineProperties(TFiler& Filer) override;

private:
  struct TQuality;
  void FillFromTransform(const TVec& X, bool power);
  TQuality Quality(double f) const;
  void ScaleByFrequency(bool divide);
  TFloatArray AmpltArray() const;
  TFloatArray PhaseArray() const;
  void SetAmpltArray(const TFloatArray& a);
  void SetPhaseArray(const TFloatArray& a);
  bool AmpltStored() const { return AllowDStreaming(); }

  int mainlobeWidth_ = 8;
  TPhaseMode phaseMode_ = pm360;
  TPhaseUnits phaseUnits_ = puDeg;
  int length_ = 0;
  double samplingFrequency_ = 0, samplingTime_ = 0;
  double hzRes_ = 0, bandWidth_ = 0, bandWidthH_ = 0, bandWidthL_ = 0, dt_ = 0;
  int harmonics_ = 10;
  bool complex_ = false;
  double lineFactor_ = 2;
  int zeroPadding_ = 1;
  bool conjExtend_ = false;
  bool conjFlip_ = true;
  double maxAmplt_ = 0, minAmplt_ = 0, maxPhase_ = 0, minPhase_ = 0;
  TMarkList marks_;
  TVec amplt_;
  TVec phase_;
};

/// Copies Src into Dst (TSpectrum::Copy).
void CopySpectrum(TSpectrum& Dst, const TSpectrum& Src);

}  // namespace ondrix
