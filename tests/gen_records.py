"""The writer shared by the tests/gen_*_reference.py scripts: raw little-endian float64 files in
tests/data, complex arrays interleaved (re, im). Record files start with a table: the number of
records R, then R record lengths in doubles, then the records one after another."""

import os

import numpy as np

OUT_DIR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")


def f64(a):
    a = np.asarray(a)
    if np.iscomplexobj(a):
        return a.astype("<c16").view("<f8").ravel()
    return a.astype("<f8").ravel()


def cplx(a):
    """a as complex values interleaved (re, im), real input included."""
    return f64(np.asarray(a, dtype=complex))


def write_records(name, records):
    records = [f64(r) for r in records]
    head = np.array([len(records)] + [len(r) for r in records], dtype="<f8")
    np.concatenate([head] + records).tofile(os.path.join(OUT_DIR, name))
