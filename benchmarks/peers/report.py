#!/usr/bin/env python3
"""Makes tables and pictures of the times that the program peers measured.

report.py table MEASURED
    prints tmsg's ratios to the fastest peer.
report.py document MEASURED SIZES BUILD DOCS
    writes DOCS/performance.md and the pictures in DOCS/performance/. BUILD is the build folder.
    It keeps the text between the two marks in performance.md, which is written by hand.
"""

import datetime
import os
import re
import statistics
import subprocess
import sys
import textwrap
from pathlib import Path

import pictures

WORKLOADS = {
    "W1": "small request",
    "W2": "1,000 records",
    "W3": "100,000 numbers",
    "W4": "10,000 strings",
    "W5": "16 MiB of binary",
    "W6": "200 levels deep",
    "W7": "10,000 members",
}
# Title, operation, and the variant of tmsg that is compared with the peers.
ROWS = [
    ("build", "build", "tmsg"),
    ("encode", "encode", "tmsg"),
    ("encode in chunks", "encode", "tmsg/4K"),
    ("decode and destroy", "decode+destroy", "tmsg"),
    ("decode and destroy, chunks", "decode+destroy", "tmsg/4K"),
    ("read", "read", "tmsg"),
    ("copy", "copy", "tmsg"),
    ("equal", "equal", "tmsg"),
    ("JSON text", "text", "tmsg"),
    ("parse text", "parse", "tmsg"),
    ("look-up in order", "lookup-ordered", "tmsg"),
    ("look-up at random", "lookup-random", "tmsg"),
]
# The panels of the first picture, two in a row.
MESSAGES = ["build", "read", "encode", "encode in chunks", "decode and destroy",
            "decode and destroy, chunks"]
OPERATIONS = list(dict.fromkeys(operation for _, operation, _ in ROWS))
OWN = ("tmsg", "tmsg/4K")
# The document of this peer is its own bytes. It is no tree, so its operations are not comparable.
FLAT = "bson"
PACKAGES = {
    "msgpack": "libmsgpack-cxx-dev",
    "rapidjson": "rapidjson-dev",
    "nlohmann/msgpack, nlohmann/cbor": "nlohmann-json3-dev",
    "cbor": "libcbor-dev",
    "pb.Struct, pb.Struct/arena": "libprotobuf-dev",
    "bson": "libbson-dev",
}
HAND_BEGIN = "<!-- From here on written by hand; report.py keeps it. -->"
HAND_END = "<!-- Written by report.py from here on. -->"


def load_times(path):
    """Returns {(operation, workload): {peer: [nanoseconds of each round]}}."""
    times = {}
    for line in Path(path).read_text().splitlines():
        operation, workload, peer, *rounds = line.split("\t")
        times.setdefault((operation, workload), {})[peer] = [float(r) for r in rounds]
    return times


def ratio(own, peer):
    """Returns the median of the ratios of single rounds: what slows a round slows both its times."""
    return statistics.median(a / b for a, b in zip(own, peer))


def fastest(cell, peers):
    return min(peers, key=lambda peer: statistics.median(cell[peer]), default=None)


def tree_peers(cell):
    return [peer for peer in cell if peer not in OWN and peer != FLAT]


def flat_peers(cell):
    return [peer for peer in cell if peer == FLAT]


def show_ratio(value):
    if value >= 9.95:
        return f"{value:.0f}"
    if value >= 0.0995:
        return f"{value:.2f}"
    return f"{value:.2g}" if value >= 0.001 else "<0.001"


def show_time(ns):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}"
    return f"{ns:.3g} ns"


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def ratio_table(times, select, name_peer):
    workloads = [w for w in WORKLOADS if any(w == workload for _, workload in times)]
    rows = []
    for title, operation, own in ROWS:
        cells = []
        for workload in workloads:
            cell = times.get((operation, workload), {})
            peer = fastest(cell, select(cell))
            if own not in cell or peer is None:
                cells.append("")
                continue
            value = show_ratio(ratio(cell[own], cell[peer]))
            cells.append(f"**{value}** {peer}" if name_peer else value)
        if any(cells):
            rows.append([title, *cells])
    return table(["", *workloads], rows)


def time_table(times, workload):
    operations = [o for o in OPERATIONS if (o, workload) in times]
    peers = dict.fromkeys(peer for o in operations for peer in times[o, workload])
    rows = []
    for peer in peers:
        cells = [times[o, workload].get(peer) for o in operations]
        rows.append([peer, *(show_time(statistics.median(c)) if c else "" for c in cells)])
    return table(["", *operations], rows)


def size_table(path):
    sizes = {}
    for line in Path(path).read_text().splitlines():
        workload, peer, size = line.split("\t")
        sizes.setdefault(peer, {})[workload] = f"{int(size):,}"
    return table(["", *WORKLOADS],
                 [[peer, *(row[w] for w in WORKLOADS)] for peer, row in sizes.items()])


def bars(times, rows):
    """Returns the bars of a picture, one for each (label, operation, workload, own)."""
    result = []
    for label, operation, workload, own in rows:
        cell = times.get((operation, workload), {})
        peer = fastest(cell, tree_peers(cell))
        if own not in cell or peer is None:
            result.append(pictures.Bar(label, None, "", [], []))
            continue
        value = ratio(cell[own], cell[peer])
        trees = [ratio(cell[p], cell[peer]) for p in tree_peers(cell)]
        flat = [ratio(cell[p], cell[peer]) for p in flat_peers(cell)]
        result.append(pictures.Bar(label, value, show_ratio(value), trees, flat))
    return result


def panels(times):
    result = {}
    for title, operation, own in ROWS[:-2]:
        rows = [(f"{w} {what}", operation, w, own) for w, what in WORKLOADS.items()
                if (operation, w) in times]
        result[title] = bars(times, rows)
    result["look-up"] = bars(times, [(f"W7 {title.removeprefix('look-up ')}", operation, "W7", own)
                                     for title, operation, own in ROWS[-2:]])
    return result


def write_pictures(times, folder):
    folder.mkdir(exist_ok=True)
    every = panels(times)
    messages = {title: every.pop(title) for title in MESSAGES}
    (folder / "messages.svg").write_text(pictures.picture(messages))
    (folder / "trees-and-text.svg").write_text(pictures.picture(every))


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def field(path, pattern):
    found = re.search(pattern, Path(path).read_text(), re.MULTILINE)
    return found[1] if found else "unknown"


def machine(build):
    compiler = field(build / "CMakeCache.txt", r"^CMAKE_CXX_COMPILER:\w+=(.*)$")
    memory = int(field("/proc/meminfo", r"^MemTotal:\s*(\d+)")) / 2**20
    return table(["", ""], [
        ["day", datetime.date.today().isoformat()],
        ["processor", f"{field('/proc/cpuinfo', r'^model name.*: (.*)$')}, "
                      f"{os.cpu_count()} of them, {memory:.0f} GiB of memory"],
        ["system", field("/etc/os-release", r'^PRETTY_NAME="(.*)"$')],
        ["compiler", output_of(compiler, "--version").splitlines()[0]],
        ["build", "CMake's Release"],
        ["load average at the end", f"{os.getloadavg()[1]:.1f} (5 minutes)"],
    ])


def versions(build):
    version = field(build / "CMakeCache.txt", r"^CMAKE_PROJECT_VERSION:\w+=(.*)$")
    rows = [["tmsg, tmsg/4K", f"tmsg {version}"]]
    for peers, package in PACKAGES.items():
        installed = output_of("dpkg-query", "-W", "-f", "${Version}", package)
        rows.append([peers, f"{package} {installed}"])
    return table(["name here", "package and version"], rows)


def deviation(rounds):
    middle = statistics.median(rounds)
    return statistics.median(abs(r / middle - 1) for r in rounds)


def noise(times):
    spread = sorted(deviation(rounds) for cell in times.values() for rounds in cell.values())
    half, most = spread[len(spread) // 2], spread[len(spread) * 9 // 10]
    return textwrap.fill(
        "How far the rounds lie from their median (median deviation): half of the times have "
        f"{half:.1%} or less, nine in ten {most:.1%} or less.", 100)


def hand_written(path):
    if path.exists():
        text = path.read_text()
        begin, end = text.find(HAND_BEGIN), text.find(HAND_END)
        if begin < 0 or end < begin:
            sys.exit(f"report.py: {path} lacks the marks of what is written by hand")
        return text[begin + len(HAND_BEGIN):end].strip()
    return "Nothing is written here yet."


DOCUMENT = """\
# Performance

This page compares tmsg with other libraries that build a tree of named, typed values without a
schema. `./dev bench peers` makes this page. [The description of the benchmark]({benchmark}/README.md)
names the workloads and operations. A ratio is the time of tmsg divided by that of the fastest peer.
Below 1, tmsg is faster.

Times are processor time. For each operation on each workload the libraries take turns in {rounds}
rounds. A ratio is the median of the ratios of the rounds.

{noise}

## Pictures

The bar is tmsg. The line at 1 is the fastest peer. Each dot is another peer. A ring is BSON, which
is no tree. The scale is logarithmic. An arrow points to a value beyond the scale.

![build, encode, decode, read](performance/messages.svg)

![copy, equal, text, look-up](performance/trees-and-text.svg)

## Ratios to the fastest peer

Each cell names the fastest peer. BSON is not among the peers here, because its document is its bytes.

{ratios}
"Parse text" is list text for tmsg and JSON for the peers. The chunks are 4,096 bytes long.

## Where tmsg loses, and why

{begin}

{hand}

{end}

## Ratios to BSON

A BSON document is built, sent and kept as its bytes. Encoding, copying or comparing it means copying
or comparing one block of memory. Finding a member means walking through the bytes.

{flat}
## Machine and versions

{machine}
{versions}
## Encoded bytes

{sizes}
## All times

Medians.
{times}"""


def write_document(measured, sizes, build, docs):
    times = load_times(measured)
    write_pictures(times, docs / "performance")
    path = docs / "performance.md"
    all_times = "".join(f"\n### {w}: {what}\n\n{time_table(times, w)}"
                        for w, what in WORKLOADS.items())
    benchmark = os.path.relpath(Path(__file__).resolve().parent, docs.resolve())
    path.write_text(DOCUMENT.format(
        benchmark=benchmark,
        rounds=len(next(iter(next(iter(times.values())).values()))),
        noise=noise(times),
        ratios=ratio_table(times, tree_peers, name_peer=True),
        begin=HAND_BEGIN, hand=hand_written(path), end=HAND_END,
        flat=ratio_table(times, flat_peers, name_peer=False),
        machine=machine(build),
        versions=versions(build),
        sizes=size_table(sizes),
        times=all_times,
    ))
    print(f"wrote {path} and {docs / 'performance'}/*.svg")


def main():
    match sys.argv[1:]:
        case ["table", measured]:
            print(ratio_table(load_times(measured), tree_peers, name_peer=True), end="")
        case ["document", measured, sizes, build, docs]:
            write_document(measured, sizes, Path(build), Path(docs))
        case _:
            sys.exit(__doc__)


if __name__ == "__main__":
    main()
