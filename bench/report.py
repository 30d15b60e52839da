#!/usr/bin/env python3
"""Writes docs/performance.md, docs/scale.md and their pictures from the figures of a run.

Usage: report.py RESULTS WORK DOCS     WORK lies on the file system that was measured
"""
import os
import pathlib
import platform
import subprocess
import sys

import charts
import scale
from results import GOALS, Results

CHARTED = ["open by id, read, close", "walk", "change report, few changed",
           "change report, all changed", "create and save", "create and save, two folders",
           "header walk", "mailbox walk", "older client's open by id"]
PEER_ROWS = [  # operation of the peer, operation of the library, in words
    ("read", "read a text, everything asked", "a card is read"),
    ("read, photos", "read a text, everything asked/photos", "the same, photos in 5 %"),
    ("text", "text for a caller", "a card is written"),
    ("text, photos", "text for a caller/photos", "the same, photos in 5 %"),
    ("walk", "walk/10,000", "walk of 10,000 contacts, a contact"),
    ("open", "open by id, read, close/10,000", "open by id among 10,000"),
    ("create", "create and save/10,000", "10,000 contacts are made, a contact"),
]
COMMAND_ROWS = [  # command of contactmgr, of the peer, in words
    ("list", 1000, "khard", "list", "all contacts are listed"),
    ("query", 10000, "abook", "query", "a name is looked for"),
    ("senders", 2000, "mu", "senders", "all senders of mail are listed"),
    ("senders", 2000, "notmuch", "senders", "all senders of mail are listed"),
]
HEAD = """# Performance

This page is written by `make bench` from one run. A time alone says little: the machine, and what else
it does, move it. So each operation of the library runs beside its **floor**: the system calls, or the
loop over the bytes, that the operation cannot do without, written as plainly as can be. The two run in
turn, in pieces of some milliseconds, and the ratio is the median over the pieces. Times are those of
the thread on the processor, files are in the kernel's cache, nothing is flushed to the disk. The program
is `bench/`, the corpus `bench/make_corpus.py`: cards of 570 bytes and 12 lines, with photos of 2 to
20 KB in 5 % of them where it says so.
"""
TAIL = """## What weakens these figures

- A floor takes no errors into account and keeps nothing. A ratio below 1 is work that the library puts off:
  a text that is read is decoded when somebody asks for something in it, while the floor decodes all of it.
- Allocations are those of the operator `new`. What GLib allocates does not count.
- The floor of a save writes in place. The library writes a redo file first, so that a killed process
  loses nothing ([reliability.md](reliability.md)). That is most of the difference.
- Only a warm cache was measured. From a cold disk each contact costs a read of the disk, in every store of
  files alike.
"""


def output_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return "unknown"


def machine(results, work):
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    with open("/proc/meminfo", encoding="utf-8") as file:
        memory = int(file.readline().split()[1]) >> 20
    load = results.context.get("load_avg", [0])[0]
    busy = " Other programs ran beside this: the times are too high." if load > 1.3 else ""
    return [f"Measured on {len(names)} cores {names[0] if names else platform.machine()}, "
            f"{memory} GB of memory, Linux {platform.release()}, "
            f"{output_of('findmnt', '-no', 'FSTYPE', '-T', str(work))}, "
            f"{output_of('g++', '--version').splitlines()[0]}. "
            f"Load at the start: {load:.1f}.{busy}"]


def table(head, rows):
    marks = ["---" if index == 0 else "--:" for index in range(len(head))]
    return ["| " + " | ".join(line) + " |" for line in (head, marks, *rows)]


def number(value, digits=2):
    if value is None:
        return "not measured"
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.{digits if value < 10 else 1}f}"


def goals(results):
    rows = []
    for goal in GOALS:
        figure = goal.measure(results)
        state = "" if figure is None else "yes" if goal.is_met(figure) else "no"
        limit = ("at least " if goal.least else "at most ") + f"{goal.limit:g}{goal.unit}"
        rows.append([goal.what, number(figure) + (goal.unit if figure is not None else ""), limit,
                     state])
    return table(["", "measured", "goal", "met"], rows)


def operations(results):
    rows = []
    for key, row in results.operations.items():
        name, _, variant = key.partition("/")
        one = number(row["calls"]) + " (" + number(row["floor_calls"]) + ")"
        is_counted = "thread" not in variant
        rows.append([f"{name}{': ' if variant else ''}{variant}", row["item"],
                     number(row["library_us"]), number(row["floor_us"]), number(row["ratio"]) + "x",
                     one if is_counted else "", number(row["allocations"], 1) if is_counted else ""])
    return table(["operation", "one", "us", "floor, us", "ratio", "calls (floor)", "allocations"],
                 rows)


def floors(results):
    words = {}
    for key, row in results.operations.items():
        words.setdefault(row["bare"], []).append(key.partition("/")[0])
    return [f"- {', '.join(dict.fromkeys(names))}: {bare}." for bare, names in words.items()]


def memory(results):
    rows = []
    for name in ("walk", "change report, few changed", "header walk"):
        sizes = [results.operation(f"{name}/{size}", "peak_bytes")
                 for size in ("1,000", "10,000", "100,000")]
        rows.append([f"{name}, by operator new"] + [kib(size) for size in sizes])
    for name in ("list", "query", "export", "poll", "changes"):
        sizes = [results.commands.get(("contactmgr", name, count), {}).get("peak_bytes")
                 for count in (1000, 10000, 100000)]
        rows.append([f"contactmgr {name}, all of its memory"] + [kib(size) for size in sizes])
    return table(["KiB", "1,000", "10,000", "100,000"], rows)


def kib(size):
    return "not measured" if size is None else f"{size / 1024:,.0f}"


def peers(results):
    rows = []
    for operation, key, words in PEER_ROWS:
        ours = results.operation(key, "library_us")
        for (peer, name), us in sorted(results.peers.items()):
            if name == operation and ours is not None:
                rows.append([words, number(ours), peer, number(us), number(us / ours) + "x"])
    for name, count, peer, other, words in COMMAND_ROWS:
        ours = results.commands.get(("contactmgr", name, count), {}).get("us")
        theirs = results.commands.get((peer, other, count), {}).get("us")
        if ours and theirs:
            rows.append([f"{words}, {count:,}, one", number(ours), f"{peer} (command)",
                         number(theirs), number(theirs / ours) + "x"])
    lines = table(["", "library, us", "other", "other, us", "other by library"], rows)
    for peer in ("mu", "notmuch"):
        first = results.commands.get((peer, "first index", 2000))
        if first:
            lines.append(f"\n{peer} answers from an index, whose making took "
                         f"{number(first['us'])} us a message. The library has none.")
    return lines + [f"\nLeft out: {peer}, {why}." for peer, why in results.left_out.items()]


def tool(results):
    rows = []
    for (peer, name, count), row in results.commands.items():
        if peer == "contactmgr" and name != "senders":
            rows.append([f"contactmgr {name}", f"{count:,}", number(row["us"] * count / 1000),
                         number(row["us"])])
    return table(["command", "contacts", "ms on the processor", "us a contact"], rows)


def growth_panels(results):
    panels = []
    for name in CHARTED:
        curves = {charts.FLOOR: [], charts.LIBRARY: []}
        unit = ""
        for key, row in results.operations.items():
            operation, _, variant = key.partition("/")
            if operation == name and variant.replace(",", "").isdigit():
                count, unit = int(variant.replace(",", "")), row["item"]
                curves[charts.LIBRARY].append((count, row["library_us"]))
                curves[charts.FLOOR].append((count, row["floor_us"]))
        if len(curves[charts.FLOOR]) > 1:
            panels.append((name, unit, curves))
    return panels


def ratio_rows(results):
    return [(goal.what.replace(", times its floor", ""), goal.measure(results), goal.limit)
            for goal in GOALS
            if goal.what.endswith("times its floor") and goal.measure(results) is not None]


PUBLISHED = """Three parsers in Rust were not measured here. On the machine of the author of vcard-rs
([figures](https://docs.rs/crate/vcard-rs/0.1.0/source/docs/benchmarks.md)), for a card of his:
vparser 0.57 us and vcard-rs 1.47 us to the lines of a card without their meaning, calcard 4.40 us and
vcard-rs 4.46 us to a decoded contact."""


def performance(results, work):
    sections = [
        ("", [HEAD] + machine(results, work)),
        ("Goals", goals(results) + ["\n![How many times its floor](performance/ratios.svg)"]),
        ("All operations", operations(results) + ["\nThe floors:\n"] + floors(results)),
        ("Growth", ["Cost of one by the number of all.\n",
                    "![Cost by the number of contacts](performance/growth.svg)"]),
        ("Memory", ["The most at a time.\n"] + memory(results)),
        ("Other programs", ["The same cards and messages in the same run; the better of two rounds of "
                            "the other libraries counts. `bench/peers` and `bench/commands.py` have "
                            "the programs.\n"] + peers(results) + ["\n" + PUBLISHED]),
        ("The tool", ["`import` flushes to the disk.\n"] + tool(results)),
    ]
    text = "\n\n".join(("## " + title + "\n\n" if title else "") + "\n".join(lines)
                       for title, lines in sections)
    return text + "\n\n" + TAIL


def main():
    results, work, docs = Results(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3])
    os.makedirs(docs / "performance", exist_ok=True)
    pages = {
        "performance.md": performance(results, work),
        "performance/growth.svg": charts.growth_chart(growth_panels(results)),
        "performance/ratios.svg": charts.ratio_chart(ratio_rows(results)),
        "scale.md": scale.page(results),
    }
    for name, content in pages.items():
        (docs / name).write_text(content, encoding="utf-8")


if __name__ == "__main__":
    main()
