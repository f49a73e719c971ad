#include "ondrix/sigcore/waveforms.h"

#include <cmath>

#include "ondrix/sigcore/tone.h"
#include "ondrix/vec/calcbase.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

/// a modulo 360 as a − 360·trunc(a / 360), in extended precision: the sign follows a.
double Mod360(long double a) { return static_cast<double>(a - 360.0L * std::trunc(a / 360.0L)); }

inline void Put(TVec& v, int i, double y) {
  if (v.Complex())
    v.PCValues()[i] = TCplx(y, 0.0);
  else
    v.PValues()[i] = y;
}

}  // namespace

void PulseTrain(TVec& v, std::int64_t start, double dt, double rise, double high, double fall, double low,
                double height) {
  // Degrees per second; edges in degrees of the period.
  const double k = 360.0 / (high + low + rise + fall);
  const double r = rise * k;
  const double h = r + high * k;
  const double f = fall * k;
  for (int i = 0; i < v.Length(); ++i) {
    // Long runs: the product is formed in extended precision before the reduction.
    const long double n = static_cast<long double>(start) + i;
    const double x = Mod360(n * k * dt);
    if (x < 0) continue;
    double y;
    if (x < r)
      y = (x / r) * height;
    else if (x < h)
      y = height;
    else if (x < h + f)
      y = (1.0 - ((x - r) - high * k) / f) * height;
    else
      y = 0.0;
    Put(v, i, y);
  }
}

void SquareWave(TVec& v, std::int64_t start, double dt, double f, double phaseDeg, double amplitude,
                double offset) {
  for (int i = 0; i < v.Length(); ++i) {
    const long double n = static_cast<long double>(start) + i;
    const double x = Mod360(n * f * dt * 360.0 + phaseDeg);
    Put(v, i, (x >= 0 && x < 180.0) ? amplitude + offset : offset - amplitude);
  }
}

void LinearChirp(TVec& v, std::int64_t start, double f0, double f1, double amp0, double amp1, double offset,
                 double sweepTime, std::int64_t sweepLength) {
  if (sweepLength == 0) throw Exception("Division by zero");
  const double dL = static_cast<double>(sweepLength);
  // Phase (a·m + b)·m at sample m of the sweep: the integral of the rising frequency.
  const double a = PI * (f1 - f0) * sweepTime / (dL * dL);
  const double b = 2.0 * PI * f0 * sweepTime / dL;
  for (int i = 0; i < v.Length(); ++i) {
    const double m = static_cast<double>((start + i) % sweepLength);
    const double theta = FixAngle((a * m + b) * m);
    Put(v, i, std::sin(theta) * ((amp1 * m + (dL - m) * amp0) / dL) + offset);
  }
}

void NoiseBlock(TVec& v, TNoiseKind kind, double p0, double p1, bool continuous) {
  if (kind == nkGauss) {
    if (continuous)
      v.RandGauss(p0, std::fabs(p1));
    else
      v.RandGauss(kRestartNoiseSeed, p0, std::fabs(p1));
  } else {
    if (continuous)
      v.RandUniform(p0, p1);
    else
      v.RandUniform(kRestartNoiseSeed, p0, p1);
  }
}

}  // namespace ondrix
