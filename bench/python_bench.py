#!/usr/bin/python3
"""Python layer against the library's C++ loop and against SciPy, on the same arrays in the
same run: averaged spectrum (welch), FIR (upfirdn / lfilter), SOS (sosfilt), coherence.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_bench.py [--seconds 60]

For each case it prints the samples per second of the C++ loop (ondrix._ondrix._native_seconds:
the same kernels on data already in the library's vectors, fed in the same blocks), of the
Python objects (array in, array out; the analyzers and the "1 s blocks" cases are fed one
second per call, as a stream is) and of SciPy, the ratio Python / C++ (goal >= 0.9) and the speed-up over SciPy.
Each figure is the best of several rounds.
"""

import argparse
import time

import numpy as np
import scipy.signal as ss

import ondrix
from ondrix import _ondrix


def best(fn, repeats):
    fn()
    times = []
    for _ in range(repeats):
        t = time.perf_counter()
        fn()
        times.append(time.perf_counter() - t)
    return min(times)


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--seconds", type=float, default=60.0, help="signal length at 48 kHz (default 60)")
    p.add_argument("--repeats", type=int, default=7)
    a = p.parse_args()
    fs = 48000.0
    rng = np.random.default_rng(1)
    x = rng.standard_normal(int(fs * a.seconds))
    b, aa = ss.butter(4, 0.2)
    y = ss.lfilter(b, aa, x) + 0.1 * rng.standard_normal(len(x))
    sos = ss.ellip(8, 0.1, 80, 0.25, output="sos")
    taps = ss.firwin(63, 0.25)
    n = 4096

    def stream(obj, *args, block=0):
        def run():
            obj.reset()
            if block <= 0:
                obj.process(*args)
                return
            for s in range(0, len(args[0]), block):
                obj.process(*(a[s:s + block] for a in args))
        return run

    blk = int(fs)  # one second per call: the streaming use
    native = _ondrix._native_seconds
    cases = [
        ("averaged spectrum (Hann 4096, 50 %)",
         lambda: native("spectrum", x, None, n, n // 2, 1),
         stream(ondrix.Analyzer(fs, n, overlap=n // 2, window="hann", spectrum="power"), x, block=blk),
         lambda: ss.welch(x, fs, window="hann", nperseg=n, noverlap=n // 2, scaling="spectrum")),
        ("FIR, 63 taps, 1 s blocks",
         lambda: native("fir", x, taps, rounds=1, block=blk),
         stream(ondrix.Filter(taps=taps), x, block=blk),
         lambda: ss.lfilter(taps, [1.0], x)),
        ("FIR, 63 taps, whole array",
         lambda: native("fir", x, taps, rounds=1),
         stream(ondrix.Filter(taps=taps), x),
         lambda: ss.lfilter(taps, [1.0], x)),
        ("SOS, elliptic order 8, 1 s blocks",
         lambda: native("sos", x, sos, rounds=1, block=blk),
         stream(ondrix.Filter(sos=sos), x, block=blk),
         lambda: ss.sosfilt(sos, x)),
        ("SOS, elliptic order 8, whole array",
         lambda: native("sos", x, sos, rounds=1),
         stream(ondrix.Filter(sos=sos), x),
         lambda: ss.sosfilt(sos, x)),
        ("coherence (Hann 4096, 50 %)",
         lambda: native("coherence", x, y, n, n // 2, 1),
         stream(ondrix.CrossSpectrum(fs, n, overlap=n // 2, window="hann"), x, y, block=blk),
         lambda: ss.coherence(x, y, fs, window="hann", nperseg=n, noverlap=n // 2)),
    ]
    print(f"{len(x)} samples ({a.seconds:g} s at 48 kHz), best of {a.repeats}; SciPy always on the whole array")
    print(f"{'case':38} {'C++ MS/s':>10} {'Python MS/s':>12} {'SciPy MS/s':>11} {'Py/C++':>7} {'vs SciPy':>9}")
    for name, nat, py, sp in cases:
        t_native = min(nat() for _ in range(a.repeats))
        t_py = best(py, a.repeats)
        t_sp = best(sp, a.repeats)
        m = len(x) / 1e6
        print(f"{name:38} {m / t_native:10.1f} {m / t_py:12.1f} {m / t_sp:11.1f} {t_native / t_py:7.2f} "
              f"{t_sp / t_py:8.1f}x")


if __name__ == "__main__":
    main()
