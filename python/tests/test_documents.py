"""The examples of the documentation, and the types of the package."""

import doctest
import os
import re
import subprocess
import sys

import tmsg


def blocks(sources, language):
    page = (sources / "docs" / "python.md").read_text()
    return re.findall(rf"^```{language}\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)


def test_sessions_print_what_the_page_says(sources):
    sessions = [block for block in blocks(sources, "python") if block.startswith(">>>")]
    test = doctest.DocTestParser().get_doctest("\n".join(sessions), {}, "python.md", None, 0)
    result = doctest.DocTestRunner().run(test)
    assert result.failed == 0 and result.attempted >= 20


def test_the_program_prints_what_the_page_says(sources):
    (program,) = [block for block in blocks(sources, "python") if not block.startswith(">>>")]
    printed = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
    assert [printed.stdout] == blocks(sources, "text")


def test_types(sources, tmp_path):
    """mypy accepts the package and correct use of it, and refuses wrong use."""
    (program,) = [block for block in blocks(sources, "python") if not block.startswith(">>>")]
    good, bad = tmp_path / "good.py", tmp_path / "bad.py"
    good.write_text(program + "data: bytes = tmsg.dumps(tmsg.fault(7, 'x'))\n")
    wrong = ["tmsg.loads('text')", "tmsg.dumps(5)", "tmsg.request(5)", "tmsg.Receiver(5)", "tmsg.Message('answer')"]
    bad.write_text("import tmsg\n" + "\n".join(wrong) + "\n")
    package = os.path.dirname(tmsg.__file__)
    examples = sorted(map(str, (sources / "examples" / "python").glob("*.py")))
    environment = {**os.environ, "MYPYPATH": os.path.dirname(package)}

    def check(*files):
        options = ["--strict", "--no-error-summary", "--cache-dir", str(tmp_path / "cache")]
        mypy = [sys.executable, "-m", "mypy", *options, *files]
        return subprocess.run(mypy, capture_output=True, text=True, env=environment, cwd=tmp_path).stdout

    assert check(package, str(good), *examples) == ""
    refused = re.findall(r"^bad\.py:(\d+): error", check("bad.py"), re.MULTILINE)
    assert refused == [str(line + 2) for line in range(len(wrong))]


def test_the_stub_has_what_the_module_has(sources):
    stub = (sources / "python" / "tmsg" / "_tmsg.pyi").read_text()
    named = set(re.findall(r"^(?:def|class) (\w+)", stub, re.MULTILINE))
    assert named == {name for name in vars(tmsg._tmsg) if not name.startswith("_")}
    assert set(tmsg.__all__) <= set(vars(tmsg))
