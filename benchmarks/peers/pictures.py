"""Draws ratios as SVG pictures: panels of bars on a logarithmic scale with a line at 1."""

import math
from dataclasses import dataclass
from html import escape

LOWEST, HIGHEST = 0.1, 100.0
TICKS = (0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100)
COLUMNS = 2

WIDTH = 920
PANEL = (WIDTH - 12) // COLUMNS
LABELS = 146  # width of the labels at the left of a panel
VALUES = 58  # width of the numbers at its right
LINE = 22  # height of a bar's row
HEAD = 32
FOOT = 30
LEGEND = 52

FASTER, SLOWER, PEER, INK, PALE = "#1a7f8e", "#d9822b", "#6b7280", "#1f2937", "#e5e7eb"


@dataclass
class Bar:
    label: str
    value: float | None  # the ratio of tmsg, or None when it was not measured
    text: str
    trees: list[float]  # ratios of the other peers
    flat: list[float]


def text(x, y, words, anchor="start", size=12, color=INK, weight="normal"):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" '
            f'fill="{color}" font-weight="{weight}">{escape(words)}</text>\n')


def line(x1, y1, x2, y2, color, width=1.0):
    return (f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{color}" '
            f'stroke-width="{width}"/>\n')


def rectangle(x, y, width, height, color):
    return (f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height:.1f}" '
            f'fill="{color}"/>\n')


def paint(color, hollow):
    return f'fill="white" stroke="{color}" stroke-width="1.4"' if hollow else f'fill="{color}"'


def dot(x, y, hollow):
    return f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" {paint(PEER, hollow)}/>\n'


def arrow(x, y, direction, color, hollow=False):
    """Returns an arrow whose point is at x. With the direction -1 it points to the left."""
    back = x - 6 * direction
    return (f'<path d="M{x:.1f} {y:.1f} L{back:.1f} {y - 4:.1f} L{back:.1f} {y + 4:.1f} Z" '
            f'{paint(color, hollow)}/>\n')


class Scale:
    def __init__(self, left, right):
        self.left, self.right = left, right

    def __call__(self, ratio):
        share = math.log(ratio / LOWEST) / math.log(HIGHEST / LOWEST)
        return self.left + min(max(share, 0.0), 1.0) * (self.right - self.left)


def beyond(ratio):
    return -1 if ratio < LOWEST else 1 if ratio > HIGHEST else 0


def draw_bar(bar, scale, y):
    middle = y + LINE / 2
    out = text(scale.left - 8, middle + 4, bar.label, "end")
    if bar.value is None:
        return out + text(scale.right + 8, middle + 4, "–", color=PEER)
    color = FASTER if bar.value <= 1 else SLOWER
    start, end = sorted((scale(1), scale(bar.value)))
    out += rectangle(start, y + 4, max(end - start, 2), LINE - 8, color)
    if beyond(bar.value):
        out += arrow(scale(bar.value) + 6 * beyond(bar.value), middle, beyond(bar.value), color)
    for ratios, hollow in ((bar.trees, False), (bar.flat, True)):
        for ratio in ratios:
            if beyond(ratio):
                x = scale(ratio) + 5 * beyond(ratio)
                out += arrow(x, middle, beyond(ratio), PEER, hollow)
            else:
                out += dot(scale(ratio), middle, hollow)
    return out + text(scale.right + 12, middle + 4, bar.text, color=color, weight="bold")


def draw_panel(title, bars, left, top):
    scale = Scale(left + LABELS, left + PANEL - VALUES)
    first = top + HEAD
    last = first + LINE * len(bars)
    out = text(scale.left, top + 18, title, size=14, weight="bold")
    for tick in TICKS:
        out += line(scale(tick), first, scale(tick), last, PALE)
        out += text(scale(tick), last + 14, f"{tick:g}", "middle", 10, PEER)
    for i, bar in enumerate(bars):
        out += draw_bar(bar, scale, first + i * LINE)
    return out + line(scale(1), first - 2, scale(1), last + 2, INK, 1.5)


def draw_legend(top):
    y = top + 18
    out = rectangle(12, y - 6, 26, 12, FASTER) + text(46, y + 4, "tmsg is faster")
    out += rectangle(170, y - 6, 26, 12, SLOWER) + text(204, y + 4, "tmsg is slower")
    out += line(334, y - 8, 334, y + 8, INK, 1.5) + text(344, y + 4, "the fastest peer")
    out += dot(480, y, False) + text(490, y + 4, "each peer that builds a tree")
    out += dot(692, y, True) + text(702, y + 4, "BSON, which is no tree")
    return out + text(12, y + 24, "Time divided by that of the fastest peer that builds a tree, "
                      "on a logarithmic scale: left of the line is faster.", color=PEER)


def picture(panels):
    """Returns the SVG text of {title: bars}."""
    titles = list(panels)
    out = draw_legend(0)
    top = LEGEND
    for i in range(0, len(titles), COLUMNS):
        row = titles[i:i + COLUMNS]
        for column, title in enumerate(row):
            out += draw_panel(title, panels[title], column * PANEL, top)
        top += HEAD + FOOT + LINE * max(len(panels[title]) for title in row)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{top}" '
            f'viewBox="0 0 {WIDTH} {top}" font-family="Helvetica, Arial, sans-serif">\n'
            f'{rectangle(0, 0, WIDTH, top, "white")}{out}</svg>\n')
