#!/usr/bin/python3
"""Writes the reference data of the spectral kernels' tests in tests/sigcore/
(ar_test.cpp, czt_test.cpp, phase_test.cpp).

Run: /usr/bin/python3 tests/gen_spectral_reference.py

Record files as tests/gen_records.py writes them (a table of R and the R lengths, then the records).
Scalars are records of length 1 (or a few values in one "params" record).

spec_levinson.f64   r (13 real), a, [err], rc (13 complex), ac, [errc]
                    a from scipy.linalg.solve_toeplitz on the Yule-Walker system of r (biased
                    autocorrelation of an AR signal); err = Re(r0 + sum a_k conj(r_k)).
spec_arls.f64       for real then complex x (N = 200, order 6): x, a_cov, [err_cov], a_mcov,
                    [err_mcov], a_burg, [err_burg]. Covariance methods by numpy.linalg.lstsq on
                    the forward (and backward) prediction equations, errors = residual power
                    per equation; Burg by the textbook recursion written out below.
spec_czt.f64        per case: params [n, m, w.re, w.im, a.re, a.im, complex], x, X
                    (X = scipy.signal.czt(x, m, w, a)); the case count is the first record.
spec_zoom.f64       per case: params [n, m, f1, f2, fs, complex], x, X
                    (X = scipy.signal.zoom_fft(x, [f1, f2], m, fs=fs, endpoint=False)).
spec_groupdelay.f64 params [zero padding, N], x, y, xc, gd(x), gd(y / x), gd(xc):
                    scipy.signal.group_delay on N bins around the whole circle (N/2 for xc,
                    which is shorter).
spec_cepstrum.f64   x (256 real), rceps(x), rceps(hann(N, sym=False) * x), xd (real, a delayed
                    mixed-phase sequence), cceps(xd), [nd], xc (complex), rceps(xc) complex.
                    rceps = ifft(log|fft|); cceps as the usual cceps with rcunwrap; nd is its
                    returned delay.
"""


import numpy as np
import scipy.linalg
import scipy.signal as ss

from gen_records import write_records



def noise(rng, n, complex_=False):
    x = rng.standard_normal(n)
    return x + 1j * rng.standard_normal(n) if complex_ else x


def ar_signal(rng, n, complex_=False):
    a = np.poly([0.8 * np.exp(0.6j), 0.8 * np.exp(-0.6j), 0.7 * np.exp(2.1j), 0.7 * np.exp(-2.1j)]).real
    return ss.lfilter([1.0], a, noise(rng, n, complex_))


def autocorr_biased(x, lags):
    n = len(x)
    full = np.correlate(x, x, "full")  # sum_n x[n+k] conj(x[n]) at n-1+k
    return full[n - 1:n - 1 + lags] / n


def yule_walker(r, p):
    c = r[:p]
    row = np.conj(r[:p])
    a = scipy.linalg.solve_toeplitz((c, row), -r[1:p + 1])
    a = np.concatenate([[1.0], a])
    err = np.real(r[0] + np.sum(a[1:] * np.conj(r[1:p + 1])))
    return a, err


def gen_levinson(rng):
    p, records = 12, []
    for complex_ in (False, True):
        r = autocorr_biased(ar_signal(rng, 500, complex_), p + 1)
        a, err = yule_walker(r, p)
        records += [r, a, [err]]
    write_records("spec_levinson.f64", records)


def covariance(x, p, backward):
    n = len(x)
    rows = np.array([[x[t - j] for j in range(1, p + 1)] for t in range(p, n)])
    rhs = -x[p:]
    if backward:
        brows = np.array([[np.conj(x[t - p + j]) for j in range(1, p + 1)] for t in range(p, n)])
        rows = np.vstack([rows, brows])
        rhs = np.concatenate([rhs, -np.conj(x[:n - p])])
    sol = np.linalg.lstsq(rows, rhs, rcond=None)[0]
    res = rows @ sol - rhs
    return np.concatenate([[1.0], sol]), np.sum(np.abs(res) ** 2) / len(rhs)


def burg(x, p):
    x = np.asarray(x, dtype=complex)
    ef = x.copy()
    eb = x.copy()
    a = np.array([1.0 + 0j])
    e = np.sum(np.abs(x) ** 2) / len(x)
    for _ in range(p):
        efp = ef[1:]
        ebp = eb[:-1]
        k = -2 * np.vdot(ebp, efp) / (np.vdot(efp, efp).real + np.vdot(ebp, ebp).real)
        ef = efp + k * ebp
        eb = ebp + np.conj(k) * efp
        a = np.concatenate([a, [0]]) + k * np.concatenate([[0], np.conj(a[::-1])])
        e *= 1 - abs(k) ** 2
    return a, e


def gen_arls(rng):
    p = 6
    records = []
    for complex_ in (False, True):
        x = ar_signal(rng, 200, complex_)
        ac, ec = covariance(x, p, False)
        am, em = covariance(x, p, True)
        ab, eb = burg(x, p)
        if not complex_:
            ac, am, ab = ac.real, am.real, ab.real
        records += [x, ac, [ec], am, [em], ab, [eb]]
    write_records("spec_arls.f64", records)


def gen_czt(rng):
    cases = [
        (64, 64, np.exp(-2j * np.pi / 64), 1.0, False),
        (100, 37, np.exp(-2j * np.pi * 0.0031), np.exp(2j * np.pi * 0.1), True),
        (50, 80, 0.995 * np.exp(-0.05j), 1.1 * np.exp(0.3j), False),
        (1000, 1500, np.exp(-2j * np.pi * 0.37 / 1500), np.exp(2j * np.pi * 0.61), True),
        (1, 5, np.exp(-0.4j), 0.9, True),
        (7, 1, 1.01 * np.exp(0.2j), np.exp(-1j), False),
    ]
    records = [[len(cases)]]
    for n, m, w, a, complex_ in cases:
        x = noise(rng, n, complex_)
        records += [[n, m, np.real(w), np.imag(w), np.real(a), np.imag(a), complex_], x, ss.czt(x, m, w, a)]
    write_records("spec_czt.f64", records)

    zooms = [
        (256, 128, 100.0, 180.0, 1000.0, False),
        (1000, 333, -0.2, 0.31, 1.0, True),
        (1024, 400, 1000.0, 1100.0, 48000.0, False),
    ]
    records = [[len(zooms)]]
    for n, m, f1, f2, fs, complex_ in zooms:
        x = noise(rng, n, complex_)
        records += [[n, m, f1, f2, fs, complex_], x, ss.zoom_fft(x, [f1, f2], m, fs=fs, endpoint=False)]
    write_records("spec_zoom.f64", records)


def gen_groupdelay(rng):
    zp = 4
    # Dominant taps keep the transforms away from zero, where the delay is ill-conditioned.
    x = np.concatenate([[3.0], 0.1 * rng.standard_normal(19)])
    y = np.concatenate([np.zeros(4), [2.0], 0.1 * rng.standard_normal(22)])
    xc = np.concatenate([[2.0 - 1.0j], 0.1 * (rng.standard_normal(12) + 1j * rng.standard_normal(12))])
    n = 32 * zp  # LargestExp2(27) * zero padding
    gx = ss.group_delay((x, [1.0]), w=n, whole=True)[1]
    gyx = ss.group_delay((y, x), w=n, whole=True)[1]
    gxc = ss.group_delay((xc, [1.0]), w=16 * zp, whole=True)[1]  # LargestExp2(13) * zp
    write_records("spec_groupdelay.f64", [[zp, n], x, y, xc, gx, gyx, gxc])


def rceps(x):
    return np.fft.ifft(np.log(np.abs(np.fft.fft(x))))


def cceps(x):
    n = len(x)
    h = np.fft.fft(x)
    ph = np.unwrap(np.angle(h))
    nh = (n + 1) // 2
    nd = int(np.round(ph[nh] / np.pi))
    ph = ph - np.pi * nd * np.arange(n) / nh
    return np.real(np.fft.ifft(np.log(np.abs(h)) + 1j * ph)), nd


def gen_cepstrum(rng):
    n = 256
    x = rng.standard_normal(n)
    win = ss.windows.hann(n, sym=False)
    # A mixed-phase sequence (zeros inside and outside the circle), delayed by 5 samples.
    core = np.convolve([1.0, -0.5, 0.2], [0.3, 1.0])
    xd = np.zeros(n)
    xd[5:5 + len(core)] = core
    cd, nd = cceps(xd)
    xc = noise(rng, n, True)
    write_records("spec_cepstrum.f64", [x, rceps(x).real, rceps(win * x).real, xd, cd, [nd], xc,
                                        rceps(xc)])


def main():
    rng = np.random.default_rng(5005)
    gen_levinson(rng)
    gen_arls(rng)
    gen_czt(rng)
    gen_groupdelay(rng)
    gen_cepstrum(rng)


if __name__ == "__main__":
    main()
