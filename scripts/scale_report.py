#!/usr/bin/python3
# scale_report.py PROGRAM OUT [STEPS]: runs the growths of the scale program step by step.
#
# Prints time and peak memory by size, and writes OUT.json and the chart OUT.svg. With STEPS, only the first steps.
# A growth is judged by the exponent over its last two steps: 1 is linear.

import json
import math
import subprocess
import sys

from matplotlib import pyplot

from figures import circumstances, seconds, write

# Figure, unit of its sizes, powers of ten of its sizes, and its growths by name and title.
FIGURES = [
    ("Settings", "settings", range(1, 6), {
        "load": "load, look up each", "load_one_section": "the same in one section",
        "save": "save", "set_new": "set each, new, in random order"}),
    ("Replies", "bytes", range(3, 9), {
        "reply_find": "find one four levels down", "reply_visit": "visit every element"}),
    ("Nesting", "levels", range(0, 5), {
        "nested_find": "find the innermost", "nested_find_same": "the same, all of one name",
        "nested_visit": "visit every element", "nested_visit_same": "the same, all of one name"}),
    ("Requests", "requests", range(1, 5), {"requests": "post 2 KB, read 2 KB"}),
]


def step(program, growth, size):
    done = subprocess.run([program, growth, str(size)], stdout=subprocess.PIPE, check=True)
    return {"size": size, **json.loads(done.stdout)}


def exponent(steps, what):
    before, last = (max(each[what], 1e-9) for each in steps[-2:])
    return math.log(last / before) / math.log(steps[-1]["size"] / steps[-2]["size"])


def draw(figures, where):
    plot, panels = pyplot.subplots(len(figures), 2, figsize=(10, 3 * len(figures)))
    plot.suptitle(f"Growth of time and of peak memory; dashed: linear\n{where['processor']}, {where['date']}", y=0.94)
    plot.subplots_adjust(hspace=0.4)
    for figure, row in zip(figures, panels):
        for what, label, axes in zip(("seconds", "kilobytes"), ("seconds", "KB"), row):
            for growth in figure["growths"]:
                steps = [each for each in growth["steps"] if each[what] > 0]
                axes.loglog([each["size"] for each in steps], [each[what] for each in steps], ".-",
                            label=growth["title"])
            size, most = max((each["size"], each[what]) for each in steps)
            axes.loglog([size / 100, size], [most / 100, most], "--", color="tab:gray")
            axes.set(xlabel=figure["unit"], ylabel=label)
            axes.grid()
        row[1].legend(title=figure["title"], loc="center left", bbox_to_anchor=(1, 0.5))
    return plot


program, out, *steps = sys.argv[1:]
figures = []
for title, unit, powers, growths in FIGURES:
    figures.append({"title": title, "unit": unit, "growths": []})
    for name, what in growths.items():
        print(f"{title}, {what}")
        done = []
        for power in powers[:int(steps[0]) if steps else None]:
            done.append(step(program, name, 10 ** power))
            print(f"{done[-1]['size']:>12,} {unit:8} {seconds(done[-1]['seconds']):>9} {done[-1]['kilobytes']:>9,} KB",
                  flush=True)
        grown = {axis: exponent(done, axis) for axis in ("seconds", "kilobytes")}
        print(f"{'':12} exponent: time {grown['seconds']:.2f}, memory {grown['kilobytes']:.2f}")
        figures[-1]["growths"].append({"name": name, "title": what, "steps": done, "exponents": grown})
where = circumstances()
write(out, {**where, "figures": figures}, draw(figures, where))
