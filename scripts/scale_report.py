#!/usr/bin/env python3
"""Runs the growths of the scale program step by step, and draws time and peak memory by size.

    scale_report.py PROGRAM [--quick] [--json OUT.json] [--svg OUT.svg]

The verdict on a growth is the exponent over its last factor of ten: 1 is linear.
"""

import argparse
import json
import math
import subprocess

from figures import SERIES, PEER, Svg, circumstances, seconds, write_json

SETTINGS = [10, 100, 1000, 10000, 100000]
BYTES = [1000, 10000, 100000, 1000000, 10000000, 100000000]
DEPTHS = [1, 10, 100, 1000, 10000]

# Figure, unit of its sizes, sizes, and its growths by name and title.
FIGURES = [
    ("Settings", "settings", SETTINGS, [
        ("load", "load, look up each"), ("load_one_section", "the same in one section"),
        ("save", "save"), ("set_new", "set each, new, in random order")]),
    ("Replies", "bytes", BYTES, [
        ("reply_find", "find one four levels down"), ("reply_visit", "visit every element")]),
    ("Nesting", "levels", DEPTHS, [
        ("nested_find", "find the innermost"), ("nested_find_same", "the same, all of one name"),
        ("nested_visit", "visit every element"),
        ("nested_visit_same", "the same, all of one name")]),
]


def measure(program, growth, size):
    done = subprocess.run([program, growth, str(size)], capture_output=True, text=True, check=True)
    return {"size": size, **json.loads(done.stdout)}


def exponent(steps, what):
    if len(steps) < 2:
        return None
    before, last = steps[-2], steps[-1]
    return math.log(max(last[what], 1e-9) / max(before[what], 1e-9)) / \
        math.log(last["size"] / before["size"])


def draw(figures, where, path):
    width, panel, left, top, height = 1040, 300, 70, 80, 260
    svg = Svg(width, top + len(figures) * (height + 70))
    svg.text(12, 22, "Growth of time and of peak memory", font_size=15, font_weight="bold")
    svg.text(12, 40, f"{where['processor']}, {where['date']}. Both scales logarithmic; the grey "
             "line is linear growth.", fill=PEER)
    for row, figure in enumerate(figures):
        y0 = top + row * (height + 70)
        for column, (what, label) in enumerate((("seconds", "s"), ("kilobytes", "KB"))):
            x0 = left + column * (panel + 90)
            draw_panel(svg, figure, what, label, x0, y0, panel, height - 30)
        for i, growth in enumerate(figure["growths"]):
            x, y = left + 2 * panel + 110, y0 + 20 + 22 * i
            svg.line(x, y - 4, x + 20, y - 4, stroke=SERIES[i], stroke_width=2)
            svg.text(x + 26, y, growth["title"])
    svg.write(path)


def draw_panel(svg, figure, what, label, x0, y0, width, height):
    steps = [step for growth in figure["growths"] for step in growth["steps"]]
    x_low, x_high = (math.log10(f(s["size"] for s in steps)) for f in (min, max))
    values = [max(step[what], 1e-9) for step in steps]
    y_low, y_high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    if y_high == y_low:
        y_high += 1

    def place(size, value):
        x = x0 + (math.log10(size) - x_low) / max(x_high - x_low, 1e-9) * width
        y = y0 + height - (math.log10(max(value, 1e-9)) - y_low) / (y_high - y_low) * height
        return x, y

    svg.text(x0, y0 - 8, f"{figure['title']}: {label} by {figure['unit']}", font_weight="bold")
    svg.add("rect", x=x0, y=y0, width=width, height=height, fill="none", stroke="#d0d7de")
    for power in range(y_low, y_high + 1):
        _, y = place(10 ** x_low, 10.0 ** power)
        svg.line(x0, y, x0 + width, y, stroke="#eaeef2")
        svg.text(x0 - 6, y + 4, f"1e{power}", text_anchor="end", fill=PEER)
    for size in sorted({step["size"] for step in steps}):
        x, _ = place(size, 10.0 ** y_low)
        svg.text(x, y0 + height + 16, f"1e{round(math.log10(size))}", text_anchor="middle",
                 fill=PEER)
    highest = max(step[what] for step in steps if step["size"] == max(s["size"] for s in steps))
    end = place(10 ** x_high, highest)
    fall = min(x_high - x_low, math.log10(highest) - y_low)
    begin = place(10 ** (x_high - fall), highest / 10 ** fall)
    svg.line(*begin, *end, stroke="#8c959f", stroke_dasharray="4 4")
    for i, growth in enumerate(figure["growths"]):
        points = [place(step["size"], step[what]) for step in growth["steps"]]
        svg.add("polyline", points=" ".join(f"{x:.1f},{y:.1f}" for x, y in points), fill="none",
                stroke=SERIES[i], stroke_width=2)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("--quick", action="store_true", help="only the smallest steps")
    parser.add_argument("--json")
    parser.add_argument("--svg")
    given = parser.parse_args()
    where = circumstances()
    print(f"{where['date']}, {where['processor']}\n")
    figures = []
    for title, unit, sizes, growths in FIGURES:
        figures.append({"title": title, "unit": unit, "growths": []})
        for name, growth_title in growths:
            steps = []
            print(f"{title}, {growth_title}")
            for size in sizes[:2] if given.quick else sizes:
                steps.append(measure(given.program, name, size))
                print(f"{size:>12,} {unit:8} {seconds(steps[-1]['seconds']):>9} "
                      f"{steps[-1]['kilobytes']:>9,} KB", flush=True)
            grown = {what: exponent(steps, what) for what in ("seconds", "kilobytes")}
            print(f"{'':12} exponent at the end: time {grown['seconds']:.2f}, "
                  f"memory {grown['kilobytes']:.2f}")
            figures[-1]["growths"].append(
                {"name": name, "title": growth_title, "steps": steps, "exponents": grown})
    if given.json:
        write_json(given.json, {**where, "figures": figures})
    if given.svg:
        draw(figures, where, given.svg)


main()
