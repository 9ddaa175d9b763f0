#!/usr/bin/env python3
"""man_test.py PROGRAM ROOT MANDOC: the man pages are well formed, tmsg(1) has each verb and option
of the program with its default, and the examples show what the program prints."""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

from program_help import options_of, verbs_of

ITEM = re.compile(r"^\.It (Fl .*)\n((?:(?!\.It|\.El|\.Ss).*\n)*)", re.MULTILINE)
OPTION = re.compile(r"Fl (\S+)( Ar| Oo)?")
REFERENCE = re.compile(r"^\.Sx ([\w ]+?)(?: [,.])?$", re.MULTILINE)


def subsections_of(page):
    parts = re.split(r"^\.S[hs] (.*)\n", page, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def described_options(subsections, title):
    """The options of a subsection and of those that it refers to: whether they take something, and
    their description."""
    text = subsections[title]
    found = {}
    for options, description in ITEM.findall(text):
        for name, takes in OPTION.findall(options):
            found["-" + name] = (bool(takes), description.replace(",", ""))
    for reference in REFERENCE.findall(text):
        found.update(described_options(subsections, reference))
    return found


def option_faults(page, program):
    subsections = subsections_of(page)
    verbs = verbs_of(program)
    described_verbs = set(re.findall(r"^\.Ss (\w+)$", page.partition(".Sh VERBS")[2], re.MULTILINE))
    synopsis = set(re.findall(r"^\.Cm (\w+)$", subsections["SYNOPSIS"], re.MULTILINE))
    for found in described_verbs, synopsis:
        if found != set(verbs) - {""}:
            yield f"verbs: {sorted(found ^ set(verbs))}"
    for verb in set(verbs) & (described_verbs | {""}):
        wanted = options_of(verbs[verb])
        found = described_options(subsections, verb or "Options without a verb")
        if verb:
            found.update(described_options(subsections, "General options"))
        for name in sorted(wanted.keys() ^ found.keys()):
            yield f"{verb} {name}: {'not described' if name in wanted else 'no such option'}"
        for name in wanted.keys() & found.keys():
            takes, description = found[name]
            if takes != bool(wanted[name]):
                yield f"{verb} {name}: takes {wanted[name] or 'nothing'}"
            default = wanted[name].partition("=")[2]
            if default not in ("", "none") and not re.search(rf"\b{default}\b", description):
                yield f"{verb} {name}: the default is {default}"


def sessions_of(page):
    """The blocks of commands with their output, as a terminal shows them."""
    for block in re.findall(r"^\.Bd .*\n(\$ (?:.*\n)*?)\.Ed$", page, re.MULTILINE):
        for escape, shown in (r"\-", "-"), (r"\&", ""), (r"\(dq", '"'), (r"\e", "\\"):
            block = block.replace(escape, shown)
        yield block


def session_faults(page, program, root):
    sessions = "".join(f"```console\n{session}```\n" for session in sessions_of(page))
    with tempfile.NamedTemporaryFile("w", suffix=".md") as copy:
        copy.write(sessions)
        copy.flush()
        ran = subprocess.run(["sh", root / "tests/program/readme.sh", program, copy.name, root / "examples"],
                             capture_output=True, text=True, check=False)
    return [] if ran.returncode == 0 else [ran.stdout + ran.stderr]


def main():
    program, root, mandoc = sys.argv[1], Path(sys.argv[2]), sys.argv[3]
    pages = {path.name: path.read_text(encoding="utf-8") for path in (root / "docs/man").glob("tmsg*")}
    assert set(pages) == {"tmsg.1", "tmsg-text.7", "tmsg-wire.7"}, pages.keys()
    faults = list(option_faults(pages["tmsg.1"], program))
    for name, page in pages.items():
        lint = subprocess.run([mandoc, "-T", "lint", "-W", "warning", root / "docs/man" / name],
                              capture_output=True, text=True, check=False)
        faults += [fault for fault in [lint.stdout] if fault or lint.returncode]
        faults += [f"{name}: {fault}" for fault in session_faults(page, program, root)]
    sys.exit("\n".join(faults) if faults else 0)


if __name__ == "__main__":
    main()
