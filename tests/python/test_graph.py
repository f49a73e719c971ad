"""A settings file of reader -> filter -> analyzer, driven from Python and by `ondrix run`."""

import json
import re

import numpy as np
import pytest
import scipy.signal as ss

import ondrix


def graph_settings(wav, length=1024):
    return {"class": "TComponent", "name": "Graph", "components": [
        {"class": "TSignalRead", "name": "Reader", "properties": {
            "FileName": str(wav), "Length": length, "LastFrameCheck": "lfcLastFullBlock"}},
        {"class": "TSignalFilter", "name": "Filter", "properties": {
            "Input": "Reader", "Response": "rstIIR", "IirMethod": "imButterworth", "AutoFilterOrder": False,
            "Order": 4, "Filters": {"properties": {"Bands": [
                {"FreqStart": 0, "FreqStop": 0.25, "Gain": 1, "Ripple": 3},
                {"FreqStart": 0.5, "FreqStop": 1, "Gain": 0, "Ripple": 20}]}}}},
        {"class": "TSpectrumAnalyzer", "name": "Analyzer", "properties": {
            "Inputs": [{"properties": {"Input": "Filter"}}], "Window": "wtHanning",
            "SpectrumType": "stDoubleAmplitude",
            "Stats": {"properties": {"Averaging": "avLinearInf"}},
            "Peaks": {"properties": {"TraceMethod": "ptLargest", "LargestCount": 3}}}}]}


@pytest.fixture
def setup(tmp_path, rng):
    fs = 8000.0
    t = np.arange(32768) / fs
    x = 1000 * np.sin(2 * np.pi * 500 * t) + 300 * np.sin(2 * np.pi * 1250 * t) + 50 * rng.standard_normal(len(t))
    ondrix.write(tmp_path / "in.wav", np.round(x), fs, precision="int16")
    path = tmp_path / "graph.json"
    path.write_text(json.dumps(graph_settings(tmp_path / "in.wav")))
    return path, fs


def test_python_graph_gives_the_spectrum_of_the_tool_run(setup, run_tool):
    path, fs = setup
    g = ondrix.Graph(path)
    assert g.components() == ["Graph", "Reader", "Filter", "Analyzer"]
    assert g.pull() == {"Analyzer": 32}
    f, amp, _ = g.spectrum("Analyzer")
    k = int(np.argmax(amp))

    rc, out, err = run_tool("run", "-q", path)
    assert rc == 0, err
    m = re.search(r"largest line (\S+) Hz: (\S+)", out)
    assert float(m.group(1)) == f[k]
    assert float(m.group(2)) == pytest.approx(amp[k], rel=1e-7)  # printed with 8 digits

    # the same chain from the streaming objects, whose parts are each checked against SciPy
    x, _, _ = ondrix.read(setup[0].parent / "in.wav")
    sos = g.get("Filter", "Taps").reshape(-1, 6)  # the sections the graph's filter designed
    assert sos.shape == (2, 6)
    y = ondrix.Filter(sos=sos).process(x[:, 0])
    a = ondrix.Analyzer(fs, 1024, window="hann", spectrum="peak")
    a.process(y)
    assert a.averaged == 32
    assert np.max(np.abs(a.spectrum - amp)) < 1e-12 * np.max(amp)
    assert np.array_equal(a.frequencies, f)


def test_properties_by_name_and_errors(setup):
    path, _ = setup
    g = ondrix.Graph(path)
    assert g.class_name("Filter") == "TSignalFilter"
    g.set("Analyzer", "Stats", {"Averaging": "avExponentInf", "ExpDecay": 4})
    assert g.get("Analyzer", "Stats.ExpDecay") == 4
    g.set("Reader", "Length", 2048)
    props = g.properties("Reader")
    assert props["Length"] == 2048 and props["FileName"].endswith("in.wav")
    assert g.pull("Reader") == "ok"
    assert g.data("Reader").shape == (2048, 1)
    # a collection from a list of dicts: grown, then shrunk, each item's properties set
    inputs = lambda: [i["Input"] for i in g.get("Analyzer", "Inputs")]
    g.set("Analyzer", "Inputs", [{"Input": "Reader"}, {"Input": "Filter"}])
    assert inputs() == ["Reader", "Filter"]
    g.set("Analyzer", "Inputs", [{"Input": "Filter"}])
    assert inputs() == ["Filter"]
    with pytest.raises(TypeError, match="list of dicts"):
        g.set("Analyzer", "Inputs", ["Reader"])
    assert inputs() == ["Filter"]
    with pytest.raises(ondrix.Error, match="No component named Nowhere"):
        g.set("Filter", "Input", "Nowhere")
    with pytest.raises(TypeError, match="Length"):
        g.set("Reader", "Length", "long")
    with pytest.raises(KeyError):
        g.get("Missing", "Length")
    with pytest.raises(ondrix.Error):
        ondrix.Graph.from_json('{"class": "TNoSuchClass", "name": "G"}')
    assert json.loads(g.to_json())["components"][0]["properties"]["Length"] == 2048
