#!/usr/bin/env python3
"""Draws docs/loss.svg and fills the figures of docs/loss.md and README.md in.

    scripts/loss_report.py JSON       what scripts/loss_chart.sh leaves in build/loss/loss.json
    scripts/loss_report.py JSON SVG   the chart only, into that file
"""
import html
import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
ROADS = [("packets", "our packets", "#2f6fb0", 2.5, ""),
         ("whole", "whole JPEGs in datagrams", "#b9c3cf", 5, ""),
         ("rtp", "RTP/JPEG", "#c0562f", 2, ""),
         ("rtp_restarts", "RTP/JPEG with restart markers", "#e0a030", 2, "4 4")]
NAMES = {road: name for road, name, *_ in ROADS}
SERIES_LOSS = 2  # of the panel that goes frame by frame


def rows_of(report, sampling, road, burst):
    """By loss; nothing lost is the same in bursts."""
    return [r for r in report["rows"] if (r["sampling"], r["road"]) == (sampling, road)
            and (r["burst"] == burst or r["loss"] == 0)]


def panel(title, left, top, width, height, floor, labels, lines):
    """Lines of shares over evenly spaced places, some of which have labels."""
    def y(value):
        return top + height * (1 - (value - floor) / (1 - floor))

    out = [f'<text x="{left}" y="{top - 10}">{html.escape(title)}</text>']
    for tick in range(round(floor * 100), 101, 10):
        at = y(tick / 100)
        out.append(f'<path d="M{left} {at:.1f}h{width}" stroke="#ddd"/><text x="{left - 6}" '
                   f'y="{at + 4:.1f}" text-anchor="end" class="n">{tick}%</text>')
    for place, label in labels:
        out.append(f'<text x="{left + width * place:.1f}" y="{top + height + 18}" '
                   f'text-anchor="middle" class="n">{label}</text>')
    for values, (_, _, colour, thick, dash) in lines:
        step = width / (len(values) - 1)
        points = " ".join(f"{left + step * i:.1f},{y(v):.1f}" for i, v in enumerate(values))
        out.append(f'<polyline points="{points}" fill="none" stroke="{colour}" '
                   f'stroke-width="{thick}" stroke-dasharray="{dash}"/>')
    return out


def chart(report):
    """4:2:0: right pixels over loss, single and in bursts, and frame by frame."""
    order = sorted(ROADS, key=lambda road: -road[3])  # thin lines over thick ones
    panels = [{road: rows_of(report, "420", road[0], burst) for road in order}
              for burst in report["bursts"]]
    series = {road: next(r["series"] for r in rows if r["loss"] == SERIES_LOSS)
              for road, rows in panels[0].items()}
    lowest = min([r["right"] for p in panels for rows in p.values() for r in rows]
                 + [value for values in series.values() for value in values])
    floor = max(0, int(lowest * 10) / 10)
    losses = report["losses"]
    labels = [(i / (len(losses) - 1), f"{loss:g}%") for i, loss in enumerate(losses)]
    out = []
    for i, (rows, burst) in enumerate(zip(panels, report["bursts"])):
        title = "lost one by one" if burst == 1 else f"in bursts of {burst} on average"
        lines = [([r["right"] for r in rows[road]], road) for road in order]
        out += panel(f"Right pixels, {title}", 60 + 345 * i, 130, 285, 190, floor, labels,
                     lines)
    count = report["frames"]
    labels = [(n / (count - 1), f"frame {n + 1}") for n in range(0, count, 10)]
    out += panel(f"The same frame by frame, {SERIES_LOSS}% lost one by one", 60, 400, 630, 150,
                 floor, labels, [(series[road], road) for road in order])
    keys, place = [], 40
    for _, name, colour, thick, dash in ROADS:
        keys.append(f'<path d="M{place} 72h26" stroke="{colour}" stroke-width="{thick}" '
                    f'stroke-dasharray="{dash}"/><text x="{place + 32}" y="76" class="n">{name}'
                    '</text>')
        place += 60 + 6.2 * len(name)
    where = (f"{report['width']}x{report['height']}, 4:2:0, quality {report['quality']}, "
             f"no repair; GStreamer {report['gstreamer']}, {report['date']}")
    return "\n".join([
        '<svg xmlns="http://www.w3.org/2000/svg" width="720" height="590" viewBox="0 0 720 590" '
        'role="img">', "<title>What is right on the screen when datagrams are lost</title>",
        '<style>text{font:14px sans-serif;fill:#222}.t{font-size:18px;font-weight:bold}'
        '.n{font-size:12px}</style>', '<rect width="720" height="590" fill="#fff"/>',
        '<text x="16" y="26" class="t">What is right on the screen when datagrams are lost</text>',
        f'<text x="16" y="48" class="n">{html.escape(where)}; the scale begins at {floor:.0%}'
        '</text>', *keys, *out, "</svg>", ""])


def table(report, sampling, title, cell):
    lines = [f"| {title} | " + " | ".join(NAMES.values()) + " |", "|---|" + "--:|" * len(NAMES)]
    for burst in report["bursts"]:
        roads = [rows_of(report, sampling, road, burst) for road in NAMES]
        for rows in zip(*roads):
            loss = rows[0]["loss"]
            if loss == 0 and burst != report["bursts"][0]:
                continue
            name = f"{loss:g}%" + ("" if burst == 1 else f", bursts of {burst}")
            lines.append(f"| {name} | " + " | ".join(cell(row) for row in rows) + " |")
    return "\n".join(lines)


def costs(report):
    lines = ["| Sampling, road | bytes a frame | datagrams | largest | sender, ms | "
             "receiver, ms |", "|---|--:|--:|--:|--:|--:|"]
    for c in report["costs"]:
        send = "" if c["send_ms"] is None else f"{c['send_ms']:.1f}"
        lines.append(f"| {':'.join(c['sampling'])}, {NAMES[c['road']]} | {c['bytes']:,.0f} | "
                     f"{c['datagrams']:.0f} | {c['largest']} | {send} | {c['receive_ms']:.1f} |")
    return "\n".join(lines)


def sheet(report):
    """All figures, for docs/loss.md."""
    seeds, frames = report["seeds"], report["frames"]
    parts = [f"{report['date']}, {report['processor']}; libqrx_jpeg {report['library']}, GStreamer "
             f"{report['gstreamer']}. {frames} frames of {report['width']}x{report['height']} at "
             f"quality {report['quality']}, each loss with {seeds} seeds.", costs(report)]
    for sampling in ("420", "422"):
        parts += [
            f"### {':'.join(sampling)}",
            table(report, sampling, "Right pixels after each frame, mean (least)",
                  lambda r: f"{r['right']:.2%} ({r['right_least']:.1%})"),
            table(report, sampling, "Frames shown (wholly right)",
                  lambda r: f"{r['shown']:.1%} ({r['whole']:.1%})"),
            table(report, sampling, "Frames in a row that were not wholly right, most",
                  lambda r: str(r["longest_gap"])),
            table(report, sampling, "Clean with repair after, ms: mean (95 of 100)",
                  lambda r: f"{r['repair_ms']:.0f} ({r['repair_ms_95']})")]
    return "\n\n".join(parts)


def summary(report):
    """A few losses of 4:2:0, for README.md."""
    rows = {road: {r["loss"]: r for r in rows_of(report, "420", road, 1)} for road in NAMES}
    lines = ["| Lost datagrams | " + " | ".join(NAMES.values()) + " |",
             "|---|" + "--:|" * len(NAMES)]
    for loss in (0.5, 2, 10):
        cells = [f"{rows[road][loss]['right']:.1%} right, {rows[road][loss]['shown']:.0%} shown"
                 for road in NAMES]
        lines.append(f"| {loss:g}% | " + " | ".join(cells) + " |")
    return ("![What is right on the screen when datagrams are lost](docs/loss.svg)\n\n"
            + "\n".join(lines))


def fill(name, text):
    """Puts the text between the marks of a file."""
    path = ROOT / name
    begin, end = "<!-- loss: begin -->", "<!-- loss: end -->"
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
    svg = pathlib.Path(sys.argv[2]) if len(sys.argv) == 3 else ROOT / "docs/loss.svg"
    svg.write_text(chart(report))
    print(f"chart: {svg}")
    if len(sys.argv) == 2:
        fill("docs/loss.md", sheet(report))
        fill("README.md", summary(report))


if __name__ == "__main__":
    main()
