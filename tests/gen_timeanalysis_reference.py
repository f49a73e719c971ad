#!/usr/bin/python3
"""Writes tests/data/ta_*.f64, the references of the time-domain analysis tests, in the record
format of gen_analyzer_reference.py (count, lengths, records; complex values interleaved).
Run from the repository root: /usr/bin/python3 tests/gen_timeanalysis_reference.py
Each file's records are listed where it is written."""

import numpy as np
import scipy.fft as sf
import scipy.integrate as si
import scipy.ndimage as ndimage
import scipy.signal as ss

from gen_records import write_records as write
from gen_spectral_reference import cceps, rceps


def lags(a, b, lo, hi):
    """sum a[n] b[n + k] for k = lo .. hi - 1 by numpy.correlate, 0 where they do not overlap."""
    full = np.correlate(b, a, "full")
    i = np.arange(lo, hi) + len(a) - 1
    return np.where((i >= 0) & (i < len(full)), full[np.clip(i, 0, len(full) - 1)], 0.0)


def window_median(x, L, mode):
    """numpy.median of x[k - L//2 .. k - L//2 + L - 1], x continued past its ends by numpy.pad."""
    z = np.pad(x, (L // 2, L - 1 - L // 2), mode=mode)
    return np.median(np.lib.stride_tricks.sliding_window_view(z, L), axis=1)


def spectrum_filter(x, L, n=1024):
    """Per frame: |fft| through the circular running median, phase kept; irfft of bins 0 .. n/2."""
    out = np.zeros_like(x)
    for f in range(0, len(x), n):
        X = np.fft.fft(x[f:f + n])
        Y = window_median(np.abs(X), L, "wrap") * np.exp(1j * np.angle(X))
        out[f:f + n] = np.fft.ifft(Y) if np.iscomplexobj(x) else np.fft.irfft(Y[:n // 2 + 1], n)
    return out


def main():
    rng = np.random.default_rng(20240717)
    # [fs], x, its cumulative trapezoid from 0
    fs, t = 2000.0, np.arange(1000) / 2000.0
    x = 0.3 + np.sin(2 * np.pi * 13 * t + 0.2) + 0.4 * np.cos(2 * np.pi * 170 * t)
    write("ta_integrate.f64", [[fs], x, si.cumulative_trapezoid(x, dx=1 / fs, initial=0)])

    # [lengths], x (with ties), then per length the median with 'reflect' and 'wrap' ends
    x = np.round(rng.standard_normal(41) * 3) / 2
    lengths, records = [1, 2, 4, 5, 9, 41, 100], []
    for L in lengths:
        for mode, nd in (("reflect", "mirror"), ("wrap", "wrap")):
            records.append(window_median(x, L, mode))
            assert L % 2 == 0 or np.array_equal(records[-1], ndimage.median_filter(x, size=L, mode=nd))
    write("ta_median.f64", [lengths, x] + records)

    # [taps1, taps2, rotation, scale], x, y, autocorrelation raw, / N, / (N - k); the
    # cross-correlation for lags -taps2 .. taps1 - 1; scale x the biased autocorrelation of
    # roll(x - mean, rotation)
    taps1, taps2, rot, scale = 120, 45, 7, 2.5
    x = rng.standard_normal(300) + np.sin(0.1 * np.arange(300)) + 0.4
    y = 0.8 * np.roll(x[:260], 9) + 0.2 * rng.standard_normal(260)
    raw, xr = lags(x, x, 0, taps1), np.roll(x - x.mean(), rot)
    write("ta_corr.f64", [[taps1, taps2, rot, scale], x, y, raw, raw / 300, raw / (300 - np.arange(taps1)),
                          lags(x, y, -taps2, taps1), scale * lags(xr, xr, 0, taps1) / 300])

    # x, scipy.fft.dct(x), scipy.fft.idct(x)
    x = rng.standard_normal(100) + np.linspace(-1, 2, 100)
    write("ta_dct.f64", [x, sf.dct(x), sf.idct(x)])

    # x (its echo puts 40 zeros outside the unit circle), real cepstrum unwindowed and with the
    # periodic Hann window, complex cepstrum (linear phase of delay d removed), [-d]
    k = np.arange(256)
    s = 0.93 ** k * np.sin(0.3 * k + 0.5)
    x = s + 2.0 * np.roll(s, 40) * (k >= 40)
    cc, d = cceps(x)
    write("ta_cepstrum.f64", [x, rceps(x).real, rceps(ss.windows.hann(256, sym=False) * x).real, cc, [-d]])

    # [L for each output], x (2048), its filtered outputs; [L], xc (1024, complex), its output
    n = np.arange(2048)
    x = np.sin(2 * np.pi * 0.0371 * n) + 0.3 * rng.standard_normal(2048)
    x[700] += 4.0
    xc = np.exp(2j * np.pi * 0.21 * n[:1024]) + 0.2 * (rng.standard_normal(1024) + 1j * rng.standard_normal(1024))
    write("ta_specfilt.f64", [[9, 10, 1000], x] + [spectrum_filter(x, L) for L in (9, 10, 1000)]
          + [[5], xc, spectrum_filter(xc, 5)])


if __name__ == "__main__":
    main()
