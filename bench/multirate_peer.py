#!/usr/bin/python3
"""SciPy peer of bench/multirate_bench.cpp: rate change by 8 with scipy.signal.resample_poly.

Usage: multirate_peer.py DIR
DIR holds x.f64, the benchmark's signal (raw little-endian float64, 2^23 samples). The filter
is the shortest odd equiripple lowpass (scipy.signal.remez) within 1e-4 of 1 up to 0.9 of the
lower Nyquist frequency and below 1e-4 (80 dB) from 1.1 of it: the same edges and rejection as
ours. Prints "taps N", the median CPU time of five runs as "decimate seconds" (2^23 samples by
8) and "interpolate seconds" (the first 2^20 samples by 8), and the rejection the filter
achieves as "check decimate_dB" and "check interpolate_dB" (the same filter serves both).
"""

import sys

import numpy as np
from peer_common import median_time
from scipy import signal

FACTOR = 8
RIPPLE = 1e-4



def design():
    """Pass to 0.9, stop from 1.1 of the low rate's Nyquist, at the high rate (fs = 1)."""
    p, s = 0.45 / FACTOR, 0.55 / FACTOR
    n = 2 * int(3.7 / (s - p) / 2) + 1  # below Herrmann's estimate; grown until met
    while True:
        h = signal.remez(n, [0, p, s, 0.5], [1, 0])
        _, hp = signal.freqz(h, worN=np.linspace(0, p, 4096), fs=1.0)
        _, hs = signal.freqz(h, worN=np.linspace(s, 0.5, 16384), fs=1.0)
        stop = np.max(np.abs(hs))
        if max(np.max(np.abs(np.abs(hp) - 1)), stop) <= RIPPLE:
            return h, -20 * np.log10(stop)
        n += 2


def main():
    x = np.fromfile(sys.argv[1] + "/x.f64", dtype="<f8")
    h, rejection = design()
    print("taps %d" % len(h))
    print("decimate %.9g" % median_time(lambda: signal.resample_poly(x, 1, FACTOR, window=h)))
    xi = x[: 1 << 20]
    print("interpolate %.9g" % median_time(lambda: signal.resample_poly(xi, FACTOR, 1, window=h)))
    print("check decimate_dB %.1f" % rejection)
    print("check interpolate_dB %.1f" % rejection)


if __name__ == "__main__":
    main()
