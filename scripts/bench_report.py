#!/usr/bin/python3
# bench_report.py RESULTS.json OUT: what Google Benchmark measured, side by side.
#
# Prints a table of ratios, and writes OUT.json and the chart OUT.svg. A ratio is our time by that of a peer, both
# the median of all repetitions. Every row of the list below must have been measured, with all its sides.

import json
import statistics
import sys

from matplotlib import pyplot

from figures import circumstances, seconds, write

def parsers(pugixml):
    return {"pugixml": pugixml, "RapidXML": None, "libxml2": None}


# A row as the benchmarks call it; its title; its peers, and the ratio to be reached, if any.
ROWS = [
    *((f"get/{n}", f"get that hits, {n:,} sections of 20 keys",
       {"GKeyFile": 1.0, "SQLite": 0.25 if n == 50 else None, "unordered_map": None}) for n in (10, 50, 1000)),
    *((f"{work}/{n}", f"{work} {n:,} settings{rest}", {"libtomcrypt+pugixml": reach})
      for work, rest, reach in (("load", ", look up each", 0.9), ("save", "", 1.0)) for n in (100, 1000, 10000)),
    ("reply one level", "reply of 1 MB, an element one level below the envelope", parsers(0.7)),
    ("reply four levels", "reply of 1 MB, an element four levels down", parsers(1.0)),
    ("reply visit all", "reply of 1 MB, every element", parsers(2.0)),
    ("encipher", "AES-256, encipher 1 MB", {"libtomcrypt": 1.0, "OpenSSL without AES-NI": None}),
    ("decipher", "AES-256, decipher 1 MB", {"libtomcrypt": 0.8, "OpenSSL without AES-NI": 1.0}),
    *((f"post/{bytes}", f"post {size}, read 4 KB", {"libcurl": 1.0, "bare sockets": reach})
      for bytes, size, reach in ((2048, "2 KB", 1.15), (60000, "60 KB", 1.2), (1048576, "1 MB", 1.2))),
    *((f"base64 {way}", f"base64, {way} 1 MB", {"OpenSSL": None}) for way in ("encode", "decode")),
    *((f"base32 {way}", f"base32, {way} 1 MB", {"OpenSSL base64": None}) for way in ("encode", "decode")),
    *((f"modexp2/{bits}", f"modexp2, {bits} bits", {"GMP": 45}) for bits in (1024, 2048)),
]


# Seconds by row and side. Processor time, unless the name asks for elapsed time.
def medians(results):
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    times = {}
    for run in results["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        row, side, *more = run["run_name"].split("/")
        if run["run_type"] == "iteration":
            time = run["real_time" if "real_time" in more else "cpu_time"]
            key = "/".join([row] + [part for part in more if part.isdigit()]), side
            times.setdefault(key, []).append(time * units[run["time_unit"]])
    return {key: statistics.median(all_times) for key, all_times in times.items()}


def compare(times):
    return [{"work": title, "seconds": times[key, "ours"], "peers": [
        {"name": peer, "seconds": times[key, peer], "ratio": times[key, "ours"] / times[key, peer], "reach": reach}
        for peer, reach in peers.items()]} for key, title, peers in ROWS]


def print_table(rows):
    print(f"{'work':54}  {'ours':>8}  {'peer':24}  {'theirs':>8}  {'ratio':>6}  reach")
    for row in rows:
        work, ours = row["work"], seconds(row["seconds"])
        for peer in row["peers"]:
            missed = "  missed" if peer["reach"] and peer["ratio"] > peer["reach"] else ""
            print(f"{work:54}  {ours:>8}  {peer['name']:24}  {seconds(peer['seconds']):>8}  "
                  f"{peer['ratio']:6.2f}  {peer['reach'] or '':<5}{missed}")
            work = ours = ""


# Bars from 1, the peer's time, to the left where we are faster; both ways on one logarithmic scale.
def draw(rows, where):
    peers = [(row, peer) for row in rows for peer in row["peers"]]
    plot, axes = pyplot.subplots(figsize=(10, 0.19 * len(peers) + 1))
    for y, (row, peer) in enumerate(peers):
        ratio = peer["ratio"]
        axes.barh(y, ratio - 1, left=1, color="tab:blue" if ratio <= 1 else "tab:gray")
        axes.annotate(f"{ratio:.2f}  {peer['name']}", (max(ratio, peer["reach"] or 1, 1), y), (4, 0),
                      textcoords="offset points", va="center")
        if peer["reach"]:
            axes.plot(peer["reach"], y, "|", color="tab:red", markersize=9)
    axes.set(xscale="log", xlim=(1 / 64, 512), ylim=(len(peers), -1),
             title=f"Our time by that of each peer; red: to be reached\n{where['processor']}, {where['date']}")
    ticks = [1 / 64, 1 / 16, 1 / 4, 1, 4, 16, 64]
    axes.set_xticks(ticks, [f"1/{1 / x:.0f}" if x < 1 else f"{x:.0f}" for x in ticks])
    axes.minorticks_off()
    axes.set_yticks([y for y, (row, peer) in enumerate(peers) if peer is row["peers"][0]],
                    [row["work"] for row in rows])
    axes.grid(axis="x")
    return plot


source, out = sys.argv[1:]
with open(source) as file:
    results = json.load(file)
where, rows = circumstances(), compare(medians(results))
print_table(rows)
write(out, {**where, "peers": results["context"]["peers"], "rows": rows}, draw(rows, where))
