#!/usr/bin/env python3
"""Runs our benchmarks and the peers on the workloads of WORKLOADS.md, interleaved, and writes the comparison.

Every round runs each group of workloads on all sides one after the other, so that a slow phase of the machine hits all
of them; a figure is the median over the rounds. Writes a Markdown page and a bar chart (SVG).
"""
import argparse
import collections
import csv
import datetime
import io
import json
import math
import os
import pathlib
import platform
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# name: (bytes read, bytes written, element size class in MiB at 256^3) a nominal voxel; None: no memory limit is given.
WORKLOADS = {
    "voxelops": {
        "add_u8": (2, 1, 16), "add_i16": (4, 2, 32), "add_f32": (8, 4, 64), "min_i16": (4, 2, 32),
        "max_f32": (8, 4, 64), "rescale_i16": (2, 2, 32), "replace_i16": (3, 2, 32), "replace_f32": (5, 4, 64),
        "conv_i16_f32": (2, 4, 64), "conv_f32_i16": (4, 2, 64), "countnz_u8": (1, 0, 16), "countnz_i16": (2, 0, 32),
        "bbox_i16": (2, 0, 32)},
    "statistics": {
        "mean_u8": (1, 0, 16), "mean_i16": (2, 0, 32), "mean_f32": (4, 0, 64), "meannz_u8": (1, 0, 16),
        "median_u8": (1, 0, 16), "median_i16": (2, 0, 32), "median_f32": (4, 0, 64), "otsu_i16": (2, 0, 32),
        "otsu_f32": (8, 0, 64)},
    "differential": {
        "grad_f32": (4, 12, 64), "grad_i16": (2, 12, 64), "gradnorm_f32": (4, 4, 64), "div_f32": (12, 4, 64)},
    "labelling": {
        "cc6_smooth": (1, 2, 32), "cc26_smooth": (1, 2, 32), "cc6_parts": (1, 2, 32), "cc26_parts": (1, 2, 32),
        "cc6_noise": (1, 2, 32), "cc26_noise": (1, 2, 32), "keep26_parts": (1, 1, 16)},
    "morphology": {
        "dil_ball1": (1, 1, 16), "dil_ball2": (1, 1, 16), "dil_ball3": (1, 1, 16), "dil_cube2": (1, 1, 16),
        "ero_ball1": (1, 1, 16), "ero_ball2": (1, 1, 16), "ero_ball3": (1, 1, 16), "ero_cube2": (1, 1, 16)},
    "distance": {
        "dist_object": (1, 2, 32), "dist_boundary": (1, 2, 32), "boundary_smooth": (1, 1, 16),
        "boundary_parts": (1, 1, 16)},
    "gauss": {
        "gauss3_f32": (4, 4, 64), "gauss3_i16": (2, 2, 32), "gauss3_u8": (1, 1, 16), "gauss8_f32": (4, 4, 64)},
    "box": {
        "box3_i16": (2, 2, 32), "box3_f32": (4, 4, 64), "box11_i16": (2, 2, 32), "box11_f32": (4, 4, 64)},
    "sampling": {
        "sub_fast_i16": (2, 0.25, 32), "sub_mean_i16": (2, 0.25, 32), "sub_max_i16": (2, 0.25, 32),
        "resample_rot_i16": (2, 2, 32), "resample_fine_i16": (0.25, 2, 32)},
    "reslice": {
        "slice_axial_i16": None, "slice_coronal_i16": None, "slice_sagittal_i16": None, "reslice_oblique_i16": None,
        "mip_oblique_i16": (2, 0, 32), "raysum_f32": (4, 0, 64)},
    "geometry": {
        "masscentre_i16": (2, 0, 32), "maindirs_i16": (2, 0, 32), "clip_plane_i16": (2, 2, 32), "obb_u8": (1, 1, 16),
        "merge_f32": (5.7, 4, 64)},
}

SCALING = ["add_f32", "median_i16", "cc26_parts", "dil_ball2", "dist_object", "gauss3_f32", "box11_i16",
           "resample_rot_i16", "grad_f32"]

# Peers that do something else (other arithmetic, approximate results) are timed but are never "the fastest peer".
NOT_EQUAL = ("Euclidean", "reference", "IIR", "own kernel", "truncates", "float32 pairwise", "float32)", "approximate",
             "saturates", "bilinear")

Key = collections.namedtuple("Key", "workload side threads")


def run(command):
    result = subprocess.run(command, capture_output=True, text=True, cwd=ROOT, check=False)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} failed:\n{result.stderr[-2000:]}")
    return result.stdout


def run_ours(bench, names, figures, memory, edges=""):
    pattern = "^(" + "|".join(names) + ")" + edges + "/"
    output = run([bench, f"--benchmark_filter={pattern}", "--benchmark_min_time=0.05", "--benchmark_repetitions=3",
                  "--benchmark_report_aggregates_only=true", "--benchmark_format=json"])
    for entry in json.loads(output)["benchmarks"]:
        if entry["aggregate_name"] != "median":
            continue
        workload, threads = entry["run_name"].split("/")[:2]
        threads = int(threads.split(":")[1])
        figures[Key(workload, "ours", threads)].append(entry["ns/voxel"] * 1.0)
        memory[workload, threads] = entry["peak_MiB"]


def run_peer(command, names, figures, side):
    output = run(command + ["--runs", "1", "--cpu", "--only", ",".join(names)])
    for row in csv.DictReader(io.StringIO(output)):
        if row["workload"] in names:
            key = Key(row["workload"], f"{side}: {row['peer']}", int(row["threads"]))
            figures[key].append(float(row["ns_per_voxel"]))


def measure_limits(program):
    limits = {}
    for row in csv.DictReader(io.StringIO(run([program]))):
        limits[row["limit"].split(" ")[0], int(row["mib"]), int(row["threads"])] = float(row["median_gb_s"])
    return limits


def limit_of(entry, limits, threads):
    if entry is None:
        return None
    read, written, mib = entry
    return (read + written) / limits["a" if written else "sum", mib, threads]


def fastest_peer(figures, workload, threads):
    peers = {key.side: statistics.median(values) for key, values in figures.items()
             if key.workload == workload and key.threads == threads and key.side != "ours"
             and not any(word in key.side for word in NOT_EQUAL)}
    return min(peers.items(), key=lambda item: item[1], default=(None, None))


def number(value):
    if value is None:
        return "–"
    return f"{value:.3g}" if value < 100 else f"{value:.0f}"


def median_of(figures, workload, side, threads):
    values = figures.get(Key(workload, side, threads))
    return statistics.median(values) if values else None


def comparison_rows(figures, memory, limits):
    for group in WORKLOADS.values():
        for workload, entry in group.items():
            ours = median_of(figures, workload, "ours", 1)
            if ours is None:
                continue
            name, peer = fastest_peer(figures, workload, 1)
            limit = limit_of(entry, limits, 1)
            yield {
                "workload": workload, "ours": ours, "ours2": median_of(figures, workload, "ours", 2),
                "peer": peer, "peer_name": name, "limit": limit, "memory": memory.get((workload, 1)),
                "peer2": fastest_peer(figures, workload, 2)[1],
                "spread": (min(figures[Key(workload, "ours", 1)]), max(figures[Key(workload, "ours", 1)]))}


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":")[1].strip()
    return platform.machine()


def write_page(path, figures, memory, limits, rounds):
    lines = [
        "# Performance", "",
        "Written by `scripts/bench.sh`; the workloads are defined in [bench/WORKLOADS.md](../bench/WORKLOADS.md).", "",
        f"Machine: {processor()}, {os.cpu_count()} cores, {platform.system()} "
        f"{platform.release().split('-')[0]}, {datetime.date.today().isoformat()}. ns per nominal voxel (per pixel for "
        f"slices and reslices), median of {rounds} interleaved round{'s' if rounds > 1 else ''} of three to five runs each. "
        "\"Fastest peer\" is the fastest of ITK, numpy/SciPy, scikit-image and a plain loop that does the same job on "
        "one thread. \"Limit\" is what the bytes alone cost at the bandwidth measured in the same run. \"Memory\" is "
        "the peak on top of the inputs, result included, in MiB at 256³.", "",
        "![Time of the fastest peer over ours, one thread](performance.svg)", "",
        "| workload | ours, 1 thread (min–max) | ours, 2 threads | fastest peer, 1 thread | ahead | "
        "fastest peer, 2 threads | limit | ours / limit | memory |",
        "|---|---|---|---|---|---|---|---|---|"]
    for row in comparison_rows(figures, memory, limits):
        ahead = f"{row['peer'] / row['ours']:.1f}x" if row["peer"] else "–"
        over = f"{row['ours'] / row['limit']:.1f}" if row["limit"] else "–"
        lines.append(
            f"| `{row['workload']}` | {number(row['ours'])} ({number(row['spread'][0])}–{number(row['spread'][1])}) | "
            f"{number(row['ours2'])} | {number(row['peer'])} {row['peer_name'] or ''} | {ahead} | {number(row['peer2'])} | "
            f"{number(row['limit'])} | {over} | {number(row['memory'])} |")
    # What is said about the figures is kept apart from them, so that a run does not lose it.
    lines += ["", (ROOT / "bench/performance-notes.md").read_text().rstrip()]
    lines += ["", "## Scaling", "", "ns/voxel at one and two threads, and peak memory in bytes per voxel.", "",
              "| workload | 128³ | 256³ | 384³ | 512³ |", "|---|---|---|---|---|"]
    for workload in SCALING:
        cells = []
        for edge in (128, 256, 384, 512):
            name = workload if edge == 256 else f"{workload}@{edge}"
            one, two = (median_of(figures, name, "ours", t) for t in (1, 2))
            peak = memory.get((name, 1))
            per_voxel = f", {peak * 1048576 / edge**3:.1f} B" if peak is not None else ""
            cells.append("–" if one is None else f"{number(one)} / {number(two)}{per_voxel}")
        lines.append(f"| `{workload}` | " + " | ".join(cells) + " |")
    polled, ruled = (median_of(figures, name, "ours", 1) for name in ("replace_i16_polled", "replace_i16"))
    if polled and ruled:
        lines += ["", "## The cost of cancelling", "",
                  f"Masked replacement that looks at the flag after every voxel takes {number(polled)} ns/voxel; with "
                  f"the rule that no caller can tell from it (a look before each row), {number(ruled)}."]
    lines += ["", "## All peers", "", "| workload | side | threads | ns/voxel |", "|---|---|---|---|"]
    for key in sorted(figures):
        if key.side != "ours":
            lines.append(f"| `{key.workload}` | {key.side} | {key.threads} | {number(statistics.median(figures[key]))} |")
    path.write_text("\n".join(lines) + "\n")


def write_chart(path, figures, memory, limits):
    rows = [row for row in comparison_rows(figures, memory, limits) if row["peer"]]
    rows.sort(key=lambda row: row["peer"] / row["ours"])
    top, bar, left, width = 46, 15, 170, 560
    scale = width / math.log10(max(max((r["peer"] / r["ours"] for r in rows), default=10), 10))
    height = top + bar * len(rows) + 24
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 90}" height="{height}" '
             'font-family="sans-serif" font-size="11">',
             f'<rect width="100%" height="100%" fill="white"/><text x="10" y="20" font-size="14">How many times faster than '
             'the fastest peer (one thread, logarithmic)</text>']
    for factor in (1, 2, 5, 10, 20, 50, 100, 200):
        x = left + math.log10(factor) * scale
        if x <= left + width:
            parts.append(f'<line x1="{x:.1f}" y1="{top - 6}" x2="{x:.1f}" y2="{height - 18}" stroke="#ccc"/>'
                         f'<text x="{x:.1f}" y="{height - 5}" text-anchor="middle" fill="#555">{factor}x</text>')
    for index, row in enumerate(rows):
        ratio = row["peer"] / row["ours"]
        y = top + index * bar
        length = math.log10(ratio) * scale
        x, colour = (left, "#2b7a78") if length >= 0 else (left + length, "#b5483a")
        parts.append(f'<text x="{left - 6}" y="{y + 10}" text-anchor="end">{row["workload"]}</text>'
                     f'<rect x="{x:.1f}" y="{y + 1}" width="{abs(length):.1f}" height="{bar - 4}" fill="{colour}"/>'
                     f'<text x="{left + max(length, 0) + 4:.1f}" y="{y + 10}" fill="#333">{ratio:.1f}</text>')
    path.write_text("\n".join(parts) + "\n</svg>\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "bench")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--only", default="", help="groups, separated by commas: " + ", ".join(WORKLOADS))
    parser.add_argument("--page", type=pathlib.Path, default=ROOT / "docs" / "PERFORMANCE.md")
    arguments = parser.parse_args()
    programs = arguments.build / "bench"
    bench, peers = programs / "arvo_bench", programs / "peers"
    groups = {name: group for name, group in WORKLOADS.items()
              if not arguments.only or name in arguments.only.split(",")}

    figures, memory = collections.defaultdict(list), {}
    limits = measure_limits(peers / "machine_limits")
    for turn in range(arguments.rounds):  # the page is written after every round, so that a stopped run leaves one
        for name, group in groups.items():
            print(f"round {turn + 1} of {arguments.rounds}: {name}", file=sys.stderr, flush=True)
            names = list(group)
            run_ours(bench, names, figures, memory)
            run_peer([peers / "plain_peers"], names, figures, "plain")
            run_peer([peers / "itk_peers", "--threads", "1"], names, figures, "ITK")
            run_peer(["/usr/bin/python3", ROOT / "bench/peers/scipy_peers.py"], names, figures, "Python")
            run_peer([peers / "itk_peers", "--threads", "2"], names, figures, "ITK")
        run_ours(bench, ["replace_i16_polled"], figures, memory)
        run_ours(bench, SCALING, figures, memory, "@(128|384|512)")
        write_page(arguments.page, figures, memory, limits, turn + 1)
        write_chart(arguments.page.with_name("performance.svg"), figures, memory, limits)
    for row in comparison_rows(figures, memory, limits):
        if row["peer"] and row["peer"] < row["ours"]:
            print(f"slower than {row['peer_name']}: {row['workload']}, {row['ours'] / row['peer']:.2f} times")


if __name__ == "__main__":
    main()
