"""Writes the comparison as a Markdown page and a bar chart."""
import datetime
import math
import os
import pathlib
import platform
import statistics

from figures import ENTRIES, Key
from workloads import PROMISED_MEMORY, SCALING

ROOT = pathlib.Path(__file__).resolve().parent.parent


def number(value):
    if value is None:
        return "–"
    return f"{value:.3g}" if value < 100 else f"{value:.0f}"


def times(over, under):
    return f"{over / under:.1f}" if over and under else "–"


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":")[1].strip()
    return platform.machine()


def introduction(rounds):
    plural = "s" if rounds > 1 else ""
    return [
        "# Performance", "",
        "Written by `scripts/bench.sh`; the workloads are defined in [bench/WORKLOADS.md](../bench/WORKLOADS.md).", "",
        f"Machine: {processor()}, {os.cpu_count()} cores, {platform.system()} "
        f"{platform.release().split('-')[0]}, {datetime.date.today().isoformat()}. ns per nominal voxel (per pixel for "
        f"slices and reslices), median of {rounds} interleaved round{plural} of one to five runs each after a warm-up. "
        "\"Fastest peer\" is the fastest of ITK, numpy/SciPy, scikit-image and a plain loop that does the same job; at two "
        "threads, one that stays on one thread counts as well. \"Limit\" is what the bytes alone cost at the bandwidth "
        "measured in the same run. \"Memory\" is the peak on top of the inputs, result included, in MiB at 256³, "
        "at one thread; \"promised\" is what the headers say of it.", "",
        "![Time of the fastest peer over ours, one thread](performance.svg)", ""]


def comparison(figures):
    lines = [
        "| workload | ours, 1 thread (min–max) | fastest peer, 1 thread | ahead | ours / limit | ours, 2 threads | "
        "fastest peer, 2 threads | ahead | ours / limit | memory | promised |",
        "|---|---|---|---|---|---|---|---|---|---|---|"]
    for workload in ENTRIES:
        one, two = (figures.median(workload, "ours", threads) for threads in (1, 2))
        if one is None:
            continue
        all_ones = figures.times[Key(workload, "ours", 1)]
        name, peer = figures.fastest_peer(workload, 1)
        peer2 = figures.fastest_peer(workload, 2)[1]
        lines.append(
            f"| `{workload}` | {number(one)} ({number(min(all_ones))}–{number(max(all_ones))}) | {number(peer)} "
            f"{name or ''} | {times(peer, one)} | {times(one, figures.limit(workload, 1))} | {number(two)} | "
            f"{number(peer2)} | {times(peer2, figures.ours(workload, 2))} | {times(two, figures.limit(workload, 2))} | "
            f"{number(figures.memory.get((workload, 1)))} | {PROMISED_MEMORY.get(workload, '0')} |")
    for threads in (1, 2):
        slower = [f"`{workload}` ({number(ratio)} times)" for workload, ratio in figures.slower_than_a_peer(threads)]
        lines += ["", f"Slower than the fastest peer at {threads} thread{'s' if threads > 1 else ''}: "
                  + (", ".join(slower) or "none") + "."]
    return lines


def wanted(target):
    if target.kind == "peer":
        peer = target.against or "the fastest peer"
        if target.factor > 1:
            return f"{target.factor:g} times ahead of {peer}"
        return f"no slower than {peer}" if target.factor == 1 else f"at most {1 / target.factor:g} times {peer}"
    return f"at most {target.factor:g} times {'the limit' if target.kind == 'limit' else f'`{target.against}`'}"


def targets(figures):
    lines = ["", "## Targets", "", "| workload | threads | wanted | reached | met |", "|---|---|---|---|---|"]
    for target, reached, is_met in figures.targets():
        lines.append(f"| `{target.workload}` | {target.threads} | {wanted(target)} | {reached:.2f} | "
                     f"{'yes' if is_met else '**no**'} |")
    # The reasons are kept apart from the figures, so that a run does not lose them.
    return lines + ["", (ROOT / "bench/performance-notes.md").read_text().rstrip()]


def scaling(figures):
    lines = ["", "## Scaling", "", "ns/voxel at one and two threads, and peak memory on top of the inputs in bytes per voxel "
             "at each. The rays of `mip_oblique_i16` are 512 x 512 at every size: its work grows with the edge, not the volume.",
             "", "| workload | 128³ | 256³ | 384³ | 512³ |", "|---|---|---|---|---|"]
    for workload in SCALING:
        cells = []
        for edge in (128, 256, 384, 512):
            name = workload if edge == 256 else f"{workload}@{edge}"
            speeds = " / ".join(number(figures.median(name, "ours", threads)) for threads in (1, 2))
            peaks = [figures.memory[name, threads] * 1048576 / edge**3 for threads in (1, 2) if (name, threads) in figures.memory]
            cells.append(speeds + ", " + " / ".join(f"{peak:.1f}" for peak in peaks) + " B" if peaks else "–")
        lines.append(f"| `{workload}` | " + " | ".join(cells) + " |")
    return lines


def cost_of_cancelling(figures):
    polled, ruled = (figures.median(name, "ours", 1) for name in ("replace_i16_polled", "replace_i16"))
    if not (polled and ruled):
        return []
    return ["", "## The cost of cancelling", "",
            f"Masked replacement that looks at the flag after every voxel takes {number(polled)} ns/voxel; with "
            f"the rule that no caller can tell from it (a look before each row), {number(ruled)}."]


def all_peers(figures):
    lines = ["", "## All peers", "", "A peer that took twice the time of the fastest one, or does something else, is timed in the "
             "first round only.", "", "| workload | side | threads | ns/voxel | rounds |", "|---|---|---|---|---|"]
    for key in sorted(figures.times):
        if key.side != "ours":
            values = figures.times[key]
            lines.append(f"| `{key.workload}` | {key.side} | {key.threads} | {number(statistics.median(values))} | "
                         f"{len(values)} |")
    return lines


def write_page(path, figures, rounds):
    lines = (introduction(rounds) + comparison(figures) + targets(figures) + scaling(figures)
             + cost_of_cancelling(figures) + all_peers(figures))
    path.write_text("\n".join(lines) + "\n")


def write_chart(path, figures):
    ratios = {}
    for workload in ENTRIES:
        ours, peer = figures.median(workload, "ours", 1), figures.fastest_peer(workload, 1)[1]
        if ours and peer:
            ratios[workload] = peer / ours
    rows = sorted(ratios.items(), key=lambda item: item[1])
    top, bar, left, width = 46, 15, 170, 560
    scale = width / math.log10(max(max(ratios.values(), default=10), 10))
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
    for index, (workload, ratio) in enumerate(rows):
        y = top + index * bar
        length = math.log10(ratio) * scale
        x, colour = (left, "#2b7a78") if length >= 0 else (left + length, "#b5483a")
        parts.append(f'<text x="{left - 6}" y="{y + 10}" text-anchor="end">{workload}</text>'
                     f'<rect x="{x:.1f}" y="{y + 1}" width="{abs(length):.1f}" height="{bar - 4}" fill="{colour}"/>'
                     f'<text x="{left + max(length, 0) + 4:.1f}" y="{y + 10}" fill="#333">{ratio:.1f}</text>')
    path.write_text("\n".join(parts) + "\n</svg>\n")
