"""Drives a headless Chromium through its debugging pipe."""
import fcntl
import json
import os
import select
import signal
import subprocess
import tempfile
import time


def end_process(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


class Browser:
    """One page after another. `requests` has the addresses of all that was loaded."""

    def __init__(self, chromium):
        to_browser, self.to = os.pipe()
        self.answers, from_browser = os.pipe()
        # Chromium reads from descriptor 3 and writes to 4, which may be in use here.
        ends = [fcntl.fcntl(end, fcntl.F_DUPFD, 20) for end in (to_browser, from_browser)]
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.process = subprocess.Popen(
            [chromium, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             "--no-first-run", "--disable-background-networking", "--disable-component-update",
             "--window-size=1500,900", "--remote-debugging-pipe", "about:blank",
             "--user-data-dir=" + self.profile.name],
            preexec_fn=lambda: (os.dup2(ends[0], 3), os.dup2(ends[1], 4)), pass_fds=(3, 4),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            start_new_session=True)
        for end in [to_browser, from_browser, *ends]:
            os.close(end)
        self.number, self.session, self.rest, self.requests = 0, None, b"", []
        target = self.call("Target.createTarget", url="about:blank")
        session = self.call("Target.attachToTarget", targetId=target["targetId"], flatten=True)
        self.session = session["sessionId"]
        for domain in ("Page", "Network", "Runtime"):
            self.call(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        end_process(self.process)
        self.profile.cleanup()

    def next_message(self, seconds=60):
        end = time.monotonic() + seconds
        while b"\0" not in self.rest:
            ready = select.select([self.answers], [], [], max(0, end - time.monotonic()))[0]
            piece = os.read(self.answers, 1 << 20) if ready else b""
            if not piece:
                raise RuntimeError("the browser says nothing")
            self.rest += piece
        message, self.rest = self.rest.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        data = json.dumps(message).encode() + b"\0"
        while data:
            data = data[os.write(self.to, data):]
        while True:
            answer = self.next_message()
            if answer.get("method") == "Network.requestWillBeSent":
                self.requests.append(answer["params"]["request"]["url"])
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]

    def run(self, script):
        """Returns the value of the script, which may be a promise."""
        answer = self.call("Runtime.evaluate", expression=script, returnByValue=True,
                           awaitPromise=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(f"{script[:200]}: {answer['exceptionDetails']}")
        return answer["result"].get("value")

    def open(self, url, seconds=60):
        """Opens a page, and waits until it shows its data."""
        self.call("Page.navigate", url="about:blank")
        self.call("Page.navigate", url=url)
        end = time.monotonic() + seconds
        while True:
            state = self.run("document.getElementById('state')?.textContent ?? ''")
            if state and not state.startswith("reading"):
                return state
            if time.monotonic() > end:
                raise RuntimeError(f"the page is not ready: {state}")
            time.sleep(0.05)

    def press(self, key):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key)

    def point_at(self, selector):
        """Moves the mouse to the middle of an element."""
        x, y = self.run(f"(() => {{ const box = document.querySelector({json.dumps(selector)})"
                        ".getBoundingClientRect();"
                        "return [box.x + box.width / 2, box.y + box.height / 2]; })()")
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)
