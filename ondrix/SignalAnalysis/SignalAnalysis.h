// The signal-analysis unit: the spectrum analyzer (TSpectrumAnalyzer) with its statistics,
// peak search, zoom settings, band levels and text report. Including this header registers
// the unit's streamable classes with the class registry.
#pragma once

#include <vector>

#include "ondrix/OndrixTools/OndrixTools.h"
#include "ondrix/SignalAnalysis/AnalysisTypes.h"
#include "ondrix/SignalAnalysis/BiSpectrum.h"
#include "ondrix/SignalAnalysis/CrossSpectrum.h"
#include "ondrix/SignalAnalysis/SignalAnalyzer.h"
#include "ondrix/SignalAnalysis/SpectrumAnalyzer.h"
#include "ondrix/SignalAnalysis/SpectrumBands.h"
#include "ondrix/SignalAnalysis/SpectrumCZT.h"
#include "ondrix/SignalAnalysis/SpectrumPeakInterpolation.h"
#include "ondrix/SignalAnalysis/SpectrumPeaks.h"
#include "ondrix/SignalAnalysis/SpectrumReport.h"
#include "ondrix/SignalAnalysis/SpectrumStats.h"

namespace ondrix {

/// The unit's streamable classes, in registration order.
std::vector<const TClassInfo*> SignalAnalysisClasses();
/// Registers the classes (idempotent); called when the unit is loaded.
void RegisterSignalAnalysisClasses();
/// Removes them from the registry; called when the unit is unloaded.
void UnRegisterSignalAnalysisClasses();

namespace detail {
/// Loads and unloads the unit with the program: registration at start-up, removal at exit.
struct TSignalAnalysisUnit {
  TSignalAnalysisUnit() { RegisterSignalAnalysisClasses(); }
  ~TSignalAnalysisUnit() { UnRegisterSignalAnalysisClasses(); }
};
inline const TSignalAnalysisUnit kSignalAnalysisUnit{};
}  // namespace detail

}  // namespace ondrix
