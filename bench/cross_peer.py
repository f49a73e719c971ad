#!/usr/bin/python3
"""SciPy / NumPy peer of bench/cross_bench.cpp: coherence and whole-plane bicoherence on the
same samples.

Usage: cross_peer.py DIR N HOP FS BN
DIR holds x.f64, y.f64 (the two channels), b.f64 (the bispectrum signal), coherence.f64 (our
coherence, N/2 lines) and bicoherence.f64 (our plane, (BN/2 + 1)² values), all raw
little-endian float64. Prints the median CPU time of five runs of
    "coherence <s>":   scipy.signal.coherence(x, y, FS, window='hann', nperseg=N,
                       noverlap=N - HOP) (detrend 'constant');
    "bicoherence <s>": bicoherence() below, frames of BN samples, mean removed, rectangular
                       window, modified normalisation |mean B|² / mean |B|² over the plane
                       0 <= f1, f2 <= fs/2;
then "check coherence <max abs difference>" over lines 1 .. N/2-1 and "check bicoherence <max
abs difference>" where the plane's power is above 1e-12 of its largest value.
"""

import sys

import numpy as np
from peer_common import median_time
from scipy import signal


def bicoherence(x, n, chunk=64):
    """Vectorised over frames: the products of `chunk` frames at a time (the chunk size that
    ran fastest here), summed into the two planes."""
    frames = len(x) // n
    fr = x[: frames * n].reshape(frames, n)
    X = np.fft.fft(fr - fr.mean(axis=1, keepdims=True), axis=1) / n
    h = n // 2
    i = np.arange(h + 1)
    idx = (i[:, None] + i[None, :]) % n
    sb = np.zeros((h + 1, h + 1), complex)
    sp = np.zeros((h + 1, h + 1))
    for c in range(0, frames, chunk):
        xc = X[c:c + chunk]
        b = xc[:, : h + 1, None] * xc[:, None, : h + 1] * np.conj(xc[:, idx])
        sb += b.sum(axis=0)
        sp += (b.real ** 2 + b.imag ** 2).sum(axis=0)
    return np.abs(sb) ** 2 / (frames * sp), sp


def main():
    d, n, hop, fs, bn = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), float(sys.argv[4]), int(sys.argv[5])
    x = np.fromfile(d + "/x.f64", dtype="<f8")
    y = np.fromfile(d + "/y.f64", dtype="<f8")
    b = np.fromfile(d + "/b.f64", dtype="<f8")

    def coherence():
        return signal.coherence(x, y, fs, window="hann", nperseg=n, noverlap=n - hop)

    print("coherence %.9g" % median_time(coherence))
    print("bicoherence %.9g" % median_time(lambda: bicoherence(b, bn)))

    _, c = coherence()
    ours = np.fromfile(d + "/coherence.f64", dtype="<f8")
    print("check coherence %.3g" % np.abs(ours[1:n // 2] - c[1:n // 2]).max())
    ref, sp = bicoherence(b, bn)
    ours = np.fromfile(d + "/bicoherence.f64", dtype="<f8").reshape(ref.shape)
    mask = sp > 1e-12 * sp.max()
    print("check bicoherence %.3g" % np.abs(ours[mask] - ref[mask]).max())


if __name__ == "__main__":
    main()
