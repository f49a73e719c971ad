#!/usr/bin/python3
"""SciPy peer of bench/file_read_bench.cpp: scipy.io.wavfile.read of a 16-bit stereo wave
file followed by conversion to float64.

Usage: file_read_peer.py FILE
Prints "wavfile <seconds>", the median CPU time of five runs, and "check sum <value>", the sum
of every sample (for a cross-check with the reader's values).
"""

import sys
import time

import numpy as np
from scipy.io import wavfile


def main():
    path = sys.argv[1]

    def read():
        _, x = wavfile.read(path)
        return x.astype(np.float64)

    times = []
    for _ in range(5):
        t0 = time.process_time()
        x = read()
        times.append(time.process_time() - t0)
    print("wavfile %.9g" % float(np.median(times)))
    print("check sum %.17g" % float(x.sum()))


if __name__ == "__main__":
    main()
