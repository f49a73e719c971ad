"""One graph over many files: `ondrix batch` with worker processes, and ondrix.batch.map on
a local Dask cluster, against a serial run; a corrupt file and a killed worker."""

import json
import os
import signal
import threading
import time

import numpy as np
import pytest

import ondrix
import ondrix.batch
from conftest import records

FS, FRAME = 16000.0, 1024
LINE = FS / FRAME  # tones on lines: no leakage between harmonics


def settings(harmonics=5):
    return {"class": "TComponent", "name": "Graph", "components": [
        {"class": "TSignalRead", "name": "Reader", "properties": {"Length": FRAME, "LastFrameCheck": "lfcLastFullBlock"}},
        {"class": "TSpectrumAnalyzer", "name": "Spectrum", "properties": {
            "Inputs": [{"properties": {"Input": "Reader"}}], "Window": "wtHanning", "SpectrumType": "stDoubleAmplitude",
            "Stats": {"properties": {"Averaging": "avLinearInf"}},
            "Peaks": {"properties": {"TraceMethod": "ptAmpltHarmonics", "HarmonicsCount": harmonics}}}}]}


def make_files(folder, rng, count=20, seconds=0.5):
    files, truth = [], []
    n = int(FS * seconds)
    t = np.arange(n) / FS
    for i in range(count):
        f0 = LINE * (20 + 3 * i)
        h2, h3 = 0.02 * (i + 1), 0.01 * (i % 4)
        x = 8000 * (np.sin(2 * np.pi * f0 * t) + h2 * np.sin(4 * np.pi * f0 * t) + h3 * np.sin(6 * np.pi * f0 * t))
        path = folder / f"tone{i:02d}.wav"
        ondrix.write(path, np.round(x + rng.standard_normal(n)), FS, precision="int16")
        files.append(str(path))
        truth.append((f0, 100 * np.hypot(h2, h3)))
    return files, truth


@pytest.fixture(scope="module")
def batch(tmp_path_factory, run_tool):
    """The graph, the files (a corrupt one among them), what they hold, and the serial run."""
    folder = tmp_path_factory.mktemp("batch")
    files, truth = make_files(folder, np.random.default_rng(5))
    bad = folder / "corrupt.wav"
    bad.write_bytes(b"RIFF\x24\x00\x00\x00WAVEfmt \x10\x00\x00\x00" + os.urandom(40))
    files.insert(7, str(bad))
    graph = folder / "graph.json"
    graph.write_text(json.dumps(settings()))
    return graph, files, truth, run_tool("batch", "-q", "--jobs", "1", graph, *files)


def check_records(recs, files, truth):
    assert [r["file"] for r in recs] == files  # each file once, in the order given
    good = [r for r in recs if r["ok"]]
    assert len(good) == len(files) - 1
    (bad,) = [r for r in recs if not r["ok"]]
    assert bad["file"].endswith("corrupt.wav") and bad["error"]
    for r, (f0, thd) in zip(good, truth):
        s = r["results"]["Spectrum"]
        assert s["largest"]["frequency"] == pytest.approx(f0, abs=1e-9)
        assert s["marks"][0]["frequency"] == pytest.approx(f0, abs=1e-9)
        assert s["thd_percent"] == pytest.approx(thd, rel=1e-3)  # 1 LSB of noise on the harmonics
        assert s["averaged"] == int(0.5 * FS) // FRAME and r["results"]["Reader"]["fs"] == FS


def test_tool_batch_with_two_workers_equals_a_serial_run(batch, run_tool, tmp_path):
    graph, files, truth, (rc1, serial, err1) = batch
    rc2, _, err2 = run_tool("batch", "-q", "--jobs", "2", "--out", tmp_path / "r.jsonl", graph, *files)
    assert rc1 == rc2 == 1  # a file failed; the others are all there
    assert err1.startswith("ondrix: 1 of 21 files failed") and err2 == err1
    assert (tmp_path / "r.jsonl").read_text() == serial
    check_records(records(serial), files, truth)
    # the Python record is the tool's, byte for byte
    text = graph.read_text()
    assert [json.dumps(ondrix.batch.record(text, f), separators=(",", ":")) for f in files[:3]] == \
        serial.splitlines()[:3]


def test_tool_batch_usage(batch, run_tool):
    graph, files, _, _ = batch
    rc, out, _ = run_tool("batch", "--help")
    assert rc == 0 and "Example: ondrix batch" in out and "--jobs" in out and "TEXT=-" in out
    rc, _, err = run_tool("batch", graph)
    assert rc == 2 and err.startswith("ondrix: ")
    rc, _, err = run_tool("batch", graph.parent / "missing.json", files[0])
    assert rc == 1 and err.startswith("ondrix: cannot open")
    rc, _, err = run_tool("batch", "--reader", "Nobody", graph, files[0])
    assert rc == 1 and "no file reader named 'Nobody'" in err


@pytest.fixture(scope="module")
def cluster():
    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as c, distributed.Client(c) as client:
        yield c, client


def test_dask_map_equals_the_tool(batch, cluster):
    graph, files, _, (_, serial, _) = batch
    _, client = cluster
    assert ondrix.batch.map(graph, files, client=client) == records(serial)  # checked in the tool's test


def finished(dask_scheduler):
    return sum(1 for ts in dask_scheduler.tasks.values() if ts.state == "memory")


def test_a_worker_killed_in_the_middle_of_a_dask_batch(run_tool, cluster, tmp_path):
    _, client = cluster
    # tasks of some 50 ms each, so that the batch is still running when the first results are in
    files, _ = make_files(tmp_path, np.random.default_rng(9), count=40, seconds=8)
    s = settings(harmonics=40)
    s["components"][1]["properties"]["ZeroPadding"] = 16
    graph = tmp_path / "graph.json"
    graph.write_text(json.dumps(s))
    _, serial, _ = run_tool("batch", "-q", "--jobs", "2", graph, *files)
    pids = list(client.run(os.getpid).values())
    killed = []

    def kill_one_after_two_results():
        deadline = time.monotonic() + 30
        while time.monotonic() < deadline and client.run_on_scheduler(finished) < 2:
            time.sleep(0.005)
        os.kill(pids[0], signal.SIGKILL)
        killed.append((time.monotonic(), client.run_on_scheduler(finished)))

    killer = threading.Thread(target=kill_one_after_two_results)
    killer.start()
    recs = ondrix.batch.map(graph, files, client=client)
    end = time.monotonic()
    killer.join()
    assert killed and killed[0][0] < end and killed[0][1] < len(files), "the batch ended before the kill"
    assert recs == records(serial)
