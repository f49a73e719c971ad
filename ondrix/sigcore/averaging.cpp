#include "ondrix/sigcore/averaging.h"

#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

// avg := (avg·(n − 1) + x)/n over the doubles of both (real and imaginary parts alike).
void Step(TVec& avg, const TVec& x, double n) {
  if (!(n >= 1.0)) ERaise("RunningAverage: n must be at least 1");
  if (avg.Length() != x.Length() || avg.Complex() != x.Complex())
    ERaise("RunningAverage: the average and the new value differ in size");
  double* a = avg.PValues();
  const double* v = x.PValues();
  // a + (v − a)/n is the same average; one multiply by 1/n vectorises, a divide per element
  // would not keep up with the transform.
  const double inv = 1.0 / n;
  if (inv == 1.0) {  // n = 1 follows the new value exactly
    avg.Copy(x);
    return;
  }
  for (int i = 0, count = x.RealLength(); i < count; ++i) a[i] += (v[i] - a[i]) * inv;
}

}  // namespace

void RunningAverage(TVec& avg, const TVec& x, unsigned count, double n) {
  if (count == 0) {
    avg.Copy(x);
    return;
  }
  Step(avg, x, n);
}

void RunningAverage(TMtx& avg, const TMtx& x, unsigned count, double n) {
  if (count == 0) {
    avg.Copy(x);
    return;
  }
  if (avg.Rows() != x.Rows()) ERaise("RunningAverage: the average and the new value differ in size");
  Step(avg, x, n);
}

}  // namespace ondrix
