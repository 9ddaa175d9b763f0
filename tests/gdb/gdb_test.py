"""gdb_test.py LIBRARY PRINTERS FOLDER PROGRAM...: gdb prints the values of programs that were
compiled with and without optimisation."""

import os
import platform
import re
import shutil
import subprocess
import sys
import unittest

LIBRARY, PRINTERS, FOLDER = sys.argv[1:4]
PROGRAMS = sys.argv[4:]
SKIPPED = 77
FIVE_BYTES = os.path.join(FOLDER, "five bytes")

MESSAGE = (
    'Message request stock.reserve = {meta = Tm_struct of 1 member = {user = "é"}, body = Tm_struct '
    'of 3 members = {list = Tm_array of 5 elements = {1, 2.5, "x", Tm_struct of 2 members = {a = 7, '
    'b\\x0a = Tm_array of 0 elements}, Message fault = {meta = Tm_struct of 0 members, body = '
    'Tm_struct of 2 members = {faultCode = 5, faultString = "no"}}}, count = 250, "" = false}}')
LOCALS = {
    "nothing": "Tm_struct of 0 members",
    "text": '"a \\"text\\""',
    "small": "65",
    "large": "18446744073709551615",
    "yes": "true",
    "half": "0.5",
    "file": f'Tm_file "{FIVE_BYTES}" of 5 bytes',
    "bytes": "Tm_binary of 17 bytes: 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f ...",
    "date": "{<Tm_date> = Tm_date 2026-03-09 08:07:06, <No data fields>}",
    "prenamed": 'Tm_struct of 2 members = {first = <empty>, second = "set"}',
}
DEBUG_TEXT = (
    'request stock.reserve {user: "é"} {list: [int32_t 1, double 2.5, "x", {a: uint8_t 7, b\\x0a: []},'
    ' response(fault) {} {faultCode: int32_t 5, faultString: "no"}], count: int32_t 250, "": '
    'bool false}')


def gdb(program, *commands):
    words = [word for command in commands for word in ("-ex", command)]
    done = subprocess.run(
        ["gdb", "-batch", "-nx", "-iex", "add-auto-load-safe-path " + FOLDER,
         "-iex", "set debuginfod enabled off", *words, "--args", program, FIVE_BYTES],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
        env={**os.environ, "LC_ALL": "C.UTF-8"})
    return done.stdout.decode("utf-8", "replace")


def printed(output):
    return re.findall(r"^\$\d+ = (.*)$", output, re.M)


class Gdb(unittest.TestCase):
    maxDiff = None

    def test_prints_values(self):
        values = [f"values[{i}]" for i in range(len(LOCALS))]
        for program in PROGRAMS:
            with self.subTest(program):
                output = gdb(
                    program, "source " + PRINTERS, "break stop_here", "run", "print *message",
                    "print *first", "up", *("print " + name for name in LOCALS),
                    *(f"print *{value}" for value in values), "print $_siginfo.si_signo",
                    "continue", "print *message", "disable pretty-printer global tmsg;Message",
                    "print *message")
                shown = printed(output)
                self.assertEqual(shown[:2 + len(LOCALS)],
                                 [MESSAGE, LOCALS["nothing"], *LOCALS.values()], output)
                # The same values as references to their base class. Users' own have no printer.
                through_base = shown[2 + len(LOCALS):2 + 2 * len(LOCALS)]
                for expected, actual in zip(LOCALS.values(), through_base):
                    if not expected.startswith("{"):
                        self.assertEqual(expected, actual)
                self.assertEqual(shown[-2], MESSAGE, "as received")
                self.assertIn("request_name_ = ", shown[-1])

    def test_prints_what_cannot_be_read(self):
        output = gdb(PROGRAMS[0], "source " + PRINTERS, "break stop_here", "run",
                     "print *(Tm_struct*) 16", "print *(Message*) 16", "print *(Tm_value*) 16",
                     "print *(Tm_file*) $sp", "print *(Tm_binary*) $sp", "print *(Tm_array*) $sp",
                     "set var *(long*) ((char*) message + 24) = 16", "print *message")
        self.assertNotIn("Traceback", output)
        self.assertNotIn("Python Exception", output)
        self.assertGreaterEqual(output.count("Cannot access memory"), 4, output)

    def test_is_loaded_with_the_library(self):
        copy = os.path.join(FOLDER, "libtmsg.so.1")
        subprocess.run(["strip", "-o", copy, LIBRARY], check=True)
        shutil.copy(PRINTERS, copy + "-gdb.py")
        output = gdb(PROGRAMS[1], "set environment LD_PRELOAD " + copy,
                     "set startup-with-shell off", "break stop_here", "run", "print *message",
                     "info pretty-printer")
        self.assertEqual(printed(output), [MESSAGE], output)
        self.assertRegex(output, r"objfile .*libtmsg.so.1 pretty-printers:\n  tmsg")

    def test_text_without_symbols(self):
        """Where gdb cannot call functions, the call is made by hand."""
        copy, program = os.path.join(FOLDER, "libtmsg.so.2"), os.path.join(FOLDER, "stripped")
        subprocess.run(["strip", "-o", copy, LIBRARY], check=True)
        subprocess.run(["strip", "-o", program, PROGRAMS[1]], check=True)
        begin = ["set environment LD_PRELOAD " + copy, "set startup-with-shell off",
                 "set breakpoint pending on", "set print elements 0", "break tm_encode", "run"]
        output = gdb(program, *begin, "print (char*) tmsg_debug_text($rdi)")
        if "Couldn't write" in output:
            if platform.machine() != "x86_64":
                self.skipTest("gdb cannot call functions here")
            output = gdb(
                program, *begin, "set $back = (long) $pc", "set $rsp = ((long) $rsp & ~15) - 1032",
                "set {long} $rsp = $back", "set $pc = (long) &tmsg_debug_text", "continue",
                "output (char*) $rax")
        shown = output[output.rindex('"request'):].strip()
        self.assertEqual(shown, '"' + re.sub(r'(["\\])', r"\\\1", DEBUG_TEXT) + '"')


def can_debug():
    output = subprocess.run(["gdb", "-batch", "-nx", "-ex", "run", "--args", "true"],
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            stdin=subprocess.DEVNULL).stdout
    return b"exited normally" in output


if __name__ == "__main__":
    if shutil.which("gdb") is None or not can_debug():
        print("skipped: there is no gdb, or it may not run programs")
        sys.exit(SKIPPED)
    os.makedirs(FOLDER, exist_ok=True)
    unittest.main(argv=sys.argv[:1])
