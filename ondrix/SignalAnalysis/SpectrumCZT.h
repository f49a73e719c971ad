// TSpectrumCZT: the zoom settings of a spectrum analyzer's chirp-z method.
#pragma once

#include "ondrix/framework/TPersistent.h"

namespace ondrix {

class TSpectrumAnalyzer;

/// Settings of the zoom spectrum that TSpectrumAnalyzer computes with Method = smCZT (its
/// `CZT`). It computes nothing: the analyzer reads it at its next update. Frequencies in Hz.
///
/// The analyzer evaluates the z-transform of the windowed frame at the points
/// StartFrequency + k·FrequencyStep, k = 0 .. PointCount − 1, on the spiral whose radius goes
/// from StartRadius to StopRadius (both 1: the unit circle, a zoomed DFT). Its axis then
/// starts at StartFrequency (plus the input's frequency offset) with a sampling frequency of
/// 2·(StopFrequency − StartFrequency), so that the half band of the axis is the zoomed band;
/// the lines are (StopFrequency − StartFrequency) / PointCount apart, which is FrequencyStep
/// when the step divides the band.
class TSpectrumCZT : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  /// Most points of one zoom transform.
  static constexpr int kMaxPoints = 1 << 22;

  explicit TSpectrumCZT(TSpectrumAnalyzer* AOwner) : owner_(AOwner) {}

  TPersistent* GetOwner() const override;

  double StartFrequency() const noexcept { return startFrequency_; }
  /// Stored; StopFrequency is raised to it when below.
  void SetStartFrequency(double Value) noexcept;
  double FrequencyStep() const noexcept { return frequencyStep_; }
  /// Stored as max(0, Value).
  void SetFrequencyStep(double Value) noexcept;
  double StopFrequency() const noexcept { return stopFrequency_; }
  /// Stored; StartFrequency is lowered to it when above.
  void SetStopFrequency(double Value) noexcept;
  double StartRadius() const noexcept { return startRadius_; }
  /// Stored as max(Value, 0).
  void SetStartRadius(double Value) noexcept;
  double StopRadius() const noexcept { return stopRadius_; }
  /// Stored as given (no clamp).
  void SetStopRadius(double Value) noexcept { stopRadius_ = Value; }

  /// Number of points: (StopFrequency − StartFrequency) / FrequencyStep truncated, within
  /// 1 .. kMaxPoints (a zero step or band gives the nearest bound).
  int PointCount() const noexcept;

private:
  TSpectrumAnalyzer* owner_;
  double startFrequency_ = 0.0;
  double frequencyStep_ = 0.0078125;
  double stopFrequency_ = 0.5;
  double startRadius_ = 1.0;
  double stopRadius_ = 1.0;
};

}  // namespace ondrix
