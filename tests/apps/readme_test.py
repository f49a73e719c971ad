"""Every tool example of the README runs: each `scripts/run.sh ...` line of its sh blocks, in
order, in a scratch folder holding the files the examples name.

Usage: readme_test.py TOOL README (run by ctest)."""
import os
import re
import subprocess
import sys
import tempfile

# They need a sound card; the tool tests play through ALSA's file plugin instead.
NEEDS_SOUND = ("play", "devices")


def examples(readme):
    text = open(readme, encoding="utf-8").read()
    blocks = re.findall(r"```(\w+)\n(.*?)```", text, re.S)
    lines = [l.strip() for lang, b in blocks if lang == "sh" for l in b.splitlines()]
    graphs = [b for lang, b in blocks if lang == "json"]
    return [l for l in lines if l.startswith("scripts/run.sh ")], graphs


def main():
    tool, readme = sys.argv[1], sys.argv[2]
    commands, graphs = examples(readme)
    assert len(commands) > 20, "the README's examples were not found"
    with tempfile.TemporaryDirectory() as d:
        def tool_run(*args):
            subprocess.run([tool, *args, "-q"] if args[0] == "generate" else [tool, *args], cwd=d, check=True,
                           stdout=subprocess.DEVNULL)
        # the files the examples read
        tool_run("generate", "recording.wav", "--fs", "48000", "-d", "2", "0.5*sine(1000) + noise(0.01)",
                 "0.3*sine(250)")
        tool_run("generate", "gearbox.wav", "--fs", "8000", "-d", "4",
                 "sine(1000) + sine(1500, 1, 40) + sine(2500, 1, 40) + noise(0.3)")
        tool_run("generate", "vibration.wav", "--fs", "48000", "-d", "2", "(1 + sine(40))*noise(0.2)")
        tool_run("generate", "in.wav", "--fs", "48000", "-d", "1", "sine(440)")
        tool_run("generate", "unit.dat", "--fs", "8000", "-d", "1", "0.9*sine(300)")
        tool_run("generate", "data.dat", "--fs", "8000", "-d", "1", "sine(300)")
        with open(os.path.join(d, "graph.json"), "w") as f:
            f.write(graphs[0])
        failed = 0
        for c in commands:
            args = c[len("scripts/run.sh "):]
            if not args.split("#")[0].strip():
                continue  # the main job itself
            if args.split()[0] in NEEDS_SOUND:
                print("skipped (needs a sound card):", c)
                continue
            p = subprocess.run(f"{tool} {args}", shell=True, cwd=d, capture_output=True, text=True)
            if p.returncode != 0:
                failed += 1
                print(f"FAILED ({p.returncode}): {c}\n{p.stderr}")
            else:
                print("ok:", c)
        print(f"{len(commands)} examples, {failed} failed")
        sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
