# Shared by the reports of scripts/bench: date and processor, the format of times, and the plotting library.

import datetime
import json
import platform

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "orv", "font.size": 9,
                            "font.family": "sans-serif", "axes.axisbelow": True})


def circumstances():
    with open("/proc/cpuinfo") as lines:
        names = [line.split(":", 1)[1].strip() for line in lines if line.startswith("model name")]
    return {"date": datetime.date.today().isoformat(),
            "processor": names[0] if names else platform.machine()}


def seconds(value):
    for unit, scale in (("ns", 1e9), ("µs", 1e6), ("ms", 1e3)):
        if value * scale < 1000:
            return f"{value * scale:.3g} {unit}"
    return f"{value:.3g} s"


def write(path, figures, plot):
    with open(path + ".json", "w") as out:
        json.dump(figures, out, indent=2)
        out.write("\n")
    plot.savefig(path + ".svg", metadata={"Date": None}, bbox_inches="tight")
