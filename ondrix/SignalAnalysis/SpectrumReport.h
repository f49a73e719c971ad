// TSpectrumReport: a spectrum analyzer's marks, THD and band levels as aligned text.
#pragma once

#include <string>

#include "ondrix/framework/TPersistent.h"

namespace ondrix {

class TSpectrumAnalyzer;
class TStringList;

/// The text report of a TSpectrumAnalyzer (its `Report`). Columns are SignalTextColumnWidth
/// characters wide; numbers are written with FormatSample patterns. Sections, each when
/// switched on and not empty:
/// - "Marks": frequency, amplitude (and phase with ShowPhase) of every mark, as the analyzer
///   holds them (dB when it is logarithmic);
/// - "THD": the total harmonic distortion of the marks in percent (mark 0 the fundamental,
///   the next Harmonics − 1 marks its harmonics, as TSpectrum::THD), computed from linear
///   amplitudes whatever the spectrum type or dB conversion;
/// - "Bands": nominal centre, edges, level and level in dB of every band.
class TSpectrumReport : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  explicit TSpectrumReport(TSpectrumAnalyzer* AOwner) : owner_(AOwner) {}

  TPersistent* GetOwner() const override;

  bool ShowMarks() const noexcept { return showMarks_; }
  void SetShowMarks(bool Value) noexcept { showMarks_ = Value; }
  bool ShowPhase() const noexcept { return showPhase_; }
  void SetShowPhase(bool Value) noexcept { showPhase_ = Value; }
  bool ShowTHD() const noexcept { return showTHD_; }
  void SetShowTHD(bool Value) noexcept { showTHD_ = Value; }
  bool ShowBands() const noexcept { return showBands_; }
  void SetShowBands(bool Value) noexcept { showBands_ = Value; }
  /// FormatSample patterns of frequencies, amplitudes and levels, phases and dB values.
  const std::string& FreqFormat() const noexcept { return freqFormat_; }
  void SetFreqFormat(const std::string& Value) { freqFormat_ = Value; }
  const std::string& AmpltFormat() const noexcept { return ampltFormat_; }
  void SetAmpltFormat(const std::string& Value) { ampltFormat_ = Value; }
  const std::string& PhaseFormat() const noexcept { return phaseFormat_; }
  void SetPhaseFormat(const std::string& Value) { phaseFormat_ = Value; }
  const std::string& DbFormat() const noexcept { return dbFormat_; }
  void SetDbFormat(const std::string& Value) { dbFormat_ = Value; }

  /// THD of the analyzer's marks in percent from linear amplitudes (0 without marks or with a
  /// zero fundamental); the marks are left in their order.
  double THD() const;
  /// Appends the report's lines to Dst.
  void ToStrings(TStringList& Dst) const;
  /// The report as text, lines ending in CR LF.
  std::string Text() const;

private:
  TSpectrumAnalyzer* owner_;
  bool showMarks_ = true;
  bool showPhase_ = false;
  bool showTHD_ = true;
  bool showBands_ = true;
  std::string freqFormat_ = "0.###";
  std::string ampltFormat_ = "0.00000E+00";
  std::string phaseFormat_ = "0.00";
  std::string dbFormat_ = "0.00";
};

}  // namespace ondrix
