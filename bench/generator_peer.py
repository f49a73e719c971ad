#!/usr/bin/python3
"""NumPy peer of bench/generator_bench.cpp: the same "sine + gaussian noise" blocks.

Each block is 4096 samples of sin(2*pi*f*n/fs) (phase-continuous from block to block) plus
gaussian noise of standard deviation 0.1, computed with preallocated buffers. Prints the line
"numpy_ns_per_block <median CPU ns per block>" for the calling benchmark to read, with NumPy's
default generator (PCG64, ziggurat), and "numpy_legacy_ns_per_block <ns>" with its legacy one
(Mersenne Twister, polar Box-Muller: the method of the vector library's RandGauss).

Usage: /usr/bin/python3 bench/generator_peer.py [blocks_per_run] [runs]
"""
import math
import statistics
import sys
import time

import numpy as np

N, FS, F, SD = 4096, 48000.0, 1000.0, 0.1


def run(blocks, legacy=False):
    rng = np.random.RandomState(12345) if legacy else np.random.default_rng(12345)
    idx = np.arange(N, dtype=np.float64)
    w = 2 * math.pi * F / FS
    out = np.empty(N)
    noise = np.empty(N)
    phase = 0.0
    t0 = time.process_time()
    for _ in range(blocks):
        np.multiply(idx, w, out=out)
        out += phase
        np.sin(out, out=out)
        if legacy:
            noise[:] = rng.standard_normal(N)  # the legacy generator has no out=
        else:
            rng.standard_normal(N, out=noise)
        noise *= SD
        out += noise
        phase = math.fmod(phase + w * N, 2 * math.pi)
    return (time.process_time() - t0) / blocks * 1e9, out


def main():
    blocks = int(sys.argv[1]) if len(sys.argv) > 1 else 2000
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    run(50)  # warm up
    times = [run(blocks)[0] for _ in range(runs)]
    print(f"numpy_ns_per_block {statistics.median(times):.1f}")
    times = [run(blocks, legacy=True)[0] for _ in range(runs)]
    print(f"numpy_legacy_ns_per_block {statistics.median(times):.1f}")


if __name__ == "__main__":
    main()
