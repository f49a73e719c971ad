"""The tool's plots: well-formed SVG with their labels, PNG of the asked size, and a spectrum's
peak drawn where its frequency lies on the log axis.

Usage: plot_test.py TOOL (run by ctest)."""
import math
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

TOOL = sys.argv.pop(1) if len(sys.argv) > 1 else "ondrix"
SVG = "{http://www.w3.org/2000/svg}"
DATA = "#1F5AAA"  # the first curve colour


def run(*args, status=0):
    p = subprocess.run([TOOL, *args], capture_output=True, text=True)
    if p.returncode != status:
        raise AssertionError(f"{args}: status {p.returncode}\n{p.stdout}{p.stderr}")
    return p.stdout + p.stderr


def svg_texts(path):
    root = ET.parse(path).getroot()  # raises on malformed XML
    return {"".join(t.itertext()).strip() for t in root.iter(SVG + "text")}


def polylines(path, colour):
    root = ET.parse(path).getroot()
    for p in root.iter(SVG + "polyline"):
        if p.get("stroke", "").upper() == colour:
            yield [tuple(map(float, xy.split(","))) for xy in p.get("points").split()]


class Plots(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.dir.cleanup)
        cls.tone = cls.path("tone.wav")
        # 1000 Hz on a line of a 4096 frame at 48 kHz: 1000 = 85.33 lines, so take 82 lines
        cls.f0 = 82 * 48000 / 4096
        run("generate", "-q", cls.tone, "--fs", "48000", "-d", "1", f"0.5*sine({cls.f0}) + noise(0.001)",
            "--seed", "3")

    @classmethod
    def path(cls, name):
        return os.path.join(cls.dir.name, name)

    def test_spectrum_peak_sits_at_its_frequency_on_the_log_axis(self):
        out = self.path("s.svg")
        run("spectrum", "-q", self.tone, "--plot", out, "--plot-size", "900x500")
        texts = svg_texts(out)
        self.assertIn("Frequency (Hz)", texts)
        self.assertIn("Peak amplitude (dB re 1)", texts)
        self.assertTrue(any("tone.wav" in t and "hann 4096" in t for t in texts), texts)
        # the frame: the extreme x of the black lines; the axis spans the first line to fs/2
        frame = [x for line in polylines(out, "#000000") for x, _ in line]
        left, right = min(frame), max(frame)
        curve = [p for line in polylines(out, DATA) for p in line]  # long curves come in pieces
        x_peak = max(curve, key=lambda p: p[1])[0]  # y points up inside the flipped group
        lo, hi = math.log10(48000 / 4096), math.log10(24000)
        expected = left + (right - left) * (math.log10(self.f0) - lo) / (hi - lo)
        self.assertAlmostEqual(x_peak, expected, delta=0.5)

    def test_every_plot_is_well_formed_and_labelled(self):
        for args, labels in (
                (["design", "--fs", "48000", "--pass", "4000", "--stop", "5000", "-m", "elliptic"],
                 {"Magnitude (dB)", "Phase (degrees)", "Group delay (ms)", "Frequency (Hz)"}),
                (["spectrogram", "-q", self.tone, "--dbfs"], {"Time (s)", "Frequency (Hz)", "RMS amplitude (dBFS)"}),
                (["bispectrum", "-q", self.tone], {"f1 (Hz)", "f2 (Hz)", "Bicoherence"}),
                (["info", self.tone], {"Time (s)", "Value"})):
            out = self.path(args[0] + ".svg")
            run(*args, "--plot", out)
            self.assertLessEqual(labels, svg_texts(out), args[0])

    def test_png_has_the_asked_size(self):
        for cmd, size in ((["spectrogram", "-q", self.tone], (640, 480)), (["spectrum", "-q", self.tone], (1200, 300))):
            out = self.path(cmd[0] + ".png")
            run(*cmd, "--plot", out, "--plot-size", f"{size[0]}x{size[1]}")
            with open(out, "rb") as f:
                head = f.read(24)
            self.assertEqual(head[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual(struct.unpack(">II", head[16:24]), size)

    def test_bad_plot_files_are_refused_before_any_work(self):
        out = run("spectrum", self.tone, "--plot", self.path("x.jpg"), status=2)
        self.assertIn("ondrix: --plot: the plot file's extension names its format: .svg, .png or .pdf", out)
        out = run("spectrum", self.tone, "--plot", self.path("no/such/dir/x.png"), status=1)
        self.assertRegex(out, r"^ondrix: cannot write .*x\.png")
        out = run("spectrum", self.tone, "--plot", self.path("y.png"), "--plot-size", "20x10", status=2)
        self.assertIn("WIDTHxHEIGHT", out)
        self.assertEqual(run("spectrogram", self.tone, status=2).splitlines()[0],
                         "ondrix: --plot: a spectrogram goes to --plot FILE or --csv")


if __name__ == "__main__":
    unittest.main(verbosity=1)
