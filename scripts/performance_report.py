#!/usr/bin/env python3
"""Draws the chart of a comparison and fills its figures in.

    scripts/performance_report.py JSON       what bench/compare.sh leaves in build/performance.json
    scripts/performance_report.py JSON SVG   the chart only, into that file

A whole comparison writes docs/performance.svg and the parts of README.md and docs/performance.md
between the "performance" marks; a partial one writes build/performance.svg only.
"""
import html
import json
import math
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
ROADS = ["frame out", "frame in", "packets out", "packets in", "progressive out", "progressive in"]
FRAME = {"width": 1920, "height": 1080, "quality": 85, "sampling": "4:2:2"}  # of the cost sheet
CELL_KEYS = ("road", "picture", "width", "height", "quality", "sampling")
TABLE_RATIOS = 14  # of a whole comparison


def by_cell(report, road, side):
    """The figures of a side, by cell."""
    return {tuple(f[key] for key in CELL_KEYS): f for f in report["figures"]
            if f["road"] == road and f["side"] == side}


def speed(report, road, side):
    """Geometric mean of the peer's time over the side's; None where one was not measured."""
    peer = by_cell(report, road, "peer")
    logs = [math.log(peer[cell]["cpu_ms_best"] / figure["cpu_ms_best"])
            for cell, figure in by_cell(report, road, side).items() if cell in peer]
    return math.exp(sum(logs) / len(logs)) if logs else None


def chart(report):
    """Bars of the speed on each road; the peer's is the line at 1."""
    series = [("baseline", "before", "#b9c3cf"), ("ours", "libqrx_jpeg", "#2f6fb0")]
    bars = [(road, [(label, colour, value) for side, label, colour in series
                    if (value := speed(report, road, side)) is not None]) for road in ROADS]
    bars = [(road, values) for road, values in bars if values]
    left, width, thick, gap, top = 150, 520, 16, 14, 96
    largest = max([1.0] + [value for _, values in bars for _, _, value in values])
    steps = math.ceil(largest * 2) + 1

    def x(value):
        return left + width * value / (steps / 2)

    out, y = [], top
    for road, values in bars:
        middle = y + thick * len(values) / 2
        out.append(f'<text x="{left - 10}" y="{middle + 5:.0f}" text-anchor="end">{road}</text>')
        for _, colour, value in values:
            out.append(f'<rect x="{left}" y="{y}" width="{x(value) - left:.1f}" '
                       f'height="{thick - 2}" fill="{colour}"/>')
            out.append(f'<text x="{x(value) + 5:.1f}" y="{y + 12}" class="n">{value:.2f}</text>')
            y += thick
        y += gap
    bottom = y
    axis = []
    for i in range(steps + 1):
        line = "#333" if i == 2 else "#ddd"
        axis.append(f'<path d="M{x(i / 2):.1f} {top - 8}V{bottom}" stroke="{line}"/>')
        axis.append(f'<text x="{x(i / 2):.1f}" y="{bottom + 16}" text-anchor="middle" '
                    f'class="n">{i / 2:g}</text>')
    labels, place = [], left
    for label, colour in dict((label, colour) for _, values in bars
                              for label, colour, _ in values).items():
        labels.append(f'<rect x="{place}" y="58" width="12" height="12" fill="{colour}"/>'
                      f'<text x="{place + 18}" y="69">{label}</text>')
        place += 130
    labels.append(f'<path d="M{place + 6} 56V72" stroke="#333"/>'
                  f'<text x="{place + 18}" y="69">libjpeg-turbo = 1</text>')
    where = html.escape(f"{report['processor']}, {report['date']}: one thread, geometric means, "
                        "more is faster")
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="720" height="{bottom + 32}" '
        f'viewBox="0 0 720 {bottom + 32}" role="img">',
        "<title>Speed of libqrx_jpeg beside libjpeg-turbo</title>",
        '<style>text{font:14px sans-serif;fill:#222}.t{font-size:18px;font-weight:bold}'
        '.n{font-size:12px}</style>',
        f'<rect width="720" height="{bottom + 32}" fill="#fff"/>',
        '<text x="16" y="26" class="t">Speed of libqrx_jpeg beside libjpeg-turbo</text>',
        f'<text x="16" y="46" class="n">{where}</text>', *labels, *axis, *out, "</svg>", ""])


def cost_sheet(report):
    """Core time of a megapixel and sessions of a core, ours and the peer's."""
    lines = ["| Road | core-ms per megapixel | libjpeg-turbo | 1080p60 sessions per core | "
             "libjpeg-turbo |", "|---|--:|--:|--:|--:|"]
    for road in ROADS:
        cells = []
        for side in ("ours", "peer"):
            figures = [f["cpu_ms"] for f in by_cell(report, road, side).values()
                       if all(f[key] == value for key, value in FRAME.items())]
            cells.append(sum(figures) / len(figures))
        megapixels = FRAME["width"] * FRAME["height"] / 1e6
        costs = [f"{ms / megapixels:.2f}" for ms in cells]
        sessions = [f"{1000 / (60 * ms):.1f}" for ms in cells]
        lines.append(f"| {road} | {costs[0]} | {costs[1]} | {sessions[0]} | {sessions[1]} |")
    return "\n".join(lines)


def wanted(number):
    return f"{number:.2f}" if number else ""


def ratio_table(title, ratios):
    lines = [f"| {title} | cells | mean | goal | worst | goal | worst cell |",
             "|---|--:|--:|--:|--:|--:|---|"]
    lines += [f"| {r['name']} | {r['cells']} | {r['mean']:.2f} | {wanted(r['goal'])} | "
              f"{r['worst']:.2f} | {wanted(r['floor'])} | {r['worst_cell']} |" for r in ratios]
    return "\n".join(lines)


def gain_table(gains):
    def row(name, of):
        means = (math.exp(sum(math.log(g[side]) for g in of) / len(of))
                 for side in ("ours", "peer", "ratio"))
        return f"| {name} | " + " | ".join(f"{mean:.2f}" for mean in means) + " |"

    lines = ["| two threads against one | ours | libjpeg-turbo | ratio |", "|---|--:|--:|--:|"]
    for road in dict.fromkeys(g["road"] for g in gains):
        lines.append(row(f"{road}, mean", [g for g in gains if g["road"] == road]))
    lines += [row(f"{g['road']}, {g['picture']} {g['sampling']}", [g]) for g in gains]
    return "\n".join(lines)


def upkeep_table(upkeep):
    lines = ["| from the second frame on | heap growth, bytes | page faults a frame |",
             "|---|--:|--:|"]
    lines += [f"| {u['road']}, {u['sampling']} | {u['heap_growth']} | "
              f"{u['faults_per_frame']:.2f} |" for u in upkeep]
    return "\n".join(lines)


def fill(name, text):
    """Puts the text between the marks of a file."""
    path = ROOT / name
    begin, end = "<!-- performance: begin -->", "<!-- performance: end -->"
    pattern = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.DOTALL)
    filled, count = pattern.subn(lambda _: f"{begin}\n{text}\n{end}", path.read_text())
    if count != 1:
        sys.exit(f"{name} has no place for the figures")
    path.write_text(filled)
    print(f"figures filled in: {name}")


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    report = json.loads(pathlib.Path(sys.argv[1]).read_text())
    whole = (not report["quick"] and len(report["ratios"]) == TABLE_RATIOS
             and report["gains"] and report["upkeep"])
    if any(speed(report, road, "ours") for road in ROADS):
        svg = ROOT / ("docs" if whole else "build") / "performance.svg"
        if len(sys.argv) == 3:
            svg = pathlib.Path(sys.argv[2])
        svg.write_text(chart(report))
        print(f"chart: {svg}")
    if not whole or len(sys.argv) == 3:
        return
    origin = f"{report['date']}, {report['processor']}"
    fill("README.md", "![Speed on each road beside libjpeg-turbo](docs/performance.svg)\n\n"
         f"{origin}. 1920x1080, quality {FRAME['quality']}, {FRAME['sampling']}, mean of the four "
         "pictures;\npackets stand beside a run of JPEGs of about the same size:\n\n"
         + cost_sheet(report))
    tables = [f"{origin}, {report['rounds']} rounds.",
              ratio_table("libjpeg-turbo's time / ours", report["ratios"])]
    if report["against_baseline"]:
        tables.append(ratio_table("time of the build before / of this one",
                                  report["against_baseline"]))
    tables += [gain_table(report["gains"]), upkeep_table(report["upkeep"])]
    fill("docs/performance.md", "\n\n".join(tables))


if __name__ == "__main__":
    main()
