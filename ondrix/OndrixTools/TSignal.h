// TSignal: one block of time-domain samples with its time and frequency scale.
#pragma once

#include <string>

#include "ondrix/OndrixTools/TAnalysis.h"
#include "ondrix/OndrixTools/TMarks.h"
#include "ondrix/framework/ClassInfo.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

class TStringList;

/// Column width of the text output of signals and spectra (ValuesToStrings, MarksToStrings).
extern int SignalTextColumnWidth;

/// The most values (doubles) a signal's or a spectrum's vector may be sized to while its
/// component loads from a settings file: 2^24, 128 MiB. A settings file is a short text, and
/// without a bound a few of its bytes could ask for gigabytes of zeros.
inline constexpr int kMaxLoadedValues = 1 << 24;
/// Raises EVecError "<Who>: length <n> out of range (a settings file may ask for at most
/// 16777216 values)" when Owner is loading and sizing v to n elements would exceed
/// kMaxLoadedValues. Lengths that no vector holds are left to the vector's own error.
void CheckLoadedLength(const TComponent& Owner, const TVec& v, int n, const char* Who);

/// A block of samples, channels interleaved (sample k of channel c is element
/// k·ChannelCount + c), with its scale: times in seconds, frequencies in Hz.
///
/// Length, Complex and the scale are derived from Data: any resize of Data runs
/// UpdateSetLength, which keeps SamplingFrequency and recomputes the rest. A new signal has
/// 128 real samples at 1 Hz. Generators, readers and filters are TSignals whose
/// InternalUpdate fills Data.
class TSignal : public TAnalysis {
public:
  ONDRIX_CLASS_INFO()

  explicit TSignal(TComponent* AOwner);
  ~TSignal() override;

  /// The samples.
  TVec& Data() noexcept { return data_; }
  const TVec& Data() const noexcept { return data_; }
  /// Deep copy of v into Data.
  void SetData(const TVec& v) { data_.Assign(v); }
  double& Values(int i) noexcept { return data_.Values(i); }
  double Values(int i) const noexcept { return data_.Values(i); }
  TCplx& CValues(int i) noexcept { return data_.CValues(i); }
  const TCplx& CValues(int i) const noexcept { return data_.CValues(i); }

  /// Element count of Data over all channels (cached).
  int Length() const noexcept { return length_; }
  /// Resizes Data (see CheckLoadedLength for the bound while loading).
  void SetLength(int n);
  bool Complex() const noexcept { return complex_; }
  /// Sets Data's complex flag (reinterpreting its storage, see TVec::SetComplex).
  void SetComplex(bool v) { data_.SetComplex(v); }
  virtual int GetChannelCount() const { return channelCount_; }
  int ChannelCount() const { return GetChannelCount(); }
  /// Keeps Dt; the block duration follows.
  virtual void SetChannelCount(int N);

  double SamplingFrequency() const noexcept { return samplingFrequency_; }
  /// Sets the sampling frequency; a non-positive F is stored as given while Dt, HzRes and
  /// BandWidth keep their values and SamplingTime becomes 0.
  virtual void SetSamplingFrequency(double F);
  double SamplingTime() const noexcept { return samplingTime_; }
  /// The routine every scale setter reduces to.
  void SetSamplingTime(double T);
  double Dt() const noexcept { return dt_; }
  void SetDt(double D);
  double HzRes() const noexcept { return hzRes_; }
  void SetHzRes(double H);
  double BandWidth() const noexcept { return bandWidth_; }
  double BandWidthL() const noexcept { return bandWidthL_; }
  void SetBandWidthL(double L);
  double BandWidthH() const noexcept { return bandWidthH_; }
  double StartTime() const noexcept { return startTime_; }
  void SetStartTime(double T) noexcept { startTime_ = T; }
  double StopTime() const noexcept { return stopTime_; }

  TMarkList& Marks() noexcept { return marks_; }
  const TMarkList& Marks() const noexcept { return marks_; }

  /// Copies Data (values, length, complex flag) and the sampling frequency of Src;
  /// ChannelCount is not copied.
  void Copy(const TSignal& Src);
  /// Takes Src's complex flag, length and sampling frequency; values are not copied.
  void Size(const TSignal& Src);

  /// Refreshes MaxAmplt / MinAmplt: extremes of Data, or the magnitudes of its complex
  /// extremes.
  void MinMax();
  double MaxAmplt() const noexcept { return maxAmplt_; }
  double MinAmplt() const noexcept { return minAmplt_; }
  /// Largest magnitude of the extremes about the mean: max(|Max − mean|, |Min − mean|)
  /// (call MinMax first).
  double Peak() const;
  /// Peak() divided by the RMS of Data (call MinMax first); 0 for a silent block.
  double Crest() const;

  /// Writes the marks in the mark stream format.
  virtual void SaveBinaryStream(TStream& Stream) const;
  virtual void LoadBinaryStream(TStream& Stream);
  /// Keeps the scale consistent when Data is resized (bound to Data's size event).
  virtual void UpdateSetLength(TObject* Sender);

  /// One line per sample: time (XFormat) aligned to SignalTextColumnWidth, then the value
  /// (YFormat); a header line when either header is not empty.
  virtual void ValuesToStrings(TStringList& Dst, const std::string& XFormat = "",
                               const std::string& YFormat = "", const std::string& XHeader = "",
                               const std::string& YHeader = "") const;
  /// One line per mark: its time, then its amplitude; same header rule.
  virtual void MarksToStrings(TStringList& Dst, const std::string& XFormat = "",
                              const std::string& YFormat = "", const std::string& XHeader = "",
                              const std::string& YHeader = "") const;

  void BeforeInternalUpdate() override;
  void DefineProperties(TFiler& Filer) override;

private:
  TFloatArray DataArray() const;
  void SetDataArray(const TFloatArray& A);

  double bandWidth_ = 0, bandWidthH_ = 0, dt_ = 0, startTime_ = 0, stopTime_ = 0;
  double bandWidthL_ = 0, hzRes_ = 0, samplingFrequency_ = 1, samplingTime_ = 0;
  double minAmplt_ = 0, maxAmplt_ = 0;
  int length_ = 0;
  bool complex_ = false;
  int channelCount_ = 1;
  TMarkList marks_;
  TVec data_;
};

/// Conversions between TVec and the framework's float arrays (for published vector
/// properties).
TFloatArray ToFloatArray(const TVec& v);
void FromFloatArray(TVec& v, const TFloatArray& a);

}  // namespace ondrix
