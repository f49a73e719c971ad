#!/usr/bin/python3
"""SciPy peer of bench/analyzer_bench.cpp: scipy.signal.welch on the same samples.

Usage: analyzer_peer.py DIR N FS
DIR holds x.f64 (the samples, raw little-endian float64) and power.f64 (our averaged power
spectrum, N/2 lines, for a cross-check). Prints "welch <seconds>", the median CPU time of five
runs of welch(x, FS, window='hann', nperseg=N, noverlap=0, detrend='constant',
scaling='spectrum'), then "check welch <max relative difference>" of 2 x our lines 1 .. N/2-1
against welch's (the one-sided lines carry the doubled power).
"""

import sys

import numpy as np
from peer_common import median_time
from scipy import signal



def main():
    d, n, fs = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
    x = np.fromfile(d + "/x.f64", dtype="<f8")

    def welch():
        return signal.welch(x, fs, window="hann", nperseg=n, noverlap=0, detrend="constant", scaling="spectrum")

    print("welch %.9g" % median_time(welch))
    _, p = welch()
    ours = np.fromfile(d + "/power.f64", dtype="<f8")
    rel = np.abs(2 * ours[1:n // 2] - p[1:n // 2]) / np.maximum(p[1:n // 2], 1e-12 * p.max())
    print("check welch %.3g" % rel.max())


if __name__ == "__main__":
    main()
