#!/usr/bin/python3
"""Writes the reference windows of tests/sigcore/windows_test.cpp.

Run: /usr/bin/python3 tests/gen_windows_reference.py

One record file (tests/gen_records.py) per window, tests/data/win_<case>.f64: for each length
L in LENGTHS in order, the periodic window (scipy sym=False) and then the symmetric one (sym=True).

SciPy's flattop and blackmanharris are other windows than ours (five- and four-term), so the
three-term windows are taken from scipy.signal.windows.general_cosine with our coefficients.
scipy.signal.windows.chebwin loses up to 3e-12 to rounding for long windows (acos near 1
magnifies the rounding of its argument), so its algorithm is re-evaluated here step by step in
NumPy's long double (a direct DFT in place of the FFT); the script checks that SciPy's own
result agrees with it within 1e-11.
SciPy has no exponential window averaged over each sample interval: its periodic reference is
the exact integral N * int_{n/N}^{(n+1)/N} exp(-a t) dt written out in NumPy, its symmetric one
scipy's exponential(center=0).
"""

import warnings

import numpy as np
from scipy.signal import windows as W

from gen_records import write_records

LENGTHS = (1, 2, 3, 8, 63, 256)

FLATTOP3 = [0.2810639, 0.5208972, 0.1980399]
BLACKMANHARRIS3 = [0.42323, 0.49755, 0.07922]
BLACKMANEXACT = [7938 / 18608, 9240 / 18608, 1430 / 18608]
EXP_PARAM = 0.01


def exponential(n, sym):
    a = 0.5 * np.log(1 / EXP_PARAM)
    if n == 1:
        return np.ones(1)
    if sym:
        return W.exponential(n, center=0, tau=(n - 1) / a, sym=False)
    k = np.arange(n)
    return (np.exp(-a * k / n) - np.exp(-a * (k + 1) / n)) * n / a


def chebwin_ld(n, at, sym):
    """scipy.signal.windows.chebwin's algorithm in long double."""
    if n == 1:
        return np.ones(1)
    m = n if sym else n + 1
    ld = np.longdouble
    pi = ld("3.14159265358979323846264338327950288")
    order = ld(m - 1)
    beta = np.cosh(np.arccosh(ld(10) ** (ld(abs(at)) / 20)) / order)
    k = np.arange(m).astype(ld)
    x = beta * np.cos(pi * k / m)
    p = np.zeros(m, dtype=ld)
    p[x > 1] = np.cosh(order * np.arccosh(x[x > 1]))
    p[x < -1] = (2 * (m % 2) - 1) * np.cosh(order * np.arccosh(-x[x < -1]))
    inner = np.abs(x) <= 1
    p[inner] = np.cos(order * np.arccos(x[inner]))
    shift = 0 if m % 2 else 1  # an even length is shifted by half a sample
    w = np.array([np.sum(p * np.cos(shift * pi * k / m - 2 * pi * j * k / m)) for j in range(m)])
    if m % 2:
        h = (m + 1) // 2
        w = np.concatenate((w[h - 1:0:-1], w[:h]))
    else:
        h = m // 2 + 1
        w = np.concatenate((w[h - 1:0:-1], w[1:h]))
    w = (w / w.max()).astype(np.float64)[:n]
    scipy_w = W.chebwin(n, at, sym=sym)
    assert np.max(np.abs(scipy_w - w)) < 1e-11, (n, at, sym)
    return w


CASES = {
    "hann": lambda n, s: W.hann(n, sym=s),
    "hamming": lambda n, s: W.hamming(n, sym=s),
    "flattop3": lambda n, s: W.general_cosine(n, FLATTOP3, sym=s),
    "bartlett": lambda n, s: W.bartlett(n, sym=s),
    "blackman": lambda n, s: W.blackman(n, sym=s),
    "blackmanharris3": lambda n, s: W.general_cosine(n, BLACKMANHARRIS3, sym=s),
    "blackmanexact": lambda n, s: W.general_cosine(n, BLACKMANEXACT, sym=s),
    "tukey20": lambda n, s: W.tukey(n, 0.2, sym=s),
    "tukey50": lambda n, s: W.tukey(n, 0.5, sym=s),
    "kaiser3": lambda n, s: W.kaiser(n, 3.0, sym=s),
    "kaiser8_6": lambda n, s: W.kaiser(n, 8.6, sym=s),
    "cheb40": lambda n, s: chebwin_ld(n, 40, s),
    "cheb100": lambda n, s: chebwin_ld(n, 100, s),
    "exp001": exponential,
}


def main():
    warnings.simplefilter("ignore")  # chebwin warns below 45 dB
    for name, fn in CASES.items():
        write_records(f"win_{name}.f64", [fn(n, sym) for n in LENGTHS for sym in (False, True)])


if __name__ == "__main__":
    main()
