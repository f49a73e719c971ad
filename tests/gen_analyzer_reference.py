#!/usr/bin/python3
"""Writes the reference data of the spectrum analyzer's tests in tests/SignalAnalysis/
(welch_test.cpp).

Run: /usr/bin/python3 tests/gen_analyzer_reference.py

Record files as tests/gen_records.py writes them (a table of R and the R lengths, then the records).

ana_welch.f64   params [fs, nperseg, frames], x (real, frames * nperseg samples: two tones
                plus white noise), then scipy.signal.welch(x, fs, window=W, nperseg=nperseg,
                noverlap=0, detrend='constant', scaling='spectrum') for W = hann, hamming,
                bartlett (periodic windows: SciPy's get_window default), each as one record
                of nperseg/2 + 1 values; then xc (complex, same length) and its two-sided
                welch with the hann window (return_onesided=False, frequencies in FFT order).
"""

import numpy as np
import scipy.signal as ss

from gen_records import write_records



def gen_welch(rng):
    fs, nperseg, frames = 8000.0, 512, 24
    n = np.arange(nperseg * frames)
    x = (0.8 * np.sin(2 * np.pi * 1000.3 * n / fs + 0.4) + 0.05 * np.sin(2 * np.pi * 2512.0 * n / fs)
         + 0.1 * rng.standard_normal(n.size) + 0.3)
    kw = dict(nperseg=nperseg, noverlap=0, detrend="constant", scaling="spectrum")
    records = [[fs, nperseg, frames], x] + [ss.welch(x, fs, window=w, **kw)[1] for w in ("hann", "hamming", "bartlett")]
    xc = (0.7 * np.exp(2j * np.pi * (-1500.2) * n / fs) + 0.1 * rng.standard_normal(n.size)
          + 0.1j * rng.standard_normal(n.size))
    records += [xc, ss.welch(xc, fs, window="hann", return_onesided=False, **kw)[1]]
    write_records("ana_welch.f64", records)


def main():
    rng = np.random.default_rng(20240611)
    gen_welch(rng)


if __name__ == "__main__":
    main()
