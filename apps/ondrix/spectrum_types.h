// What the analysing commands' spectrum types mean: a line's level from its power, and the
// words for the help texts and axis labels.
#pragma once

#include <cmath>
#include <string>

namespace ondrix::app {

/// What a sine of amplitude A reads in each spectrum type (the `--type` help).
inline const char* const kTypeHelp =
    "Spectrum type, one-sided; what a sine of amplitude A reads:\n"
    "  peak   A            (peak amplitude)\n"
    "  rms    A/sqrt(2)    (RMS amplitude)\n"
    "  power  A^2/2        (mean square, units^2)\n"
    "  psd    A^2/2 / ENBW (power spectral density, units^2/Hz; ENBW = the window's\n"
    "                       equivalent noise bandwidth in Hz; white noise of variance s^2\n"
    "                       reads s^2/(fs/2))\n"
    "Frames are averaged as powers (RMS averaging) in every type.";

/// A line's value in type ("peak", "rms", "power", "psd"), from its power P = (peak amplitude)²
/// and the window's noise bandwidth in Hz.
inline double Shown(const std::string& type, double P, double enbwHz) {
  if (type == "peak") return std::sqrt(P);
  if (type == "rms") return std::sqrt(P / 2);
  if (type == "power") return P / 2;
  return P / 2 / enbwHz;
}

/// Whether a type is a power (10 log10 in dB) rather than an amplitude (20 log10).
inline bool IsPowerType(const std::string& type) { return type == "power" || type == "psd"; }

/// The full-scale reference of dBFS in a type: what a full-scale sine reads (its power for psd).
inline double FullScaleReference(const std::string& type, double fullScale) {
  return Shown(type == "psd" ? "power" : type, fullScale * fullScale, 1.0);
}

/// The unit of a type's levels in dB: re the full scale (dbfs) or re 1 unit, per Hz for psd.
inline std::string DbUnit(const std::string& type, bool dbfs) {
  if (dbfs) return type == "psd" ? "dBFS/Hz" : "dBFS";
  return type == "psd" ? "dB re 1/Hz" : "dB re 1";
}

/// "Peak amplitude", "RMS amplitude", "Power" or "PSD", for axis labels.
inline const char* TypeTitle(const std::string& type) {
  return type == "peak" ? "Peak amplitude" : type == "rms" ? "RMS amplitude" : type == "power" ? "Power" : "PSD";
}

}  // namespace ondrix::app
