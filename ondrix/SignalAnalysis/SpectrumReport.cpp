#include "ondrix/SignalAnalysis/SpectrumReport.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/SignalAnalysis/SpectrumBands.h"
#include "ondrix/SignalAnalysis/SpectrumPeaks.h"
#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/framework/TStringList.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

const TClassInfo& TSpectrumReport::StaticClassInfo() {
  using R = TSpectrumReport;
  static const TClassInfo info = TClassBuilder<R, TPersistent>("TSpectrumReport")
                                     .Prop("ShowMarks", &R::ShowMarks, &R::SetShowMarks, true)
                                     .Prop("ShowPhase", &R::ShowPhase, &R::SetShowPhase, false)
                                     .Prop("ShowTHD", &R::ShowTHD, &R::SetShowTHD, true)
                                     .Prop("ShowBands", &R::ShowBands, &R::SetShowBands, true)
                                     .Prop("FreqFormat", &R::FreqFormat, &R::SetFreqFormat, std::string("0.###"))
                                     .Prop("AmpltFormat", &R::AmpltFormat, &R::SetAmpltFormat,
                                           std::string("0.00000E+00"))
                                     .Prop("PhaseFormat", &R::PhaseFormat, &R::SetPhaseFormat, std::string("0.00"))
                                     .Prop("DbFormat", &R::DbFormat, &R::SetDbFormat, std::string("0.00"))
                                     .Build();
  return info;
}

TPersistent* TSpectrumReport::GetOwner() const { return owner_; }

double TSpectrumReport::THD() const {
  const TSpectrumAnalyzer& a = *owner_;
  const TMarkList& marks = a.Marks();
  if (marks.Count() == 0) return 0.0;
  // (frequency, linear amplitude) of every mark, lowest frequency first.
  std::vector<std::pair<double, double>> m;
  const double ref = a.LogType() == ltAbsolute ? 1.0 : a.LogReference();
  for (int i = 0; i < marks.Count(); ++i) {
    double v = marks.Values(i).Amplt;
    if (a.Logarithmic() && a.SpectrumType() != stComplex)
      v = ref * std::pow(10.0, v / 20.0);
    else if (a.SpectrumType() == stPower)
      v = std::sqrt(std::fabs(v));
    m.emplace_back(marks.Values(i).Freq, v);
  }
  std::stable_sort(m.begin(), m.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
  const int n = std::min(a.Harmonics(), static_cast<int>(m.size()));
  double sum = 0.0;
  for (int i = 1; i < n; ++i) sum += m[i].second * m[i].second;
  const double fund = std::fabs(m[0].second);
  return fund > 0 ? std::sqrt(sum) * 100.0 / fund : 0.0;
}

void TSpectrumReport::ToStrings(TStringList& Dst) const {
  const TSpectrumAnalyzer& a = *owner_;
  const int w = SignalTextColumnWidth;
  const bool db = a.Logarithmic() && a.SpectrumType() != stComplex;
  if (showMarks_ && a.Marks().Count() > 0) {
    Dst.Add("Marks");
    a.MarksToStrings(Dst, freqFormat_, db ? dbFormat_ : ampltFormat_, phaseFormat_,
                     a.Peaks() && a.Peaks()->OrderActive() ? "Order" : "Frequency [Hz]",
                     db ? "Amplitude [dB]" : "Amplitude", a.PhaseUnits() == puDeg ? "Phase [deg]" : "Phase [rad]",
                     showPhase_);
  }
  if (showTHD_ && a.Marks().Count() > 0) {
    Dst.Add(AlignString("THD [%]", w) + FormatSample("0.0000", THD()));
  }
  const TSpectrumBandsAnalyzer& bands = *a.Bands();
  if (showBands_ && bands.Count() > 0) {
    Dst.Add("Bands");
    Dst.Add(AlignString("Centre [Hz]", w) + AlignString("Start [Hz]", w) + AlignString("Stop [Hz]", w) +
            AlignString("Level", w) + "Level [dB]");
    for (int i = 0; i < bands.Count(); ++i) {
      const TBandRecord& b = bands.Band(i);
      Dst.Add(AlignString(FormatSample(freqFormat_, b.CentreFrequency()), w) +
              AlignString(FormatSample(freqFormat_, b.StartFrequency()), w) +
              AlignString(FormatSample(freqFormat_, b.StopFrequency()), w) +
              AlignString(FormatSample(ampltFormat_, b.Level()), w) + FormatSample(dbFormat_, bands.LevelDb(i)));
    }
  }
}

std::string TSpectrumReport::Text() const {
  TStringList lines;
  ToStrings(lines);
  return lines.Text();
}

}  // namespace ondrix
