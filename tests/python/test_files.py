"""Signal files between Python and sox: the same samples whichever side writes."""

import subprocess

import numpy as np
import pytest

import ondrix


def sox(*args):
    subprocess.run(["sox", *map(str, args)], check=True, capture_output=True, timeout=60)


def test_every_format_round_trips_through_python(tmp_path, rng):
    mono = rng.standard_normal(777)
    cases = [("a.dat", rng.standard_normal((500, 3)), None), ("b.dat", mono + 1j * rng.standard_normal(777), None),
             ("c.bin", mono.astype(np.float32).astype(float), None), ("d.dbn", mono, None), ("e.sfs", mono, None),
             ("f.asc", mono, None), ("g.sgl", mono, None), ("h.wav", np.round(mono * 1000), "int16"),
             ("i.wav", np.round(mono * 1e6), "int24"), ("j.wav", np.round(mono * 1e8), "int32"),
             ("k.wav", mono.astype(np.float32).astype(float), None), ("l.dat", np.clip(np.round(mono * 50), -128, 127), "int8")]
    for name, x, precision in cases:
        ondrix.write(tmp_path / name, x, 8000.0, precision=precision)
        y, fs, description = ondrix.read(tmp_path / name)
        expected = x.reshape(len(x), -1)
        assert y.shape == expected.shape and y.dtype == expected.dtype, name
        assert np.array_equal(y, expected), name
        # the text formats keep the duration, not the rate
        assert fs == pytest.approx(8000.0, rel=1e-7) and isinstance(description, str)
    info = ondrix.info(tmp_path / "a.dat")
    assert info["records"][0]["channels"] == 3 and info["records"][0]["samples"] == 500


# the tool reads through the same reader as ondrix.read (round trip above); sox is the independent reader
def test_python_wave_files_read_the_same_in_sox(tmp_path, rng):
    stereo16 = np.round(rng.uniform(-32768, 32767, (3000, 2)))
    path = tmp_path / "py16.wav"
    ondrix.write(path, stereo16, 8000.0, precision="int16")
    sox(path, "-t", "raw", "-e", "signed", "-b", "16", tmp_path / "py16.raw")
    assert np.array_equal(np.fromfile(tmp_path / "py16.raw", "<i2").reshape(-1, 2), stereo16)

    floats = rng.uniform(-1, 1, (2000, 1)).astype(np.float32).astype(float)
    ondrix.write(tmp_path / "pyf.wav", floats, 44100.0)  # single precision by default
    sox(tmp_path / "pyf.wav", "-t", "raw", "-e", "floating-point", "-b", "32", tmp_path / "pyf.raw")
    # sox carries samples as 32-bit integers inside: floats come back within one float32 ulp
    assert np.max(np.abs(np.fromfile(tmp_path / "pyf.raw", "<f4") - floats.ravel())) <= 2.0 ** -24


def test_files_of_sox_read_the_same_in_python(tmp_path):
    path = tmp_path / "sox.wav"
    sox("-n", "-r", "16000", "-c", "2", "-b", "16", "-e", "signed", path, "synth", "0.3", "sine", "440", "sine", "1000",
        "gain", "-3")
    sox(path, "-t", "raw", "-e", "signed", "-b", "16", tmp_path / "sox.raw")
    y, fs, _ = ondrix.read(path)
    assert fs == 16000.0
    assert np.array_equal(y, np.fromfile(tmp_path / "sox.raw", "<i2").reshape(-1, 2).astype(float))


def test_errors_carry_the_library_message(tmp_path):
    with pytest.raises(ondrix.Error, match="nothing.wav"):
        ondrix.read(tmp_path / "nothing.wav")
    (tmp_path / "bad.wav").write_bytes(b"RIFF\x10\x00\x00\x00WAVEjunkjunkjunk")
    with pytest.raises(ondrix.Error):
        ondrix.read(tmp_path / "bad.wav")
    with pytest.raises(ondrix.Error, match="Unknown file file format extension"):
        ondrix.write(tmp_path / "x.xyz", np.zeros(4), 1.0)
    with pytest.raises(ValueError, match="wave file stores"):
        ondrix.write(tmp_path / "x.wav", np.zeros(4), 1.0, precision="double")
