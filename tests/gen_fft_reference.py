#!/usr/bin/python3
"""Writes the reference data of tests/vec/fft_test.cpp and tests/vec/correlation_test.cpp.

Run: /usr/bin/python3 tests/gen_fft_reference.py

All files are raw little-endian float64; complex arrays are interleaved (re, im).

fft_ref_n<N>.f64, for each length N, holds one after another:
    x        N real          input
    z        N complex       input
    fft_z    N complex       numpy.fft.fft(z)
    ifft_z   N complex       numpy.fft.ifft(z)
    rfft_x   N//2+1 complex  numpy.fft.rfft(x)
    irfft_z  N real          numpy.fft.irfft(z[:N//2+1], N)  (z is not Hermitian on purpose)
    dct_x    N real          scipy.fft.dct(x, type=2)
    idct_x   N real          scipy.fft.idct(x, type=2)

corr_ref_<case>.f64 holds, for the cases "small" (NX=40, NY=29) and "medium" (NX=600, NY=450):
    x NX real, y NY real, xc NX complex, yc NY complex,
    numpy.correlate(x, x, "full")    2NX-1 real     (lag k at index NX-1+k)
    numpy.correlate(y, x, "full")    NX+NY-1 real   (lag k of sum_n x[n] y[n+k] at NX-1+k)
    numpy.correlate(xc, xc, "full")  2NX-1 complex  (conj on the first factor x)
    numpy.correlate(yc, xc, "full")  NX+NY-1 complex
"""

import numpy as np
import scipy.fft

from gen_records import write_f64

FFT_LENGTHS = (1, 2, 3, 7, 64, 1000, 4096, 4099)
CORR_CASES = {"small": (40, 29), "medium": (600, 450)}


def gen_fft():
    for n in FFT_LENGTHS:
        rng = np.random.default_rng(1000 + n)
        x = rng.standard_normal(n)
        z = rng.standard_normal(n) + 1j * rng.standard_normal(n)
        write_f64(f"fft_ref_n{n}.f64", x, z, np.fft.fft(z), np.fft.ifft(z), np.fft.rfft(x),
                  np.fft.irfft(z[: n // 2 + 1], n), scipy.fft.dct(x, type=2), scipy.fft.idct(x, type=2))


def gen_corr():
    for seed, (case, (nx, ny)) in enumerate(CORR_CASES.items()):
        rng = np.random.default_rng(2000 + seed)
        x = rng.standard_normal(nx)
        y = rng.standard_normal(ny)
        xc = rng.standard_normal(nx) + 1j * rng.standard_normal(nx)
        yc = rng.standard_normal(ny) + 1j * rng.standard_normal(ny)
        write_f64(f"corr_ref_{case}.f64", x, y, xc, yc, np.correlate(x, x, "full"), np.correlate(y, x, "full"),
                  np.correlate(xc, xc, "full"), np.correlate(yc, xc, "full"))


if __name__ == "__main__":
    gen_fft()
    gen_corr()
