"""`ondrix spectrum` on a 10-minute 48 kHz stereo 16-bit WAV (Hann 4096, 50 % overlap, averaged)
against a SciPy script doing wavfile.read + welch on the same file, whole commands timed in the
same run (median of 5, alternating). Goal: 5x.

Usage: spectrum_tool_bench.py TOOL [FILE]   (FILE is made with the tool when missing)."""
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

PEER = """
import sys
import numpy as np
from scipy.io import wavfile
from scipy.signal import welch
fs, x = wavfile.read(sys.argv[1])
f, p = welch(x[:, 0].astype(np.float64), fs, window="hann", nperseg=4096, noverlap=2048)
print(f[np.argmax(p)])
"""


def wall(cmd):
    t = time.perf_counter()
    out = subprocess.run(cmd, check=True, capture_output=True, text=True).stdout
    return time.perf_counter() - t, out


def main():
    tool = sys.argv[1]
    tmp = tempfile.TemporaryDirectory()
    wav = sys.argv[2] if len(sys.argv) > 2 else os.path.join(tmp.name, "ten_minutes.wav")
    if not os.path.exists(wav):
        subprocess.run([tool, "generate", "-q", wav, "--fs", "48000", "-d", "600", "--precision", "int16",
                        "--seed", "1", "8000*sine(1000.3) + noise(100)", "4000*sine(50)"], check=True)
    peer = os.path.join(tmp.name, "peer.py")
    with open(peer, "w") as f:
        f.write(PEER)
    ours_cmd = [tool, "spectrum", "-q", "--json", wav]
    peer_cmd = ["/usr/bin/python3", peer, wav]
    wall(ours_cmd), wall(peer_cmd)  # warm the page cache for both
    ours, theirs = [], []
    for _ in range(5):
        t, out = wall(ours_cmd)
        ours.append(t)
        t, peak = wall(peer_cmd)
        theirs.append(t)
    line = 48000 / 4096
    ours_peak = json.loads(out)["peaks"][0]["frequency"]
    # the same tone found by both, to within the peer's line
    assert abs(ours_peak - float(peak)) <= line, (ours_peak, peak)
    a, b = statistics.median(ours), statistics.median(theirs)
    print(f"10 min 48 kHz stereo int16 WAV, hann 4096, 50 % overlap, averaged")
    print(f"  ondrix spectrum            {a:7.3f} s   (peak {ours_peak:.4f} Hz)")
    print(f"  scipy wavfile.read + welch {b:7.3f} s   (peak line {float(peak):.4f} Hz)")
    print(f"  ratio {b / a:.2f}x (goal 5x: {'met' if b / a >= 5 else 'NOT met'})")


if __name__ == "__main__":
    main()
