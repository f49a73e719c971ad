#include "ondrix/SignalAnalysis/SignalAnalysis.h"

#include "ondrix/framework/Registry.h"

namespace ondrix {

std::vector<const TClassInfo*> SignalAnalysisClasses() {
  return {&TSpectrumAnalyzer::StaticClassInfo(),      &TSpectrumStats::StaticClassInfo(),
          &TSpectrumPeaksAnalyzer::StaticClassInfo(), &TSpectrumPeakInterpolation::StaticClassInfo(),
          &TSpectrumCZT::StaticClassInfo(),           &TSpectrumBandsAnalyzer::StaticClassInfo(),
          &TSpectrumBands::StaticClassInfo(),         &TBandRecord::StaticClassInfo(),
          &TSpectrumReport::StaticClassInfo(),
          &TCrossSpectrumAnalyzer::StaticClassInfo(), &TCrossAnalyzer::StaticClassInfo(),
          &TCrossSpectrumAnalyzerList::StaticClassInfo(), &TBiSpectrumAnalyzer::StaticClassInfo(),
          &TBiAnalyzer::StaticClassInfo(),            &TBiSpectrumAnalyzerList::StaticClassInfo(),
          &TSignalAnalyzer::StaticClassInfo(),        &TSignalReport::StaticClassInfo(),
          &TSignalAnalyzerList::StaticClassInfo()};
}

void RegisterSignalAnalysisClasses() {
  for (const TClassInfo* c : SignalAnalysisClasses()) RegisterClass(*c);
}

void UnRegisterSignalAnalysisClasses() {
  for (const TClassInfo* c : SignalAnalysisClasses()) UnRegisterClass(*c);
}

}  // namespace ondrix
