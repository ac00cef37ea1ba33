#!/usr/bin/env python3
"""Draws how the cost of an operation grows with the size of a container, from the JSON results of a benchmark.

A benchmark is called plot:panel/contender/size and sets items_per_second. Each plot becomes <plot>.svg, with
its panels side by side: nanoseconds per operation against elements, both in powers of ten. Of several
repetitions the fastest counts. The same results give the same bytes.
"""
import argparse
import json
import math
import pathlib
from collections import defaultdict

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "ketriope", "svg.fonttype": "none", "font.size": 9})
import matplotlib.pyplot as plt  # noqa: E402: the backend comes first

COLOURS = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#56b4e9", "#e69f00"]
MARKERS = "osD^v<"


def curves(path):
    """plot -> panel -> contender -> size -> nanoseconds, each in the order of the results."""
    plots = defaultdict(lambda: defaultdict(lambda: defaultdict(dict)))
    for run in json.loads(path.read_text())["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        place, contender, size = run["run_name"].split("/")[:3]
        plot, panel = place.split(":")
        curve = plots[plot][panel][contender]
        cost = 1e9 / run["items_per_second"]
        curve[int(size)] = min(cost, curve.get(int(size), cost))
    return plots


def whole_decades(curves_of_panel):
    costs = [cost for curve in curves_of_panel for cost in curve]
    return 10 ** math.floor(math.log10(min(costs))), 10 ** math.ceil(math.log10(max(costs)))


def draw(panels, path):
    figure, axes = plt.subplots(1, len(panels), figsize=(4.6 * len(panels) + 1.6, 4), squeeze=False,
                                layout="constrained")
    for axis, (panel, contenders) in zip(axes[0], panels.items()):
        for number, (contender, costs) in enumerate(contenders.items()):
            peer = contender.startswith("std::")
            axis.loglog(costs.keys(), costs.values(), label=contender, color=COLOURS[number % len(COLOURS)],
                        marker=MARKERS[number % len(MARKERS)], markersize=3.5, linewidth=1.2,
                        linestyle="--" if peer else "-")
        axis.set_title(panel)
        axis.set_xlabel("elements")
        axis.set_ylabel("nanoseconds per operation")
        axis.grid(True, which="major", linewidth=0.4, alpha=0.5)
        axis.set_ylim(*whole_decades(costs.values() for costs in contenders.values()))
    axes[0][-1].legend(frameon=False, loc="center left", bbox_to_anchor=(1, 0.5))
    figure.savefig(path, metadata={"Date": None, "Creator": None})
    plt.close(figure)
    lines = path.read_text().splitlines()
    path.write_text("\n".join(line.rstrip() for line in lines) + "\n")


def main():
    parser = argparse.ArgumentParser(description="draws a plot for each name of a plot in the results")
    parser.add_argument("--into", type=pathlib.Path, required=True, help="the directory of the plots")
    parser.add_argument("results", type=pathlib.Path, help="JSON results of the benchmark")
    given = parser.parse_args()
    for plot, panels in curves(given.results).items():
        draw(panels, given.into / f"{plot}.svg")


main()
