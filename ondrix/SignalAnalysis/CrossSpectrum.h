// TCrossSpectrumAnalyzer: averaged cross and auto spectra of two signals, and from them the
// coherence and the transfer function; TCrossAnalyzer holds the averages; TCrossSpectrumAnalyzerList.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/framework/TPersistent.h"

namespace ondrix {

/// An event that supplies a vector: the handler fills Vec (a complex spectrum, for instance).
using TNotifyVecEvent = std::function<void(TObject* Sender, TVec& Vec)>;

/// The derived results TCrossAnalyzer keeps up to date.
enum TCrossSpectrumAnalysis { caCoherence, caTransferFunction };

/// A set of TCrossSpectrumAnalysis values. In settings files it reads as the value names in
/// brackets, "[caCoherence,caTransferFunction]".
class TCrossAnalysisSet {
public:
  constexpr TCrossAnalysisSet() = default;
  constexpr TCrossAnalysisSet(std::initializer_list<TCrossSpectrumAnalysis> Values) {
    for (TCrossSpectrumAnalysis v : Values) bits_ |= Bit(v);
  }
  constexpr bool Contains(TCrossSpectrumAnalysis v) const noexcept { return (bits_ & Bit(v)) != 0; }
  constexpr void Include(TCrossSpectrumAnalysis v) noexcept { bits_ |= Bit(v); }
  constexpr void Exclude(TCrossSpectrumAnalysis v) noexcept { bits_ &= ~Bit(v); }
  constexpr bool operator==(const TCrossAnalysisSet&) const = default;

  /// "[caCoherence,caTransferFunction]", "[]", ...
  std::string ToString() const;
  /// Parses ToString's form (blanks allowed); raises EPropertyError on an unknown name.
  static TCrossAnalysisSet FromString(const std::string& Text);

private:
  static constexpr unsigned Bit(TCrossSpectrumAnalysis v) noexcept { return 1u << static_cast<unsigned>(v); }
  unsigned bits_ = 0;
};

/// Which result TCrossSpectrumAnalyzer shows as its spectrum.
enum TCrossTransform { ctInputSpectrum, ctOutputSpectrum, ctCrossSpectrum, ctCoherence, ctTransferFunction };

class TCrossSpectrumAnalyzer;

/// The averages of a TCrossSpectrumAnalyzer (its CrossAnalyzer): the cross spectrum
/// Pxy = Y·conj(X) and the auto spectra Pxx = |X|², Pyy = |Y|², averaged over frames, with X
/// and Y the scaled complex spectra of Input and Output. Pxy carries the phase of Y relative to
/// X, as scipy.signal.csd(x, y) does, so that Pxy/Pxx is the transfer function from x to y.
///
/// With Recursive the vectors hold running averages after every frame. Without it they hold
/// sums, and Update divides them by Stats.Averaged: call it once the frames are in (each call
/// divides again).
class TCrossAnalyzer : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TCrossAnalyzer(TCrossSpectrumAnalyzer* AOwner);
  TCrossAnalyzer(const TCrossAnalyzer&) = delete;
  TCrossAnalyzer& operator=(const TCrossAnalyzer&) = delete;

  /// The analyzer.
  TPersistent* GetOwner() const override;
  TCrossSpectrumAnalyzer* Analyzer() const noexcept { return owner_; }

  /// Without Recursive: each sum divided by Stats.Averaged (when it is above 0). Then the
  /// results of Analysis are refreshed (DoCoherence, DoTransferFunction).
  virtual void Update();
  /// Coherence := |Pxy|²/(Pxx·Pyy) of the current averages, 0 where Pxx·Pyy is 0.
  virtual void DoCoherence();
  /// TransferFunction := Pxy/Pxx of the current averages (the H1 estimate, which noise on the
  /// output does not bias), 0 where Pxx is 0.
  virtual void DoTransferFunction();

  /// Magnitude-squared coherence per line (after DoCoherence).
  const TVec& Coherence() const noexcept { return coherence_; }
  /// Complex H1 per line (after DoTransferFunction).
  const TVec& TransferFunction() const noexcept { return transfer_; }
  /// Averaged (or summed) Pxy, Pxx and Pyy, one value per line of the analyzer.
  const TVec& CrossSpectrum() const noexcept { return crossSpectrum_; }
  const TVec& InputSpectrum() const noexcept { return inputSpectrum_; }
  const TVec& OutputSpectrum() const noexcept { return outputSpectrum_; }
  TVec& CrossSpectrum() noexcept { return crossSpectrum_; }
  TVec& InputSpectrum() noexcept { return inputSpectrum_; }
  TVec& OutputSpectrum() noexcept { return outputSpectrum_; }
  /// Pxy of the last frame alone.
  const TVec& InstantCrossSpectrum() const noexcept { return instant_; }

  TCrossAnalysisSet Analysis() const noexcept { return analysis_; }
  /// Stores the set, then calls DoCoherence and DoTransferFunction for the members it holds.
  void SetAnalysis(TCrossAnalysisSet Value);
  TCrossTransform Transform() const noexcept { return transform_; }
  void SetTransform(TCrossTransform Value) noexcept { transform_ = Value; }
  bool Recursive() const noexcept { return recursive_; }
  void SetRecursive(bool Value) noexcept { recursive_ = Value; }

private:
  friend class TCrossSpectrumAnalyzer;
  std::string AnalysisText() const { return analysis_.ToString(); }
  void SetAnalysisText(const std::string& Text) { SetAnalysis(TCrossAnalysisSet::FromString(Text)); }

  TVec instant_;
  TCrossSpectrumAnalyzer* owner_;
  TVec coherence_;
  TVec transfer_;
  TVec crossSpectrum_;
  TVec inputSpectrum_;
  TVec outputSpectrum_;
  TCrossAnalysisSet analysis_{caCoherence, caTransferFunction};
  TCrossTransform transform_ = ctInputSpectrum;
  bool recursive_ = true;
};

/// Two-channel spectrum analysis of Input (x) and Output (y): each update estimates the
/// spectra X and Y of the current frames with the analyzer's window, method (smFFT or smCZT)
/// and amplitude scale, and averages Pxy, Pxx and Pyy in CrossAnalyzer (Stats.Averaging
/// avLinearInf, avExponentInf or avLinear; any other mode keeps the last frame only). The
/// component then shows CrossAnalyzer.Transform, converted to SpectrumType:
///
/// | Transform          | types 0, 1, 3                  | type 2            | type 4              |
/// |--------------------|--------------------------------|-------------------|---------------------|
/// | ctInputSpectrum    | √Pxx (×√2/2, ×2), integrated   | Pxx               | as type 2           |
/// | ctOutputSpectrum   | √Pyy likewise                  | Pyy               | as type 2           |
/// | ctCrossSpectrum    | √|Pxy| likewise, phase of Pxy   | |Pxy|             | Re, Im of Pxy       |
/// | ctCoherence        | |Pxy|²/(Pxx·Pyy) for every type, 0 where Pxx·Pyy is 0           |||
/// | ctTransferFunction | |Pxy|/Pxx (×√2/2, ×2), phase of Pxy | (|Pxy|/Pxx)² | Re, Im of H1 = Pxy/Pxx |
///
/// Type 2 with Integration integrates the square root and squares again. H1 = Pxy/Pxx is the
/// least-squares transfer function with noise on the output; a line whose Pxx is 0 reads 0.
/// The input, output and coherence results carry no phase (zeros, or none with pmIgnore).
///
/// Without CrossAnalyzer.Recursive an update only accumulates; call UpdateSpectrum (or
/// CrossAnalyzer.Update and BrowseCrossSpectrum) when the frames are in.
///
/// The update raises "Output = nil" without an output signal, "Input.SamplingFrequency <>
/// Output.SamplingFrequency", and "not ((Method = smfFFT) or (Method = smfCZT))" for the
/// autoregressive and cepstrum methods, each before anything changes. The averaged results are
/// not the spectrum of one frame, so the peaks are not refined from ComplexSpectrum (the
/// methods that need it fall back). After the first frame of a size an update allocates
/// nothing.
class TCrossSpectrumAnalyzer : public TSpectrumAnalyzer {
public:
  ONDRIX_CLASS_INFO()

  explicit TCrossSpectrumAnalyzer(TComponent* AOwner);
  ~TCrossSpectrumAnalyzer() override;

  /// The owned averages and settings.
  TCrossAnalyzer* CrossAnalyzer() const noexcept { return crossAnalyzer_.get(); }

  /// When assigned, supplies the complex spectrum of x (resp. y), already scaled, instead of
  /// the analyzer's own estimate; the two must have equal lengths.
  TNotifyVecEvent OnGetInputSpectrum;
  TNotifyVecEvent OnGetoutputSpectrum;
  /// After each BrowseCrossSpectrum, when the shown result is new.
  TNotifyEvent OnUpdateSpectrum;

  TPipeState InternalUpdate() override;
  /// Shows CrossAnalyzer.Transform as the spectrum: the spectrum type, the phase, peaks and
  /// bands, the dB conversion of Logarithmic, the extremes.
  virtual void BrowseCrossSpectrum();
  /// CrossAnalyzer.Update, then BrowseCrossSpectrum: finishes a run without Recursive.
  void UpdateSpectrum();

private:
  void Estimate(TSignal* in, TSignal& out);
  void Accumulate();
  void ApplySpectrumType();
  void ShowAutoSpectrum(const TVec& P);
  void ShowCrossSpectrum(const TVec& Pxy);
  void ShowCoherence();
  void ShowTransferFunction();
  void ResetPhase(int n);

  std::unique_ptr<TCrossAnalyzer> crossAnalyzer_;
  TVec x_, y_;  // the spectra of the last frame, unscaled, and their scales and lines
  double xScale_ = 1.0, yScale_ = 1.0;
  int xLines_ = 0, yLines_ = 0;
};

/// A bank of TCrossSpectrumAnalyzer items (without owner: the list frees them).
class TCrossSpectrumAnalyzerList : public TSpectrumList {
public:
  ONDRIX_CLASS_INFO()
  explicit TCrossSpectrumAnalyzerList(TComponent* AOwner) : TSpectrumList(AOwner) {}
  TCrossSpectrumAnalyzer* Items(int i) const { return static_cast<TCrossSpectrumAnalyzer*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

namespace detail {
/// Value names of the enumerations, in ordinal order (for the property tables).
const std::vector<std::string>& CrossSpectrumAnalysisNames();
const std::vector<std::string>& CrossTransformNames();
}  // namespace detail

}  // namespace ondrix
