#include "ondrix/SignalAnalysis/AnalysisTypes.h"

namespace ondrix {

int LogSpanDb(TLogSpan Span) noexcept {
  switch (Span) {
    case ls30: return 30;
    case ls45: return 45;
    case ls60: return 60;
    case ls90: return 90;
    case ls120: return 120;
    case ls150: return 150;
    case ls200: return 200;
    case ls350: return 350;
  }
  return 120;
}

namespace detail {

#define ONDRIX_NAMES(Fn, ...)                               \
  const std::vector<std::string>& Fn() {                    \
    static const std::vector<std::string> names{__VA_ARGS__}; \
    return names;                                           \
  }

ONDRIX_NAMES(SpectrumMethodNames, "smFFT", "smYuleWalker", "smBurg", "smCov", "smMCov", "smCZT", "smRealCepstrum")
ONDRIX_NAMES(SpectrumTypeNames, "stAmplitude", "stRmsAmplitude", "stPower", "stDoubleAmplitude", "stComplex")
ONDRIX_NAMES(LogTypeNames, "ltAbsolute", "ltRelative")
ONDRIX_NAMES(LogSpanNames, "ls30", "ls45", "ls60", "ls90", "ls120", "ls150", "ls200", "ls350")
ONDRIX_NAMES(IntegrationNames, "inNone", "inOnce", "inTwice", "diffOnce", "diffTwice")
ONDRIX_NAMES(PhaseRangeNames, "prPiPi", "prZeroTwoPi")
ONDRIX_NAMES(AveragingNames, "avNone", "avLinearInf", "avExponentInf", "avLinear", "avPeakHold", "avPeakHoldInf",
             "avPeakAndDecay", "avCplxLinear", "avCplxLinearInf", "avCplxExponentInf")
ONDRIX_NAMES(PeakTraceMethodNames, "ptNone", "ptCurrent", "ptLargest", "ptAmpltHarmonics", "ptFreqHarmonics")
ONDRIX_NAMES(OrderTracingNames, "otNone", "otFirstPeak", "otNthPeak", "otLargest")
ONDRIX_NAMES(InterpolationMethodNames, "imNone", "imNumeric", "imQuadratic", "imBarycentric", "imQuinnFirst",
             "imQuinnSecond", "imJain")
ONDRIX_NAMES(InterpolationPrecisionNames, "ip2", "ip4", "ip6", "ip8")
ONDRIX_NAMES(SignalWindowTypeNames, "wtRectangular", "wtHanning", "wtHamming", "wtFlatTop", "wtBartlett",
             "wtBlackman", "wtBlackmanHarris", "wtBlackmanExact", "wtCosineTapered", "wtKaiser", "wtChebyshev",
             "wtExponent")
ONDRIX_NAMES(RunningPhaseNames, "rpNearest", "rpRunning", "rpSlope")

#undef ONDRIX_NAMES

}  // namespace detail

}  // namespace ondrix
