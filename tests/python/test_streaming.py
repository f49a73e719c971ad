"""The streaming objects against scipy.signal / NumPy on the same inputs, and block-wise
processing against whole-stream processing with random block sizes."""

import numpy as np
import pytest
import scipy.signal as ss

import ondrix
from conftest import feed, random_blocks, rel


class TestFilter:
    def test_sos_equals_sosfilt_whole_and_in_random_blocks(self, rng):
        sos = ss.ellip(8, 0.5, 70, [0.1, 0.3], btype="bandpass", output="sos")
        for x in (rng.standard_normal(20000), rng.standard_normal(8000) + 1j * rng.standard_normal(8000)):
            ref = ss.sosfilt(sos, x)
            whole = ondrix.Filter(sos=sos).process(x)
            assert whole.dtype == ref.dtype
            assert rel(whole, ref) < 1e-12
            f = ondrix.Filter(sos=sos)
            assert np.array_equal(feed(f, x, random_blocks(rng, len(x))), whole)
            f.reset()
            assert np.array_equal(f.process(x), whole)

    # the binding's paths: real taps in place, a rate change, complex taps (the library's cases are in C++)
    @pytest.mark.parametrize("up,down,ntaps,cplx", [(1, 1, 301, 0), (3, 7, 90, 0), (1, 1, 17, 1)])
    def test_fir_equals_upfirdn_without_its_tail(self, rng, up, down, ntaps, cplx):
        h = rng.standard_normal(ntaps) + (1j * rng.standard_normal(ntaps) if cplx else 0)
        x = rng.standard_normal(9000)
        ref = ss.upfirdn(h, x, up, down)
        f = ondrix.Filter(taps=h, up=up, down=down)
        whole = f.process(x)
        assert len(whole) == -(-len(x) * up // down)  # the outputs the input completes
        # long real filters run by FFT overlap-save: agreement to rounding, not bit for bit
        assert rel(whole, ref[: len(whole)]) < 1e-12
        blocks = feed(ondrix.Filter(taps=h, up=up, down=down), x, random_blocks(rng, len(x)))
        assert rel(blocks, whole) < 1e-13


class TestDecimator:
    def test_each_stage_is_upfirdn_by_two_with_the_designed_taps(self, rng):
        d = ondrix.Decimator(8, ripple=1e-4, transbw=0.1)
        x = rng.standard_normal(40000)
        y = d.process(x)
        # inner half-band stages first, the last-stage lowpass at the lowest rate
        ref = x
        for taps in [d.halfband_taps] * (d.stages - 1) + [d.last_stage_taps]:
            ref = ss.upfirdn(taps, ref, 1, 2)[: (len(ref) + 1) // 2]
        assert len(y) == len(ref)
        assert rel(y, ref) < 1e-12
        d.reset()
        assert np.array_equal(feed(d, x, random_blocks(rng, len(x), 3000)), y)

    def test_a_pass_band_tone_keeps_its_amplitude_and_the_delay_is_reported(self):
        fs, f0 = 48000.0, 1000.0
        n = np.arange(96000)
        d = ondrix.Decimator(4)
        y = d.process(np.sin(2 * np.pi * f0 * n / fs))
        j = np.arange(2000, len(y))
        expected = np.sin(2 * np.pi * f0 * (4 * j - d.delay) / fs)
        assert np.max(np.abs(y[j] - expected)) < 1e-3


class TestAnalyzer:
    @pytest.mark.parametrize("overlap", [0, 512, 768])
    def test_averaged_power_equals_welch(self, rng, overlap):
        fs, n = 48000.0, 1024
        t = np.arange(60000) / fs
        x = 0.5 * np.sin(2 * np.pi * 3000 * t) + rng.standard_normal(len(t))
        _, ref = ss.welch(x, fs, window="hann", nperseg=n, noverlap=overlap, detrend="constant", scaling="spectrum")
        a = ondrix.Analyzer(fs, n, overlap=overlap, window="hann", spectrum="power")
        a.process(x)
        ours = a.spectrum.copy()
        ours[1:] *= 2  # welch folds -f onto f
        assert len(ours) == n // 2 and a.averaged == (len(x) - overlap) // (n - overlap)
        assert rel(ours, ref[: n // 2]) < 1e-12
        assert np.allclose(a.frequencies, np.arange(n // 2) * fs / n, rtol=0, atol=1e-9)
        blocks = ondrix.Analyzer(fs, n, overlap=overlap, window="hann", spectrum="power")
        feed(blocks, x, random_blocks(rng, len(x), 3000))
        assert blocks.averaged == a.averaged
        assert rel(blocks.spectrum, a.spectrum) < 1e-14

    def test_complex_stream_is_two_sided(self, rng):
        fs, n = 1000.0, 256
        x = rng.standard_normal(5000) + 1j * rng.standard_normal(5000)
        _, ref = ss.welch(x, fs, window="hann", nperseg=n, noverlap=0, detrend="constant", scaling="spectrum",
                          return_onesided=False)
        a = ondrix.Analyzer(fs, n, window="hann")
        a.process(x)
        assert rel(a.spectrum, np.fft.fftshift(ref)) < 1e-12

    def test_reset_and_properties_through_the_table(self, rng):
        a = ondrix.Analyzer(8000.0, 512, spectrum="peak")
        assert a.get("SpectrumType") == "stDoubleAmplitude"
        assert a.get("Stats.Averaging") == "avLinearInf"
        a.set("Window", "wtRectangular")
        x = 3.0 * np.sin(2 * np.pi * 1000 * np.arange(4096) / 8000)  # 1000 Hz sits on line 64
        a.process(x)
        assert a.spectrum[64] == pytest.approx(3.0, rel=1e-12)
        first = a.spectrum
        a.reset()
        assert a.averaged == 0 and a.get("Window") == "wtRectangular"
        a.process(x[:1000])  # half a frame stays buffered until the next block
        a.reset()
        a.process(x)
        assert a.averaged == 8 and np.array_equal(a.spectrum, first)
        with pytest.raises(ondrix.Error, match="NoSuchProperty"):
            a.get("NoSuchProperty")


class TestCrossSpectrum:
    def test_averages_and_coherence_equal_csd_welch_coherence(self, rng):
        fs, n, overlap = 1000.0, 256, 128
        x = rng.standard_normal(30000)
        b, a = ss.butter(4, 0.25)
        y = ss.lfilter(b, a, x) + 0.3 * rng.standard_normal(len(x))
        kw = dict(fs=fs, window="hann", nperseg=n, noverlap=overlap, detrend="constant")
        _, pxy = ss.csd(x, y, scaling="spectrum", **kw)
        _, pxx = ss.welch(x, scaling="spectrum", **kw)
        _, pyy = ss.welch(y, scaling="spectrum", **kw)
        _, coh = ss.coherence(x, y, **kw)
        c = ondrix.CrossSpectrum(fs, n, overlap=overlap, window="hann")
        c.process(x, y)
        k = slice(1, n // 2)  # welch doubles these lines
        # running means over 233 frames: a few ulps per frame, ~1e-13 on a line
        assert rel(2 * c.pxy[k], pxy[k]) < 1e-12
        assert rel(2 * c.pxx[k], pxx[k]) < 1e-12
        assert rel(2 * c.pyy[k], pyy[k]) < 1e-12
        assert rel(c.coherence[k], coh[k]) < 1e-12
        assert rel(c.h1[k], pxy[k] / pxx[k]) < 1e-12
        blocks = ondrix.CrossSpectrum(fs, n, overlap=overlap, window="hann")
        feed(blocks, x, random_blocks(rng, len(x), 2000), y)
        assert blocks.averaged == c.averaged
        assert rel(blocks.pxy, c.pxy) < 1e-14 and rel(blocks.coherence, c.coherence) < 1e-14
        blocks.reset()
        blocks.process(x, y)
        assert np.array_equal(blocks.pxy, c.pxy) and blocks.averaged == c.averaged


class TestBispectrum:
    def test_modified_bicoherence_equals_numpy_and_reset_starts_again(self, rng):
        fs, n, frames = 1024.0, 64, 40
        t = np.arange(n * frames) / fs
        x = np.cos(2 * np.pi * 112 * t) + np.cos(2 * np.pi * 176 * t + 1) + np.cos(2 * np.pi * 288 * t + 1)
        x = x + 0.5 * rng.standard_normal(len(t))
        fr = x.reshape(frames, n)
        X = np.fft.fft(fr - fr.mean(axis=1, keepdims=True), axis=1) / n
        h = n // 2
        i, j = np.arange(h + 1)[:, None], np.arange(h + 1)[None, :]
        B = X[:, i] * X[:, j] * np.conj(X[:, (i + j) % n])
        mB = B.mean(axis=0)
        ref = np.abs(mB) ** 2 / (np.abs(B) ** 2).mean(axis=0)
        b = ondrix.Bispectrum(fs, n)
        b.process(x)
        # bins at 0 Hz hold the rounding residue of the removed mean (their bicoherence is
        # residue over residue): compared where f1, f2 and f1 + f2 are all off 0
        off = (i > 0) & (j > 0) & (i + j < n)
        off = np.broadcast_to(off, ref.shape)
        assert rel(b.bispectrum[off], mB[off]) < 1e-12
        assert rel(b.bicoherence[off], ref[off]) < 1e-12
        assert rel(b.magnitude[off], np.cbrt(np.abs(mB))[off]) < 1e-12
        # block-wise framing is the analyzers' shared framer, fed in blocks in TestAnalyzer
        first = b.bicoherence.copy()
        b.reset()
        assert b.averaged == 0
        b.process(x)
        assert np.array_equal(b.bicoherence, first)


def test_bad_arguments():
    with pytest.raises(ValueError):
        ondrix.Filter()
    with pytest.raises(ValueError):
        ondrix.Filter(sos=np.ones((2, 5)))
    with pytest.raises(ondrix.Error, match="a0"):
        ondrix.Filter(sos=[[1, 0, 0, 0, 0, 0]])
    with pytest.raises(ValueError):
        ondrix.Decimator(6)  # not a power of two
    with pytest.raises(ValueError):
        ondrix.CrossSpectrum(100.0, 16).process(np.zeros(10), np.zeros(11))  # blocks must pair
