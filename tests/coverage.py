"""Prints what of the library has run: coverage.py MINIMUM FOLDER, with lcov's text on the input.

A table of the files with the lines and the branches that ran, and the lines that did not. Fails
where fewer than MINIMUM of a hundred lines ran.
"""

import sys


def read(text, folder):
    """What ran of each file: {line: count}, and [branches that ran, branches]."""
    files = {}
    for entry in text:
        kind, _, rest = entry.strip().partition(":")
        if kind == "SF":
            path = rest.partition(folder + "/")[2]
            lines, branches = files.setdefault(path, ({}, [0, 0])) if path else ({}, [0, 0])
        elif kind == "DA":
            number, count = (int(field) for field in rest.split(",")[:2])
            lines[number] = max(count, lines.get(number, 0))
        elif kind == "BRDA":
            branches[0] += rest.rpartition(",")[2] not in ("-", "0")
            branches[1] += 1
    return files


def spans(lines):
    """Numbers as text, those that follow each other as one span."""
    found = []
    for number in sorted(line for line, count in lines.items() if count == 0):
        if found and number == found[-1][1] + 1:
            found[-1][1] = number
        else:
            found.append([number, number])
    return " ".join(f"{first}-{last}" if last > first else str(first) for first, last in found)


def row(name, ran, lines, branches, missing=""):
    share = [f"{100 * part / max(whole, 1):5.1f}%" for part, whole in ((ran, lines), branches)]
    print(f"{name:38} {ran:5}/{lines:<5} {share[0]} {branches[0]:5}/{branches[1]:<5} {share[1]}", missing)


def main():
    minimum, folder = float(sys.argv[1]), sys.argv[2]
    files = read(sys.stdin, folder)
    print(f"{'file':38} {'lines':>18} {'branches':>18}  lines that did not run")
    totals = [0, 0, [0, 0]]
    for path, (lines, branches) in sorted(files.items()):
        ran = sum(count > 0 for count in lines.values())
        row(path, ran, len(lines), branches, spans(lines))
        totals = [totals[0] + ran, totals[1] + len(lines),
                  [totals[2][i] + branches[i] for i in (0, 1)]]
    row("all", *totals)
    enough = totals[1] > 0 and 100 * totals[0] >= minimum * totals[1]
    if not enough:
        print(f"fewer than {minimum:g}% of the lines ran", file=sys.stderr)
    return 0 if enough else 1


sys.exit(main())
