#!/usr/bin/env python3
"""Prints the measurements of a folder as Markdown: times.json of Google Benchmark, callgrind.out.* and lackey.txt."""
import collections
import glob
import json
import re
import sys

FOLDER = sys.argv[1]
NS = {"ns": 1, "us": 1e3, "ms": 1e6}
REQUESTS = 20000  # of each process: kRequests of virtual_switch.cpp
# How pauses pass: the numbers of the enum in flash.cpp.
COUNTED = 0
SLEPT = 1
SLEPT_WITHOUT_SLACK = 2
# The stretches of calls.cpp, from its end.
POWER_QUESTION = -2
ENVIRONMENT_UPDATE = -1


def times():
    """Fastest repetition of each benchmark, in ns: what else the machine does only adds."""
    found = collections.defaultdict(list)
    for run in json.load(open(f"{FOLDER}/times.json"))["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] == "iteration":
            name = re.sub(r"/(real_time|iterations:\d+|repeats:\d+)", "", run["name"])
            found[name].append(run["real_time"] * NS[run["time_unit"]])
    return {name: min(values) for name, values in found.items()}


def instructions():
    """Self cost of each object file per dump: {name: {object: instructions}}."""
    result = {}
    for path in glob.glob(f"{FOLDER}/callgrind.out.*"):
        costs = collections.Counter()
        objects = {}  # names by number
        current = ""
        name = None
        skip = False  # the line behind "calls=" is the cost of the callee
        for line in open(path):
            if line.startswith("desc: Trigger: Client Request: "):
                name = line.split(": ")[-1].strip()
            elif match := re.match(r"c?ob=\((\d+)\)(?: (.*))?", line):
                objects.setdefault(match[1], match[2])
                if line.startswith("ob="):
                    current = objects[match[1]]
            elif line.startswith("calls="):
                skip = True
            elif re.match(r"[+\-*\d]", line):
                if not skip:
                    costs[current.rsplit("/", 1)[-1].split(".")[0]] += int(line.split()[1])
                skip = False
        if name:
            result[name] = costs
    return result


def bytes_touched():
    """Data of each stretch between stores to the marker: [(bytes loaded and stored, distinct bytes)]."""
    lines = open(f"{FOLDER}/lackey.txt").read().split("\n")
    marker = next(line for line in lines if line.startswith("0x"))[2:].zfill(8)
    stretches = []
    inside = False
    for line in lines:
        match = re.match(r" ([LSM]) ([0-9a-f]+),(\d+)$", line)
        if match and match[1] == "S" and match[2] == marker:
            inside = not inside
            if inside:
                stretches.append([0, set()])
        elif match and inside:
            size = int(match[3])
            stretches[-1][0] += size * (2 if match[1] == "M" else 1)
            stretches[-1][1].update(range(int(match[2], 16), int(match[2], 16) + size))
    return [(total, len(distinct)) for total, distinct in stretches]


def row(what, ours, theirs, result, goal="", met=True):
    print(f"| {what} | {ours} | {theirs} | {result} | {goal}{'' if met else ' **missed**'} |")


def head(*titles):
    print("\n|" + "|".join(f" {title} " for title in titles) + "|\n|" + "---|" * len(titles))


ns = times()
calls = instructions()
data = bytes_touched()

head("measured", "zelboard", "compared with", "result", "goal")
for what, ours, theirs, goal in (
    ("CRC-32 of 64 KiB, plain table loop", "crc/zelboard", "crc/table_loop", 4),
    ("CRC-32 of 64 KiB, zlib", "crc/zelboard", "crc/zlib", None),
    ("Byte sum of 64 KiB, std::accumulate", "sum/zelboard", "sum/accumulate", None),
):
    ratio = ns[theirs] / ns[ours]
    row(what, f"{ns[ours] / 1e3:.1f} us", f"{ns[theirs] / 1e3:.1f} us", f"{ratio:.2f} x the speed",
        f"at least {goal} x" if goal else "", not goal or ratio >= goal)
for name, what in (("led", "LED set"), ("transfer", "I2C transfer"), ("port", "Port check"),
                   ("tx_disable", "Transmit-disable set")):
    ours = calls[name + "/zelboard"]["libzelboard"]
    theirs = calls[name + "/plain"]["libplain"]
    row(what + ", own instructions, hand-written C", ours, theirs, f"{ours / theirs:.2f} x", "at most 1.2 x",
        ours <= 1.2 * theirs)
for name, what in (("copy", "12 MiB partition copy"), ("dump", "Whole-flash dump")):
    ours = ns[f"{name}/zelboard/{COUNTED}"]
    bare = ns[f"{name}/bare/{COUNTED}"]
    above = 100 * (ours / bare - 1)
    row(what + ", bare loop of its system calls", f"{ours / 1e6:.0f} ms", f"{bare / 1e6:.0f} ms", f"{above:+.1f} %",
        "at most +15 %", above <= 15)
# A copy is nearly all pauses. A dump is not: without timer slack it shows what it does beside them, as above.
for name, what, goal in (("copy", "12 MiB partition copy", 3), ("dump", "Whole-flash dump", 15)):
    for kind, slack in ((SLEPT, ""), (SLEPT_WITHOUT_SLACK, " without timer slack")):
        ours = ns[f"slept_{name}/zelboard/{kind}"]
        slept = ns[f"slept_{name}/bare/{kind}"]
        above = 100 * (ours / slept - 1)
        row(f"{what}, pauses slept{slack}, bare loop with the same sleeps", f"{ours / 1e6:.0f} ms",
            f"{slept / 1e6:.0f} ms", f"{above:+.1f} %", f"at most +{goal} %", above <= goal)
ours = ns["request/zelsim"]
bare = ns["request/bare"]
row("Virtual switch, one request (open, ioctl, close), bare system calls", f"{ours / 1e3:.2f} us",
    f"{bare / 1e3:.2f} us", f"+{(ours - bare) / 1e3:.2f} us", "at most +1 us", ours - bare <= 1000)
for count in (1, 8):
    row(f"Virtual switch, requests of {count} process{'es' if count > 1 else ''}", "", "",
        f"{count * REQUESTS / ns[f'processes/{count}'] * 1e3:.2f} million/s")
row("zelsim run -- true, true alone", f"{ns['start/zelsim'] / 1e6:.1f} ms", f"{ns['start/true'] / 1e6:.1f} ms",
    f"+{(ns['start/zelsim'] - ns['start/true']) / 1e6:.1f} ms")

head("call", "own instructions", "instructions of libc", "bytes loaded and stored", "distinct bytes")
for name, what, stretch in (("power_question", "FW_Pwr_Flag", POWER_QUESTION),
                            ("environment_update", "FW_SpiFlash_EnvAdd", ENVIRONMENT_UPDATE)):
    own = calls[name]["libzelboard"]
    libc = calls[name]["libc"]
    print(f"| {what} | {own} | {libc} | {data[stretch][0]} | {data[stretch][1]} |")

head("how cost grows", "", "", "", "")
for what, name, counts in (("Dump and compare of the whole flash in N parts", "dump_parts", (1, 8, 64, 512)),
                           ("Environment update with N variables", "environment_update", (1, 50, 100, 200)),
                           ("FW_Pwr_Flag with N variables", "power_question", (1, 50, 100, 200))):
    print(f"| {what} |" + "".join(f" N={n}: {ns[f'{name}/{n}'] / 1e6:.3g} ms |" for n in counts))
