"""What the Python peers of the benchmarks share."""

import time

import numpy as np


def median_time(fn, runs=5):
    """Median CPU time of runs calls of fn, in seconds (CPU time leaves out waits for a core)."""
    times = []
    for _ in range(runs):
        t0 = time.process_time()
        fn()
        times.append(time.process_time() - t0)
    return float(np.median(times))
