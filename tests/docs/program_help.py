"""What the help of the program says."""
import re
import subprocess

OPTION = re.compile(r"^  ((?:-\w,)?--[\w-]+)(?: (?!Excludes:|Needs:)(\S+))?", re.MULTILINE)
VERB = re.compile(r"^  (\w+) ", re.MULTILINE)


def help_of(program, *verb):
    return subprocess.run([program, *verb, "--help"], check=True, capture_output=True, text=True).stdout


def options_of(text):
    """The options in a help: for each name, what it takes ("N=4096"), or an empty text."""
    return {name: takes or "" for names, takes in OPTION.findall(text) for name in names.split(",")}


def forms_of(text, option):
    """The forms that the option takes, which is given by its short or its long name."""
    described = re.search(rf"^  (?:-\w,)?{option}(?:,--\w+)? FORM.*: ([\w, -]+)$", text, re.MULTILINE)
    return set(described[1].split(", ")) if described else set()


def verbs_of(program):
    """The help of each verb, and under "" that of the program."""
    text = help_of(program)
    verbs = VERB.findall(text.partition("Subcommands:")[2])
    assert len(verbs) > 5, text
    return {"": text, **{verb: help_of(program, verb) for verb in verbs}}
