"""wireshark_test.py PROGRAM DISSECTOR FOLDER: tshark shows with the dissector what `tmsg inspect`
shows of the same bytes, in captures that are made here in the folder. Damaged bytes never make the
dissector fail."""

import os
import random
import re
import shutil
import subprocess
import sys
import time
import unittest

from capture import SERVER, Capture, Connection, chunk, chunks

PROGRAM, DISSECTOR, FOLDER = sys.argv[1:4]
SKIPPED = 77
AS_PORT = ["-d", f"tcp.port=={SERVER},tmsg"]

MESSAGES = [
    '{"request":"stock.reserve","meta":{"user":"é"},'
    '"body":{"name":"bolt \\"M8\\"\\n","count":250}}',
    '{"response":true,"meta":{},"body":{"i8":{"$int8":-128},"u8":{"$uint8":255},'
    '"i16":{"$int16":-2},"u16":{"$uint16":65535},"i32":-2147483648,"u32":{"$uint32":4294967295},'
    '"i64":{"$int64":"-9007199254740993"},"u64":{"$uint64":"18446744073709551615"},'
    '"list":[0.1,-1.5e300,1e-7,true,false,{"$double":"NaN"},{"$double":"-Infinity"}],'
    '"bytes":{"$binary":"AAECAwQFBgcICQoLDA0ODxAREhM="},"file":{"$file":"TTgrCg=="},'
    '"raw":{"$string":"/wD+"},"":"","mark":"\\u202e",'
    '"' + "long name " * 9 + '":"' + "é" * 40 + '"}}',
    '{"fault":true,"meta":{},"body":{"faultCode":-7,"faultString":"none left"}}',
    '{"request":"deep","meta":{"a":[[],{},[{"b":[{"c":{}}]}]]},"body":{"m":{"$message":'
    '{"request":"in","meta":{},"body":{"x":{"$message":{"fault":true,'
    '"meta":{},"body":{"faultCode":{"$int16":1}}}}}}}}}',
]


def run(command, data=b""):
    return subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def path_of(name):
    return os.path.join(FOLDER, name)


def tshark(name, *options, as_port=AS_PORT):
    """Returns the lines that tshark prints. No line may tell of a fault of the dissector."""
    done = run(["tshark", "-n", "-X", "lua_script:" + DISSECTOR, "-r", path_of(name), *as_port,
                *options])
    both = (done.stdout + done.stderr).decode("utf-8", "replace")
    for fault in ("Lua Error", "Dissector bug", "Exception occurred", "Malformed Packet"):
        if fault in both:
            raise AssertionError(both[max(both.index(fault) - 500, 0):][:1000])
    if done.returncode != 0:
        raise AssertionError(done.stderr.decode())
    return done.stdout.decode("utf-8", "replace").split("\n")


def fields(name, *names, options=(), as_port=AS_PORT):
    """Returns a list of values for each frame that has them."""
    wanted = [word for field in names for word in ("-e", field)]
    lines = tshark(name, *options, "-T", "fields", "-E", "separator=\x01", *wanted, as_port=as_port)
    return [line.split("\x01") for line in lines if line.strip("\x01")]


def wire_of(text, *options):
    done = run([PROGRAM, "convert", "--from", "typed-json", "--to", "wire", *options],
               text.encode())
    assert done.returncode == 0, done.stderr
    return done.stdout


def sound_messages():
    plain = [wire_of(text) for text in MESSAGES]
    return plain + [wire_of(text, "--names-by-index") for text in MESSAGES]


def shared_text(text):
    """Returns a line in a form that is the same for the program and the dissector."""
    text = re.sub(r" of the message, chunk at byte \d+", "", text)
    # The program shows whole pieces of 128 bytes only.
    text = re.sub(r"\] .*, incomplete$", "], incomplete", text)
    text = re.sub(r"vector::_M_range_check: __n \(which is (\d+)\) >= this->size\(\) \(which is "
                  r"(\d+)\)", r"name index \1 in a name table of \2", text)
    return re.sub(r"double (\S+)$", lambda found: f"double {float(found[1])!r}", text)


def lines_of(output, indent, most_depth=35):
    """Splits indented lines into their depths and texts."""
    lines = []
    for line in output:
        text = line.lstrip(" ")
        depth = (len(line) - len(text)) // indent
        lines.append((min(depth, most_depth), shared_text(text)))
    return lines


def inspected(stream):
    """Returns the lines of each message by its sequence number, as the program shows them."""
    with open(path_of("stream.chunks"), "wb") as file:
        file.write(stream)
    output = run([PROGRAM, "inspect", "--from", "chunks", path_of("stream.chunks")]).stdout
    shown = {}
    for part in output.decode().split("\nmessage ")[1:]:
        heading, *lines = part.split("\n\n")[0].split("\n")
        shown[int(heading.split(":")[0])] = lines_of([line for line in lines if line], 2)
    return shown


def dissected(output):
    """Does the same with what tshark -V shows."""
    own = re.compile(r"(Method|Kind|Name index|Fault code|Fault string|Payload|Chunk header"
                     r"|\[(?!\d+\] ))")
    shown, seq_no, inside = {}, None, False
    for line in output:
        if not line.startswith(" "):
            inside = line.startswith("Typed Message")
            continue
        if not inside:
            continue
        found = re.match(r" {4}Chunk header: seq (\d+)", line)
        if found:
            seq_no = int(found[1])
        is_header = re.match(r" {8}(\S{4} \S{4}|Version|Port|\.{4}|Signature|\d\.|\.\d)", line)
        if is_header and not shown.get(seq_no) or own.match(line.lstrip(" ")):
            continue
        shown.setdefault(seq_no, []).append(line[4:])
    return {seq_no: lines_of(lines, 4) for seq_no, lines in shown.items()}


class Wireshark(unittest.TestCase):
    maxDiff = 4000

    def test_shows_what_the_program_shows(self):
        chance = random.Random(1)
        messages = sound_messages()
        sound = len(messages)
        catalog = bytes.fromhex("05 07 0007") + b"catalog"
        for value in ("06 11 00000005 86", "11 00000005", "06 04 84 86", "06 86", "00 80"):
            messages.append(bytes.fromhex("0001000161 04") + catalog + bytes.fromhex(value + "85 84"
                            "04 05 07 0000 0C 02 85 84 80"))
        messages.append(bytes.fromhex("02 04 05 07 0001 61") + b"\6" * 1100)
        # An empty method name, and behind it a good item and bad ones.
        for behind in ("04 84 04 84 80", "64", "05 08 00 00", "01 00 09 61", "84", "08"):
            messages.append(bytes.fromhex("00 01 0000" + behind))
        messages += [m[:at] for m in messages[:2] for at in range(1, len(m), 7)]
        while len(messages) < 1200:
            message = bytearray(chance.choice(messages[:sound]))
            for _ in range(chance.randint(1, 3)):
                at = chance.randrange(len(message))
                kind = chance.randrange(4)
                new = chance.choice((*range(0x16), *range(0x80, 0x88), chance.randrange(256)))
                message[at:at + (kind != 0) + 4 * (kind == 3)] = [new] if kind != 2 else []
            messages.append(bytes(message) or b"\0")
        capture = Capture(path_of("values.pcap"))
        for seq_no, message in enumerate(messages):
            connection = Connection(capture, 10000 + seq_no)
            stream = b"".join(chunks(message, seq_no, chance.choice((5, 40, 100000))))
            connection.send(chance.randrange(2), stream, chance.choice((3000, 3000, 61)))
        capture.close()
        expected = inspected(b"".join(chunk(m, i) for i, m in enumerate(messages)))
        shown = dissected(tshark("values.pcap", "-V", "-O", "tmsg"))
        self.assertEqual(len(expected), len(messages))
        for seq_no, message in enumerate(messages):
            self.assertEqual(shown.get(seq_no), expected[seq_no], f"{seq_no}: {message.hex(' ')}")

    def test_has_a_filter_for_each_part(self):
        messages = sound_messages()
        capture = Capture(path_of("fields.pcap"))
        connection = Connection(capture, 40000)
        request = chunks(messages[0], 0x7FFFFF, 50, port=255, response_new=True)
        other = chunks(messages[3], 7, 30)
        # Chunks of three messages in turn, two of one number, in segments that end anywhere.
        first = connection.send(0, request[0])
        connection.send(0, other[0] + b"".join(request[1:-1]), 11)
        connection.send(1, b"".join(chunks(messages[1], 0x7FFFFF, 90)), 33)
        connection.send(0, b"".join(other[1:-1] + request[-1:] + other[-1:]), 17)
        extended = chunk(messages[2], 5, 0xF0, version=2)
        extended = extended[:8] + b"KVOC" + bytes(12) + extended[8:]
        last = connection.send(1, extended)
        capture.close()
        header = ["version", "first_chunk", "last_chunk", "reserved", "discard_eligible", "length",
                  "port", "response_new", "seq_no", "method"]
        rows = fields("fields.pcap", "frame.number", *("tmsg." + name for name in header),
                      options=["-Y", "tmsg"])
        self.assertEqual(rows[0], [str(first), "0", "1", "0", "0", "0", "50", "255", "1",
                                   "8388607", ""])
        self.assertEqual(rows[-1], [str(last), "2", "1", "1", "1", "1", str(len(messages[2])), "0",
                                    "0", "5", ""])
        chosen = " && ".join(f"tmsg.{name} == {value}" for name, value in zip(header, (
            0, 0, 1, 0, 0, len(request[-1]) - 8, 255, 1, 8388607, '"stock.reserve"')))
        complete = fields("fields.pcap", "tmsg.kind", "tmsg.message.length", "tmsg.chunk.count",
                          options=["-Y", "tmsg.chunk.count"])
        self.assertEqual(complete[0][1:], [str(len(messages[1])), str(-(-len(messages[1]) // 90))])
        self.assertEqual([row[0] for row in complete],
                         ["response", "request", "request,request,fault"])
        values = ["tmsg.method", "tmsg.kind", "tmsg.name", "tmsg.string", "tmsg.int32",
                  "tmsg.chunk.count", "tmsg.message.length"]
        self.assertEqual(fields("fields.pcap", *values, options=["-Y", chosen]), [[
            "stock.reserve", "request", "user,name,count", 'é,bolt "M8"\\n', "250",
            str(len(request)), str(len(messages[0]))]])

    def test_names_sent_by_index_are_resolved(self):
        capture = Capture(path_of("names.pcap"))
        Connection(capture, 40000).send(0, chunk(sound_messages()[4], 1))
        Connection(capture, 40001).send(0, chunk(sound_messages()[6], 2))
        capture.close()
        rows = fields("names.pcap", "tmsg.name", "tmsg.index", "tmsg.fault_code",
                      "tmsg.fault_string", "_ws.col.Info", options=["-Y", "tmsg"])
        self.assertEqual(rows[0][:2], ["user,catalog,name,count", "0,1"])
        self.assertEqual(rows[1], ["catalog,faultCode,faultString", "0,1", "-7", "none left",
                                   'fault -7 "none left" seq 2'])

    def test_zero_bytes_in_texts(self):
        message = wire_of('{"request":"a\\u0000b","body":{"c\\u0000d":"e\\u0000f"}}')
        capture = Capture(path_of("zero.pcap"))
        Connection(capture, 40000).send(0, chunk(message, 1))
        capture.close()
        self.assertEqual(fields("zero.pcap", "tmsg.method", "tmsg.name", "tmsg.string",
                                "_ws.expert.message", options=["-Y", "tmsg"]),
                         [["a\\x00b", "c\\x00d", "e\\x00f", ""]])

    def test_tells_of_damaged_chunks(self):
        message = sound_messages()[0]
        first, second, third = chunks(message, 7, 30)
        capture = Capture(path_of("damaged.pcap"))
        connection = Connection(capture, 40000)
        for side, part in ((0, second), (0, first), (1, second), (0, first), (0, second),
                           (0, third), (0, chunk(message, 9, 0xE0)),
                           (0, chunk(message, 9, version=1)), (0, chunk(b"", 3))):
            connection.send(side, part)
        connection.repeat(0, chunk(b"", 3))
        capture.close()
        names = ["frame.number", "_ws.expert.message"]
        rows = fields("damaged.pcap", *names, options=["-2", "-Y", "tmsg && _ws.expert"])
        none = "chunk continues no known message"
        self.assertEqual([row[:2] for row in rows], [
            ["3", none], ["4", "message without a last chunk"], ["5", none],
            ["6", "the message before it with this sequence number has no last chunk"],
            ["9", "The reserved bit is set"], ["10", "Version 1"],
            ["11", "The message has no bytes"]])
        complete = fields("damaged.pcap", "frame.number", "tmsg.reassembled_in",
                          options=["-2", "-Y", "tmsg.reassembled_in"])
        self.assertEqual(complete, [["6", "8"], ["7", "8"]])

    def test_goes_on_behind_a_gap(self):
        """Bytes from within a chunk do not swallow the messages that follow."""
        message = sound_messages()[0]
        capture = Capture(path_of("gap.pcap"))
        connection = Connection(capture, 40000)
        whole = chunk(message, 7)
        behind_gap = whole[whole.index(b"bolt"):]
        connection.sent[0] += len(whole) - len(behind_gap)
        connection.send(0, behind_gap)
        connection.send(0, chunk(message, 8))
        capture.close()
        self.assertEqual(
            fields("gap.pcap", "frame.number", "tmsg.seq_no", "tmsg.method", "tmsg.bad_header",
                   options=["-Y", "tmsg.bad_header || tmsg.method"]),
            [["3", "", "", "1"], ["4", "8", "stock.reserve", ""]])

    def test_tells_of_cut_chunks_and_of_its_limits(self):
        message = sound_messages()[0]
        capture = Capture(path_of("cut.pcap"), 100)
        connection = Connection(capture, 40000)
        connection.send(0, chunk(message, 7))
        capture.close()
        self.assertEqual(fields("cut.pcap", "tmsg.seq_no", "_ws.expert.message",
                                options=["-Y", "tmsg"]),
                         [["7", "Bytes of the chunk are not in the capture"]])
        capture = Capture(path_of("limits.pcap"))
        connection = Connection(capture, 40000)
        for seq_no in range(1025):
            connection.send(0, chunk(b"\0", seq_no, 0x80))
        connection.send(0, chunk(b"\0", 1024, 0x40))
        large = chunks(b"\0" * 1200000, 2000, 1000000)
        connection.send(1, b"".join(large), 60000)
        many = b"\2\4\5\7\0\1a\6" + b"\x0c\1" * 120000 + b"\x86\x85\x84\4\x84\x82"
        connection.send(1, chunk(many, 2001), 60000)
        capture.close()
        rows = fields("limits.pcap", "_ws.expert.message",
                      options=["-Y", "tmsg && _ws.expert", "-o", "tmsg.most_kept:1"])
        self.assertEqual([row[0] for row in rows], [
            "more than 1024 unfinished messages", "chunk continues no known message",
            "The message is not reassembled: more bytes than the preference allows to keep",
            "The frame has more values than are shown"])

    def test_finds_traffic_by_itself_and_by_port(self):
        messages = sound_messages()
        capture = Capture(path_of("found.pcap"))
        for port, message in enumerate(messages[:3]):
            Connection(capture, 40000 + port, 9000).send(port % 2, b"".join(chunks(message, 1, 20)))
        other = Connection(capture, 40010, 9000)
        other.send(0, b"GET / HTTP/1.0\r\n\r\n")
        other.send(1, bytes(100))
        capture.close()
        found = fields("found.pcap", "tcp.stream", options=["-Y", "tmsg"], as_port=[])
        self.assertEqual(found, [["0"], ["1"], ["2"]])
        by_port = fields("found.pcap", "tcp.stream", options=["-Y", "tmsg"],
                         as_port=["-o", "tmsg.ports:8000,9000-9001"])
        self.assertEqual(by_port[:3] + by_port[-1:], [["0"], ["1"], ["2"], ["3"]])

    def test_takes_any_bytes(self):
        chance = random.Random(2)
        messages = sound_messages()
        capture = Capture(path_of("any.pcap"))
        for number in range(400):
            connection = Connection(capture, 10000 + number)
            for side in (0, 1):
                stream = bytearray(b"".join(
                    part for _ in range(3) for part in chunks(
                        chance.choice(messages), chance.randrange(3), chance.randint(1, 90))[:20]))
                for _ in range(chance.randint(0, 5)):
                    stream[chance.randrange(len(stream))] = chance.randrange(256)
                if chance.random() < 0.2:
                    stream = chance.randbytes(chance.randint(1, 300))
                connection.send(side, bytes(stream), chance.randint(20, 1400))
        capture.close()
        begin = time.monotonic()
        shown = tshark("any.pcap", "-V", "-O", "tmsg")
        self.assertGreater(sum(line.startswith("Typed Message") for line in shown), 400)
        self.assertLess(time.monotonic() - begin, 120)


if __name__ == "__main__":
    if shutil.which("tshark") is None:
        print("skipped: there is no tshark")
        sys.exit(SKIPPED)
    os.makedirs(FOLDER, exist_ok=True)
    unittest.main(argv=sys.argv[:1])
