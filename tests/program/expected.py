"""What the page of a capture must show, found without the page."""
import re
import struct


def name(text):
    return b"\x05\x07" + struct.pack(">H", len(text)) + text


def string(text):
    return b"\x08" + struct.pack(">H", len(text)) + text


def response(members):
    body = b"".join(name(text) + value + b"\x85" for text, value in members)
    return b"\x02\x04\x84\x04" + body + b"\x84\x82"


SIZES = {0x0B: 9, 0x0C: 2, 0x0D: 2, 0x0E: 2, 0x0F: 3, 0x10: 3, 0x11: 5, 0x12: 5, 0x13: 9, 0x14: 9}


def walk(data, at, spans, by_index=False):
    """Appends the first byte of each value and the byte behind it. Returns the latter."""
    tag, row = data[at], len(spans)
    spans.append([at, 0])
    if tag in SIZES:
        at += SIZES[tag]
    elif tag == 0x08:
        at += 3 + struct.unpack_from(">H", data, at + 1)[0]
    elif tag in (0x0A, 0x15):
        at += 5 + struct.unpack_from(">I", data, at + 1)[0]
    elif tag == 0x04:
        at = walk_members(data, at + 1, spans, by_index)
    elif tag == 0x06:
        at += 1
        while data[at] != 0x86:
            at = walk(data, at, spans, by_index)
        at += 1
    else:
        at = walk_message(data, at, spans)
    spans[row][1] = at
    return at


def walk_members(data, at, spans, by_index):
    while data[at] != 0x84:
        member, begin = len(spans), at
        at += 4 + (0 if by_index else struct.unpack_from(">H", data, at + 2)[0])
        at = walk(data, at, spans, by_index) + 1
        spans[member] = [begin, at]
    return at + 1


def walk_message(data, at, spans):
    is_request = data[at] == 0x00
    at += 4 + struct.unpack_from(">H", data, at + 2)[0] if is_request else 1
    is_fault = data[at] == 0x03
    meta = at + is_fault
    body = walk(data, meta, spans)
    return walk(data, body, spans, name(b"catalog") in data[meta:body]) + 1 + is_fault


def chunks_of(data):
    """Yields the place, the flags and the length of each chunk."""
    at = 0
    while at + 8 <= len(data):
        flags, low = struct.unpack_from(">xBH", data, at)
        length = (flags & 15) << 16 | low
        yield at, flags, length
        at += 8 + length


def lights(data, is_chunks):
    """Returns the bytes of the input that each row of a sound capture lights up."""
    rows, messages, at = [], {}, 0
    while not is_chunks and at < len(data):
        spans = []
        at = walk(data, at, spans)
        rows += [list(range(*span)) for span in spans]
    for at, flags, length in chunks_of(data) if is_chunks else []:
        rows.append(list(range(at, at + 8 + length)))
        sequence = int.from_bytes(data[at + 5:at + 8], "big") & 0x7FFFFF
        places = messages.setdefault(sequence, [])
        places += range(at + 8, at + 8 + length)
        if flags & 0x40:
            spans = []
            walk(bytes(data[place] for place in places), 0, spans)
            rows.append(places)
            rows += [places[begin:end] for begin, end in spans]
            del messages[sequence]
    return rows


def fields(data):
    """Returns the name and value of each field of the chunk headers, and the bytes it lights up."""
    result = []
    for at, flags, length in chunks_of(data):
        number = int.from_bytes(data[at + 5:at + 8], "big")
        bits = [flags >> bit & 1 for bit in (7, 6, 5, 4)]
        chunk = [("version", data[at], 0, 1), ("first chunk", bits[0], 1, 2),
                 ("last chunk", bits[1], 1, 2), ("reserved", bits[2], 1, 2),
                 ("discard eligible", bits[3], 1, 2), ("length", length, 1, 4),
                 ("port", data[at + 4], 4, 5), ("response new", number >> 23, 5, 6),
                 ("sequence", number & 0x7FFFFF, 5, 8), ("payload", length, 8, 8 + length)]
        result.append([[field, value, list(range(at + begin, at + end))]
                       for field, value, begin, end in chunk])
    return result


CHUNK = re.compile(r"^ *(\d+) +(\d+) +(\d+)  (first|-) +(last|-) +(\d+) +(\d+)(  .*)?$")


def rows(text, has_offsets):
    """Returns the kind, offset, level and text of the rows for what `inspect` prints. An offset is
    None where `inspect` prints none."""
    result, above = [], 1
    for line in text.splitlines():
        chunk = CHUNK.match(line)
        if chunk:
            number, offset, length, first, last, port, sequence, error = chunk.groups()
            flags = (", first" if first != "-" else "") + (", last" if last != "-" else "")
            result.append(["chunk", int(offset), 1, f"chunk {number}: {length} bytes{flags}, "
                           f"port {port}, sequence {sequence}{error or ''}"])
        elif line.startswith("message ") and not has_offsets:
            result.append(["message", None, 1, line])
            above = 2
        elif line.startswith(("damaged at ", "input ends within ")):
            result.append(["damage", None, 1, line])
        elif line and not line.startswith(" chunk     offset"):
            tree = line[10:] if has_offsets else line
            item = tree.lstrip(" ")
            result.append(["item", int(line[:8]) if has_offsets else None,
                           (len(tree) - len(item)) // 2 + above, item])
    return result
