// TSpectrumFilter: smoothing of the amplitude spectrum by a running median, frame by frame,
// with the phase kept; and its list.
#pragma once

#include <memory>

#include "ondrix/OndrixTools/Collections.h"
#include "ondrix/OndrixTools/TSignal.h"
#include "ondrix/vec/TVec.h"

namespace ondrix {

/// Cuts its Input into frames of FrameLength samples and, in each frame independently,
/// replaces the amplitude |X[k]| of the DFT by its running median over Smoothing bins while
/// keeping the phase, then transforms back. Noise-like detail of the spectrum is removed;
/// broad spectral shapes pass.
///
/// The median of bin k is taken over bins k − ⌊L/2⌋ .. k − ⌊L/2⌋ + L − 1 (L = Smoothing; for
/// odd L the window centred on k, for even L the mean of the two middle values). The DFT is
/// circular, so bins beyond the ends wrap around: for a real frame, whose amplitude is even,
/// that is a reflection at bin 0 and at bin N/2. The transforms are the unscaled DFT and the
/// 1/N-scaled inverse (numpy.fft), so a frame whose amplitude the median leaves unchanged
/// comes back unchanged. A real input gives a real output (the inverse of bins 0 .. N/2, as
/// numpy.fft.irfft); a complex input a complex output.
///
/// Smoothing below 3 passes the input through. The input length must be a multiple of
/// FrameLength, else "Special filter error!" is raised; an empty input gives an empty output.
/// No state is carried between frames or blocks; blocks of a size seen before allocate nothing.
class TSpectrumFilter : public TSignal {
public:
  ONDRIX_CLASS_INFO()

  /// Samples per frame (the DFT length).
  static constexpr int FrameLength = 1024;

  explicit TSpectrumFilter(TComponent* AOwner);
  ~TSpectrumFilter() override;

  /// Median window in bins; 0 after construction.
  int Smoothing() const noexcept { return smoothing_; }
  /// Stored clamped to 2 .. 1000.
  void SetSmoothing(int Value) noexcept;
  TPipeState InternalUpdate() override;

private:
  // Filters frame_ (real or complex) in place.
  void FilterFrame();

  int smoothing_ = 0;
  TVec frame_;     // the frame being filtered
  TVec spectrum_;  // its DFT (bins 0 .. N/2 of a real frame, all N of a complex one)
  TVec amplt_;     // |spectrum_|
  TVec smooth_;    // the median of amplt_
};

/// A bank of spectrum filters.
class TSpectrumFilterList : public TSignalList {
public:
  ONDRIX_CLASS_INFO()
  explicit TSpectrumFilterList(TComponent* AOwner) : TSignalList(AOwner) {}
  TSpectrumFilter* Items(int i) const { return static_cast<TSpectrumFilter*>(TAnalysisList::Items(i)); }

protected:
  std::unique_ptr<TKvxComponent> AddItem() override;
};

}  // namespace ondrix
