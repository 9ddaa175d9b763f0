"""Plants faults in a copy of the library, one at a time, and prints those that no test catches.

A fault that survives is a test that is missing, or makes no difference that anybody can see.
"""

import argparse
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"
TREE = WORK / "tree"
BUILD = WORK / "build"
COPIED = ["CMakeLists.txt", "README.md", "cmake", "fuzz", "tests", "tmsg", "tools"]
SECONDS = 60
MEMORY = 8 << 30

# What is found in a line of code, and what replaces it.
SWAPS = [(rf"(?<= ){re.escape(old)}(?= )", new) for pair in
         (("<", "<="), (">", ">="), ("==", "!="), ("&&", "||"), ("+", "-"), ("+=", "-="))
         for old, new in (pair, pair[::-1])]
SWAPS += [(r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"!(?=[\w(])", ""),
          (r"\b0U?\b(?!\.)", "1"), (r"\b1U?\b(?!\.)", "0"), (r"\+\+(?=\w)", "--")]
WORDS = "return|throw|delete|if|for|while|switch|case|else|using|static_assert|sizeof"
CALL = re.compile(rf"^ +(?!(?:{WORDS})\b)[A-Za-z_:][\w.:>\[\]()*-]*\(.*\);$")
GUARD = re.compile(r"^ +if \(.*\) (?:return|continue|break)\b.*;$")
NO_CODE = re.compile(r"^\s*(//|#|template|static_assert)")
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"|//.*|<[^<> ]+>')


def changes_of(path):
    """All (path, line number, new line) of a file."""
    lines = path.read_text().splitlines()
    for number, line in enumerate(lines):
        if NO_CODE.match(line):
            continue
        is_statement = number > 0 and lines[number - 1].endswith((";", "{", "}", ":"))
        if GUARD.match(line) or (CALL.match(line) and is_statement):
            yield path, number, ""
        code = TEXT.sub(lambda found: '"' * len(found.group()), line)
        for old, new in SWAPS:
            for found in re.finditer(old, code):
                yield path, number, line[:found.start()] + new + line[found.end():]


def copy_tree():
    """Only what differs is written, so that little is built anew."""
    for top in COPIED:
        sources = [ROOT / top] if (ROOT / top).is_file() else sorted((ROOT / top).rglob("*"))
        for source in sources:
            target = TREE / source.relative_to(ROOT)
            is_same = target.exists() and target.read_bytes() == source.read_bytes() \
                if source.is_file() else True
            if not is_same:
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)


def run(command, seconds=None):
    """Whether the command succeeds in time. What it starts ends with it."""
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    try:
        return process.wait(seconds) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        try:
            os.killpg(process.pid, 9)
        except ProcessLookupError:
            pass
        process.wait()


def is_built():
    return run(["cmake", "--build", str(BUILD), "-j2"])


def tests():
    fuzz = TREE / "fuzz"
    for target in sorted(folder.name for folder in (fuzz / "corpus").iterdir()):
        folders = [fuzz / kind / target for kind in ("corpus", "regressions")]
        yield [BUILD / "fuzz" / f"replay_{target}", *(one for one in folders if one.exists())]
    for name in ("tests", "system_calls_test", "allocation_test", "threads_test", "unload_test"):
        yield [BUILD / "tests" / f"tmsg_{name}", "--gtest_fail_fast"]
    program = BUILD / "tools" / "tmsg"
    yield [TREE / "tests" / "program" / "disk.sh", program, next((BUILD / "tmsg").glob("libtmsg.so.0.*"))]


def catcher():
    """The first test that fails, or nothing. /tmp is one of their own, where that can be."""
    private = 'mount -t tmpfs -o size=4g none /tmp && exec "$@"'
    prefix = ["unshare", "-rm", "sh", "-c", private, "sh"] if run(["unshare", "-rm", "true"]) else []
    for command in tests():
        words = [str(word) for word in command]
        if not run([*prefix, *words], SECONDS):
            return pathlib.Path(words[0]).name
    return None


def main():
    parser = argparse.ArgumentParser(prog="./dev mutants", description=__doc__)
    parser.add_argument("count", nargs="?", type=int, default=100, help="faults that compile")
    parser.add_argument("files", nargs="*", type=pathlib.Path, help="else all of tmsg/")
    parser.add_argument("--seed", type=int, default=1, help="other seeds give other faults")
    given = parser.parse_intermixed_args()
    sources = [file.resolve().relative_to(ROOT) for file in given.files] or sorted(
        path.relative_to(ROOT) for path in (ROOT / "tmsg").rglob("*") if path.suffix in (".cpp", ".h"))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    copy_tree()
    if not run(["cmake", "-S", str(TREE), "-B", str(BUILD), "-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O1",
                "-DTMSG_BUILD_EXAMPLES=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"]) or not is_built():
        sys.exit("mutants: the library does not build")
    if failed := catcher():
        sys.exit(f"mutants: {failed} fails without a fault")
    changes = [change for source in sources for change in changes_of(TREE / source)]
    random.Random(given.seed).shuffle(changes)
    caught = survived = 0
    for path, number, line in changes:
        if caught + survived == given.count:
            break
        whole = path.read_text()
        lines = whole.split("\n")
        old, lines[number] = lines[number], line
        path.write_text("\n".join(lines))
        try:
            if not is_built():
                continue
            if by := catcher():
                caught += 1
            else:
                survived += 1
            place = f"{path.relative_to(TREE)}:{number + 1}"
            print(f"caught   {place} by {by}" if by else f"SURVIVED {place}\n-{old}\n+{line}", flush=True)
        finally:
            path.write_text(whole)
    print(f"{caught} caught, {survived} survived")


if __name__ == "__main__":
    main()
