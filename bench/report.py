#!/usr/bin/env python3
"""Turns measurements into tables, pictures and the generated parts of docs/performance.md.

    report.py x86 RESULTS.json...  what passes of peer_bench wrote (--benchmark_out)
    report.py arm COUNTS.csv       family,kernel,pixels,base,neon: instructions per pixel

Run by scripts/bench.sh in the root of the project.
"""

import csv
import json
import math
import re
import statistics
import sys
from collections import defaultdict
from fnmatch import fnmatchcase
from functools import cache
from pathlib import Path
from xml.sax.saxutils import escape

BENCH = Path("bench")
DOCS = Path("docs")
PAGE = DOCS / "performance.md"

EVEN = 1.15  # the machine is shared: a smaller difference in time may be chance
EXACT = 1.002  # counts were noted in three decimals, and repeat within 0.2 %


# ---- Text ------------------------------------------------------------------------------------


def number(value):
    return "-" if value is None else f"{value:.3g}" if value < 100 else f"{value:.0f}"


def table(header, alignment, rows):
    lines = [header, alignment, *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def replace_section(name, text):
    """Puts text between the marks of a section of the page."""
    begin, end = f"<!-- generated: {name} -->", "<!-- end -->"
    page = PAGE.read_text()
    pattern = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.DOTALL)
    if not pattern.search(page):
        sys.exit(f"{PAGE} has no section {name}")
    PAGE.write_text(pattern.sub(lambda _: f"{begin}\n\n{text}\n\n{end}", page))


def write_csv(path, header, rows):
    with path.open("w", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(header)
        writer.writerows(rows)


def read_csv(path):
    with Path(path).open(newline="") as file:
        return list(csv.DictReader(file))


# ---- The picture -----------------------------------------------------------------------------

LABELS, GAP, BARS, ROW, TOP = 320, 46, 400, 16, 74
LOWEST, HIGHEST = 1 / 16, 32  # of the scale, which is logarithmic
GOOD, BAD, LIMIT = "#2f7d4f", "#c2452d", "#222222"


def draw(path, title, subtitle, bars):
    """bars: (label, ratio, limit). A bar runs from 1 to the ratio; a tick shows a limit."""

    def x(ratio):
        clipped = min(max(ratio, LOWEST), HIGHEST)
        return LABELS + GAP + BARS * math.log(clipped / LOWEST) / math.log(HIGHEST / LOWEST)

    width, height = LABELS + GAP + BARS + GAP, TOP + ROW * len(bars) + 12
    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
        f'viewBox="0 0 {width} {height}" font-family="DejaVu Sans, Verdana, sans-serif">',
        f'<rect width="{width}" height="{height}" fill="white"/>',
        f'<text x="12" y="22" font-size="15" font-weight="bold">{escape(title)}</text>',
        f'<text x="12" y="41" font-size="11.5" fill="#444">{escape(subtitle)}</text>',
    ]
    for step in range(round(math.log2(LOWEST)), round(math.log2(HIGHEST)) + 1):
        ratio = 2.0**step
        name = f"{ratio:g}" if step >= 0 else f"1/{2**-step}"
        out.append(
            f'<line x1="{x(ratio):.1f}" x2="{x(ratio):.1f}" y1="{TOP - 6}" y2="{height - 8}" '
            f'stroke="{"#555" if step == 0 else "#ddd"}"/>'
            f'<text x="{x(ratio):.1f}" y="{TOP - 11}" font-size="10.5" fill="#444" '
            f'text-anchor="middle">{name}</text>'
        )
    for i, (label, ratio, limit) in enumerate(bars):
        y = TOP + ROW * i
        left, right = sorted((x(1), x(ratio)))
        colour = GOOD if ratio <= limit * EXACT else BAD
        out.append(
            f'<text x="{LABELS}" y="{y + 11}" font-size="11" text-anchor="end">'
            f"{escape(label)}</text>"
            f'<rect x="{left:.1f}" y="{y + 2}" width="{max(right - left, 1.5):.1f}" '
            f'height="{ROW - 5}" fill="{colour}"/>'
        )
        if limit != 1:
            out.append(
                f'<rect x="{x(limit) - 1:.1f}" y="{y}" width="2" height="{ROW - 1}" '
                f'fill="{LIMIT}"/>'
            )
        slower = ratio >= 1
        outside = max(right, x(limit)) + 5 if slower and limit > 1 else right + 5
        if not slower:
            outside = min(left, x(min(limit, 1))) - 5
        anchor = "start" if slower else "end"
        out.append(
            f'<text x="{outside:.1f}" y="{y + 11}" font-size="10" fill="#222" '
            f'text-anchor="{anchor}">{number(ratio)}</text>'
        )
    path.write_text("\n".join(out) + "\n</svg>\n")


# ---- Time on x86-64 --------------------------------------------------------------------------

PEERS = {"opencv": "OpenCV", "libyuv": "libyuv"}


class Row:
    """One operation at one size: nanoseconds per pixel of each contestant, one per pass."""

    def __init__(self):
        self.times = defaultdict(list)

    def median(self, who):
        return statistics.median(self.times[who]) if who in self.times else None

    def ratio(self, to, who="fast"):
        """The median of the ratios within a pass."""
        ratios = [a / b for a, b in zip(self.times.get(who, []), self.times.get(to, []))]
        return statistics.median(ratios) if ratios else None


@cache
def target_records():
    return read_csv(BENCH / "targets_x86.csv")


class Comparison:
    """With the best peer, and what share of its time a row may take: the first record that fits."""

    def __init__(self, key, row):
        record = next(
            record
            for record in target_records()
            if all(map(fnmatchcase, key, (record["operation"], record["size"])))
        )
        self.best = min((p for p in PEERS if p in row.times), key=row.median, default=None)
        self.ratio = row.ratio(self.best)
        self.target = float(record["target"])
        self.missed = self.ratio is not None and self.ratio > self.target
        self.remark = record["remark"]


def read_rows(passes):
    rows = defaultdict(Row)
    for results in passes:
        for run in results["benchmarks"]:
            operation, size, contestant = run["run_name"].split("/")[:3]
            time = run["cpu_time"] / run["pixels"]
            rows[operation, size].times[contestant].append(time)
    return rows


def processor():
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown processor"


def conditions(passes):
    context = passes[0]["context"]
    libraries = [f"{PEERS[p]} {context[p]}" for p in PEERS if p in context]
    return (
        f"{processor()}, one thread; {context['compiler']}, `-O3`; vector variants of our kernels: "
        f"{context['vectors']}; {' and '.join(libraries) or 'no other library'}. "
        f"Medians over {len(passes)} passes of the ratios within a pass."
    )


def x86_summary(compared):
    ratios = [c.ratio for c in compared.values()]
    ahead = sum(ratio < 1 / EVEN for ratio in ratios)
    behind = sum(ratio > EVEN for ratio in ratios)
    lines = [
        f"- {operation}, {size}: {number(c.ratio)} of {PEERS[c.best]}'s time, "
        f"where the target is {c.target:g}"
        for (operation, size), c in compared.items()
        if c.missed
    ]
    text = (
        f"Of {len(ratios)} rows with another library we are ahead in {ahead}, "
        f"even (within {EVEN - 1:.0%}) in {len(ratios) - ahead - behind}, behind in {behind}. "
        f"{len(ratios) - len(lines)} rows reach their target."
    )
    return text + ("\n\nAbove their target:\n\n" + "\n".join(lines) if lines else "")


def x86_table(rows, compared):
    def cells(key, row):
        comparison = compared.get(key)
        peers = {peer: number(row.ratio(peer)) for peer in PEERS}
        if comparison and comparison.missed:
            peers[comparison.best] = f"**{peers[comparison.best]}**"
        others = [number(row.ratio(who)) for who in ("portable", "copy")]
        target, remark = (f"{comparison.target:g}", comparison.remark) if comparison else ("", "")
        return [*key, *peers.values(), target, *others, remark]

    return table(
        ["operation", "size", "/ OpenCV", "/ libyuv", "target", "/ portable", "/ copy", "remark"],
        ["---", "---", "---:", "---:", "---:", "---:", "---:", "---"],
        [cells(key, row) for key, row in rows.items()],
    )


def x86(*paths):
    passes = [json.loads(Path(path).read_text()) for path in paths]
    rows = read_rows(passes)
    comparisons = {key: Comparison(key, row) for key, row in rows.items()}
    compared = {key: comparison for key, comparison in comparisons.items() if comparison.best}
    write_csv(
        BENCH / "results_x86.csv",
        ["operation", "size", "contestant", "ns_per_pixel_median", "ns_per_pixel_min", "ours_over"],
        [
            [*key, who, f"{row.median(who):.4g}", f"{min(times):.4g}", number(row.ratio(who))]
            for key, row in rows.items()
            for who, times in row.times.items()
        ],
    )
    draw(
        DOCS / "performance_x86.svg",
        "Time on x86-64: ours over the best other library's",
        "Sources of 1920x1080. To the left of 1 we are faster. Ticks show targets other than 1.",
        [
            (
                f"{operation} {size.removeprefix('1920x1080').strip()}",
                comparison.ratio,
                comparison.target,
            )
            for (operation, size), comparison in compared.items()
            if size.startswith("1920x1080")
        ],
    )
    pipelines = [
        [operation, size, number(row.ratio("yardstick", who="portable"))]
        for (operation, size), row in rows.items()
        if "yardstick" in row.times
    ]
    replace_section("x86 conditions", conditions(passes))
    replace_section("x86 summary", x86_summary(compared) if compared else "No other library.")
    replace_section("x86 table", x86_table(rows, compared))
    replace_section(
        "x86 pipeline",
        table(["operation", "size", "pipeline / loop"], ["---", "---", "---:"], pipelines),
    )


# ---- Instructions on 32-bit ARM --------------------------------------------------------------

ARM_PEERS = {"opencv": "OpenCV", "libyuv": "libyuv", "swscale": "libswscale", "pixman": "pixman"}


def count_of(expression, counts):
    """Of an expression like "A + B / 4", A and B being kernels. None where one is unknown."""
    total = 0
    for term in expression.split(" + "):
        kernel, _, divisor = term.partition(" / ")
        if kernel not in counts:
            return None
        total += counts[kernel] / float(divisor or 1)
    return total


class ArmRow:
    def __init__(self, record, counts):
        self.name = record["operation"], record["size"]
        self.remark = record["remark"]
        self.ours = count_of(record["ours"], counts)
        self.peers = {p: float(record[p]) for p in ARM_PEERS if record[p]}
        others = record["other_result"].split()
        self.best = min((p for p in self.peers if p not in others), key=self.peers.get)
        self.factor = float(record["factor"])
        self.allowed = self.factor * self.peers[self.best]
        self.ratio = None if self.ours is None else self.ours / self.peers[self.best]

    def over(self):
        return self.ratio is not None and self.ratio > self.factor * EXACT

    def cells(self):
        ratio = number(self.ratio)
        return [
            *self.name,
            number(self.ours),
            f"{number(self.peers[self.best])} {ARM_PEERS[self.best]}",
            f"**{ratio}**" if self.over() else ratio,
            f"{self.factor:g}",
            self.remark,
        ]


def arm_summary(rows):
    counted = [row for row in rows if row.ours is not None]
    over = sorted((r for r in counted if r.over()), key=lambda r: -r.ratio / r.factor)
    text = (
        f"Of {len(counted)} rows {len(counted) - len(over)} keep within what is allowed, and "
        f"{sum(row.ratio < 1 for row in counted)} take fewer instructions than the best peer."
    )
    if over:
        text += "\n\nWhere we are behind, furthest first:\n\n" + "\n".join(
            f"- {row.name[0]}, {row.name[1]}: {number(row.ours)} where {number(row.allowed)} "
            "are allowed"
            for row in over
        )
    uncounted = [" ".join(row.name) for row in rows if row.ours is None]
    if uncounted:
        text += "\n\nNot counted: " + "; ".join(uncounted) + "."
    return text


def kernel_cells(record):
    base = float(record["base"])
    neon = float(record["neon"]) if record["neon"] else None
    share = "-" if neon is None else f"{neon / base:.0%}"
    return [record["family"], record["kernel"], number(base), number(neon), share]


def arm(path):
    records = read_csv(path)
    for record in records:
        if float(record["base"]) <= 0:
            sys.exit(f"{record['kernel']} could not be counted")
    counts = {r["kernel"]: float(r["neon"] or r["base"]) for r in records}
    rows = [ArmRow(record, counts) for record in read_csv(BENCH / "peers_arm.csv")]
    write_csv(BENCH / "results_arm.csv", records[0], [r.values() for r in records])
    draw(
        DOCS / "performance_arm.svg",
        "Instructions on 32-bit ARM: ours over the best other library's",
        "To the left of 1 we take fewer. A tick shows what is allowed where it is not 1.",
        [
            (" ".join(row.name).removesuffix(" 640x480"), row.ratio, row.factor)
            for row in rows
            if row.ratio is not None
        ],
    )
    replace_section("arm summary", arm_summary(rows))
    replace_section(
        "arm table",
        table(
            ["operation", "size", "ours", "best peer", "ours / best", "allowed", "remark"],
            ["---", "---", "---:", "---:", "---:", "---:", "---"],
            [row.cells() for row in rows],
        ),
    )
    replace_section(
        "arm kernels",
        table(
            ["family", "kernel", "Base", "Neon", "Neon / Base"],
            ["---", "---", "---:", "---:", "---:"],
            [kernel_cells(record) for record in records],
        ),
    )


COMMANDS = {"x86": x86, "arm": arm}

if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] not in COMMANDS:
        sys.exit(__doc__)
    COMMANDS[sys.argv[1]](*sys.argv[2:])
