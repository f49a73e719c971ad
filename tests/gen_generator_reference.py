#!/usr/bin/python3
"""Reference data for tests/SignalProcessing/generator_reference_test.cpp and
tests/sigcore/waveforms_test.cpp.

Each file holds the samples of one generator line as little-endian float64, computed here
with scipy.signal.chirp and scipy.signal.square, or from the closed form of the waveform
(not from the generator's formulas):

  gen_sine.f64     0.8 * sin(2*pi*1000.3*t + 30 deg), fs 48000 Hz, 1024 samples
  gen_chirp.f64    linear sweep 100 Hz -> 5000 Hz over 2048 samples, amplitude 1 -> 0.25,
                   offset 0.1, fs 16000 Hz, repeating; 2560 samples (1.25 sweeps)
  gen_square.f64   square wave 37 Hz, phase 10 deg, amplitude 2, offset 0.5, fs 1000 Hz,
                   1200 samples: offset + amplitude in the first half of each period
  gen_impulse.f64  trapezoid pulse train: rise 2 ms, high 4 ms, fall 3 ms, low 10 ms,
                   height 1.5, fs 1000 Hz, 400 samples

Run: /usr/bin/python3 tests/gen_generator_reference.py
"""
import numpy as np
from scipy import signal

from gen_records import write_f64


def sine():
    fs, f, phase_deg, a, n = 48000.0, 1000.3, 30.0, 0.8, 1024
    t = np.arange(n) / fs
    return a * np.sin(2 * np.pi * f * t + np.deg2rad(phase_deg))


def chirp():
    fs, f0, f1, a0, a1, offset, sweep, n = 16000.0, 100.0, 5000.0, 1.0, 0.25, 0.1, 2048, 2560
    m = np.arange(n) % sweep          # position within the current sweep
    amplitude = a0 + (a1 - a0) * m / sweep
    # phi = -90 degrees turns SciPy's cosine sweep into a sine starting at 0.
    return amplitude * signal.chirp(m / fs, f0, sweep / fs, f1, method="linear", phi=-90) + offset


def square():
    fs, f, phase_deg, a, offset, n = 1000.0, 37.0, 10.0, 2.0, 0.5, 1200
    cycles = f * np.arange(n) / fs + phase_deg / 360.0
    frac = cycles - np.floor(cycles)
    # Keep clear of the edges, where rounding could put a sample on either side.
    assert np.min(np.abs(frac - 0.5)) > 1e-6 and np.min(np.minimum(frac, 1 - frac)) > 1e-6
    return offset + a * signal.square(2 * np.pi * cycles)


def impulse():
    fs, rise, high, fall, low, height, n = 1000.0, 0.002, 0.004, 0.003, 0.010, 1.5, 400
    period = rise + high + fall + low
    tau = np.mod(np.arange(n) / fs, period)
    return height * np.interp(tau, [0, rise, rise + high, rise + high + fall, period], [0, 1, 1, 0, 0])


if __name__ == "__main__":
    write_f64("gen_sine.f64", sine())
    write_f64("gen_chirp.f64", chirp())
    write_f64("gen_square.f64", square())
    write_f64("gen_impulse.f64", impulse())
