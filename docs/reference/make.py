#!/usr/bin/env python3
"""make.py FOLDER: makes the reference of the library, with its guide, as HTML in FOLDER/html.

Doxygen reads copies of the Markdown pages and of the public headers, in FOLDER/source. They differ
from the originals in what Doxygen does not know:

- A heading has the anchor that links to it use, as in docs/program.md#over-nats.
- A link to a page or header is a reference, which Doxygen checks. A link to another file of the tree,
  which is not in the reference, is plain text.
- The comment at the top of a header describes the file, and also the class of the same name if that
  has no comment of its own.
- A class has no private part and no friends: Doxygen would link to them without describing them.
- A comment that begins with "Both", "Each", "These" or "Return" describes all declarations up to the
  next blank line or comment.
"""
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

PRIVATE = re.compile(r"^( *)private:\n(?:\1 .*\n|\n|#.*\n)*", re.MULTILINE)
FRIEND = re.compile(r"^( +)friend (?:[^{;]*;|.*\{ .* \}|.*\{\n(?:\1 .*\n)*\1\})\n", re.MULTILINE)
CODE_BLOCK = re.compile(r"^[ ]*```.*?^[ ]*```$|^(?:    [^\n]*\n)+", re.MULTILINE | re.DOTALL)
CODE = re.compile(r"(`+)(.+?)\1")
HEADING = re.compile(r"^#{1,6} (.+)$", re.MULTILINE)
SAYS_COMMON = re.compile(r"\s*/// (Both|Each|These|Return)\b")
LINK = re.compile(r"(!?)\[((?:`[^`]*`|[^\]\[`])*)\]\(([^)\s]+)\)")


def sources():
    """The copy of each page and of each public header, both as paths below a root."""
    pages = [*ROOT.glob("*.md"), *ROOT.glob("docs/**/*.md")]
    copies = {page.relative_to(ROOT): page.relative_to(ROOT) for page in pages}
    for folder in (ROOT, ROOT / "nats"):
        headers = {path.relative_to(ROOT): path.relative_to(folder) for path in folder.glob("tmsg/**/*.h")}
        copies.update({path: copy for path, copy in headers.items() if "internal" not in path.parts})
    return copies


SOURCES = sources()


def label_of(page, anchor=""):
    """The name of a page or of one of its headings. It is unique among all pages."""
    label = re.sub(r"\W", "_", str(page.with_suffix("")))
    return f"{label}-{anchor}" if anchor else label


def slug_of(heading, seen):
    """The anchor that pages use for a heading. `seen` counts the headings of a page."""
    text = LINK.sub(r"\2", heading).lower()
    slug = re.sub(r"[^\w\- ]", "", text).strip().replace(" ", "-")
    seen[slug] = seen.get(slug, -1) + 1
    return f"{slug}-{seen[slug]}" if seen[slug] else slug


def reference(page, match):
    """What stands in the copy of the page in place of a link."""
    picture, text, target = match.groups()
    if re.match(r"\w+:", target):
        return match[0]
    path, _, anchor = target.partition("#")
    path = Path(os.path.normpath(page.parent / path)) if path else page
    if picture:
        return f"![{text}]({path.name})"
    if path not in SOURCES and (ROOT / path).exists():
        return text
    copy = SOURCES.get(path, path)
    return f"[{text}](@ref {copy if copy.suffix == '.h' else label_of(copy, anchor)})"


def anchored_headings(page, text):
    seen = {}

    def anchored(match):
        anchor = slug_of(match[1], seen)
        return f"{match[0]} {{#{label_of(page, anchor if len(seen) > 1 else '')}}}"

    return HEADING.sub(anchored, text)


def copy_of_page(page, text):
    blocks = []

    def put_aside(code):
        blocks.append(code)
        return f"\0{len(blocks) - 1}\0"

    # Doxygen takes quotation marks in code for those of its own commands.
    text = CODE_BLOCK.sub(lambda match: put_aside(match[0]), text)
    text = LINK.sub(lambda match: reference(page, match), text)
    text = anchored_headings(page, text)
    text = CODE.sub(lambda match: match[0].replace("&", "&amp;").replace('"', "&quot;"), text)
    return re.sub("\0(\\d+)\0", lambda match: blocks[int(match[1])], text)


def indentation_of(line):
    return len(line) - len(line.lstrip())


def declarations_end(lines, begin):
    """The end of the declarations that the comment before lines[begin] describes together."""
    indentation = indentation_of(lines[begin])
    count = 0
    end = begin
    while end < len(lines) and lines[end].strip() and indentation_of(lines[end]) >= indentation:
        line = lines[end].strip()
        if line.startswith("///") or line.endswith(":"):
            break
        if indentation_of(lines[end]) == indentation and not re.match(r"[})]|template\b", line):
            count += 1
        end += 1
    return end, count


def with_common_comments(lines):
    """The lines with marks around each comment that describes several declarations, and these."""
    copy = []
    end = None
    says_common = None
    for n, line in enumerate(lines):
        if n == end:
            copy.append("/// @}")
            end = None
        if line.lstrip().startswith("///"):
            if not copy or not copy[-1].lstrip().startswith("///") or copy[-1] == "/// @}":
                first = len(copy)
                says_common = SAYS_COMMON.match(line)
        elif says_common:
            end, count = declarations_end(lines, n)
            if count < 2 or (says_common[1] == "Both" and count > 2):
                end = None
            else:
                copy.insert(first, "/// @{")
            says_common = None
        copy.append(line)
    return copy if end is None else [*copy, "/// @}"]


def copy_of_header(header, text):
    lines = FRIEND.sub("", PRIVATE.sub("", text)).splitlines()
    count = next(n for n, line in enumerate(lines) if not line.startswith("///"))
    about = lines[:count]
    copy = ["//" + line[3:] for line in about] + with_common_comments(lines[count:])
    copy += [f"/// @file {header}", *about]
    own_class = re.compile(rf"(?:class|struct) (?:TMSG\w* )?({header.stem})\b[^;]*$", re.IGNORECASE)
    for before, line in zip(lines, lines[1:]):
        declared = own_class.match(line)
        if declared and not before.startswith(("///", "template")):
            copy += ["", f"/// @class {declared[1]}", *about]
    return "\n".join(copy) + "\n"


def copy_sources(folder):
    shutil.rmtree(folder, ignore_errors=True)
    for path, name in SOURCES.items():
        copied = copy_of_page if path.suffix == ".md" else copy_of_header
        copy = folder / name
        copy.parent.mkdir(parents=True, exist_ok=True)
        copy.write_text(copied(name, (ROOT / path).read_text(encoding="utf-8")), encoding="utf-8")


def doxygen_settings(folder):
    version = re.search(r'^#define TMSG_VERSION "(.*)"', (ROOT / "tmsg/version.h").read_text(), re.MULTILINE)
    reference_folder = ROOT / "docs/reference"
    return (reference_folder / "Doxyfile").read_text() + f"""
PROJECT_NUMBER = {version[1]}
OUTPUT_DIRECTORY = {folder}
IMAGE_PATH = {ROOT / "docs"}
HTML_EXTRA_STYLESHEET = {reference_folder / "style.css"}
"""


def main():
    folder = Path(sys.argv[1]).resolve()
    copy_sources(folder / "source")
    shutil.rmtree(folder / "html", ignore_errors=True)
    made = subprocess.run(["doxygen", "-"], input=doxygen_settings(folder), text=True,
                          cwd=folder / "source", check=False)
    sys.exit(made.returncode)


if __name__ == "__main__":
    main()
