#!/usr/bin/python3
"""SciPy peer of bench/filter_bench.cpp: times the same filtering and design work.

Usage: filter_peer.py DIR
DIR holds the benchmark's inputs, raw little-endian float64: x.f64 (the signal), h.f64 (the
101 FIR taps), sos.f64 (the 8th-order Butterworth sections, 6 values per row), and our
outputs y_fir.f64 and y_sos.f64 for a cross-check. Prints one line per timing,
"name seconds", the median CPU time of five runs, then "check name max_rel_diff" lines.
"""

import sys

import numpy as np
from peer_common import median_time
from scipy import signal



def main():
    d = sys.argv[1]
    x = np.fromfile(d + "/x.f64", dtype="<f8")
    h = np.fromfile(d + "/h.f64", dtype="<f8")
    sos = np.fromfile(d + "/sos.f64", dtype="<f8").reshape(-1, 6)
    # Designs run many times per timing so that their microseconds are measurable.
    reps = 200
    print("oaconvolve %.9g" % median_time(lambda: signal.oaconvolve(x, h)))
    print("lfilter %.9g" % median_time(lambda: signal.lfilter(h, 1.0, x)))
    print("sosfilt %.9g" % median_time(lambda: signal.sosfilt(sos, x)))
    print("ellip %.9g" % (median_time(lambda: [signal.ellip(8, 0.5, 60, 0.3, output="sos") for _ in range(reps)]) / reps))
    print("remez %.9g" % median_time(lambda: signal.remez(255, [0, 0.2, 0.21, 0.5], [1, 0])))
    y_fir = np.fromfile(d + "/y_fir.f64", dtype="<f8")
    y_sos = np.fromfile(d + "/y_sos.f64", dtype="<f8")
    ref_fir = signal.lfilter(h, 1.0, x)
    ref_sos = signal.sosfilt(sos, x)
    print("check fir %.3g" % (np.max(np.abs(y_fir - ref_fir)) / np.max(np.abs(ref_fir))))
    print("check sos %.3g" % (np.max(np.abs(y_sos - ref_sos)) / np.max(np.abs(ref_sos))))


if __name__ == "__main__":
    main()
