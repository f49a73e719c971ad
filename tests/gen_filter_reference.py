#!/usr/bin/python3
"""Writes the reference data of the filter-design and filter-state tests (tests/sigcore/).

Run: /usr/bin/python3 tests/gen_filter_reference.py

Files tests/data/filt_<name>.f64 are record files (tests/gen_records.py); cases are fixed groups of
records, described below for each file. Frequencies are written as SciPy takes them (fractions
of Nyquist for the IIR routines, fs = 1 for remez) unless said otherwise.
"""


import numpy as np
from scipy import signal

from gen_records import cplx, write_records

RNG = np.random.default_rng(20240517)


def write(name, records):
    write_records("filt_" + name + ".f64", records)


# --- IIR designs ------------------------------------------------------------------------------
# Per case 4 records: params [family, btype, order, wn0, wn1, rp, rs, analog, norm, fs],
# zeros, poles (complex), [k]. family: 0 butter, 1 cheby1, 2 cheby2, 3 ellip, 4 bessel.
# btype: 0 low, 1 high, 2 bandpass, 3 bandstop. norm (bessel): 0 phase, 1 delay, 2 mag.
# fs = 0 means SciPy's default (wn as fractions of Nyquist); analog cases give wn in rad/s.
FAMILIES = ["butter", "cheby1", "cheby2", "ellip", "bessel"]
BTYPES = ["lowpass", "highpass", "bandpass", "bandstop"]
LOW_WN = [0.05, 0.2, 0.45, 0.8]
BAND_WN = [[0.1, 0.3], [0.2, 0.5], [0.4, 0.45], [0.05, 0.9]]
RP = [0.1, 0.5, 1.0, 3.0]
RS = [30.0, 40.0, 60.0, 80.0]
NORMS = ["phase", "delay", "mag"]


def iir_case(recs, fam, bt, n, wn, rp, rs, analog=False, norm=0, fs=0.0):
    ripples = [(), (rp,), (rs,), (rp, rs), ()][fam]
    extra = dict(norm=NORMS[norm]) if FAMILIES[fam] == "bessel" else {}
    z, p, k = getattr(signal, FAMILIES[fam])(n, *ripples, wn, btype=BTYPES[bt], analog=analog, output="zpk",
                                             fs=fs or None, **extra)
    w = list(np.atleast_1d(wn)) + [0.0]
    recs += [[fam, bt, n, w[0], w[1], rp, rs, float(analog), norm, fs], cplx(z), cplx(p), [k]]


def iir_designs():
    recs = []
    for fam in range(5):
        for bt in range(4):
            for n in range(1, 11):
                wn = LOW_WN[n % 4] if bt < 2 else BAND_WN[n % 4]
                iir_case(recs, fam, bt, n, wn, RP[n % 4], RS[n % 4])
    # Analog designs, other Bessel normalisations, a sampling rate in Hz.
    for fam in range(5):
        iir_case(recs, fam, 0, 5, 2.0, 1.0, 50.0, analog=True)
        iir_case(recs, fam, 2, 4, [1.0, 3.0], 1.0, 50.0, analog=True)
    for norm in (1, 2):
        for n in (1, 3, 6, 9):
            iir_case(recs, 4, 0, n, 0.3, 1.0, 40.0, norm=norm)
            iir_case(recs, 4, 3, n, [0.2, 0.6], 1.0, 40.0, norm=norm)
    iir_case(recs, 0, 0, 4, 1000.0, 1.0, 40.0, fs=8000.0)
    iir_case(recs, 3, 2, 6, [500.0, 1500.0], 0.5, 70.0, fs=8000.0)
    write("iir_designs", recs)


# --- IIR order selection -------------------------------------------------------------------------
# Per case 2 records: params [family, nedges, wp0, wp1, ws0, ws1, rp, rs] (family as above,
# 0..3; unused edges 0), result [order, wn0, wn1].
def iir_orders():
    recs = []
    specs = [
        ([0.2], [0.3], 1.0, 40.0),
        ([0.3], [0.2], 0.5, 60.0),
        ([0.1], [0.12], 0.1, 80.0),
        ([0.7], [0.65], 3.0, 30.0),
        ([0.2, 0.5], [0.1, 0.6], 1.0, 40.0),
        ([0.3, 0.35], [0.25, 0.42], 0.5, 60.0),
        ([0.1, 0.6], [0.2, 0.5], 1.0, 60.0),
        ([0.15, 0.8], [0.3, 0.7], 2.0, 45.0),
    ]
    fns = [signal.buttord, signal.cheb1ord, signal.cheb2ord, signal.ellipord]
    for fam, fn in enumerate(fns):
        for wp, ws, rp, rs in specs:
            o, wn = fn(wp, ws, rp, rs)
            e = list(wp) + [0.0] * (2 - len(wp)) + list(ws) + [0.0] * (2 - len(ws))
            w = list(np.atleast_1d(wn)) + [0.0]
            recs += [[fam, len(wp)] + e + [rp, rs], [o, w[0], w[1]]]
    write("iir_orders", recs)


# --- Notch, transfer-function conversions -------------------------------------------------------
# notch: per case [f0 (fraction of Nyquist), radius], b, a of iirnotch with the equivalent Q.
# tf: per case num, den, then tf2ss A (row-major), B, C, D, then tf2zpk zeros, poles, [k].
def misc():
    recs = []
    for f0, radius in [(0.25, 0.99), (0.1, 0.9999), (0.8, 0.95)]:
        bw = 2 * np.arctan(2 / (1 + radius * radius) - 1)  # -3 dB width, rad/sample
        b, a = signal.iirnotch(f0, f0 * np.pi / bw)
        recs += [[f0, radius], b, a]
    write("notch", recs)
    recs = []
    for num, den in [([1.0, 2.0, 3.0], [1.0, 0.4, 0.3]),
                     ([0.5, -0.2], [2.0, 0.5, -0.3, 0.1]),
                     ([1.0, -1.2, 0.8, 0.3], [1.0, -0.1, 0.2, 0.05])]:
        A, B, C, D = signal.tf2ss(num, den)
        z, p, k = signal.tf2zpk(num, den)
        recs += [num, den, A, B, C, D, cplx(np.sort_complex(z)), cplx(np.sort_complex(p)), [k]]
    write("tf", recs)


# --- Parks-McClellan ----------------------------------------------------------------------------
# Per case 5 records: [numtaps, type (0 bandpass, 1 differentiator, 2 hilbert), grid density],
# bands (fs = 1), desired, weights, taps.
def remez():
    recs = []
    cases = [
        (31, [0, 0.2, 0.25, 0.5], [1, 0], [1, 1], "bandpass", 16),
        (32, [0, 0.2, 0.25, 0.5], [1, 0], [1, 10], "bandpass", 16),
        (73, [0, 0.1, 0.12, 0.3, 0.32, 0.5], [0, 1, 0], [1, 2, 1], "bandpass", 16),
        (60, [0, 0.05, 0.1, 0.2, 0.25, 0.35, 0.4, 0.5], [1, 0, 0.5, 0], [1, 5, 1, 5], "bandpass", 20),
        (127, [0, 0.2, 0.21, 0.5], [1, 0], [1, 1], "bandpass", 16),
        (45, [0, 0.3, 0.35, 0.5], [0, 1], [1, 1], "bandpass", 8),
        (31, [0.05, 0.45], [1], [1], "hilbert", 16),
        (30, [0.05, 0.5], [1], [1], "hilbert", 16),
        (51, [0.1, 0.4], [1], [1], "hilbert", 32),
        (31, [0, 0.45], [1], [1], "differentiator", 16),
        (30, [0, 0.5], [1], [1], "differentiator", 16),
        (40, [0, 0.3, 0.35, 0.5], [1, 0], [1, 1], "differentiator", 16),
    ]
    for n, bands, des, wts, typ, dens in cases:
        h = signal.remez(n, bands, des, weight=wts, type=typ, grid_density=dens)
        recs += [[n, {"bandpass": 0, "differentiator": 1, "hilbert": 2}[typ], dens], bands, des, wts, h]
    write("remez", recs)


# --- Windowed FIR (Kaiser) -----------------------------------------------------------------------
# Per case 3 records: [ripple dB, width (fraction of Nyquist), btype, fs, cutoffs...],
# [numtaps, beta] from kaiserord, taps from firwin with the Kaiser window (cutoffs in Hz).
def firwin():
    recs = []
    cases = [
        (60.0, 0.05, 0, 2.0, [0.3]),
        (40.0, 0.1, 1, 2.0, [0.5]),
        (80.0, 0.02, 2, 2.0, [0.2, 0.4]),
        (30.0, 0.08, 3, 2.0, [0.25, 0.6]),
        (55.0, 200.0 / 4000.0, 0, 8000.0, [1000.0]),
        (20.0, 0.2, 0, 2.0, [0.5]),
    ]
    for ripple, width, bt, fs, cut in cases:
        n, beta = signal.kaiserord(ripple, width)
        if bt in (1, 3) and n % 2 == 0:
            n += 1
        pz = bt in (0, 3)
        h = signal.firwin(n, cut, window=("kaiser", beta), pass_zero=pz, fs=fs)
        recs += [[ripple, width, bt, fs] + list(cut), [n, beta], h]
    write("firwin", recs)


# --- Savitzky-Golay ------------------------------------------------------------------------------
# Per case 2 records: [length, order, deriv, delta, pos (-1: default)], taps (use='conv').
def savgol():
    recs = []
    for length, order, deriv, delta, pos in [(5, 2, 0, 1.0, -1), (7, 3, 0, 1.0, -1), (11, 4, 1, 0.5, -1),
                                             (8, 4, 2, 0.5, 2), (21, 6, 0, 1.0, -1), (31, 2, 0, 1.0, 0),
                                             (9, 8, 3, 2.0, -1)]:
        h = signal.savgol_coeffs(length, order, deriv, delta, None if pos < 0 else pos)
        recs += [[length, order, deriv, delta, pos], h]
    write("savgol", recs)


# --- Streams: polyphase FIR, sosfilt, median, envelope ------------------------------------------
def streams():
    # upfirdn: x (real), x (complex), h (real), h (complex); then per case
    # [up, upPhase, down, downPhase, complexX, complexH] and the output stream. Cases with
    # phases 0 are scipy.signal.upfirdn (tail dropped); with phases, a direct NumPy model.
    n = 240
    xr = RNG.standard_normal(n)
    xc = RNG.standard_normal(n) + 1j * RNG.standard_normal(n)
    hr = signal.firwin(23, 0.3)
    hc = hr * np.exp(2j * np.pi * 0.1 * np.arange(23))
    recs = [xr, cplx(xc), hr, cplx(hc)]
    for up, uph, down, dph, cx, ch in [(1, 0, 1, 0, 0, 0), (3, 0, 1, 0, 0, 0), (1, 0, 4, 0, 0, 0),
                                      (3, 0, 2, 0, 0, 0), (2, 1, 3, 2, 0, 0), (5, 3, 1, 0, 1, 0),
                                      (1, 0, 3, 1, 0, 1), (4, 2, 3, 0, 1, 1), (1, 0, 1, 0, 1, 1),
                                      (7, 6, 5, 4, 0, 0)]:
        x = xc if cx else xr
        h = hc if ch else hr
        if uph == 0 and dph == 0:
            y = signal.upfirdn(h, x, up, down)[:(up * n - 1) // down + 1]
        else:
            u = np.zeros(up * n, dtype=complex if cx else float)
            u[uph::up] = x
            v = np.convolve(h, u)[:up * n]
            y = v[dph::down]
        recs += [[up, uph, down, dph, cx, ch], cplx(y) if (cx or ch) else y]
    write("upfirdn", recs)

    # sosfilt: per case sos, x (real), y, x (complex), y.
    recs = []
    for sos in [signal.butter(8, [0.2, 0.3], "bandpass", output="sos"),
                signal.ellip(7, 0.5, 70, 0.15, output="sos"),
                signal.cheby1(3, 1.0, 0.6, "highpass", output="sos")]:
        x = RNG.standard_normal(500)
        z = RNG.standard_normal(500) + 1j * RNG.standard_normal(500)
        recs += [sos, x, signal.sosfilt(sos, x), cplx(z), cplx(signal.sosfilt(sos, z))]
    write("sosfilt", recs)

    # Running median: x, then per case [length, delay] and the output stream. Output n is
    # the median of x[n - delay - h .. n - delay + length - 1 - h], h = (length - 1) // 2,
    # with x = 0 before the start (NumPy's median: mean of the middle pair for even lengths).
    # For odd lengths and the least delay this is scipy.signal.medfilt of the zero-prefixed x.
    x = RNG.standard_normal(300)
    x[50:60] = 0.7  # ties
    recs = [x]
    for length, delay in [(1, 0), (3, 1), (5, 2), (4, 2), (8, 4), (21, 10), (5, 7), (6, 9)]:
        h = (length - 1) // 2
        if length % 2 == 1 and delay == h:
            y = signal.medfilt(np.concatenate([np.zeros(h), x]), length)[:len(x)]
        else:
            pad = np.concatenate([np.zeros(delay + h + length), x])
            off = delay + h + length
            y = np.array([np.median(pad[off + i - delay - h: off + i - delay - h + length]) for i in range(len(x))])
        recs += [[length, delay], y]
    write("median", recs)

    # Envelope: x (real) and |scipy.signal.hilbert(x)|.
    t = np.arange(400)
    x = (1 + 0.5 * np.sin(2 * np.pi * t / 400)) * np.cos(2 * np.pi * 0.1 * t) + 0.01 * RNG.standard_normal(400)
    write("envelope", [x, np.abs(signal.hilbert(x))])


# --- Elliptic integrals and functions --------------------------------------------------------
# Records: m values, ellipk(m), ellipkm1(m) (K(1 - m)), then u values and, for each m, the
# ellipj(u, m) results sn, cn, dn, ph one after another; then ellipkinc(phi, m) for phi.
def elliptic():
    from scipy import special
    m = np.array([0.0, 1e-12, 1e-6, 0.1, 0.5, 0.9, 0.999999, 1 - 1e-12])
    u = np.array([0.0, 0.3, 1.0, 2.5, -0.7])
    phi = np.array([0.1, 0.7, 1.2, np.pi / 2])
    recs = [m, special.ellipk(m), special.ellipkm1(m), u]
    for mm in m:
        sn, cn, dn, ph = special.ellipj(u, mm)
        recs += [sn, cn, dn, ph]
    recs += [phi] + [special.ellipkinc(phi, mm) for mm in m[:-1]]
    write("elliptic", recs)


if __name__ == "__main__":
    iir_designs()
    iir_orders()
    misc()
    remez()
    firwin()
    savgol()
    streams()
    elliptic()
