"""What the reports of scripts/bench have in common: where and when, and pieces of SVG."""

import datetime
import json
import platform
from html import escape

OURS = "#1f6feb"
PEER = "#57606a"
REACH = "#cf222e"
SERIES = ["#1f6feb", "#cf222e", "#2da44e", "#9a6700"]


def processor():
    try:
        with open("/proc/cpuinfo") as lines:
            for line in lines:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or platform.machine()


def circumstances():
    return {"date": datetime.date.today().isoformat(), "processor": processor()}


def write_json(path, value):
    with open(path, "w") as out:
        json.dump(value, out, indent=2)
        out.write("\n")


def seconds(value):
    for unit, scale in (("ns", 1e9), ("µs", 1e6), ("ms", 1e3)):
        if value * scale < 1000:
            return f"{value * scale:.3g} {unit}"
    return f"{value:.3g} s"


class Svg:
    def __init__(self, width, height):
        self.size = (width, height)
        self.pieces = []

    def add(self, tag, text=None, **attributes):
        given = "".join(f' {name.replace("_", "-")}="{escape(str(value))}"'
                        for name, value in attributes.items())
        end = "/>" if text is None else f">{escape(text)}</{tag}>"
        self.pieces.append(f"<{tag}{given}{end}")

    def text(self, x, y, text, **attributes):
        self.add("text", text, x=f"{x:.1f}", y=f"{y:.1f}", **attributes)

    def line(self, x1, y1, x2, y2, **attributes):
        self.add("line", x1=f"{x1:.1f}", y1=f"{y1:.1f}", x2=f"{x2:.1f}", y2=f"{y2:.1f}",
                 **attributes)

    def write(self, path):
        width, height = self.size
        with open(path, "w") as out:
            out.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                      f'viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="12" '
                      f'fill="#1f2328">\n<rect width="100%" height="100%" fill="#ffffff"/>\n')
            out.write("\n".join(self.pieces))
            out.write("\n</svg>\n")
