#!/usr/bin/env python3
"""Makes performance.md and performance.png of what ./run bench --json and ./run bench-linux32 --json have measured.

usage: performance.py DOCS FILE.json...

The files of one processor begin with its name and a dot: zen-4.json, zen-4.2.json. What counts is their medians. They
go together into DOCS/performance/NAME.json, which may be given in their place. What performance.md has from BY_HAND on
stays.
"""
import collections
import io
import json
import math
import operator
import pathlib
import statistics
import sys

import matplotlib
import matplotlib.pyplot as plt

BY_HAND = "## How to read it"
SHAPES = {"1920": "A line of 1920 pixels, in the cache", "3840x2160": "3840 x 2160, row by row"}
KEYS = {64: ["kernel", "shape", "kind", "contender", "pixels", "seconds"],  # of a run's results, by its bits
        32: ["kernel", "contender", "ratio"]}
BUILDS = ["sse2", "avx2", "avx512"]


def runs_of(path):
    """The runs of a file, one or a list of them; the last item of each result, its figure, as a list."""
    try:
        data = json.loads(path.read_text())
        runs = data if isinstance(data, list) else [data]
        for run in runs:
            *_, unit = keys = KEYS[run["bits"]]
            run["results"] = [{key: row[key] for key in keys} for row in run["results"]]
            for row in run["results"]:
                row[unit] = row[unit] if isinstance(row[unit], list) else [row[unit]]
                if min(row[unit]) <= 0:
                    raise ValueError(row)
            if not (run["processor"] and run["commit"] and run["results"]):
                raise ValueError("empty")
        return runs
    except (OSError, ValueError, KeyError, TypeError) as error:
        sys.exit(f"{path}: not what ./run bench --json prints ({error!r})")


def merged(name, runs):
    """One run with the figures of all."""
    figures = collections.defaultdict(list)
    for run in runs:
        for row in run["results"]:
            *key, (unit, of_run) = row.items()
            figures[tuple(key), unit] += of_run
    if len(set(map(len, figures.values()))) > 1:
        sys.exit(f"{name}: not every run has every figure")
    return runs[0] | {"results": [dict(key) | {unit: values} for (key, unit), values in figures.items()]}


class Processor:
    def __init__(self, name, runs):
        of_what = {f"{run['processor']} ({run['commit']})" for run in runs}
        if len(of_what) > 1:
            sys.exit(f"{name}: runs of several processors or commits: {', '.join(sorted(of_what))}")
        self.title = name.replace("-", " ").title()
        of_bits = ([run for run in runs if run["bits"] == bits] for bits in KEYS)
        self.runs = [merged(name, some) for some in of_bits if some]
        self.ratios = {}  # of 32 bits, by kernel and build
        self.rows = {shape: collections.defaultdict(list) for shape in SHAPES}  # by kernel
        for run in self.runs:
            for row in run["results"]:
                if run["bits"] == 32:
                    self.ratios[row["kernel"], row["contender"]] = statistics.median(row["ratio"])
                elif row["shape"] in SHAPES:
                    self.rows[row["shape"]][row["kernel"]].append(row)
        for shape, kernels in self.rows.items():
            if not kernels:
                sys.exit(f"{name}: no figures of {shape}")
            for kernel in kernels:
                if not self.seconds(shape, kernel, "peer"):
                    sys.exit(f"{name}: no other library beside {kernel} {shape}")

    def seconds(self, shape, kernel, kind, contender=""):
        """Of each run, what the fastest of those contenders took; nothing where none took part."""
        return [min(figures) for figures in zip(*(row["seconds"] for row in self.rows[shape].get(kernel, [])
                                                  if row["kind"] == kind and row["contender"].startswith(contender)))]

    def times(self, shape, kernel, *contender):
        """How many times as fast as the hardest peer of the same run."""
        own = self.seconds(shape, kernel, *contender)
        peer = self.seconds(shape, kernel, "peer")
        return statistics.median(map(operator.truediv, peer, own)) if own else math.nan


def table(titles, rows):
    """Texts to the left, numbers to the right."""
    def line(cells):
        return f"| {' | '.join(cells)} |"

    def text(cell):
        return cell if isinstance(cell, str) else "" if math.isnan(cell) else f"{cell:.2f}"

    sides = ["---" if isinstance(cell, str) else "--:" for cell in rows[0]]
    return "\n".join([line(titles), line(sides), *(line(map(text, row)) for row in rows)]) + "\n"


def speed_table(processor, shape):
    rows = []
    for kernel, figures in processor.rows[shape].items():
        peers = {row["contender"]: statistics.median(row["seconds"]) for row in figures if row["kind"] == "peer"}
        widest = [row["pixels"] / statistics.median(row["seconds"]) for row in figures if row["kind"] == "build"][-1]
        rows.append([kernel, widest * 1e-9, *(processor.times(shape, kernel, "build", build) for build in BUILDS),
                     processor.times(shape, kernel, "in_place"), processor.times(shape, kernel, "plain", "native"),
                     min(peers, key=peers.get)])
    return table(["kernel", f"{BUILDS[-1]}, Gpixel/s", *BUILDS, "in place", "plain", "hardest peer"], rows)


def page(processors):
    parts = ["# Performance\n",
             "![Every kernel on a line of 1920 pixels, beside the hardest of its peers](performance.png)\n"]
    for processor in processors:
        run = processor.runs[0]
        parts.append(f"## {processor.title}\n\n{run['processor']}; commit {run['commit']}.\n")
        parts += [f"{title}:\n\n{speed_table(processor, shape)}" for shape, title in SHAPES.items()]
    measured = [processor for processor in processors if processor.ratios]
    if measured:
        columns = [(processor, build) for processor in measured for build in BUILDS]
        rows = [[kernel, *(processor.ratios.get((kernel, build), math.nan) for processor, build in columns)]
                for kernel in dict.fromkeys(kernel for processor in measured for kernel, _ in processor.ratios)]
        parts.append("## What 32 bits cost\n\nHow many times as long as the 64-bit build the 32-bit one takes for a line of "
                     "1920 pixels.\n")
        parts.append(table(["kernel", *(f"{processor.title}, {build}" for processor, build in columns)], rows))
    return "\n".join(parts)


def picture(processors):
    kernels = list(dict.fromkeys(kernel for processor in processors for kernel in processor.rows["1920"]))
    places = range(len(kernels))
    figure, panels = plt.subplots(1, len(processors), sharex=True, sharey=True, squeeze=False, layout="constrained",
                                  figsize=(1 + 4 * len(processors), 1.5 + 0.235 * len(kernels)))
    figure.suptitle("How many times as fast as the hardest peer, the fastest of what libyuv, pixman and FFmpeg have\n"
                    "nearest to the kernel: a line of 1920 pixels in the cache, one thread, medians", fontsize=9.5)
    for panel, processor in zip(panels[0], processors):
        narrow, wide = ([processor.times("1920", kernel, "build", build) for kernel in kernels] for build in BUILDS[1:])
        panel.barh(places, [times - 1 for times in wide], left=1, color="#56B4E9")
        panel.plot(narrow, places, "D", color="#D55E00", markersize=4)
        for column, title, numbers, color in ((0.82, "\u25C6 avx2", narrow, "#B04A00"),
                                              (0.99, "\u25A0 avx512", wide, "#00629B")):
            for place, text in enumerate([title, *(f"{times:.2f}" for times in numbers)], -1):
                panel.text(column, place, text, transform=panel.get_yaxis_transform(), color=color, fontsize=7.5,
                           ha="right", va="center")
        panel.axvline(1, color="black", linewidth=1.2)
        panel.set_title(f"{processor.title} ({processor.runs[0]['commit']})", fontsize=10)
        panel.grid(axis="x", color="#DDDDDD")
        panel.set_axisbelow(True)
    shared = panels[0][0]
    shared.set_xscale("log", base=2)
    shared.xaxis.set_major_formatter(matplotlib.ticker.FormatStrFormatter("%g"))
    shared.set_xlim(right=4 * shared.get_xlim()[1])  # for the numbers
    shared.set_yticks(places, kernels, fontsize=8.5)
    shared.set_ylim(len(kernels) - 0.4, -1.6)
    png = io.BytesIO()
    figure.savefig(png, dpi=150, metadata={"Software": None})
    return png.getvalue()


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    docs = pathlib.Path(sys.argv[1])
    runs = collections.defaultdict(list)
    for path in map(pathlib.Path, sys.argv[2:]):
        runs[path.name.split(".")[0]] += runs_of(path)
    processors = [Processor(*item) for item in runs.items()]
    _, heading, by_hand = (docs / "performance.md").read_text().partition(f"\n{BY_HAND}\n")
    if not heading:
        sys.exit(f"{docs}/performance.md has no '{BY_HAND}', which begins what is written by hand")
    results = {"performance.md": (page(processors) + heading + by_hand).encode(),
               "performance.png": picture(processors)}
    for name, processor in zip(runs, processors):
        results[f"performance/{name}.json"] = json.dumps(processor.runs).replace("}, {", "},\n{").encode() + b"\n"
    (docs / "performance").mkdir(exist_ok=True)
    for path, content in results.items():
        (docs / path).write_bytes(content)


if __name__ == "__main__":
    main()
