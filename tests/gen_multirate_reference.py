#!/usr/bin/python3
"""Writes the reference data of the multirate tests (tests/sigcore/multirate_test.cpp).

Run: /usr/bin/python3 tests/gen_multirate_reference.py

Files tests/data/mr_<name>.f64 are record files (tests/gen_records.py); frequencies are on the
scale fs = 2.
"""


import numpy as np
from scipy import signal

from gen_records import cplx, write_records

RNG = np.random.default_rng(20240612)
ZERO_TAP = 2.220446049250313e-14


def write(name, records):
    write_records("mr_" + name + ".f64", records)


def deviation(h, lo, hi, want):
    """Largest | |H| - want | on a grid of 64 points per tap over [lo, hi] (fs = 2)."""
    f = np.linspace(lo, hi, max(128, int(np.ceil(64 * len(h) * (hi - lo)))))
    _, H = signal.freqz(h, worN=f, fs=2.0)
    return np.max(np.abs(np.abs(H) - want))


def half_band(h):
    h = h.copy()
    c = (len(h) - 1) // 2
    for i in range(len(h)):
        if (i - c) % 2 == 0:
            h[i] = 0.5 if i == c else 0.0
    return h


def shortest(design, meets):
    """The shortest odd length (from 3) whose design meets the ripple, and its taps."""
    n = 3
    while True:
        h = design(n)
        if meets(h):
            return h
        n += 2


# --- Designs ----------------------------------------------------------------------------------
# Lowpass, per case: [pass, stop, ripple, trim], then the taps of scipy.signal.remez (equal
# weights) of the shortest odd length whose measured deviation is within ripple in both bands,
# with one tap dropped at each end when trim is set and the first is below 2.22e-14. Bands
# symmetric about 0.5 ask for a half-band filter: SciPy's taps are projected onto that form
# (centre 1/2, taps at even distances from it 0) before they are measured.
# Hilbert, per case: [transBW, ripple], then scipy's type='hilbert' taps over
# [transBW, 1 - transBW] (SciPy's +90 degree phase) of the shortest odd length within ripple.
def designs():
    recs = []
    for p, s, ripple, trim in [(0.25, 0.75, 1e-4, 1), (0.45, 0.55, 1e-4, 1), (0.45, 0.55, 1e-4, 0),
                               (0.25, 0.75, 1e-7, 1), (0.4, 0.6, 1e-3, 1), (0.2, 0.45, 1e-3, 1),
                               (0.3, 0.5, 1e-5, 0)]:
        project = half_band if p + s == 1.0 else (lambda h: h)
        h = shortest(lambda n: project(signal.remez(n, [0, p, s, 1], [1, 0], fs=2.0)),
                     lambda h: max(deviation(h, 0, p, 1.0), deviation(h, s, 1, 0.0)) <= ripple * (1 + 1e-6))
        if trim and abs(h[0]) < ZERO_TAP:
            h = h[1:-1]
        recs += [[p, s, ripple, trim], h]
    write("lowpass", recs)
    recs = []
    for tbw, ripple in [(0.1, 1e-3), (0.05, 1e-4), (0.2, 1e-2)]:
        h = shortest(lambda n: signal.remez(n, [tbw, 1 - tbw], [1], type="hilbert", fs=2.0),
                     lambda h: deviation(h, tbw, 1 - tbw, 1.0) <= ripple * (1 + 1e-6))
        recs += [[tbw, ripple], h]
    write("hilbert", recs)


# --- Cascades ---------------------------------------------------------------------------------
# Records: x (real, odd length), x (complex), then three tap sets, each a half-band and a
# last-stage filter: 0 the designs projected onto the half-band form, 1 SciPy's taps as
# they come, 2 random dense taps of even lengths. Then per case [mode, stages, complex data,
# tap set, rectifyAt] and the output stream: scipy.signal.upfirdn applied stage by stage
# (tail dropped). Mode 0 decimates (half-band stages, the last-stage filter last); 1 as 0 but
# the last stage filters at its input rate (lfilter); 2 interpolates (the last-stage filter
# first, every stage with twice its taps). rectifyAt s >= 0 replaces the input of stage s by
# |x| * pi / 2 (s = stages: the output). Interpolation cases take the first 301 samples.
def cascades():
    xr = RNG.standard_normal(1999)
    xc = RNG.standard_normal(1000) + 1j * RNG.standard_normal(1000)
    hb = signal.remez(19, [0, 0.25, 0.75, 1], [1, 0], fs=2.0)
    last = signal.remez(95, [0, 0.45, 0.55, 1], [1, 0], fs=2.0)
    sets = [[half_band(hb), half_band(last)], [hb, last], [RNG.standard_normal(12), RNG.standard_normal(10)]]
    recs = [xr, cplx(xc)] + [h for s in sets for h in s]

    def rect(y):
        return np.abs(y) * np.pi / 2

    for mode, stages, cx, ts, ra in [(0, 1, 0, 0, -1), (0, 2, 0, 0, -1), (0, 3, 0, 0, -1), (0, 6, 0, 0, -1),
                                     (0, 3, 0, 1, -1), (0, 3, 0, 2, -1), (0, 3, 1, 0, -1), (1, 1, 0, 0, -1),
                                     (1, 3, 1, 0, -1), (1, 4, 1, 2, -1), (2, 1, 0, 0, -1), (2, 3, 0, 0, -1),
                                     (2, 3, 0, 2, -1), (2, 2, 1, 1, -1), (0, 3, 0, 0, 1), (0, 3, 0, 0, 0),
                                     (0, 2, 1, 0, 2)]:
        hb_, last_ = sets[ts]
        y = xc if cx else xr
        if mode == 2:
            y = y[:301]  # interpolation multiplies the length
        for k in range(stages):
            if k == ra:
                y = rect(y)
            if mode == 2:
                h = 2 * (last_ if k == 0 else hb_)
                y = signal.upfirdn(h, y, 2, 1)[:2 * len(y)]
            elif mode == 1 and k == stages - 1:
                y = signal.lfilter(last_, 1.0, y)
            else:
                h = last_ if k == stages - 1 else hb_
                y = signal.upfirdn(h, y, 1, 2)[:(len(y) + 1) // 2]
        if ra == stages:
            y = rect(y)
        recs += [[mode, stages, cx, ts, ra], cplx(y) if np.iscomplexobj(y) else y]
    write("cascade", recs)


if __name__ == "__main__":
    designs()
    cascades()
