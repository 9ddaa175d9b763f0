#!/usr/bin/env python3
"""page.py PROGRAM CHROMIUM: the page of `inspect --to html` shows what `inspect` prints, and lights
up the bytes that belong to each item."""
import json
import os
import re
import struct
import subprocess
import sys
import tempfile
import time

import expected
from browser import Browser
from expected import name, response, string

program, chromium = os.path.abspath(sys.argv[1]), sys.argv[2]
work = tempfile.TemporaryDirectory()
os.chdir(work.name)
browser = None

# What the scripts below use in the page.
HELP = """{
    globalThis.all = (selector, root = document) => [...root.querySelectorAll(selector)];
    globalThis.lit = () => all('.byte.lit').map((cell) => Number(cell.dataset.at));
    globalThis.over = (element) =>
        element.dispatchEvent(new PointerEvent('pointerover', { bubbles: true }));
    globalThis.choose = (row) => all(`[data-row="${row.dataset.row}"]`)[0].click();
    globalThis.press = (text, root) =>
        all('button', root).find((button) => button.textContent === text).click();
}"""

SHOWN = """(() => { const section = all('section.input')[NUMBER];
    press('Unfold all', section);
    return all('.row', section).map((row) => [
        ['chunk', 'message', 'damage'].find((kind) => row.classList.contains(kind)) ?? 'item',
        Number(row.querySelector('.offset').textContent), Number(row.getAttribute('aria-level')),
        [...row.childNodes].slice(2).map((node) => node.textContent).join('')]); })()"""

HOVERED = "all('.row').map((row) => { over(row); return lit(); })"
CHOSEN = "all('.row').map((row) => { choose(row); return lit(); })"
OF_BYTES = """all('.byte').map((cell) => { over(cell);
    return [...all('.row.lit').map((row) => Number(row.dataset.row)), lit()]; })"""

FIELDS = """all('.row.chunk').map((row) => { choose(row);
    return all('.fields tbody tr').map((line) => { over(line);
        return [line.cells[0].textContent, Number(line.cells[2].textContent), lit()]; }); })"""

UNFOLDED = """Promise.all(all('.row').slice(3).map((row) => { choose(row);
    const content = all('.content')[0];
    content.open = true;
    return new Promise((done) => content.addEventListener('toggle',
        () => done(content.querySelector('pre').textContent))); }))"""


def same(found, wanted, what):
    if found == wanted:
        return
    if isinstance(found, list):
        differences = [(f, w) for f, w in zip(found, wanted) if f != w]
        rests = found[len(wanted):], wanted[len(found):]
        found, wanted = differences[0] if differences else rests
    raise SystemExit(f"FAILED: {what}: {found!r} instead of {wanted!r}")


def texts(selector):
    return browser.run(f"all({json.dumps(selector)}).map((element) => element.textContent)")


def write(path, data):
    with open(path, "wb") as file:
        file.write(data)


def run(*arguments, given=None):
    return subprocess.run([program, *arguments], input=given, capture_output=True, check=False)


def convert(text, *options):
    result = run("convert", "--from", "tcl", *options, given=text.encode())
    same(result.returncode, 0, f"convert: {result.stderr}")
    return result.stdout


def write_page(status, *arguments, given=None):
    """Writes a page. Returns what `inspect` prints, with the same exit status and error."""
    page = run("inspect", "--to", "html", *arguments, given=given)
    text = run("inspect", *arguments, given=given)
    same([page.returncode, text.returncode], [status, status], f"exit statuses: {page.stderr}")
    same(page.stderr, text.stderr, f"errors of {arguments}")
    write("page.html", page.stdout)
    return text.stdout.decode(), text.stderr.decode()


def open_page(fragment="#all"):
    state = browser.open(f"file://{work.name}/page.html{fragment}")
    browser.run(HELP)
    return state


def compare_rows(text, what, has_offsets=True, number=0):
    wanted = expected.rows(text, has_offsets)
    shown = browser.run(SHOWN.replace("NUMBER", str(number)))
    for row, other in zip(shown, wanted):
        row[1] = row[1] if other[1] is not None else None
    same(shown, wanted, f"rows of {what}")


def inspect(data, what, form, status=0):
    """Compares the rows and the bytes of a capture, and its damage."""
    write("capture", data)
    text, error = write_page(status, "--from", form, "capture")
    open_page()
    compare_rows(text, what, form != "chunks")
    failures = "".join(f"tmsg: {failure}\n" for failure in texts("section > .failure"))
    same(failures, error, f"error of {what}")
    same(bytes.fromhex("".join(texts(".byte:not(.missing)"))), data, f"bytes of {what}")


def check_lights(data, what, is_chunks):
    wanted = expected.lights(data, is_chunks)
    same(browser.run(HOVERED), wanted, f"bytes of hovered rows of {what}")
    same(browser.run(CHOSEN), wanted, f"bytes of selected rows of {what}")
    is_chunk = browser.run("all('.row').map((row) => row.classList.contains('chunk'))")
    innermost = {}
    for row, places in enumerate(wanted):
        # Of a chunk, the header alone lights up the row. The payload lights up its items.
        for place in places[:8] if is_chunk[row] else places:
            if place not in innermost or len(places) <= len(wanted[innermost[place]]):
                innermost[place] = row
    of_bytes = [[innermost[place], wanted[innermost[place]]] for place in range(len(data))]
    same(browser.run(OF_BYTES), of_bytes, f"rows of the bytes of {what}")


TEXT = ('request {{name "{0}" struct {{m {{int8_t -1}}}} struct {{a {{int32_t 1}} b {{array {{'
        'double 1.5 bool true struct {{}} struct {{x {{string ""}} y {{uint64_t 7}}}}}}}} '
        's {{string "x y"}} r {{response {{struct {{}} struct {{a {{int16_t 2}}}}}}}}}}}}')
FAULT = (b"\x02\x03\x04\x84\x04" + name(b"faultCode") + b"\x11\0\0\0\7\x85" + name(b"faultString") +
         string(b"bad") + b"\x85\x84\x83\x82")


def test_sound():
    wire = convert(TEXT.format("add"), "--to", "wire") + FAULT
    wire += response([(b"f", b"\x15\0\0\0\x05hello"), (b"b", b"\x0A\0\0\x01\0" + bytes(256)),
                      (b"", string(b"\0\xff"))])
    indexed = convert(TEXT.format("add"), "--to", "wire", "--names-by-index")
    first = bytearray(convert(TEXT.format("one"), "--to", "chunks", "--chunk-size", "23", "--seq",
                              "7", "--port", "3"))
    second = convert(TEXT.format("two"), "--to", "chunks", "--chunk-size", "31", "--seq", "66051",
                     "--names-by-index")
    first[1] |= 0x30  # the reserved bit, and discard eligible
    first[5] |= 0x80  # response new
    turns = bytes(first[:31]) + second[:39] + bytes(first[31:]) + second[39:]
    for data, what, form in [(wire, "wire", "wire"), (indexed, "names by index", "wire"),
                             (turns, "chunks in turn", "chunks")]:
        inspect(data, what, form)
        check_lights(data, what, form == "chunks")
    same(browser.run(FIELDS), expected.fields(turns), "fields of the chunk headers")


def test_damage():
    wire = convert(TEXT.format("add"), "--to", "wire")
    chunks = convert(TEXT.format("add"), "--to", "chunks", "--chunk-size", "23", "--seq", "7")
    spans = []
    expected.walk(wire, 0, spans)
    marks = "all('.byte.damaged').map((cell) => [Number(cell.dataset.at), cell.title])"
    for cut in range(1, len(wire), 13):
        inspect(wire[:cut], f"wire cut at {cut}", "wire", 1)
        hovered = browser.run(HOVERED)[:-1]  # without the damage
        wanted = [list(range(begin, min(end, cut))) for begin, end in spans]
        same(hovered, wanted[:len(hovered)], f"bytes of the rows, cut at {cut}")
    for at in range(8, len(wire), 23):
        bad = wire[:at] + b"\x99" + wire[at + 1:]
        text = run("inspect", "--from", "wire", given=bad).stdout.decode()
        place = re.search(r"^damaged at byte (\d+)", text, re.M)
        inspect(bad, f"bad byte at {at}", "wire", 1 if place else 0)
        wanted = [[int(place[1]), text.splitlines()[-1]]] if place else []
        same(browser.run(marks), wanted, f"marks of damage at {at}")
    for cut in (5, 20, 31, 34, 60, len(chunks) - 1):
        inspect(chunks[:cut], f"chunks cut at {cut}", "chunks", 1)
    inspect(chunks[31:], "chunks without the first", "chunks", 1)
    same(len(texts(".chunk .error")), len(list(expected.chunks_of(chunks))) - 1, "errors of chunks")
    inspect(chunks[:31] + chunks, "a message that begins again", "chunks", 1)
    place = chunks.index(b"\x85", 39)
    inspect(chunks[:place] + b"\x99" + chunks[place + 1:], "a bad second chunk", "chunks", 1)
    same([at for at, _ in browser.run(marks)], [place], "mark in the second chunk")


HOSTILE = [b"</script><script>pwned = 1</script>", b"<!--<script>", b"]]>&lt;&amp;",
           b"\xe2\x80\xa8\xe2\x80\xa9", b"\xff\xfe\xc3", b"a\0b\x1b[31m\t\n", b"'\"\\` ${pwned}",
           "ü€😀".encode(), b"<img src=x onerror=pwned=1>", b"n" * 3000, b"{{inputs}}"]


def test_hostile():
    data = response([(text, string(text)) for text in HOSTILE])
    inspect(data, "hostile texts", "wire")
    unfolded = browser.run(UNFOLDED)
    same(unfolded[3:7] + unfolded[8:10],
         ["\\xe2\\x80\\xa8\\xe2\\x80\\xa9", "\\xff\\xfe\\xc3", "a\\x00b\\x1b[31m\\t\\n",
          "'\\\"\\\\` ${pwned}", "<img src=x onerror=pwned=1>", "n" * 3000], "unfolded texts")
    evil = "<img src=x onerror=pwned=1>&\"'<.wire"
    write(evil, data[:20])
    write_page(1, evil)
    open_page()
    same([browser.run("document.title"), *texts("h2")], [evil + " - tmsg inspect", evil], "titles")
    same(browser.run("all('script, img').length"), 1, "the script of the page alone")
    browser.run("document.body.append(Object.assign(document.createElement('script'),"
                "{ textContent: 'pwned = 1' }))")
    same(browser.run("typeof pwned"), "undefined", "a script that is not of the page")
    same(browser.run("fetch('data:,x').then(() => 'loaded', () => 'refused')"), "refused",
         "a request of the page")


def test_inputs():
    wire = convert(TEXT.format("add"), "--to", "wire")
    inputs = {"good.wire": wire, "empty": b"", "text.tcl": TEXT.format("a").encode() * 2,
              "bad.hex": wire.hex().encode()[:80] + b" x", "bad.tcl": b"request {a} {"}
    for path, data in inputs.items():
        write(path, data)
    write_page(1, "missing", *inputs, "-", given=wire)
    same(open_page(), "6 inputs", "state")
    same(texts("h2"), [*inputs, "standard input"], "headings")
    for number, path in enumerate([*inputs, "-"]):
        result = run("inspect", path, given=wire)
        compare_rows(result.stdout.decode(), path, path != "text.tcl", number)
        failures = texts(f"section:nth-of-type({number + 1}) > .failure")
        same("".join(f"tmsg: {failure}\n" for failure in failures), result.stderr.decode(),
             f"error of {path}")
    for form, path, status, error in [
            ("html", "missing", 1, "failed to open missing"),
            ("json", "good.wire", 2, "--to: no such form: json; choose from html, text")]:
        result = run("inspect", "--to", form, path)
        same([result.stdout, result.returncode, result.stderr.decode()[:len(error) + 6]],
             [b"", status, f"tmsg: {error}"], f"inspect --to {form} {path}")


def test_use():
    """The mouse, the keys, folds and colours, with only the rows in sight in the document."""
    byte = b"\x0D\x01"
    many = response([(b"few", b"\x06" + byte * 3 + b"\x86"),
                     (b"many", b"\x06" + byte * 500 + b"\x86")])
    write("many.wire", many)
    write_page(0, "--from", "wire", "many.wire")
    open_page("")
    browser.point_at("[data-row='5']")
    same(browser.run("lit()"), [14, 15], "bytes of the row under the mouse")
    chosen = "all('.row.chosen')[0].title"
    browser.run("all('.tree')[0].focus()")
    for key, wanted in [("ArrowDown", "meta: empty"), ("ArrowDown", "body"),
                        ("ArrowDown", "few: array"), ("ArrowLeft", "few: array 3 below"),
                        ("ArrowDown", "many: array 500 below"),
                        ("ArrowRight", "many: array"), ("ArrowRight", "[0] int8_t 1"),
                        ("End", "[499] int8_t 1"), ("Home", "response"), ("ArrowUp", "response")]:
        browser.press(key)
        same(browser.run(chosen), wanted, f"{key} in the tree")
    browser.run("all('.bytes')[0].focus()")
    browser.press("End")
    browser.press("ArrowLeft")
    same([browser.run(chosen), browser.run("Number(all('.byte.cursor')[0].dataset.at)")],
         ["body", len(many) - 2], "keys in the bytes")
    same(browser.run("[all('[role=tree] [role=treeitem]').length, all('[role=gridcell]').length]"
                     ".map((count) => count > 10 && count < 900)"), [True, True], "roles")
    seen = []
    for system in ("light", "dark"):
        browser.call("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": system}])
        for _ in range(3):
            seen.append(browser.run("getComputedStyle(document.body).backgroundColor"))
            browser.run("all('#theme')[0].click()")
    light, dark = seen[0], seen[3]
    same([seen, light != dark], [[light, light, dark, dark, light, dark], True], "colours")


def test_large():
    """Captures of 10 MB, of many small items and of two large ones."""
    item = (b"\x04" + name(b"number") + b"\x11\0\1\2\3\x85" + name(b"text") + string(b"some text") +
            b"\x85\x84")
    small = b"\x06" + item * (10_000_000 // len(item)) + b"\x86"
    large = b"\x0A" + struct.pack(">I", 5_000_000) + b"\xA5" * 5_000_000
    for what, members in [("small items", [(b"all", small)]),
                          ("large items", [(b"a", large), (b"b", large)])]:
        data = response(members)
        write("large.wire", data)
        text, _ = write_page(0, "--from", "wire", "large.wire")
        began = time.monotonic()
        open_page("")
        opened = time.monotonic() - began
        same(browser.run("all('.summary')[0].firstChild.textContent"),
             f"{len(data)} bytes, 1 message, {len(text.splitlines())} rows", what)
        browser.run("press('Unfold all'), all('.tree')[0].focus()")
        browser.press("End")
        same(browser.run("all('.row.chosen')[0].title"), text.splitlines()[-1][10:].strip(),
             f"last row of {what}")
        browser.run("all('.tree, .bytes').forEach((pane) => { pane.scrollTop = 1e9; })")
        time.sleep(0.1)
        same(browser.run("all('.byte').at(-1).dataset.at"), str(len(data) - 1),
             f"last byte of {what}")
        print(f"{what}: opened in {opened:.1f} s")
        same(opened < 40, True, f"the page of {what} opens in time")


with Browser(chromium) as browser:
    for test in (test_sound, test_damage, test_hostile, test_inputs, test_use, test_large):
        start = time.monotonic()
        test()
        print(f"{test.__name__}: {time.monotonic() - start:.1f} s", flush=True)
    page = f"file://{work.name}/page.html"
    elsewhere = [url for url in browser.requests if not url.startswith((page, "data:,x", "about:"))]
    same(elsewhere, [], "requests of the pages")
