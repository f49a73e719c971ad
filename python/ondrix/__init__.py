"""Signal-processing components of the ondrix library over NumPy arrays.

Files (``read``, ``write``, ``info``), filter designs (``firwin``, ``remez``, ``butter`` ...,
``design`` with its report), streaming objects with state (``Filter``, ``Decimator``,
``Analyzer``, ``CrossSpectrum``, ``Bispectrum``), component graphs from settings files
(``Graph``) and batch analysis of many files (``ondrix.batch``). Every library error is raised
as ``ondrix.Error`` with the library's message.
"""

from ._ondrix import (  # noqa: F401  (the public names of the compiled part)
    Analyzer,
    Bispectrum,
    CrossSpectrum,
    Decimator,
    Error,
    Filter,
    Graph,
    __version__,
    design,
    firwin,
    iirfilter,
    iirorder,
    info,
    kaiserord,
    read,
    remez,
    remezord,
    savgol_coeffs,
    write,
)


def butter(order, wn, type="lowpass", fs=2.0, output="sos"):
    """Butterworth filter (scipy.signal.butter's parameters; wn in units of fs)."""
    return iirfilter("butterworth", order, wn, type=type, fs=fs, output=output)


def cheby1(order, rp, wn, type="lowpass", fs=2.0, output="sos"):
    """Chebyshev type I filter with rp dB of pass-band ripple."""
    return iirfilter("chebyshev1", order, wn, type=type, rp=rp, fs=fs, output=output)


def cheby2(order, rs, wn, type="lowpass", fs=2.0, output="sos"):
    """Chebyshev type II filter whose stop band is rs dB down."""
    return iirfilter("chebyshev2", order, wn, type=type, rs=rs, fs=fs, output=output)


def ellip(order, rp, rs, wn, type="lowpass", fs=2.0, output="sos"):
    """Elliptic filter: rp dB pass-band ripple, stop band rs dB down."""
    return iirfilter("elliptic", order, wn, type=type, rp=rp, rs=rs, fs=fs, output=output)


def bessel(order, wn, type="lowpass", fs=2.0, output="sos", norm="phase"):
    """Bessel-Thomson filter, normalised as scipy.signal.bessel's `norm`."""
    return iirfilter("bessel", order, wn, type=type, fs=fs, output=output, norm=norm)


__all__ = [
    "Analyzer", "Bispectrum", "CrossSpectrum", "Decimator", "Error", "Filter", "Graph", "bessel",
    "butter", "cheby1", "cheby2", "design", "ellip", "firwin", "iirfilter", "iirorder", "info",
    "kaiserord", "read", "remez", "remezord", "savgol_coeffs", "write",
]
