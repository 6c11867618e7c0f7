"""Draws the ratios as bars on a logarithmic scale, each with its goal, as an SVG picture."""

import html
import math

WIDTH, LABELS, RIGHT, BAR, GAP, TOP, BOTTOM = 960, 330, 70, 14, 8, 40, 30
TICKS = [0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100]

STYLE = (
    "text{font:12px sans-serif;fill:#333}.grid{stroke:#ddd}.one{stroke:#888}.reached{fill:#4a8f5b}"
    ".missed{fill:#c0613a}.plain{fill:#7a8fa8}.goal{stroke:#000;stroke-width:2}"
)


def picture(bars):
    """Bars are (label, ratio, goal or None)."""
    bars = list(bars)
    values = [1.0] + [value for _, ratio, goal in bars for value in (ratio, goal) if value]
    low, high = math.log(min(values) / 1.2), math.log(max(values) * 1.2)

    def x(value):
        return LABELS + (math.log(value) - low) / (high - low) * (WIDTH - LABELS - RIGHT)

    height = TOP + len(bars) * (BAR + GAP) + BOTTOM
    bottom = height - BOTTOM
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" height="{height}">',
        f"<style>{STYLE}</style>",
        f'<rect width="{WIDTH}" height="{height}" fill="#fff"/>',
        '<text x="8" y="20">time of harvelstone over time of the other side; less is better; black: the goal</text>',
    ]
    for tick in TICKS:
        if low <= math.log(tick) <= high:
            kind = "one" if tick == 1 else "grid"
            parts.append(f'<line class="{kind}" x1="{x(tick):.1f}" x2="{x(tick):.1f}" y1="{TOP - 6}" y2="{bottom}"/>')
            parts.append(f'<text x="{x(tick):.1f}" y="{bottom + 18}" text-anchor="middle">{tick:g}</text>')
    for index, (label, ratio, goal) in enumerate(bars):
        parts += _bar(label, ratio, goal, TOP + index * (BAR + GAP), x)
    return "\n".join([*parts, "</svg>", ""])


def _bar(label, ratio, goal, y, x):
    kind = "plain" if goal is None else "reached" if ratio <= goal else "missed"
    begin, end = sorted((x(1.0), x(ratio)))
    base = y + BAR - 3
    yield f'<text x="{LABELS - 8}" y="{base}" text-anchor="end">{html.escape(label)}</text>'
    yield f'<rect class="{kind}" x="{begin:.1f}" y="{y}" width="{max(end - begin, 1):.1f}" height="{BAR}"/>'
    if goal is not None:
        yield f'<line class="goal" x1="{x(goal):.1f}" x2="{x(goal):.1f}" y1="{y - 2}" y2="{y + BAR + 2}"/>'
    yield f'<text x="{WIDTH - 8}" y="{base}" text-anchor="end">{ratio:.2f}</text>'
