#!/usr/bin/python3
"""Batch analysis of many files: `ondrix batch --jobs 2` against `--jobs 1`, and against a
SciPy script doing the same per file (read, averaged spectrum, fundamental and THD) on a
multiprocessing pool of 2 processes.

    /usr/bin/python3 bench/batch_bench.py --tool build/release/apps/ondrix/ondrix [--files 200]

The files (default 200 of 10 s at 48 kHz, 16-bit mono) are written once into --dir and kept.
"""

import argparse
import json
import multiprocessing
import os
import subprocess
import time

import numpy as np
import scipy.io.wavfile
import scipy.signal as ss

FS, N = 48000, 4096
HARMONICS = 10


def graph():
    return {"class": "TComponent", "name": "Graph", "components": [
        {"class": "TSignalRead", "name": "Reader", "properties": {"Length": N, "LastFrameCheck": "lfcLastFullBlock"}},
        {"class": "TSpectrumAnalyzer", "name": "Spectrum", "properties": {
            # the peer computes no phase either (the component's default would, at an atan2 a line)
            "Inputs": [{"properties": {"Input": "Reader"}}], "Window": "wtHanning", "SpectrumType": "stDoubleAmplitude",
            "PhaseMode": "pmIgnore",
            "Stats": {"properties": {"Averaging": "avLinearInf"}},
            "Peaks": {"properties": {"TraceMethod": "ptAmpltHarmonics", "HarmonicsCount": HARMONICS}}}}]}


def make_files(folder, count, seconds):
    os.makedirs(folder, exist_ok=True)
    rng = np.random.default_rng(3)
    t = np.arange(int(FS * seconds)) / FS
    files = []
    for i in range(count):
        path = os.path.join(folder, f"f{i:04d}.wav")
        files.append(path)
        if os.path.exists(path):
            continue
        f0 = 200.0 + 7.3 * i
        x = 9000 * (np.sin(2 * np.pi * f0 * t) + 0.01 * np.sin(4 * np.pi * f0 * t)) + 30 * rng.standard_normal(len(t))
        scipy.io.wavfile.write(path, FS, np.round(x).astype(np.int16))
    return files


def scipy_record(path):
    """The SciPy peer: non-overlapping Hann frames averaged, the largest line, harmonics, THD."""
    fs, x = scipy.io.wavfile.read(path)
    f, p = ss.welch(x.astype(float), fs, window="hann", nperseg=N, noverlap=0, scaling="spectrum")
    a = np.sqrt(2 * p)
    k = int(np.argmax(a))
    harm = [a[max(h * k - 2, 0): h * k + 3].max() for h in range(2, HARMONICS + 1) if h * k < len(a)]
    return {"file": path, "frequency": f[k], "thd": 100 * np.sqrt(np.sum(np.square(harm))) / a[k]}


def spin(n):
    s = 0
    for i in range(n):
        s += i
    return s


def two_core_efficiency():
    """What 2 processes get on this machine now, against 1: a shared machine gives less than 2."""
    n = 5_000_000
    one, _ = timed(lambda: spin(n))
    with multiprocessing.Pool(2) as pool:
        two, _ = timed(lambda: pool.map(spin, [n, n]))
    return 2 * one / two


def timed(fn):
    t = time.perf_counter()
    out = fn()
    return time.perf_counter() - t, out


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--tool", required=True, help="the built ondrix tool")
    p.add_argument("--files", type=int, default=200)
    p.add_argument("--seconds", type=float, default=10.0)
    p.add_argument("--dir", default="/tmp/ondrix-batch-bench")
    a = p.parse_args()
    files = make_files(a.dir, a.files, a.seconds)
    gpath = os.path.join(a.dir, "graph.json")
    with open(gpath, "w") as f:
        json.dump(graph(), f)

    def tool(jobs):
        r = subprocess.run([a.tool, "batch", "-q", "--jobs", str(jobs), gpath, *files], capture_output=True, text=True)
        if r.returncode != 0:
            raise SystemExit(r.stderr)
        return r.stdout

    efficiency = two_core_efficiency()
    t1, out1 = timed(lambda: tool(1))
    t2, out2 = timed(lambda: tool(2))
    assert out1 == out2
    with multiprocessing.Pool(2) as pool:
        ts, recs = timed(lambda: pool.map(scipy_record, files))
    ours = [json.loads(line)["results"]["Spectrum"] for line in out1.splitlines()]
    df = max(abs(o["largest"]["frequency"] - r["frequency"]) for o, r in zip(ours, recs))
    mb = sum(os.path.getsize(f) for f in files) / 1e6
    print(f"{len(files)} files of {a.seconds:g} s at 48 kHz ({mb:.0f} MB), spectrum + THD per file")
    print(f"ondrix batch --jobs 1: {t1:7.2f} s  {len(files) / t1:6.1f} files/s")
    print(f"ondrix batch --jobs 2: {t2:7.2f} s  {len(files) / t2:6.1f} files/s  speed-up {t1 / t2:.2f}x over --jobs 1")
    print(f"SciPy, 2 processes:    {ts:7.2f} s  {len(files) / ts:6.1f} files/s  ondrix --jobs 2 is {ts / t2:.2f}x faster")
    print(f"largest line: ondrix and SciPy agree within {df:g} Hz")
    print(f"(2 busy processes run {efficiency:.2f}x as fast as 1 on this machine right now: the ceiling of any "
          f"2-process speed-up)")


if __name__ == "__main__":
    main()
