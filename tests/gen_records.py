"""The writer shared by the tests/gen_*_reference.py scripts: raw little-endian float64 files in
tests/data, complex arrays interleaved (re, im). Record files start with a table: the number of
records R, then R record lengths in doubles, then the records one after another."""

import os

import numpy as np

OUT_DIR = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")


def out_path(name):
    os.makedirs(OUT_DIR, exist_ok=True)
    return os.path.join(OUT_DIR, name)


def f64(a):
    a = np.asarray(a)
    if np.iscomplexobj(a):
        return a.astype("<c16").view("<f8").ravel()
    return a.astype("<f8").ravel()


def cplx(a):
    """a as complex values interleaved (re, im), real input included."""
    return f64(np.asarray(a, dtype=complex))


def write_f64(name, *arrays):
    """The arrays one after another, without a table."""
    np.concatenate([f64(a) for a in arrays]).tofile(out_path(name))


def write_records(name, records):
    records = [f64(r) for r in records]
    head = np.array([len(records)] + [len(r) for r in records], dtype="<f8")
    np.concatenate([head] + records).tofile(out_path(name))


def write_text(name, header, lines):
    """A '# header' line, then the lines."""
    with open(out_path(name), "w") as f:
        f.write("".join(line + "\n" for line in ["# " + header, *lines]))
