#!/usr/bin/env python3
"""Counts the instructions of key operations with callgrind and compares them with instructions.txt.

Counts hardly differ from run to run, so that a regression shows on a noisy machine too. Callgrind emulates the AVX2
kernels; it says nothing of memory, caches and how instructions overlap, which is what compare.py measures.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
FILE = ROOT / "bench" / "instructions.txt"
EDGE = 64
TOLERANCE = 1.03


def recorded():
    lines = (line.split() for line in FILE.read_text().splitlines() if not line.startswith("#"))
    return {name: int(count) for name, count in lines}


def counted(bench, names):
    with tempfile.TemporaryDirectory() as folder:
        command = ["valgrind", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={folder}/profile",
                   bench, "--count-instructions", str(EDGE), *names]
        settings = os.environ | {"LD_BIND_NOW": "1"}  # looking symbols up is not counted
        result = subprocess.run(command, capture_output=True, text=True, check=False, env=settings)
        if result.returncode != 0:
            sys.exit(f"{' '.join(map(str, command))} failed:\n{result.stderr[-2000:]}")
        counts = {}
        for profile in pathlib.Path(folder).glob("profile.*"):
            text = profile.read_text()
            name = next((name for name in names if f"Client Request: {name}\n" in text), None)
            if name:
                counts[name] = sum(int(line.split()[1]) for line in text.splitlines() if line.startswith("totals:"))
        return counts


def update(counts):
    comments = [line for line in FILE.read_text().splitlines() if line.startswith("#")]
    FILE.write_text("\n".join(comments + [f"{name} {count}" for name, count in counts.items()]) + "\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bench", type=pathlib.Path, default=ROOT / "build" / "bench" / "bench" / "arvo_bench")
    parser.add_argument("--update", action="store_true", help="rewrite the file after a change on purpose")
    arguments = parser.parse_args()
    if " avx2 " not in pathlib.Path("/proc/cpuinfo").read_text():
        sys.exit("the recorded counts are those of the AVX2 kernels, which this processor does not run")

    before = recorded()
    now = counted(arguments.bench, list(before))
    now = {name: now[name] for name in before}  # a missing count is an error
    print(f"{'workload':<20} {'recorded':>13} {'now':>13} {'ratio':>7}")
    grown = []
    for name, old in before.items():
        ratio = now[name] / old if old else float("inf")
        print(f"{name:<20} {old:>13} {now[name]:>13} {ratio:>7.3f}")
        if ratio > TOLERANCE:
            grown.append(name)
    if arguments.update:
        update(now)
    elif grown:
        sys.exit(f"more than {TOLERANCE - 1:.0%} above the recorded count: {', '.join(grown)}")


if __name__ == "__main__":
    main()
