"""Fixtures of the Python module's tests: a runner for the built tool, and reproducible
random streams. Run with /usr/bin/python3 -m pytest and PYTHONPATH=<build>/python
(ctest sets both, and ONDRIX_TOOL)."""

import json
import os
import subprocess

import numpy as np
import pytest


@pytest.fixture(scope="session")
def run_tool():
    """Runs `ondrix ARGS...`; returns (exit status, stdout, stderr)."""
    tool = os.environ.get("ONDRIX_TOOL")
    if not tool or not os.access(tool, os.X_OK):
        pytest.skip("ONDRIX_TOOL does not name the built tool")

    def run(*args):
        p = subprocess.run([tool, *map(str, args)], capture_output=True, text=True, timeout=120)
        return p.returncode, p.stdout, p.stderr

    return run


@pytest.fixture
def rng():
    return np.random.default_rng(20261123)


def random_blocks(rng, n, largest=700):
    """Block boundaries 0 = b0 < b1 < ... = n of random sizes 0 .. largest (empty blocks too)."""
    edges = [0]
    while edges[-1] < n:
        edges.append(min(n, edges[-1] + int(rng.integers(0, largest))))
    return edges


def feed(obj, x, edges, *more):
    """Calls obj.process block by block; concatenates what it returns (if anything)."""
    outs = []
    for a, b in zip(edges[:-1], edges[1:]):
        r = obj.process(x[a:b], *(m[a:b] for m in more))
        if r is not None:
            outs.append(r)
    return np.concatenate(outs) if outs else None


def rel(a, b):
    """Largest difference relative to the reference's largest magnitude."""
    a, b = np.asarray(a), np.asarray(b)
    assert a.shape == b.shape
    return np.max(np.abs(a - b)) / np.max(np.abs(b))


def records(lines):
    return [json.loads(line) for line in lines.splitlines() if line.strip()]


def pytest_configure(config):
    # Debian's Dask 2022.12 on its tornado: a deprecation notice that is not ours
    config.addinivalue_line("filterwarnings", "ignore:make_current is deprecated:DeprecationWarning")
