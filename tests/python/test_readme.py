"""The README's Python examples run as written, on files made here (a cluster address that
only a reader's machine has is the one thing replaced: by the local cluster)."""

import os
import re

import numpy as np

import ondrix

README = os.path.join(os.path.dirname(__file__), "..", "..", "README.md")


def python_blocks():
    text = open(README, encoding="utf-8").read()
    section = text[text.index("## Python"):]
    section = section[:section.index("\n## ", 1)]
    return re.findall(r"```python\n(.*?)```", section, re.S)


def test_every_python_example_runs(tmp_path, monkeypatch):
    blocks = python_blocks()
    assert len(blocks) >= 2
    monkeypatch.chdir(tmp_path)
    fs = 48000.0
    t = np.arange(int(fs)) / fs
    x = np.column_stack([0.5 * np.sin(2 * np.pi * 1000 * t), 0.1 * np.sin(2 * np.pi * 7000 * t)])
    for name in ("recording.wav", "other.wav", "a.wav", "b.wav"):
        ondrix.write(name, x, fs, precision="single")
    (tmp_path / "graph.json").write_text(
        '{"class": "TComponent", "name": "Graph", "components": ['
        '{"class": "TSignalRead", "name": "Reader", "properties": {"FileName": "recording.wav",'
        ' "Length": 4096, "LastFrameCheck": "lfcAdjustLength"}},'
        '{"class": "TSpectrumAnalyzer", "name": "Analyzer",'
        ' "properties": {"Inputs": [{"properties": {"Input": "Reader"}}]}}]}')
    scope = {"files": ["a.wav", "b.wav"]}
    for block in blocks:
        code = re.sub(r'client=Client\("tcp://[^"]*"\)', "workers=2", block)
        exec(compile(code, "README.md", "exec"), scope)
    # what the examples computed is what the files hold
    assert abs(scope["a"].frequencies[np.argmax(scope["a"].spectrum)] - 1000) < fs / 4096
    assert [r["ok"] for r in scope["records"]] == [True, True]
