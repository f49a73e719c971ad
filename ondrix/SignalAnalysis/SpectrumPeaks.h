// TSpectrumPeaksAnalyzer: peak search, peak refinement and order tracing of a spectrum analyzer.
#pragma once

#include <memory>
#include <vector>

#include "ondrix/OndrixTools/TMarks.h"
#include "ondrix/SignalAnalysis/AnalysisTypes.h"
#include "ondrix/SignalAnalysis/SpectrumPeakInterpolation.h"
#include "ondrix/framework/TPersistent.h"

namespace ondrix {

class TSpectrumAnalyzer;

/// The peak search of a TSpectrumAnalyzer (its `Peaks`). After each estimate, before the dB
/// conversion, the analyzer calls Update, which finds peaks in its linear amplitude spectrum
/// by TraceMethod, refines their frequencies by Interpolation, and keeps them as the
/// analyzer's marks (Freq on the analyzer's axis, Amplt and Phase as the analyzer holds them).
///
/// A peak is a line j with A[j−1] ≤ A[j] > A[j+1] (a plateau counts at its right end). The
/// search methods:
/// - ptNone (Adjust): the marks stay where they are (placed by hand or by an earlier search)
///   and read the new spectrum: Amplt := AmpltEst(Freq), Phase := PhaseEst(Freq).
/// - ptCurrent (Trace): each mark moves to the strongest line within ±TraceInterval of its
///   frequency, then is refined; an empty list starts with the largest peak. Markers thus
///   follow drifting tones from frame to frame.
/// - ptLargest (FindLargestPeaks): the LargestCount largest peaks, largest first.
/// - ptAmpltHarmonics (AmpltHarmonics): the largest peak as fundamental f0, then harmonics
///   2 .. HarmonicsCount, each the strongest line within ±MainlobeWidth/2 lines of h·f0 (up
///   to the top of the axis), in order: mark 0 is the fundamental, so the analyzer's THD
///   reads these marks.
/// - ptFreqHarmonics (FreqHarmonics): as ptAmpltHarmonics, but the fundamental is the peak
///   at the frequency of mark 0 (set by hand, or left by the previous frame): the strongest
///   line within ±TraceInterval of it, climbed up to its maximum; without marks the largest
///   peak starts it. Use it when a harmonic is stronger than the fundamental.
/// Found peaks are refined by Approximate (harmonics only with Interpolation.Harmonics);
/// a refined peak reads AmpltEst and PhaseEst at its refined frequency.
///
/// The band [BandwidthL, BandwidthH] (Hz) limits the searches for new peaks unless
/// UseFullBandwidth. Order tracing: with OrderActive the analyzer's axis counts orders of
/// OrderFrequency (Hz): lines, marks and HzRes are in orders. OrderTracing names the peak
/// whose frequency becomes OrderFrequency after each search (otFirstPeak: mark 0, otNthPeak:
/// mark OrderPeakNumber − 1, otLargest: the largest mark), so that peak sits at order 1 and
/// the reference follows a changing speed.
///
/// Defaults: TraceInterval 0 (meaning ±MainlobeWidth/2 lines), BandwidthL 20 Hz and
/// BandwidthH 20 kHz (the audio band; they are clamped to the spectrum once the analyzer has
/// run), OrderFrequency 1 Hz (orders equal Hz until a reference is traced).
class TSpectrumPeaksAnalyzer : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumPeaksAnalyzer(TSpectrumAnalyzer* AOwner);
  ~TSpectrumPeaksAnalyzer() override;
  TSpectrumPeaksAnalyzer(const TSpectrumPeaksAnalyzer&) = delete;
  TSpectrumPeaksAnalyzer& operator=(const TSpectrumPeaksAnalyzer&) = delete;

  TPersistent* GetOwner() const override;
  TSpectrumAnalyzer* Analyzer() const noexcept { return owner_; }

  // --- Properties ----------------------------------------------------------------------------

  bool Active() const noexcept { return active_; }
  void SetActive(bool Value) noexcept { active_ = Value; }
  TPeakTraceMethod TraceMethod() const noexcept { return traceMethod_; }
  void SetTraceMethod(TPeakTraceMethod Value) noexcept { traceMethod_ = Value; }
  int LargestCount() const noexcept { return largestCount_; }
  void SetLargestCount(int Value) noexcept { largestCount_ = Value; }
  /// Number of marks of the harmonic searches, the fundamental included: the analyzer's
  /// Harmonics, which its THD reads too.
  int HarmonicsCount() const;
  void SetHarmonicsCount(int Value);
  /// Half width (Hz) of the window in which ptCurrent follows a mark; 0: MainlobeWidth/2 lines.
  double TraceInterval() const noexcept { return traceInterval_; }
  void SetTraceInterval(double Value) noexcept { traceInterval_ = Value; }
  /// Search band, Hz. Once the analyzer has run, the setters clamp the value to its spectrum.
  double BandwidthL() const noexcept { return bandwidthL_; }
  void SetBandwidthL(double Value);
  double BandwidthH() const noexcept { return bandwidthH_; }
  void SetBandwidthH(double Value);
  bool UseFullBandwidth() const noexcept { return useFullBandwidth_; }
  void SetUseFullBandwidth(bool Value) noexcept { useFullBandwidth_ = Value; }
  /// The refinement settings (owned).
  TSpectrumPeakInterpolation* Interpolation() const noexcept { return interpolation_.get(); }
  TOrderTracing OrderTracing() const noexcept { return orderTracing_; }
  void SetOrderTracing(TOrderTracing Value) noexcept { orderTracing_ = Value; }
  /// The mark (1-based) whose frequency otNthPeak takes.
  int OrderPeakNumber() const noexcept { return orderPeakNumber_; }
  void SetOrderPeakNumber(int Value) noexcept { orderPeakNumber_ = Value; }
  /// Reference frequency of the order axis, Hz.
  double OrderFrequency() const noexcept { return orderFrequency_; }
  void SetOrderFrequency(double Value) noexcept { orderFrequency_ = Value; }
  bool OrderActive() const noexcept { return orderActive_; }
  void SetOrderActive(bool Value) noexcept { orderActive_ = Value; }

  // --- Operations ----------------------------------------------------------------------------

  /// One pass: order axis, band limits, the search of TraceMethod, the analyzer's
  /// MainlobeWidth (set after the search, so a search uses the width of the previous pass),
  /// then ApplyOrder.
  virtual void Update();
  /// The refined frequency of the peak near Freq (axis units), by Interpolation.Method:
  /// Freq climbs to the nearest maximum (line k = (Freq − BandWidthL)/HzRes), then
  /// - imNumeric: a hill climb on the analyzer's AmpltEst from step HzRes/8, halved while
  ///   above HzRes/P (P = Interpolation.PrecisionDivisor); the error is below 2·HzRes/P;
  /// - imQuadratic: + HzRes·(c − a)/(2b − a − c) with a, b, c = Amplt[k−1 .. k+1] (twice the
  ///   vertex offset of the parabola: kept as the analyzers have always computed it);
  /// - imBarycentric: + HzRes·(c − a)/(a + b + c);
  /// - imQuinnFirst, imQuinnSecond: Quinn's estimators on ComplexSpectrum (the first with
  ///   δ₊ = α₊/(1 − α₊), no sign change; the second with Tau);
  /// - imJain: Jain's ratio estimator on a, b, c.
  /// Fallbacks, for the call only: the methods above imNumeric give the line frequency when
  /// the analyzer's ActualZeroPadding is not 0 (after any FFT or chirp-z estimate: they act on
  /// the autoregressive spectra only), its window is not rectangular, or its type is stPower
  /// or stComplex; imNumeric and the Quinn methods when averaging has begun (Averaged ≠ 0)
  /// or ComplexSpectrumValid is false.
  double Approximate(double Freq);
  /// The correction term of imQuinnSecond:
  /// 0.25·log10(3x² + 6x + 1) − (√6/24)·(x + 1 − √(2/3)) / (x + 1 + √(2/3)).
  static double Tau(double x);

  /// Every peak in the band, as marks in order of frequency (not refined).
  void FindAllPeaks();
  void FindLargestPeaks();
  void AmpltHarmonics();
  void FreqHarmonics();
  void Trace();
  void Adjust();
  /// Notches found peak Index out of the analyzer's amplitude spectrum, as a distortion
  /// analyzer removes the fundamental: the mark is refined by the analyzer's PeakApproximate,
  /// then FilterPeak replaces the lines of its main lobe by a straight line.
  void Filter(int Index);
  /// Filter for every mark.
  void FilterAll();
  /// Takes the reference frequency from the peak OrderTracing names and, with OrderActive,
  /// re-expresses the axis and the marks in orders of it.
  void ApplyOrder();
  /// Converts the marks' amplitudes to dB as the analyzer converted its spectrum.
  void LogAmplt();
  /// Index of the mark nearest Freq, which receives that mark's frequency; -1 (Freq left
  /// alone) without marks.
  int Find(double& Freq) const;

  /// The found peaks: the analyzer's marks.
  TMarkList& List() const;
  TMarkList& GetList() const { return List(); }
  int Count() const;
  TMarkRecord& GetMarks(int i) const;
  void SetMarks(int i, const TMarkRecord& Value);

private:
  // Lines of the search: j0 .. j1 (inclusive), within 1 .. Length − 2.
  void SearchRange(int& j0, int& j1) const;
  // Collects the peak lines of the search range into candidates_.
  void CollectCandidates();
  // The largest candidate line, or -1.
  int LargestCandidate() const;
  // Line (on the analyzer's Hz axis) nearest to a frequency in Hz.
  double HzToLine(double f) const;
  // Keeps exactly n records in the list, reusing the existing ones.
  void SetMarkCount(int n);
  // Writes the peak at line j into mark i, refined when refine is set.
  void PutPeak(int i, int j, bool refine);
  // The strongest line within ±reach of line k (clipped), or -1.
  int StrongestNear(int k, int reach) const;
  // Marks 1 .. of the harmonics of mark 0.
  void Harmonics();
  // Half width in lines of the window in which a mark is followed (TraceInterval).
  int TraceReach() const;

  TSpectrumAnalyzer* owner_;
  bool active_ = true;
  TPeakTraceMethod traceMethod_ = ptNone;
  int largestCount_ = 1;
  double traceInterval_ = 0.0;
  double bandwidthL_ = 20.0;
  double bandwidthH_ = 20000.0;
  bool useFullBandwidth_ = true;
  std::unique_ptr<TSpectrumPeakInterpolation> interpolation_;
  TOrderTracing orderTracing_ = otNone;
  int orderPeakNumber_ = 1;
  double orderFrequency_ = 1.0;
  bool orderActive_ = false;
  std::vector<int> candidates_;  // reused from pass to pass
};

}  // namespace ondrix
