#!/usr/bin/env python3
"""Makes the table of ratios, ours against the peer, from the JSON results of the benchmarks.

A benchmark is called work/contender or work/contender/argument. The contender is ours if its name holds
UT_, ut_, ut and a capital, zeo, msg or ketriope; every other contender of the same work and argument is a peer, and gets a row.
"""
import argparse
import json
import os
import pathlib
import re
import subprocess

OURS = re.compile(r"UT_|ut[_A-Z]|zeo|msg|ketriope")
MODIFIER = re.compile(r"(iterations|repeats|min_time|min_warmup_time|threads):.*|(real|process|manual)_time")
MARKS = ("<!-- table of scripts/bench -->", "<!-- end of the table -->")
SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


class Contender:
    """The median of one benchmark."""

    def __init__(self, run):
        parts = run["run_name"].split("/")
        modifiers = [part for part in parts if MODIFIER.fullmatch(part)]
        self.work, self.name, *arguments = [part for part in parts if part not in modifiers]
        self.work = "/".join([self.work, *arguments])
        wall = {"real_time", "manual_time"}.intersection(modifiers)
        self.seconds = run["real_time" if wall else "cpu_time"] * SECONDS[run["time_unit"]]
        self.bytes = run.get("bytes")
        self.rates = {unit: run[unit] for unit in ("bytes_per_second", "items_per_second") if unit in run}

    def ours(self):
        return bool(OURS.search(self.name))


def medians(paths):
    for path in paths:
        for run in json.loads(pathlib.Path(path).read_text())["benchmarks"]:
            if run.get("aggregate_name") == "median":
                yield Contender(run)


def read_goals(path):
    lines = pathlib.Path(path).read_text().splitlines()
    goals = (re.split(r"\s{2,}", line) for line in lines if line and not line.startswith("#"))
    return {(work, peer): (measure, float(bound)) for work, peer, measure, bound in goals}


def scaled(value, units):
    """`value` with three significant digits, in the largest unit that leaves it at 1 or more."""
    factor, unit = next((pair for pair in units if value >= pair[0]), units[-1])
    return f"{value / factor:.3g} {unit}"


def shown_time(contender):
    return scaled(contender.seconds, [(1, "s"), (1e-3, "ms"), (1e-6, "µs"), (1e-9, "ns")])


def speed(ours, peer):
    shared = [unit for unit in ours.rates if unit in peer.rates]
    if not shared:
        return peer.seconds / ours.seconds, shown_time(ours), shown_time(peer)
    unit = shared[0]
    name = "B/s" if unit == "bytes_per_second" else "/s"
    units = [(1e9, "G" + name), (1e6, "M" + name), (1e3, "k" + name), (1, name)]
    return ours.rates[unit] / peer.rates[unit], scaled(ours.rates[unit], units), scaled(peer.rates[unit], units)


def memory(ours, peer):
    # To a thousandth: blocks that the runtime keeps at hand count or not as it happens.
    return round(ours.bytes / peer.bytes, 3), f"{ours.bytes:.4g} bytes each", f"{peer.bytes:.4g} bytes each"


def difference(ours, peer):
    return (ours.seconds - peer.seconds) * 1e3, shown_time(ours), shown_time(peer)


MEASURES = {"speed": speed, "memory": memory, "difference": difference}


def rows(contenders, goals):
    for ours in filter(Contender.ours, contenders):
        for peer in contenders:
            if peer.work != ours.work or peer.ours():
                continue
            goal = goals.get((ours.work, peer.name)) or goals.get((ours.work.partition("/")[0], peer.name))
            measure, bound = goal or ("memory" if ours.bytes and peer.bytes else "speed", None)
            value, our_figure, peer_figure = MEASURES[measure](ours, peer)
            met = None if bound is None else value >= bound if measure == "speed" else value <= bound
            yield {"work": ours.work, "ours": ours.name, "peer": peer.name, "measure": measure,
                   "our_figure": our_figure, "peer_figure": peer_figure,
                   "value": value, "bound": bound, "met": met}


def first_line(*command):
    try:
        output = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return "unknown"
    return output.splitlines()[0] if output else "unknown"


def package(name):
    return first_line("dpkg-query", "-W", "-f", "${Version}", name)


def machine(build):
    """What a figure means nothing without."""
    cache = dict(re.findall(r"^(\w+):\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.M))
    model = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    system = re.search(r'^PRETTY_NAME="(.*)"$', pathlib.Path("/etc/os-release").read_text(), re.M)
    flags = f"{cache.get('CMAKE_CXX_FLAGS', '')} {cache.get('CMAKE_CXX_FLAGS_RELEASE', '')}"
    return {
        "processor": model[1] if model else "unknown",
        "cores": os.cpu_count(),
        "system": f"{system[1] if system else 'unknown'}, Linux {os.uname().release}",
        "compiler": first_line(cache["CMAKE_CXX_COMPILER"], "--version"),
        "flags": " ".join(f"-std=c++20 -fPIC {flags}".split()),
        "libraries": f"glibc {package('libc6')}, libstdc++ {package('libstdc++6')}, "
                     f"benchmark {package('libbenchmark-dev')}, RE2 {package('libre2-dev')}, "
                     f"spdlog {package('libspdlog-dev')}, fmt {package('libfmt-dev')}, "
                     f"Boost {package('libboost-dev')}, zlib {package('zlib1g-dev')}, "
                     f"bzip2 {package('libbz2-dev')}, libzip {package('libzip-dev')}",
        "commit": first_line("git", "rev-parse", "--short", "HEAD"),
    }


def goal_text(row):
    if row["bound"] is None:
        return ""
    bound = f"{row['bound']:g}"
    return {"speed": f"at least {bound}", "memory": f"at most {bound}", "difference": f"below {bound} ms"}[row["measure"]]


def markdown(host, table):
    lines = [f"- {key}: {value}" for key, value in host.items()]
    lines += ["", "| work | ours | peer | ours | peer | result | goal | |", "|---|---|---|--:|--:|--:|---|---|"]
    for row in table:
        value = f"{row['value']:.2f} ms" if row["measure"] == "difference" else f"{row['value']:.3g}"
        met = {None: "", True: "met", False: "missed"}[row["met"]]
        cells = [row["work"], f"`{row['ours']}`", f"`{row['peer']}`", row["our_figure"], row["peer_figure"],
                 value, goal_text(row), met]
        lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)


def put_between_marks(path, text):
    page = path.read_text()
    begin, end = (page.index(mark) for mark in MARKS)
    path.write_text(page[:begin + len(MARKS[0])] + "\n" + text + "\n" + page[end:])


def main():
    parser = argparse.ArgumentParser(description="prints the table of ratios in Markdown")
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build tree of the benchmarks")
    parser.add_argument("--goals", required=True, help="what the library has set itself")
    parser.add_argument("--json", type=pathlib.Path, required=True, help="where the table goes as JSON")
    parser.add_argument("--write", type=pathlib.Path, help="the page that gets the table between its marks")
    parser.add_argument("results", nargs="+", help="JSON results of the benchmarks")
    given = parser.parse_args()

    host = machine(given.build)
    table = sorted(rows(list(medians(given.results)), read_goals(given.goals)),
                   key=lambda row: (row["work"], row["peer"]))
    given.json.write_text(json.dumps({"machine": host, "rows": table}, indent=2) + "\n")
    text = markdown(host, table)
    print(text)
    if given.write:
        put_between_marks(given.write, text)


main()
