#!/usr/bin/python3
"""Golden files for tests/FileSignal/file_formats_test.cpp: the byte layout of every signal
file format, written here with Python's struct module from the layouts alone.

The signal: stereo, 1000 Hz, interleaved values STEREO (3 samples per channel), and the mono
signal MONO. Wave files are compared up to the end of their "data" chunk (the "LIST" chunk
after it carries the date). Writes tests/data/filesignal/*.
Run: /usr/bin/python3 tests/gen_filesignal_reference.py
"""
import math
import os
import struct

STEREO = [0.5, -1.25, 100.0, -200.0, 3.75, 32767.0]
MONO = [0.5, -1.25, 3.75]
CPLX = [(1.0, 2.0), (-3.5, 0.25)]
FS = 1000.0
PCM = bytes.fromhex("0100000000001000800000aa00389b71")
FLOAT = bytes.fromhex("0300000000001000800000aa00389b71")


def round_away(x):
    return math.copysign(math.floor(abs(x) + 0.5), x)


def text(x):
    """Shortest round-trip text, integers without a fraction."""
    return str(int(x)) if x == int(x) else repr(x)


def wave(values, channels, bits, fmt_tag, sub=None):
    rate = int(FS)
    size = bits // 8
    fmt = struct.pack("<HHIIHHH", fmt_tag, channels, rate, rate * size * channels, size * channels, bits,
                      22 if sub else 0)
    fmt += struct.pack("<HI", bits, 3) + sub if sub else bytes(22)
    if fmt_tag == 0xFFFE and sub == FLOAT:
        data = struct.pack(f"<{len(values)}f", *values)
    elif bits == 8:
        data = bytes(int(round_away(v + 128)) for v in values)
    elif bits == 24:
        data = b"".join(int(round_away(v)).to_bytes(3, "little", signed=True) for v in values)
    else:
        code = {16: "h", 32: "i"}[bits]
        data = struct.pack(f"<{len(values)}{code}", *[int(round_away(v)) for v in values])
    body = b"fmt " + struct.pack("<I", 40) + fmt + b"data" + struct.pack("<I", len(data)) + data
    return b"RIFF" + struct.pack("<I", 0) + b"WAVE" + body  # RIFF size checked by the test


def main():
    out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data", "filesignal")
    os.makedirs(out, exist_ok=True)
    files = {}
    # .dat: a stereo prSmallInt record, then a mono complex double record at 8 kHz.
    dat = struct.pack("<idiii", len(STEREO), FS, 4, 0, 2)
    dat += struct.pack(f"<{len(STEREO)}h", *[int(round_away(v)) for v in STEREO])
    dat += struct.pack("<idiii", len(CPLX), 8000.0, 0, 1, 1)
    dat += struct.pack(f"<{2 * len(CPLX)}d", *[c for z in CPLX for c in z])
    files["golden.dat"] = dat
    files["golden.bin"] = struct.pack("<if", len(MONO), len(MONO) / FS) + struct.pack("<3f", *MONO)
    files["golden.dbn"] = struct.pack("<id", len(MONO), len(MONO) / FS) + struct.pack("<3d", *MONO)
    files["golden16.wav"] = wave(STEREO, 2, 16, 1)
    files["golden24.wav"] = wave(MONO, 1, 24, 0xFFFE, PCM)
    files["golden32f.wav"] = wave(STEREO, 2, 32, 0xFFFE, FLOAT)
    files["golden8.wav"] = wave(MONO, 1, 8, 1)
    files["golden16x3.wav"] = wave(STEREO, 3, 16, 0xFFFE, PCM)
    dt = 1.0 / FS
    duration = text(len(MONO) / FS)
    files["golden.sgl"] = f"3\r\n{duration}\r\n{';'.join(text(v) for v in MONO)}\r\n\r\n".encode()
    files["golden.sfs"] = (f"3\r\n{text(len(MONO) * dt)}\r\n\r\n" + "".join(text(v) + "\r\n" for v in MONO)).encode()
    files["golden.asc"] = "".join(f"{text(i * dt)}\t{text(v)}\r\n" for i, v in enumerate(MONO)).encode()
    for name, data in files.items():
        with open(os.path.join(out, name), "wb") as f:
            f.write(data)
    print(out)


if __name__ == "__main__":
    main()
