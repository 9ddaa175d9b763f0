#!/usr/bin/env python3
"""reference_test.py ROOT CHROMIUM: makes the reference and opens it.

Each link and picture of each page must lead to a file, and to an anchor in it, that exists. Then the
browser opens some pages: it runs their scripts, which make the navigation and the search.
"""
import html.parser
import http.server
import json
import os
import queue
import signal
import subprocess
import sys
import tempfile
import threading
from pathlib import Path
from urllib.parse import unquote, urldefrag

OPENED = ["index.html", "classTm__chunk__receiver.html", "docs_program.html", "docs_performance.html"]
# Loaded by the browser: opens each page in a frame and reports what is missing.
CHECK = """<!doctype html><title>check</title><body><script>
const missing = [], seen = new Map(), pages = %s;
const sleep = ms => new Promise(done => setTimeout(done, ms));

async function until(what, condition) {
    for (let i = 0; i < 2400 && !condition(); ++i) await sleep(25);
    if (!condition()) missing.push(what);
}

async function open_page(name) {
    const frame = document.createElement("iframe");
    frame.width = 1200;
    frame.height = 800;
    frame.src = name;
    const loaded = new Promise(done => frame.onload = done);
    document.body.append(frame);
    await loaded;
    return frame.contentWindow;
}

async function check_link(link, page) {
    const [path, anchor] = link.split("#");
    if (!path.startsWith(location.origin)) return;
    if (!seen.has(path)) {
        const got = await fetch(path);
        seen.set(path, got.ok && new DOMParser().parseFromString(await got.text(), "text/html"));
    }
    const target = seen.get(path), id = anchor && CSS.escape(decodeURIComponent(anchor));
    if (!target || (id && !target.querySelector(`[id="${id}"], [name="${id}"]`))) {
        missing.push(`${page}: ${link}`);
    }
}

async function check_page(name) {
    const page = (await open_page(name)).document;
    await until(`${name}: navigation`, () => page.querySelector("#nav-tree-contents a[href]"));
    for (const picture of page.images) {
        await until(`${name}: ${picture.src}`, () => picture.complete);
        if (!picture.naturalWidth) missing.push(`${name}: ${picture.src}`);
    }
    for (const picture of page.querySelectorAll("object")) {
        await until(`${name}: ${picture.data}`, () => picture.contentDocument?.documentElement.tagName == "svg");
    }
    for (const link of page.querySelectorAll("a[href], area[href]")) {
        if (!link.href.startsWith("javascript:")) await check_link(link.href, name);
    }
    return page.images.length + page.querySelectorAll("object").length;
}

async function check_search() {
    const page = await open_page(pages[0]);
    await until("search box", () => page.document.getElementById("MSearchField"));
    page.document.getElementById("MSearchField").value = "tm_chunk_rec";
    page.searchBox.Search();
    await until("search result", () => page.document.getElementById("MSearchResults")
        .contentDocument?.querySelector(".SRResult[style*=block] a[href*=classTm__chunk__receiver]"));
}

(async () => {
    let pictures = 0;
    try {
        for (const page of pages) pictures += await check_page(page);
        await check_search();
    } catch (error) {
        missing.push(String(error));
    }
    fetch("/report", {method: "POST", body: JSON.stringify({missing, pictures, links: seen.size})});
})();
</script>"""


class Page(html.parser.HTMLParser):
    """The anchors of a page and what it refers to."""

    def __init__(self, path):
        super().__init__()
        self.anchors = set()
        self.targets = []
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name == "id" or (name == "name" and tag == "a"):
                self.anchors.add(value)
            elif name in ("href", "src", "data") and value:
                self.targets.append(value)


def broken_links(folder):
    pages = {path.relative_to(folder).as_posix(): Page(path) for path in folder.rglob("*.html")}
    for name, page in pages.items():
        for target in page.targets:
            if target.startswith(("http:", "https:", "javascript:")):
                continue
            path, anchor = urldefrag(target)
            path = os.path.normpath(os.path.join(os.path.dirname(name), unquote(path))) if path else name
            if not (folder / path).is_file():
                yield f"{name}: no file {target}"
            elif anchor and path in pages and unquote(anchor) not in pages[path].anchors:
                yield f"{name}: no anchor {target}"


class Handler(http.server.SimpleHTTPRequestHandler):
    """Serves the folder and the page of the check, and keeps what was not found."""
    reports = queue.Queue()
    not_found = []

    def do_GET(self):
        if self.path != "/check":
            super().do_GET()
            return
        self.send_response(200)
        self.send_header("Content-Type", "text/html; charset=utf-8")
        self.end_headers()
        self.wfile.write((CHECK % json.dumps(OPENED)).encode())

    def do_POST(self):
        self.reports.put(json.loads(self.rfile.read(int(self.headers["Content-Length"]))))
        self.send_response(204)
        self.end_headers()

    def send_error(self, code, *args, **kwargs):
        # A browser asks for a picture that stands for the site, whether there is one or not.
        if self.path != "/favicon.ico":
            self.not_found.append(self.path)
        super().send_error(code, *args, **kwargs)

    def log_message(self, *args):
        pass


def browse(chromium, folder, profile):
    """Returns what the browser found. Its files are in the folder `profile`."""
    profile.mkdir()

    def handler(*args):
        return Handler(*args, directory=str(folder))

    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        browser = subprocess.Popen(
            [chromium, "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-background-networking", "--disable-dev-shm-usage", "--no-proxy-server",
             f"--user-data-dir={profile}", f"http://127.0.0.1:{server.server_port}/check"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
            env={**os.environ, "TMPDIR": str(profile)})
        try:
            return Handler.reports.get(timeout=200)
        finally:
            os.killpg(browser.pid, signal.SIGKILL)  # with the processes that it started
            browser.wait()
            server.shutdown()


def main():
    root, chromium = sys.argv[1:]
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as work:
        subprocess.run([Path(root, "docs/reference/make.py"), work], check=True)
        folder = Path(work, "html")
        faults = list(broken_links(folder))
        report = browse(chromium, folder, Path(work, "profile"))
    faults += report["missing"] + [f"not found: {path}" for path in Handler.not_found]
    # A check of nothing finds no fault.
    if report["pictures"] < 2 or report["links"] < 50:
        faults.append(f"too little was checked: {report}")
    sys.exit("\n".join(faults) if faults else 0)


if __name__ == "__main__":
    main()
