#!/usr/bin/env python3
"""Make the larger files of examples/demo, the same bytes on every host.

multiplier.v    a structural netlist: a pipelined multiplier of lookup tables and flip-flops
multiplier.log  what a place-and-route run of that netlist says
multiplier.xml  the message log of that run: each line of the former that is a message, as number and arguments

With --check nothing is written: the netlist is simulated, to see that it multiplies, and the files
are compared with those in the tree.
"""

import pathlib
import re
import sys
import xml.etree.ElementTree
from xml.sax.saxutils import escape

WIDTH = 22  # bits of an operand; a row of the adder array, and a pipeline stage, for each
PERIOD = 4.0  # ns of the clock that the log's run asks for
DEMO = pathlib.Path(__file__).resolve().parent.parent / "examples" / "demo"


class Noise:
    """Numbers that look drawn by chance and are the same in every run."""

    def __init__(self, seed):
        self.state = seed

    def below(self, count):
        self.state = (self.state * 1103515245 + 12345) % 2**31
        return (self.state >> 8) % count

    def between(self, low, high):
        return low + (high - low) * self.below(10000) / 10000


def table(function):
    """The content of a lookup table of four inputs."""
    bits = [function(i & 1, i >> 1 & 1, i >> 2 & 1, i >> 3 & 1) for i in range(16)]
    return sum(bit << i for i, bit in enumerate(bits))


# acc is what earlier rows have added up, x and y are operand bits, c is the carry.
SUM = table(lambda acc, x, y, c: acc ^ (x & y) ^ c)
CARRY = table(lambda acc, x, y, c: (acc & (x & y)) | (acc & c) | (x & y & c))
AND = table(lambda acc, x, y, c: x & y)


class Netlist:
    def __init__(self):
        self.wires = []
        self.cells = []

    def lut(self, net, content, inputs):
        self.wires.append(net)
        acc, x, y, c = inputs
        pins = f".i({{{c}, {y}, {x}, {acc}}}), .o({net})"
        self.cells.append(f"  LUT4 #(.TABLE(16'h{content:04x})) u_{net} ({pins});")
        return net

    def flop(self, net, data, declared=False):
        if not declared:
            self.wires.append(net)
        name = "u_" + net.replace("[", "_").replace("]", "")
        self.cells.append(f"  DFF {name} (.clk(clk), .ce(ce), .d({data}), .q({net}));")
        return net

    def row(self, k, acc, x, y):
        """Adds x, where y is 1, to acc: the sum bits, the carry behind them."""
        if k == 0:
            zero = "1'b0"
            return [self.lut(f"row00_s{i:02}", AND, (zero, x[i], y, zero)) for i in range(WIDTH)] + [zero]
        carry, sums = "1'b0", []
        for i in range(WIDTH):
            inputs = (acc[i], x[i], y, carry)
            sums.append(self.lut(f"row{k:02}_s{i:02}", SUM, inputs))
            carry = self.lut(f"row{k:02}_c{i:02}", CARRY, inputs)
        return sums + [carry]

    def stage(self, k, nets, what):
        return [self.flop(f"{what}{k:02}_{i:02}", net) for i, net in enumerate(nets)]


def build():
    made = Netlist()
    x = [made.flop(f"x00_{i:02}", f"a[{i}]") for i in range(WIDTH)]
    y = [made.flop(f"y00_{i:02}", f"b[{i}]") for i in range(WIDTH)]
    acc, done = [], []
    for k in range(WIDTH):
        sums = made.row(k, acc, x, y[0])
        done, acc, y = done + sums[:1], sums[1:], y[1:]
        if k + 1 == WIDTH:
            break
        done = made.stage(k + 1, done, "lo")
        acc = made.stage(k + 1, acc, "acc")
        x = made.stage(k + 1, x, "x")
        y = made.stage(k + 1, y, "y")
    for i, net in enumerate(done + acc):
        made.flop(f"p[{i}]", net, declared=True)
    return made


HEADER = f"""\
// multiplier.v: p = a * b for unsigned operands of {WIDTH} bits, one new pair at every clock.
//
// A row of the adder array stands in each pipeline stage; a product comes {WIDTH + 1} clocks after its pair.
// Made by scripts/make_demo_files.py.
`timescale 1ns / 1ps

module multiplier (
  input  wire        clk,
  input  wire        ce,
  input  wire [{WIDTH - 1}:0] a,
  input  wire [{WIDTH - 1}:0] b,
  output wire [{2 * WIDTH - 1}:0] p
);

"""

CELLS = """\
endmodule

// The cells, as a simulator needs them.
module LUT4 #(parameter [15:0] TABLE = 16'h0000) (input wire [3:0] i, output wire o);
  assign o = TABLE[i];
endmodule

module DFF (input wire clk, input wire ce, input wire d, output reg q);
  initial q = 1'b0;
  always @(posedge clk) if (ce) q <= d;
endmodule
"""


def verilog(made):
    wires = "".join(f"  wire {net};\n" for net in made.wires)
    return HEADER + wires + "\n" + "\n".join(made.cells) + "\n" + CELLS


def products(text, pairs):
    """What the netlist in `text` gives for `pairs`, one pair at every clock."""
    luts = re.findall(r"TABLE\(16'h(\w+)\)\) \w+ \(\.i\(\{(.*?)\}\), \.o\((\w+)\)", text)
    luts = [(int(content, 16), pins.split(", "), out) for content, pins, out in luts]
    flops = re.findall(r"\.d\((.*?)\), \.q\((.*?)\)\);", text)
    value = {q: 0 for _, q in flops} | {"1'b0": 0}
    seen = []
    for a, b in pairs + [(0, 0)] * (WIDTH + 1):
        value |= {f"a[{i}]": a >> i & 1 for i in range(WIDTH)}
        value |= {f"b[{i}]": b >> i & 1 for i in range(WIDTH)}
        for content, pins, out in luts:  # they stand in the order in which signals run
            value[out] = content >> int("".join(str(value[pin]) for pin in pins), 2) & 1
        value |= {q: value[d] for d, q in flops}
        seen.append(sum(value[f"p[{i}]"] << i for i in range(2 * WIDTH)))
    return seen[WIDTH : WIDTH + len(pairs)]


class Run:
    """What the run says, once as lines for people and once as a message log."""

    ESCAPES = {'"': "&quot;", "'": "&apos;", "\t": "&#x9;", "\n": "&#xA;"}

    def __init__(self, lines):
        tree = xml.etree.ElementTree.parse(DEMO / "msgdata" / "par.xml")
        self.messages = {m.get("uid"): (m.get("type"), m.get("text")) for m in tree.iter("msg")}
        self.noise = Noise(1999)
        self.clock = Clock()
        self.lines = lines
        self.posts = []

    def say(self, number, *arguments):
        kind, text = self.messages[number]
        conversions = re.findall(r"\$\$([-.0-9]*[dfs])", text)
        texts = [("%" + conversion) % value for conversion, value in zip(conversions, arguments, strict=True)]
        pieces = re.split(r"\$\$[-.0-9]*[dfs]", text)
        whole = "".join(piece + value for piece, value in zip(pieces, texts + [""]))
        self.lines.append(f"{self.clock.tick(self.noise)}  {kind.upper():<7}  {whole}")
        values = "".join(f'arg{i}="{escape(value, self.ESCAPES)}" ' for i, value in enumerate(texts))
        self.posts.append(f'    <postMsg mid="300{number}" type="{kind}" dynamic="{len(texts)}" navigation="0" {values} />')

    def message_log(self):
        head = ['<?xml version="1.0" encoding="UTF-8"?>',
                '<messageLogFile name="multiplier.xml" version="Zirvane (64-bit) 1.0.1" '
                'date="Mon Mar 06 09:30:00 2006" vendor="Velmora Semiconductor Corporation" >', "  <postMsgs>"]
        return "\n".join(head + self.posts + ["  </postMsgs>", "</messageLogFile>", ""])


def logs(made, text):
    """The log for people, and the message log."""
    luts = sum(cell.startswith("  LUT4") for cell in made.cells)
    flops = len(made.cells) - luts
    run = Run(["par: place and route", "", "  design    multiplier", "  netlist   examples/demo/multiplier.v",
               f"  clock     clk, {PERIOD:.3f} ns", ""])
    run.say("0001", len(text.splitlines()), luts, flops, len(made.wires))
    report_nets(made, run.say)
    place(run.say, run.noise)
    route(run.say, run.noise)
    report_timing(run.say, run.noise, run.lines)
    return "\n".join(run.lines) + "\n", run.message_log()


class Clock:
    """The time of day of the run: how it passes is part of the picture."""

    def __init__(self):
        self.milliseconds = 0

    def tick(self, noise):
        self.milliseconds += 20 + noise.below(400)
        seconds, milliseconds = divmod(self.milliseconds, 1000)
        return f"{seconds // 3600:02}:{seconds // 60 % 60:02}:{seconds % 60:02}.{milliseconds:03}"


def report_nets(made, say):
    for net in ["ce"] + [f"y{k:02}_00" for k in range(WIDTH)]:
        loads = sum(f"({net})" in cell or f" {net}," in cell for cell in made.cells) - (net != "ce")
        remedy = "routed as a global" if net == "ce" else "buffered"
        say("0100", net, loads, remedy)
    for i in range(WIDTH):
        say("0101", f"a[{i}]", PERIOD)


def place(say, noise):
    cost, temperature = 184302.0, 400.0
    for step in range(1, 97):
        temperature *= 0.94
        cost *= noise.between(0.965, 0.999)
        say("0200", step, temperature, cost, temperature / 4)
    say("0201")


def route(say, noise):
    overused = 1420
    for step in range(1, 41):
        length = 61000 + 35 * step + noise.below(30)
        say("0300", step, overused, length)
        if overused == 0:
            break
        if step > 12:
            say("0301", step, noise.below(48), noise.below(48))
        overused = overused * (60 + noise.below(25)) // 100
    say("0302")


def report_timing(say, noise, lines):
    paths = []
    for k in range(1, WIDTH):
        for i in range(WIDTH - 6, WIDTH, 2):
            arrival = 0.420 + 0.148 * (i + 1) + noise.between(0.0, 0.62)
            end = f"acc{k + 1:02}_{i:02}" if k + 1 < WIDTH else f"p[{WIDTH + i}]"
            paths.append((PERIOD - arrival, f"acc{k:02}_00", end, i + 2, arrival))
    paths.sort()
    failing = [path for path in paths if path[0] < 0]
    for slack, start, end, _, _ in failing:
        say("0400", slack, start, end)
    say("0401", len(failing), len(paths))
    lines += ["", "Timing of the longest paths, in ns", "",
              "  path  from      to        levels  arrival   slack"]
    for number, (slack, start, end, levels, arrival) in enumerate(paths, 1):
        lines.append(f"  {number:4}  {start:<8}  {end:<8}  {levels:6}  {arrival:7.3f}  {slack:6.3f}")


def main():
    made = build()
    text = verilog(made)
    lines, posts = logs(made, text)
    files = {"multiplier.v": text, "multiplier.log": lines, "multiplier.xml": posts}
    if "--check" not in sys.argv[1:]:
        for name, content in files.items():
            (DEMO / name).write_text(content, encoding="ascii", newline="\n")
        return 0
    noise = Noise(7)
    pairs = [(noise.below(2**WIDTH), noise.below(2**WIDTH)) for _ in range(20)]
    pairs.append((2**WIDTH - 1, 2**WIDTH - 1))
    wrong = products(text, pairs) != [a * b for a, b in pairs]
    old = [name for name, content in files.items() if (DEMO / name).read_bytes() != content.encode("ascii")]
    if wrong:
        print("the netlist does not multiply")
    for name in old:
        print(f"examples/demo/{name} is not what scripts/make_demo_files.py makes")
    return 1 if wrong or old else 0


if __name__ == "__main__":
    sys.exit(main())
