#!/usr/bin/python3
"""NumPy/SciPy peer of bench/spectrum_filter_bench.cpp: the same spectrum filter, frame by frame.

Usage: spectrum_filter_peer.py DIR N L
DIR holds x.f64 (the samples, raw little-endian float64) and y.f64 (our output, for a
cross-check). Per frame of N samples: X = numpy.fft.rfft(frame), the median of |X| over L bins
by scipy.ndimage.median_filter (mode 'mirror': the even amplitude of a real frame continued
past bin 0 and bin N/2), the phase of X kept, numpy.fft.irfft back. Prints "numpy <seconds>",
the median CPU time of five runs, then "check numpy <max abs difference / max |y|>".
"""

import sys

import numpy as np
from peer_common import median_time
from scipy import ndimage


def spectrum_filter(x, n, smoothing):
    out = np.empty_like(x)
    for f in range(len(x) // n):
        X = np.fft.rfft(x[f * n:(f + 1) * n])
        a = ndimage.median_filter(np.abs(X), size=smoothing, mode="mirror")
        out[f * n:(f + 1) * n] = np.fft.irfft(a * np.exp(1j * np.angle(X)), n)
    return out


def main():
    d, n, smoothing = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    x = np.fromfile(d + "/x.f64", dtype="<f8")
    print("numpy %.9g" % median_time(lambda: spectrum_filter(x, n, smoothing)))
    ours = np.fromfile(d + "/y.f64", dtype="<f8")
    ref = spectrum_filter(x, n, smoothing)
    print("check numpy %.3g" % (np.max(np.abs(ours - ref)) / np.max(np.abs(ref))))


if __name__ == "__main__":
    main()
