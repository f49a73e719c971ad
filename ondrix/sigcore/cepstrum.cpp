#include "ondrix/sigcore/cepstrum.h"

#include <cfloat>
#include <cmath>

#include "ondrix/sigcore/phase.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix {

namespace {

// ln of a magnitude, with zero taken as the smallest normal double to stay finite.
inline double LogMag(const TCplx& z) { return std::log(std::fmax(std::abs(z), DBL_MIN)); }

// state.Spectrum := src as complex values, times the window of the given type.
void WindowedCopy(TCepstrumState& st, const TVec& src, TSignalWindowType type, double att,
                  double expWindow) {
  const int n = src.Length();
  st.Spectrum.Size(n, true);
  TCplx* s = st.Spectrum.PCValues();
  for (int i = 0; i < n; ++i) s[i] = src.Complex() ? src.CValues(i) : TCplx(src.Values(i), 0.0);
  if (type == wtRectangular || n == 0) return;
  if (st.Window.Length() != n || st.WindowType != type || st.SidelobeAtt != att ||
      st.ExpWindow != expWindow) {
    GenerateWindow(type, st.Window, n, att, expWindow);
    st.WindowType = type;
    st.SidelobeAtt = att;
    st.ExpWindow = expWindow;
  }
  for (int i = 0; i < n; ++i) s[i] *= st.Window.Values(i);
}

// dst := the inverse DFT of state.Spectrum; its real part when the source was real.
void InverseInto(TVec& dst, TCepstrumState& st, bool complex) {
  if (complex)
    dst.IFFT(st.Spectrum);
  else
    dst.RealPart(st.Spectrum.IFFT());
}

}  // namespace

void RealCepstrum(TVec& dst, const TVec& src, TSignalWindowType windowType,
                  TCepstrumState& st, double sidelobeAtt, double expWindow) {
  const bool complex = src.Complex();
  WindowedCopy(st, src, windowType, sidelobeAtt, expWindow);
  st.Spectrum.FFT();
  TCplx* s = st.Spectrum.PCValues();
  for (int k = 0; k < st.Spectrum.Length(); ++k) s[k] = LogMag(s[k]);
  if (complex)
    dst.IFFT(st.Spectrum);
  else
    dst.IFFTToReal(st.Spectrum);  // ln|X| of a real frame is even: the inverse is real
}

void RealCepstrum(TVec& dst, const TVec& src, TSignalWindowType windowType, double sidelobeAtt,
                  double expWindow) {
  TCepstrumState st;
  RealCepstrum(dst, src, windowType, st, sidelobeAtt, expWindow);
}

int CplxCepstrum(TVec& dst, const TVec& src, TCepstrumState& st) {
  const bool complex = src.Complex();
  const int n = src.Length();
  WindowedCopy(st, src, wtRectangular, 0.0, 0.0);
  st.Spectrum.FFT();
  st.Phase.Size(n, false);
  TCplx* s = st.Spectrum.PCValues();
  double* ph = st.Phase.PValues();
  for (int k = 0; k < n; ++k) ph[k] = std::arg(s[k]);
  PhaseUnwrap(st.Phase, rpNearest, 180.0, false, 1.0);
  int d = 0;
  if (n >= 2) {
    const int h = (n + 1) / 2;
    d = static_cast<int>(std::nearbyint(ph[h] / PI));
    for (int k = 0; k < n; ++k) ph[k] -= PI * d * k / h;
  }
  for (int k = 0; k < n; ++k) s[k] = TCplx(LogMag(s[k]), ph[k]);
  InverseInto(dst, st, complex);
  return -d;
}

int CplxCepstrum(TVec& dst, const TVec& src) {
  TCepstrumState st;
  return CplxCepstrum(dst, src, st);
}

}  // namespace ondrix
