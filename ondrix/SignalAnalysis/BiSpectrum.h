// TBiSpectrumAnalyzer: the bispectrum and bicoherence of a signal's frames, over the whole
// (f1, f2) plane or along selected rows; TBiAnalyzer holds the averages; TBiSpectrumAnalyzerList.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ondrix/SignalAnalysis/CrossSpectrum.h"
#include "ondrix/sigcore/bispectrum.h"
#include "ondrix/vec/TMtx.h"

namespace ondrix {

/// What TBiAnalyzer::Update leaves in Bispectrum.
enum TBiAnalysis {
  hoBicoherence,  ///< the squared bicoherence b², in [0, 1]
  hoBispectrum    ///< ∛|B|, in the units of the analyzer's amplitude
};

/// Normalisation of the bicoherence (see ondrix/sigcore/bispectrum.h).
enum TBicoherenceType {
  bctDefault,  ///< |E B|² / Power(E|X(f1)|³·E|X(f2)|³·E|X(f1+f2)|³, 2/3)
  bctModified  ///< |E B|² / E|B|²
};

class TBiSpectrumAnalyzer;

/// The averages and the result of a TBiSpectrumAnalyzer (its BiAnalyzer).
///
/// The plane has rows f1 and columns f2, both from 0 Hz to fs/2 in steps of the line spacing
/// fs/N (N the transform length): (N/2 + 1) × (N/2 + 1) values, B(f1, f2) = X(f1)·X(f2)·
/// conj(X(f1 + f2)) with X the analyzer's scaled spectrum (f1 + f2 beyond fs/2 reads the
/// spectrum's periodic continuation). With SingleLinesOnly only the rows at the frequencies of
/// Lines are kept, in the order of Lines; a frequency maps to the nearest row, at most the
/// row just below fs/2.
///
/// With Recursive the averages are running means (or exponential averages) after each frame.
/// Without it they are sums: Update reads them as means (the modified bicoherence and the
/// bispectrum scale by 1/Stats.Averaged; the default bicoherence does not depend on the
/// scale) and then frees them, so the next frame starts a new run. Whole-plane sums are only
/// complete after Update: frames wait in batches of eight, folded in one pass over the plane,
/// and only the half f2 ≥ f1 is summed (B is symmetric), the other half mirrored at the end.
class TBiAnalyzer : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TBiAnalyzer(TBiSpectrumAnalyzer* AOwner);
  TBiAnalyzer(const TBiAnalyzer&) = delete;
  TBiAnalyzer& operator=(const TBiAnalyzer&) = delete;

  /// The analyzer.
  TPersistent* GetOwner() const override;

  /// Bispectrum := the bicoherence or ∛|B| of the averages (empty without averages); without
  /// Recursive the averages are freed afterwards.
  virtual void Update();
  /// Frees the averaged matrices (the next frame restarts averaging).
  void FreeUpMemory();

  /// The result: real, one row per analysed row, columns from 0 Hz to fs/2.
  const TMtx& Bispectrum() const noexcept { return bispectrum_; }
  /// The averaged (or summed) complex bispectrum, same shape. Without Recursive whole-plane
  /// sums are partial until Update (see the class comment).
  const TMtx& AveragedBispectrum() const noexcept { return averaged_; }
  /// The averaged normaliser: E|B|² (the plane's shape) for bctModified, E|X|³ (one row of
  /// N bins) for bctDefault.
  const TMtx& AveragedNormaliser() const noexcept { return normaliser_; }

  /// A frequency of the plane, Hz: the row BrowseBispectrum shows.
  double Frequency() const noexcept { return frequency_; }
  void SetFrequency(double Value) noexcept { frequency_ = Value; }
  bool SingleLinesOnly() const noexcept { return singleLinesOnly_; }
  void SetSingleLinesOnly(bool Value) noexcept { singleLinesOnly_ = Value; }
  TBiAnalysis Transform() const noexcept { return transform_; }
  void SetTransform(TBiAnalysis Value) noexcept { transform_ = Value; }
  /// Row frequencies of SingleLinesOnly, Hz.
  const TVec& Lines() const noexcept { return lines_; }
  /// Copies the frequencies; a change restarts averaging.
  void SetLines(const TVec& Value);
  bool Recursive() const noexcept { return recursive_; }
  void SetRecursive(bool Value) noexcept { recursive_ = Value; }
  TBicoherenceType BicoherenceType() const noexcept { return bicoherenceType_; }
  void SetBicoherenceType(TBicoherenceType Value) noexcept { bicoherenceType_ = Value; }

  /// Transform length N of the last frame (0 before the first) and its line spacing, Hz.
  int SpectrumLength() const noexcept { return spectrumLength_; }
  double BinWidth() const noexcept { return binWidth_; }
  /// The row (bin) of a line frequency: rounded to the nearest bin, limited to 0 .. N/2 − 1.
  int RowBin(double Hz) const noexcept;
  /// Row of Bispectrum that BrowseBispectrum shows for Frequency, or −1 when there is none.
  int SelectedRow() const noexcept;

private:
  friend class TBiSpectrumAnalyzer;
  TFloatArray LinesArray() const { return ToFloatArray(lines_); }
  void SetLinesArray(const TFloatArray& A);
  void SetGeometry(int N, double fs) noexcept;
  // Folds the waiting spectra into the sums, then mirrors sums kept on the upper half of the
  // plane into the lower half.
  void CompletePlane();
  // Starts sums of the whole plane (rows × cols, with the power plane when power), frames
  // waiting in batches; the waiting buffers are sized now, so later frames allocate nothing.
  void StartPlaneSums(int rows, int cols, bool power, int N);
  // Queues one spectrum for the sums; a full batch is folded at once.
  void AddToPlaneSums(const TVec& X);
  void FoldWaiting();
  // Drops waiting spectra and the upper-half mark: a new run starts.
  void FreeUpWaiting();

  TBiSpectrumAnalyzer* owner_;
  double frequency_ = 0.0;
  bool singleLinesOnly_ = false;
  TBiAnalysis transform_ = hoBicoherence;
  TMtx averaged_;
  TMtx bispectrum_;
  TMtx normaliser_;
  TVec lines_;
  bool recursive_ = true;
  TBicoherenceType bicoherenceType_ = bctModified;
  int spectrumLength_ = 0;
  double binWidth_ = 0.0;
  bool upperOnly_ = false;  // the plane's sums cover f2 >= f1 only
  // Whole-plane sums: spectra waiting to be folded in batches (the sums are read and written
  // once per batch rather than once per frame).
  static constexpr int kBatch = 8;
  std::vector<TVec> waiting_;
  std::vector<const TVec*> waitingPtr_;
  int waitingCount_ = 0;
  bool freshSums_ = false;  // the next fold starts the sums
  bool sumsPower_ = false;  // with the power plane (bctModified)
  TBiSpectrumState planeState_;
  TVec r_, row_, bicoRow_;  // scratch of Update
};

/// Bispectrum analysis of the frames of Input: each update estimates the complex spectrum X
/// of the frame (always by smFFT, with the analyzer's window, zero padding and amplitude
/// scale; a real frame's spectrum is completed by its conjugate symmetry), forms the
/// instantaneous bispectrum plane (or rows) and its normaliser, and averages them in
/// BiAnalyzer when Stats.Averaging is avLinearInf, avExponentInf or avLinear (any other mode
/// keeps the last frame). A change in the shape of the plane restarts averaging. With
/// BiAnalyzer.Recursive each update ends with BiAnalyzer.Update and BrowseBispectrum; without
/// it, call UpdateSpectrum when the frames are in.
///
/// The component's spectrum is one row of BiAnalyzer.Bispectrum (BiAnalyzer.SelectedRow),
/// its N/2 lines from 0 Hz in steps of fs/N, without phase. After the first frame of a size an
/// update allocates nothing.
class TBiSpectrumAnalyzer : public TSpectrumAnalyzer {
public:
  ONDRIX_CLASS_INFO()

  explicit TBiSpectrumAnalyzer(TComponent* AOwner);
  ~TBiSpectrumAnalyzer() override;

  /// The owned averages and settings.
  TBiAnalyzer* BiAnalyzer() const noexcept { return biAnalyzer_.get(); }

  /// When assigned, supplies the complex spectrum (a whole DFT of N bins in FFT order, scaled
  /// as wanted) instead of the analyzer's own estimate.
  TNotifyVecEvent OnGetSpectrum;
  /// After each BrowseBispectrum.
  TNotifyEvent OnUpdateSpectrum;

  TPipeState InternalUpdate() override;
  /// The inherited axis, made one-sided from the input's left band edge (the rows' columns
  /// run from 0 Hz to fs/2 whatever the input).
  void BeforeInternalUpdate() override;
  /// Shows the selected row of BiAnalyzer.Bispectrum as the spectrum, with peaks, bands and
  /// extremes.
  virtual void BrowseBispectrum();
  /// BiAnalyzer.Update, then BrowseBispectrum: finishes a run without Recursive.
  void UpdateSpectrum();

  /// The scaled whole spectrum X of the last frame (N bins, FFT order).
  const TVec& FrameSpectrum() const noexcept { return x_; }

private:
  bool EstimateFrame();
  void Accumulate();

  std::unique_ptr<TBiAnalyzer> biAnalyzer_;
  TVec x_;
  TMtx instant_, instantNormaliser_;
  TVec row_, rowPower_;
};

/// A bank of TBiSpectrumAnalyzer items (without owner: the list frees them).
class TBiSpectrumAnalyzerList : public TSpectrumList {
public:
  ONDRIX_CLASS_INFO()
  explicit TBiSpectrumAnalyzerList(TComponent* AOwner) : TSpectrumList(AOwner) {}
  TBiSpectrumAnalyzer* Items(int i) const { return static_cast<TBiSpectrumAnalyzer*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

namespace detail {
/// Value names of the enumerations, in ordinal order (for the property tables).
const std::vector<std::string>& BiAnalysisNames();
const std::vector<std::string>& BicoherenceTypeNames();
}  // namespace detail

}  // namespace ondrix
