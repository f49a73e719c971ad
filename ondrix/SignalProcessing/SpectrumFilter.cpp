#include "ondrix/SignalProcessing/SpectrumFilter.h"

#include <algorithm>
#include <cmath>

#include "ondrix/framework/ClassBuilder.h"
#include "ondrix/sigcore/block_median.h"
#include "ondrix/vec/exceptions.h"

namespace ondrix {

namespace {

constexpr int kMinSmoothing = 2, kMaxSmoothing = 1000;

// |z|: √(re² + im²), which vectorises, and hypot only where the square under- or overflows.
inline double Magnitude(const TCplx& z) {
  const double s = z.real() * z.real() + z.imag() * z.imag();
  return s > 1e-300 && s < 1e300 ? std::sqrt(s) : std::hypot(z.real(), z.imag());
}

}  // namespace

const TClassInfo& TSpectrumFilter::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSpectrumFilter, TSignal>("TSpectrumFilter")
                                     .Prop("Input", &TSpectrumFilter::GetInput, &TSpectrumFilter::SetInput)
                                     .Stored(&TSpectrumFilter::InputsStored)
                                     .Prop("Smoothing", &TSpectrumFilter::Smoothing, &TSpectrumFilter::SetSmoothing)
                                     .Build();
  return info;
}

TSpectrumFilter::TSpectrumFilter(TComponent* AOwner) : TSignal(AOwner) { SetUsesInputs(true); }

TSpectrumFilter::~TSpectrumFilter() { BeginDestroy(); }

void TSpectrumFilter::SetSmoothing(int Value) noexcept { smoothing_ = std::clamp(Value, kMinSmoothing, kMaxSmoothing); }

TPipeState TSpectrumFilter::InternalUpdate() {
  const TVec& in = Input()->Data();
  if (smoothing_ < 3) {
    Data().Copy(in);
    return pipeOK;
  }
  const int n = in.Length();
  Data().Size(n, in.Complex());
  if (n % FrameLength != 0) ERaise("Special filter error!");
  frame_.Size(FrameLength, in.Complex());
  for (int k = 0; k < n / FrameLength; ++k) {
    frame_.Copy(in, k * FrameLength, 0, FrameLength);
    FilterFrame();
    Data().Copy(frame_, 0, k * FrameLength, FrameLength);
  }
  return pipeOK;
}

void TSpectrumFilter::FilterFrame() {
  const bool complex = frame_.Complex();
  if (complex)
    spectrum_.FFT(frame_);
  else
    spectrum_.FFTFromReal(frame_);
  const int bins = spectrum_.Length();
  amplt_.Size(bins, false);
  TCplx* x = spectrum_.PCValues();
  double* a = amplt_.PValues();
  for (int k = 0; k < bins; ++k) a[k] = Magnitude(x[k]);
  // A real frame's amplitude is even: reflecting the half spectrum is wrapping the whole.
  BlockMedian(smooth_, amplt_, smoothing_, complex ? meWrap : meReflect);
  // The new amplitude with the old phase: x·(s/|x|); a zero bin has phase 0.
  const double* s = smooth_.PValues();
  for (int k = 0; k < bins; ++k) x[k] = a[k] > 0 ? x[k] * (s[k] / a[k]) : TCplx(s[k], 0.0);
  if (complex)
    frame_.IFFT(spectrum_);
  else
    frame_.IFFTFromHalf(spectrum_, FrameLength);
}

// --- List ----------------------------------------------------------------------------------------

const TClassInfo& TSpectrumFilterList::StaticClassInfo() {
  static const TClassInfo info = TClassBuilder<TSpectrumFilterList, TSignalList>("TSpectrumFilterList").Build();
  return info;
}

std::unique_ptr<TKvxComponent> TSpectrumFilterList::AddItem() { return std::make_unique<TSpectrumFilter>(nullptr); }

}  // namespace ondrix
