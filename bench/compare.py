#!/usr/bin/env python3
"""Runs our benchmarks and the peers on the workloads of WORKLOADS.md, interleaved, and writes the comparison.

Every round runs each group of workloads on all sides one after the other, so that a slow phase of the machine hits all
of them; a figure is the median over the rounds. Writes a Markdown page and a bar chart (SVG) after every round, so that
a stopped run leaves one.
"""
import argparse
import csv
import io
import json
import pathlib
import shutil
import subprocess
import sys
import time

from figures import Figures, Key
from page import write_chart, write_page
from workloads import GROUPS_WITHOUT_PEERS, SCALING, SCALING_EDGES, WORKLOADS

ROOT = pathlib.Path(__file__).resolve().parent.parent


def run(command):
    result = subprocess.run(command, capture_output=True, text=True, cwd=ROOT, check=False)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} failed:\n{result.stderr[-2000:]}")
    return result.stdout


def measure_limits(program):
    limits = {}
    for row in csv.DictReader(io.StringIO(run([program]))):
        limits[row["limit"].split(" ")[0], int(row["mib"]), int(row["threads"])] = float(row["median_gb_s"])
    return limits


def run_ours(bench, names, figures, edges=""):
    pattern = "^(" + "|".join(names) + ")" + edges + "/"
    output = run([bench, f"--benchmark_filter={pattern}", "--benchmark_min_time=0.05", "--benchmark_repetitions=3",
                  "--benchmark_report_aggregates_only=true", "--benchmark_format=json"])
    for entry in json.loads(output)["benchmarks"]:
        if entry["aggregate_name"] != "median":
            continue
        workload, threads = entry["run_name"].split("/")[:2]
        threads = int(threads.split(":")[1])
        figures.times[Key(workload, "ours", threads)].append(entry["ns/voxel"] * 1.0)
        figures.memory[workload, threads] = entry["peak_MiB"]


class Peer:
    """A program that times peers; in later rounds it leaves out those that cannot become the fastest."""

    def __init__(self, side, threads, command, folder):
        self.side, self.threads, self.command = side, threads, command
        self.skip_file = folder / f"skip-{side}-{threads}.txt"
        self.skip_file.write_text("")

    def run(self, names, figures):
        output = run(self.command + ["--runs", "1", "--cpu", "--only", ",".join(names), "--skip", self.skip_file])
        for row in csv.DictReader(io.StringIO(output)):
            if row["workload"] in names:
                key = Key(row["workload"], f"{self.side}: {row['peer']}", self.threads)
                figures.times[key].append(float(row["ns_per_voxel"]))

    def contends(self, names, figures):
        return any(figures.contends(key) for key in self.keys(figures) if key.workload in names)

    def keys(self, figures):
        return [key for key in figures.times
                if key.side.startswith(self.side + ": ") and key.threads == self.threads]

    def leave_out_the_slow(self, figures):
        slow = (key for key in self.keys(figures) if not figures.contends(key))
        self.skip_file.write_text("".join(f"{key.workload},{key.side.split(': ', 1)[1]}\n" for key in slow))


def peers_of(build):
    folder = build / "bench" / "peers"
    shutil.rmtree(folder / "inputs", ignore_errors=True)  # the formulas may have changed since
    scipy = ["/usr/bin/python3", ROOT / "bench/peers/scipy_peers.py", "--inputs", folder / "inputs"]
    return [Peer("plain", 1, [folder / "plain_peers"], folder),
            Peer("ITK", 1, [folder / "itk_peers", "--threads", "1"], folder),
            Peer("Python", 1, scipy, folder),
            Peer("ITK", 2, [folder / "itk_peers", "--threads", "2"], folder)]


def run_round(turn, groups, bench, peers, figures):
    for group, names in groups.items():
        run_ours(bench, names, figures)
        for peer in peers:
            if group not in GROUPS_WITHOUT_PEERS and (turn == 0 or peer.contends(names, figures)):
                peer.run(names, figures)
    if turn == 0:
        for peer in peers:
            peer.leave_out_the_slow(figures)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "bench")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--only", default="", help="groups, separated by commas: " + ", ".join([*WORKLOADS, "scaling"]))
    parser.add_argument("--page", type=pathlib.Path, default=ROOT / "docs" / "PERFORMANCE.md")
    arguments = parser.parse_args()
    groups = {name: list(group) for name, group in WORKLOADS.items()
              if not arguments.only or name in arguments.only.split(",")}
    scales = not arguments.only or "scaling" in arguments.only.split(",")

    start = time.monotonic()
    peers = peers_of(arguments.build)
    bench = arguments.build / "bench" / "arvo_bench"
    figures = Figures(measure_limits(arguments.build / "bench" / "peers" / "machine_limits"))
    for turn in range(arguments.rounds):
        run_round(turn, groups, bench, peers, figures)
        if scales and turn % 2 == 0:  # making inputs of 512^3 takes longer than the runs
            run_ours(bench, SCALING, figures, "@(" + "|".join(map(str, SCALING_EDGES)) + ")")
        write_page(arguments.page, figures, turn + 1)
        write_chart(arguments.page.with_name("performance.svg"), figures)
        minutes = (time.monotonic() - start) / 60
        print(f"round {turn + 1} of {arguments.rounds} done after {minutes:.1f} min", file=sys.stderr, flush=True)
    for threads in (1, 2):
        for workload, ratio in figures.slower_than_a_peer(threads):
            print(f"slower than a peer at {threads} threads: {workload}, {ratio:.2f} times")
    for target, reached, is_met in figures.targets():
        if not is_met:
            print(f"not met: {target.workload}, {target.threads} threads: {reached:.2f}, wanted {target.factor:g} ({target.kind})")


if __name__ == "__main__":
    main()
