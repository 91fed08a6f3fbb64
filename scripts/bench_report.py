#!/usr/bin/env python3
"""Puts what Google Benchmark measured side by side: a table of ratios on the terminal, and the same
as JSON and as a bar chart.

    bench_report.py RESULTS.json [--json OUT.json] [--svg OUT.svg]

A ratio is our time divided by that of a peer, both the median of all repetitions. Every row of the
list below must have been measured, with all its sides.
"""

import argparse
import json
import math
import statistics
import sys

from figures import OURS, PEER, REACH, Svg, circumstances, seconds, write_json

GETS = {"GKeyFile": None, "SQLite": None, "unordered_map": None}
CBC_AND_PUGIXML = {"libtomcrypt+pugixml": 1.0}

# Row as it is called by the benchmarks; title; the peers, and the ratio to be reached, if any.
ROWS = [
    ("get/10", "get that hits, 10 sections of 20 keys", GETS),
    ("get/50", "get that hits, 50 sections of 20 keys",
     {"GKeyFile": 1.5, "SQLite": 0.25, "unordered_map": None}),
    ("get/1000", "get that hits, 1,000 sections of 20 keys", GETS),
    ("load/100", "load 100 settings, look up each", CBC_AND_PUGIXML),
    ("load/1000", "load 1,000 settings, look up each", CBC_AND_PUGIXML),
    ("load/10000", "load 10,000 settings, look up each", CBC_AND_PUGIXML),
    ("save/100", "save 100 settings", CBC_AND_PUGIXML),
    ("save/1000", "save 1,000 settings", CBC_AND_PUGIXML),
    ("save/10000", "save 10,000 settings", CBC_AND_PUGIXML),
    ("reply one level", "reply of 1 MB, an element one level below the envelope",
     {"pugixml": 0.7, "RapidXML": None, "libxml2": None}),
    ("reply four levels", "reply of 1 MB, an element four levels down",
     {"pugixml": 1.2, "RapidXML": None, "libxml2": None}),
    ("reply visit all", "reply of 1 MB, every element",
     {"pugixml": None, "RapidXML": None, "libxml2": None}),
    ("encipher", "AES-256, encipher 1 MB", {"libtomcrypt": 1.0, "OpenSSL without AES-NI": None}),
    ("decipher", "AES-256, decipher 1 MB", {"libtomcrypt": 1.0, "OpenSSL without AES-NI": 1.0}),
    ("post", "post 2 KB, read 4 KB, loopback", {"libcurl": 1.0, "bare sockets": 1.15, "bare sockets, same calls": None}),
    ("base64 encode", "base64, encode 1 MB", {"OpenSSL": None}),
    ("base64 decode", "base64, decode to 1 MB", {"OpenSSL": None}),
    ("base32 encode", "base32, encode 1 MB", {"OpenSSL base64": None}),
    ("base32 decode", "base32, decode to 1 MB", {"OpenSSL base64": None}),
    ("modexp2/1024", "modexp2, 1024 bits", {"GMP": None}),
    ("modexp2/2048", "modexp2, 2048 bits", {"GMP": None}),
]


def medians(results):
    """Seconds by row and side. Processor time, unless the name asks for elapsed time."""
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    times = {}
    for run in results["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] != "iteration":
            continue
        row, side, *more = run["run_name"].split("/")
        elapsed = "real_time" in more
        sizes = [part for part in more if part.isdigit()]
        time = run["real_time" if elapsed else "cpu_time"] * units[run["time_unit"]]
        times.setdefault(("/".join([row] + sizes), side), []).append(time)
    return {key: statistics.median(all_times) for key, all_times in times.items()}


def compare(times):
    rows = []
    for key, title, peers in ROWS:
        missing = [side for side in ("ours", *peers) if (key, side) not in times]
        if missing:
            sys.exit(f"{key}: nothing was measured for {', '.join(missing)}")
        ours = times[key, "ours"]
        rows.append({"work": title, "seconds": ours, "peers": [
            {"name": peer, "seconds": times[key, peer], "ratio": ours / times[key, peer],
             "reach": reach} for peer, reach in peers.items()]})
    return rows


def reached(peer):
    return peer["reach"] is None or peer["ratio"] <= peer["reach"]


def print_table(rows, where):
    print(f"{where['date']}, {where['processor']}; ratio: our time by theirs\n")
    width = max(len(row["work"]) for row in rows)
    print(f"{'work':{width}}  {'ours':>8}  {'peer':22} {'theirs':>8} {'ratio':>6}  reach")
    for row in rows:
        work, ours = row["work"], seconds(row["seconds"])
        for peer in row["peers"]:
            reach = "" if peer["reach"] is None else f"{peer['reach']:.2f}"
            missed = "" if reached(peer) else "  missed"
            print(f"{work:{width}}  {ours:>8}  {peer['name']:22} {seconds(peer['seconds']):>8} "
                  f"{peer['ratio']:6.2f}  {reach}{missed}")
            work = ours = ""


def draw(rows, where, path):
    """Bars from 1, the peer's time, to the left where we are faster; powers of two apart."""
    left, right, bar, gap = 420, 210, 15, 9
    lowest, highest = -6, 3
    width = 960
    height = 90 + sum(bar * len(row["peers"]) + gap for row in rows)
    step = (width - left - right) / (highest - lowest)

    def at(ratio):
        return left + (min(max(math.log2(ratio), lowest), highest) - lowest) * step

    svg = Svg(width, height)
    svg.text(12, 22, "Our time by that of each peer (less is faster)", font_size=15,
             font_weight="bold")
    svg.text(12, 40, f"{where['processor']}, {where['date']}. Medians. Red mark: what is to be "
             "reached.", fill=PEER)
    for power in range(lowest, highest + 1):
        x = at(2.0 ** power)
        label = f"1/{2 ** -power}" if power < 0 else str(2 ** power)
        svg.line(x, 64, x, height - 12, stroke="#d0d7de" if power else "#1f2328")
        svg.text(x, 59, label, text_anchor="middle", fill=PEER)
    y = 70
    for row in rows:
        svg.text(12, y + 12, row["work"])
        for peer in row["peers"]:
            x, one = at(peer["ratio"]), at(1)
            svg.add("rect", x=f"{min(x, one):.1f}", y=y + 1, width=f"{abs(x - one):.1f}",
                    height=bar - 3, fill=OURS if peer["ratio"] <= 1 else PEER)
            if peer["reach"] is not None:
                mark = at(peer["reach"])
                svg.line(mark, y - 1, mark, y + bar - 1, stroke=REACH, stroke_width=2)
            svg.text(width - right + 8, y + 11, f"{peer['ratio']:.2f}  {peer['name']}")
            y += bar
        y += gap
    svg.write(path)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("results")
    parser.add_argument("--json")
    parser.add_argument("--svg")
    given = parser.parse_args()
    with open(given.results) as file:
        results = json.load(file)
    where = circumstances()
    rows = compare(medians(results))
    print_table(rows, where)
    if given.json:
        write_json(given.json, {**where, "peers": results["context"]["peers"], "rows": rows})
    if given.svg:
        draw(rows, where, given.svg)


main()
