// Enumerations of the spectrum analyzer and its sub-objects, with the value names that
// settings files use for them.
#pragma once

#include <string>
#include <vector>

namespace ondrix {

/// How TSpectrumAnalyzer estimates the spectrum of a frame.
enum TSpectrumMethod {
  smFFT,           ///< windowed, zero-padded FFT
  smYuleWalker,    ///< autoregressive model, autocorrelation (Yule-Walker) estimate
  smBurg,          ///< autoregressive model, Burg's estimate
  smCov,           ///< autoregressive model, covariance method
  smMCov,          ///< autoregressive model, modified covariance method
  smCZT,           ///< chirp-z zoom spectrum (settings in TSpectrumAnalyzer::CZT)
  smRealCepstrum   ///< transform of the log magnitude spectrum
};

/// What the analyzer's Amplt holds (values as stored in settings files). With the FFT scale
/// of the analyzer, a real tone A·sin(2πft) reads, at its line:
enum TSpectrumType {
  stAmplitude = 0,        ///< A/2: the magnitude of the line (the tone's energy is split
                          ///< between +f and −f); a complex tone A·e^(2πift) reads A
  stRmsAmplitude = 1,     ///< (A/2)·√2/2
  stPower = 2,            ///< (A/2)²: the squared magnitude
  stDoubleAmplitude = 3,  ///< A: twice the magnitude, the peak amplitude of a real tone
  stComplex = 4           ///< the scaled complex spectrum: real parts in Amplt, imaginary
                          ///< parts in Phase
};

/// Reference of the dB conversion: 1.0 (absolute), or the largest line (relative, 0 dB at
/// the top).
enum TLogType { ltAbsolute, ltRelative };

/// Span of the dB display: values more than the span below the top are raised to it.
enum TLogSpan { ls30, ls45, ls60, ls90, ls120, ls150, ls200, ls350 };

/// The span of a TLogSpan in dB (30 .. 350).
int LogSpanDb(TLogSpan Span) noexcept;

/// Integration or differentiation of the amplitude over frequency (division or
/// multiplication by 2πf per step), e.g. acceleration to velocity to displacement.
enum TIntegration { inNone, inOnce, inTwice, diffOnce, diffTwice };

/// Range of the phase in pm360 mode: −π..π as computed, or shifted up by π (see
/// TSpectrumAnalyzer::ApplyPhaseRange).
enum TPhaseRange { prPiPi, prZeroTwoPi };

/// Averaging over successive frames (see TSpectrumStats).
enum TAveraging {
  avNone,            ///< no averaging
  avLinearInf,       ///< running mean of all frames since the last reset
  avExponentInf,     ///< exponential average, time constant ExpDecay frames
  avLinear,          ///< running mean that stops after Averages frames
  avPeakHold,        ///< per-line maximum held for Averages frames; stops after Averages frames
  avPeakHoldInf,     ///< per-line maximum held for Averages frames; never stops
  avPeakAndDecay,    ///< per-line maximum decaying by 1 − 1/ExpDecay per frame
  avCplxLinear,      ///< complex running mean, stops after Averages frames
  avCplxLinearInf,   ///< complex running mean without end
  avCplxExponentInf  ///< complex exponential average
};

/// True for the three modes that average the complex spectrum (done by the analyzer).
inline bool IsComplexAveraging(TAveraging a) noexcept {
  return a == avCplxLinear || a == avCplxLinearInf || a == avCplxExponentInf;
}

/// What TSpectrumPeaksAnalyzer searches after each estimate.
enum TPeakTraceMethod {
  ptNone,            ///< no search: the marks keep their frequencies and read the new spectrum
  ptCurrent,         ///< every mark follows its peak from frame to frame
  ptLargest,         ///< the LargestCount largest peaks
  ptAmpltHarmonics,  ///< the largest peak and its harmonics
  ptFreqHarmonics    ///< the peak at the fundamental frequency of mark 0 and its harmonics
};

/// Which found peak gives the reference frequency of order tracing.
enum TOrderTracing { otNone, otFirstPeak, otNthPeak, otLargest };

/// Refinement of a peak frequency between the lines (see TSpectrumPeaksAnalyzer::Approximate).
enum TInterpolationMethod { imNone, imNumeric, imQuadratic, imBarycentric, imQuinnFirst, imQuinnSecond, imJain };

/// Stop criterion of imNumeric: the search step falls to HzRes/100, /10⁴, /10⁶ or /10⁸.
enum TInterpolationPrecision { ip2, ip4, ip6, ip8 };

namespace detail {
/// Value names of the enumerations, in ordinal order (for the property tables).
const std::vector<std::string>& SpectrumMethodNames();
const std::vector<std::string>& SpectrumTypeNames();
const std::vector<std::string>& LogTypeNames();
const std::vector<std::string>& LogSpanNames();
const std::vector<std::string>& IntegrationNames();
const std::vector<std::string>& PhaseRangeNames();
const std::vector<std::string>& AveragingNames();
const std::vector<std::string>& PeakTraceMethodNames();
const std::vector<std::string>& OrderTracingNames();
const std::vector<std::string>& InterpolationMethodNames();
const std::vector<std::string>& InterpolationPrecisionNames();
const std::vector<std::string>& SignalWindowTypeNames();
const std::vector<std::string>& RunningPhaseNames();
}  // namespace detail

}  // namespace ondrix
