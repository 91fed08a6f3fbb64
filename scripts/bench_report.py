#!/usr/bin/python3
# bench_report.py RESULTS.json PROGRAM REPETITIONS OUT: reports what Google Benchmark measured, and the posts.
#
# Measures the posts with the exchange program. Prints a table of ratios, and writes OUT.json and the chart OUT.svg. A
# ratio is our time divided by that of a peer, both the median of all repetitions. Every row of the list below must have
# been measured, on all its sides.

import json
import random
import statistics
import subprocess
import sys

from matplotlib import pyplot

from figures import circumstances, seconds, write


def parsers(pugixml):
    return {"pugixml": pugixml, "RapidXML": None, "libxml2": None}


# By subject: a row's name in the benchmarks, its title, and its peers with the ratio to be reached, if any. A post is
# named after the numbers of bytes that it sends and asks for.
SUBJECTS = [
    [(f"get/{n}", f"get that hits, {n:,} sections of 20 keys",
      {"GKeyFile": reach, "SQLite": 0.25 if n == 50 else None, "unordered_map": None})
     for n, reach in ((10, 0.7), (50, 0.85), (1000, 1.3))],
    [(f"{work}/{n}", f"{work} {n:,} settings{rest}", {"libtomcrypt+pugixml": reach})
     for work, rest, reaches in (("load", ", look up each", (0.8, 0.65, 0.9)), ("save", "", (0.6, 0.5, 1.0)))
     for n, reach in zip((100, 1000, 10000), reaches)],
    [("reply one level", "reply of 1 MB, an element one level below the envelope", parsers(0.38)),
     ("reply four levels", "reply of 1 MB, an element four levels down", parsers(1.0)),
     ("reply visit all", "reply of 1 MB, every element", parsers(2.0))],
    [("encipher", "AES-256, encipher 1 MB", {"libtomcrypt": 0.4, "OpenSSL with AES instructions": 1.5}),
     ("decipher", "AES-256, decipher 1 MB", {"libtomcrypt": 0.15, "OpenSSL with AES instructions": 4.0})],
    [("post/2048/4096", "post 2 KB, read 4 KB", {"libcurl": 1.0, "bare sockets": 1.15}),
     ("post/60000/4096", "post 60 KB, read 4 KB", {"libcurl": 1.0, "bare sockets": 1.2}),
     ("post/1048576/4096", "post 1 MB, read 4 KB", {"libcurl": 1.0, "bare sockets": 1.2}),
     ("post/10485760/4096", "post 10 MB, read 4 KB", {"libcurl": 1.3}),
     ("post/2048/1048576", "post 2 KB, read 1 MB, look the body up", {"libcurl": 1.9, "libcurl+pugixml": 1.0}),
     ("post/1048576/1048576", "post 1 MB, read 1 MB", {"libcurl": 1.6})],
    [(f"{base} {way}", f"{base}, {way} 1 MB", {peer: None})
     for base, peer in (("base64", "OpenSSL"), ("base32", "OpenSSL base64")) for way in ("encode", "decode")],
    [(f"modexp2/{bits}", f"modexp2, {bits} bits", {"GMP": 45}) for bits in (1024, 2048)],
]
ROWS = [row for subject in SUBJECTS for row in subject]


# All processor times, in seconds, by row and side.
def benchmarks(results):
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    times = {}
    for run in results["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        row, side, *size = run["run_name"].split("/")
        if run["run_type"] == "iteration":
            times.setdefault(("/".join([row] + size), side), []).append(run["cpu_time"] * units[run["time_unit"]])
    return times


# The same for the posts, in elapsed time: one process per run, in random order.
def exchanges(program, repetitions):
    runs = [(key, side) for key, _, peers in ROWS if key.startswith("post/") for side in ("ours", *peers)] * repetitions
    random.shuffle(runs)
    times = {}
    for key, side in runs:
        done = subprocess.run([program, side, *key.split("/")[1:]], stdout=subprocess.PIPE, check=True)
        times.setdefault((key, side), []).append(float(done.stdout))
    return times


def compare(all_times):
    times = {key: statistics.median(each) for key, each in all_times.items()}
    return [{"work": title, "seconds": times[key, "ours"], "peers": [
        {"name": peer, "seconds": times[key, peer], "ratio": times[key, "ours"] / times[key, peer], "reach": reach}
        for peer, reach in peers.items()]} for key, title, peers in ROWS]


def print_table(rows):
    print(f"{'work':54}  {'ours':>8}  {'peer':29}  {'theirs':>8}  {'ratio':>6}  reach")
    for row in rows:
        work, ours = row["work"], seconds(row["seconds"])
        for peer in row["peers"]:
            missed = "  missed" if peer["reach"] and peer["ratio"] > peer["reach"] else ""
            print(f"{work:54}  {ours:>8}  {peer['name']:29}  {seconds(peer['seconds']):>8}  "
                  f"{peer['ratio']:6.2f}  {peer['reach'] or '':<5}{missed}")
            work = ours = ""


# Draws bars from 1, the peer's time, to the left where we are faster and to the right where slower, on a logarithmic
# scale.
def draw(rows, where):
    bars = [(row["work"], peer) for row in rows for peer in row["peers"]]
    plot, axes = pyplot.subplots(figsize=(10, 0.19 * len(bars) + 1))
    for y, (_, peer) in enumerate(bars):
        ratio = peer["ratio"]
        axes.barh(y, ratio - 1, left=1, color="tab:blue" if ratio <= 1 else "tab:gray")
        axes.annotate(f"{ratio:.2f}  {peer['name']}", (max(ratio, peer["reach"] or 1, 1), y), (4, 0),
                      textcoords="offset points", va="center")
        if peer["reach"]:
            axes.plot(peer["reach"], y, "|", color="tab:red", markersize=9)
    between = -0.5
    for subject in SUBJECTS[:-1]:
        between += sum(len(peers) for _, _, peers in subject)
        axes.axhline(between, color="black", linewidth=0.5)
    axes.set(xscale="log", xlim=(1 / 64, 512), ylim=(len(bars), -1),
             title=f"Our time divided by that of each peer; red: to be reached\n{where['processor']}, {where['date']}")
    ticks = [1 / 64, 1 / 16, 1 / 4, 1, 4, 16, 64]
    axes.set_xticks(ticks, [f"1/{1 / x:.0f}" if x < 1 else f"{x:.0f}" for x in ticks])
    axes.minorticks_off()
    axes.set_yticks(range(len(bars)), [work for work, _ in bars])
    axes.grid(axis="x")
    return plot


source, program, repetitions, out = sys.argv[1:]
with open(source) as file:
    results = json.load(file)
where, rows = circumstances(), compare({**benchmarks(results), **exchanges(program, int(repetitions))})
print_table(rows)
write(out, {**where, "peers": results["context"]["peers"], "rows": rows}, draw(rows, where))
