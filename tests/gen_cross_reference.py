#!/usr/bin/python3
"""Writes the reference data of the cross-spectrum and bispectrum tests
(tests/SignalAnalysis/cross_spectrum_test.cpp, tests/SignalAnalysis/bispectrum_test.cpp,
tests/sigcore/bispectrum_test.cpp).

Run: /usr/bin/python3 tests/gen_cross_reference.py

Record files as tests/gen_records.py writes them (a table of R and the R lengths, then the records).

cross_scipy.f64  [fs, nperseg, noverlap], x, y (y: x through an IIR filter plus noise), then
                 with window='hann', detrend='constant', scaling='spectrum':
                 scipy.signal.csd(x, y) (complex), welch(x), welch(y), coherence(x, y) and
                 |csd| / welch(x) (|H1|), each nperseg/2 + 1 values.
bisp_kernel.f64  [N, k], X (complex, N bins), the plane B[i, j] = X[i]·X[j]·conj(X[(i+j) % N])
                 for i, j = 0 .. N/2 (complex), R (random positive, N), the default
                 normalised plane |B|² / (R[i]·R[j]·R[(i+j) % N]), P (random positive, plane
                 shape) and |B|² / P.
bisp_plane.f64   [fs, L, frames], x (frames·L samples: tones at f1, f2, f1 + f2 with coupled
                 phases, a free tone, noise, a varying level), then over the frames (mean
                 removed, rectangular window, X = fft / L): the modified b² = |mean B|² /
                 mean |B|², the default b² = |mean B|² / (mean|X|³ triple)^(2/3), and
                 cbrt|mean B|, each (L/2 + 1)² values.
"""

import numpy as np
import scipy.signal as ss

from gen_records import write_records


def gen_scipy(rng):
    fs, nperseg, noverlap, frames = 1000.0, 256, 128, 31
    n = nperseg + (frames - 1) * (nperseg - noverlap)
    t = np.arange(n) / fs
    x = rng.standard_normal(n) + 0.5 * np.sin(2 * np.pi * 123.4 * t) + 0.2
    b, a = ss.cheby1(3, 1.0, 0.3)
    y = ss.lfilter(b, a, x) + 0.05 * rng.standard_normal(n)
    kw = dict(fs=fs, window="hann", nperseg=nperseg, noverlap=noverlap, detrend="constant")
    _, pxy = ss.csd(x, y, scaling="spectrum", **kw)
    _, pxx = ss.welch(x, scaling="spectrum", **kw)
    _, pyy = ss.welch(y, scaling="spectrum", **kw)
    _, coh = ss.coherence(x, y, **kw)
    write_records("cross_scipy.f64", [[fs, nperseg, noverlap], x, y, pxy, pxx, pyy, coh, np.abs(pxy) / pxx])


def triple(a, b, c):
    """a[i]·b[j]·c[(i + j) % N] for i, j = 0 .. N/2 over the last axis (N values)."""
    n = a.shape[-1]
    i = np.arange(n // 2 + 1)[:, None]
    j = np.arange(n // 2 + 1)[None, :]
    return a[..., i] * b[..., j] * c[..., (i + j) % n]


def gen_kernel(rng):
    n, k = 16, 11
    X = rng.standard_normal(n) + 1j * rng.standard_normal(n)
    B = triple(X, X, np.conj(X))
    R = rng.uniform(0.5, 2.0, n)
    default = np.abs(B) ** 2 / triple(R, R, R)
    P = rng.uniform(0.5, 2.0, B.shape)
    write_records("bisp_kernel.f64", [[n, k], X, B, R, default, P, np.abs(B) ** 2 / P])


def gen_plane(rng):
    fs, L, frames = 1024.0, 64, 43
    f1, f2, f3 = 112.0, 176.0, 400.0  # lines 7, 11 and 25; f1 + f2 at line 18
    t = np.arange(L) / fs
    x = []
    for _ in range(frames):
        p1, p2, p3 = rng.uniform(0, 2 * np.pi, 3)
        level = rng.uniform(0.5, 1.5)
        fr = (np.cos(2 * np.pi * f1 * t + p1) + 0.8 * np.cos(2 * np.pi * f2 * t + p2)
              + 0.6 * np.cos(2 * np.pi * (f1 + f2) * t + p1 + p2) + 0.7 * np.cos(2 * np.pi * f3 * t + p3))
        x.append(level * fr + 0.3 * rng.standard_normal(L))
    x = np.concatenate(x)
    fr = x.reshape(frames, L)
    X = np.fft.fft(fr - fr.mean(axis=1, keepdims=True), axis=1) / L
    B = triple(X, X, np.conj(X))
    mB = B.mean(axis=0)
    modified = np.abs(mB) ** 2 / (np.abs(B) ** 2).mean(axis=0)
    Q = (np.abs(X) ** 3).mean(axis=0)
    default = np.abs(mB) ** 2 / triple(Q, Q, Q) ** (2.0 / 3.0)
    write_records("bisp_plane.f64", [[fs, L, frames], x, modified, default, np.cbrt(np.abs(mB))])


def main():
    rng = np.random.default_rng(20240713)
    gen_scipy(rng)
    gen_kernel(rng)
    gen_plane(rng)


if __name__ == "__main__":
    main()
