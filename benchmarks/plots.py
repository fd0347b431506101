"""Plots as SVG, made from strings."""

import math
from xml.sax.saxutils import escape

WIDTH = 760
FONT = 'font-family="sans-serif" font-size="12" fill="#333"'
PALETTE = ["#1f5fa8", "#7fb2e5", "#c8501e", "#e8a33d", "#5b8c5a", "#8a6fb0", "#9a9a9a", "#d3849b", "#555555", "#b5a642"]


def text(x, y, words, anchor="start"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" {FONT}>{escape(words)}</text>'


def line(x1, y1, x2, y2, colour="#ddd"):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>'


def drawing(height, parts):
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" viewBox="0 0 {WIDTH} {height}">',
        f'<rect width="{WIDTH}" height="{height}" fill="white"/>', *parts, "</svg>", ""
    ])


def step_of(largest):
    """Returns a round distance of grid lines, so that there are about five."""
    power = 10**math.floor(math.log10(largest / 5))
    return next(factor * power for factor in (1, 2, 5, 10) if factor * power >= largest / 5)


def legend(names, y):
    parts = []
    x = 60
    for index, name in enumerate(names):
        length = 24 + 7.5 * len(name)
        if x + length > WIDTH:
            x = 60
            y += 18
        parts.append(f'<rect x="{x}" y="{y - 10}" width="12" height="12" fill="{PALETTE[index % len(PALETTE)]}"/>')
        parts.append(text(x + 17, y, name))
        x += length
    return parts, y + 18


def bars(title, unit, groups, series):
    """Returns groups of bars: `series` is a list of (name, [(median, minimum, maximum) or None for each group]). A thin
    line connects minimum and maximum, within the plot."""
    parts, top = legend([name for name, _ in series], 44)
    parts.insert(0, text(60, 20, f"{title}, {unit}"))
    top += 8
    bottom = top + 260
    largest = 1.2 * max(figure[0] for _, figures in series for figure in figures if figure)
    step = step_of(largest)
    for number in range(math.ceil(largest / step) + 1):
        y = bottom - number * step / largest * (bottom - top)
        if y < top - 12:
            break
        parts += [line(60, y, WIDTH - 10, y), text(54, y + 4, f"{number * step:g}", "end")]
    group_width = (WIDTH - 80) / len(groups)
    bar_width = group_width * 0.85 / len(series)
    for group, name in enumerate(groups):
        left = 65 + group * group_width
        parts.append(text(left + group_width * 0.42, bottom + 18, name, "middle"))
        for index, (_, figures) in enumerate(series):
            if not figures[group]:
                continue
            median, least, most = (min(value / largest, 1) * (bottom - top) for value in figures[group])
            x = left + index * bar_width
            parts.append(f'<rect x="{x:.1f}" y="{bottom - median:.1f}" width="{bar_width * 0.9:.1f}" '
                         f'height="{median:.1f}" fill="{PALETTE[index % len(PALETTE)]}"/>')
            middle = x + bar_width * 0.45
            parts.append(line(middle, bottom - least, middle, bottom - most, "#000"))
    return drawing(bottom + 30, parts)


def lines(title, unit, series):
    """Returns lines over a logarithmic axis of numbers of strings: `series` is a list of (name, [(x, median)])."""
    parts, top = legend([name for name, _ in series], 44)
    parts.insert(0, text(60, 20, f"{title}, {unit}"))
    top += 8
    bottom = top + 280
    points = [point for _, some in series for point in some]
    first, last = math.log10(min(x for x, _ in points)), math.log10(max(x for x, _ in points))
    largest = max(y for _, y in points)

    def place(x, y):
        share = (math.log10(x) - first) / ((last - first) or 1)
        return 65 + share * (WIDTH - 90), bottom - y / largest * (bottom - top)

    step = step_of(largest)
    for number in range(math.floor(largest / step) + 1):
        y = place(10**first, number * step)[1]
        parts += [line(60, y, WIDTH - 10, y), text(54, y + 4, f"{number * step:g}", "end")]
    for x in sorted({x for x, _ in points}):
        parts.append(text(place(x, 0)[0], bottom + 18, f"{x:,}", "middle"))
    for index, (_, some) in enumerate(series):
        colour = PALETTE[index % len(PALETTE)]
        corners = [place(x, y) for x, y in sorted(some)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in corners)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in corners]
    return drawing(bottom + 30, parts)
