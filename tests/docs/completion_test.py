#!/usr/bin/env python3
"""completion_test.py PROGRAM FOLDER: the completions for bash, fish and zsh offer the verbs of the
program, the options of each verb and the forms of each option that takes one, and files elsewhere."""
import re
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

from program_help import forms_of, options_of, verbs_of

BASH = """source {folder}/tmsg.bash
ask() {{ COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tmsg; printf '%s\\n' "${{COMPREPLY[@]}}" .; }}
"""
FISH = """source {folder}/tmsg.fish
function ask; complete -C "$argv" | string split -f 1 \\t; echo .; end
"""
# The functions of zsh get the descriptions of options, which show all that is asked for.
ZSH = """fpath=({folder} $fpath); autoload -Uz _tmsg
_arguments() {{ print -rl -- "$@" }}
_describe() {{ print -rl -- "${{(@P)4}}" }}
ask() {{ words=("$@"); CURRENT=$#; _tmsg; print . }}
"""
SHELLS = {"bash": (["bash", "--norc"], BASH), "fish": (["fish", "--no-config"], FISH), "zsh": (["zsh", "-f"], ZSH)}
FILE_VERBS = {"check", "convert", "diff", "get", "inspect", "peek", "set"}
SPEC = re.compile(r"(?:\([^)]*\))?(-[\w-]+)[+=]*\[[^]]*\](?::[^:]*:(.*))?$")


class Shell:
    """Asks the completion of a shell what may stand in place of the last of some words."""

    def __init__(self, name, folder, work):
        self.name = name
        self.command, begin = SHELLS[name]
        self.begin = begin.format(folder=shlex.quote(str(folder)))
        self.work = work

    def ask(self, questions):
        script = self.begin + "".join(f"ask {shlex.join(words)}\n" for words in questions)
        ran = subprocess.run([*self.command, "-c", script], cwd=self.work, capture_output=True, text=True,
                             check=False)
        # Each answer ends with a line of a point. fish shows a folder with a slash.
        answers = [{line.rstrip("/") for line in answer.splitlines()}
                   for answer in re.split(r"^\.\n", ran.stdout, flags=re.MULTILINE)[:-1]]
        assert len(answers) == len(questions) and not ran.stderr, f"{self.name}: {ran.stderr}"
        return answers


def faults_of_words(shell, verbs):
    """Where the words that bash or fish offers are not those of the help."""
    questions = []
    wanted = []

    def expect(words, *offered):
        questions.append(["tmsg", *words])
        wanted.append(set(offered))

    expect([""], *verbs.keys() - {""})
    expect(["help", ""], *verbs.keys() - {""})
    for verb, text in verbs.items():
        options = options_of(text)
        words = [verb] if verb else []
        expect([*words, "-"], *options)
        for option in options if verb else []:
            takes = options[option]
            is_file = takes == "FILE" or (not takes and verb in FILE_VERBS)
            expect([*words, option, "mess"], *(["message.tcl"] if is_file else []))
            if takes == "FORM":
                expect([verb, option, ""], *forms_of(text, option))
        if verb in FILE_VERBS:
            expect([verb, "mess"], "message.tcl")
    expect(["call", "127.0.0.1:7007", "mess"], "message.tcl")
    expect(["tap", "--save", "cap"], "captures")
    expect(["convert", "--color", "a"], "auto", "always")
    for words, found, offered in zip(questions, shell.ask(questions), wanted):
        if found != offered:
            yield f"{shell.name}: {shlex.join(words)}: {sorted(found ^ offered)}"


def faults_of_specs(shell, verbs):
    """Where what zsh is told about a verb differs from the help."""
    named, no_verb = shell.ask([["tmsg", ""], ["tmsg", "-"]])
    if {line.partition(":")[0] for line in named} != verbs.keys() - {""}:
        yield f"zsh: verbs: {named}"
    names = list(verbs)[1:]
    told = dict(zip(names, shell.ask([["tmsg", name, "-"] for name in names])), **{"": no_verb})
    for verb, text in verbs.items():
        found = {match[1]: match[2] for match in map(SPEC.match, told[verb]) if match}
        options = options_of(text)
        if found.keys() != options.keys():
            yield f"zsh: {verb}: {sorted(found.keys() ^ options.keys())}"
        for option in found.keys() & options.keys():
            if (found[option] is not None) != bool(options[option]):
                yield f"zsh: {verb} {option}: takes {options[option] or 'nothing'}"
            if options[option] == "FORM" and set((found[option] or "").strip("()").split()) != forms_of(text, option):
                yield f"zsh: {verb} {option}: {found[option]}"


def faults_of_typed_lines(folder, work):
    """Whether zsh completes lines that someone types."""
    typed = {
        "tmsg con": "tmsg convert ",
        "tmsg help pe": "tmsg help peek ",
        "tmsg convert --to typ": "tmsg convert --to typed-json ",
        "tmsg set message.tcl --in": "tmsg set message.tcl --in-place ",
        "tmsg call h mess": "tmsg call h message.tcl ",
        "tmsg serve --reply mess": "tmsg serve --reply message.tcl ",
        "tmsg serve mess": "tmsg serve mess",
    }
    script = Path(__file__).with_name("zsh_completion.zsh")
    ran = subprocess.run(["zsh", "-f", script, folder, *typed], cwd=work, capture_output=True, text=True,
                         timeout=200, check=False)
    completed = ran.stdout.splitlines()
    if completed != list(typed.values()):
        yield f"zsh: {completed} {ran.stderr}"


def main():
    verbs = verbs_of(sys.argv[1])
    folder = Path(sys.argv[2]).resolve()
    with tempfile.TemporaryDirectory() as work:
        Path(work, "message.tcl").touch()
        Path(work, "captures").mkdir()
        Path(work, "capture").touch()
        faults = [fault for name in ("bash", "fish") for fault in faults_of_words(Shell(name, folder, work), verbs)]
        faults += faults_of_specs(Shell("zsh", folder, work), verbs)
        faults += faults_of_typed_lines(folder, work)
    sys.exit("\n".join(faults) if faults else 0)


if __name__ == "__main__":
    main()
