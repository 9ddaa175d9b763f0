"""Makes captures of TCP connections for tests, in the pcap format."""

import struct

SERVER = 7007


def chunk(payload, seq_no, flags=0xC0, port=0, response_new=False, version=0):
    """Returns a chunk with its header. The flags are the upper four bits of the second byte."""
    header = bytearray(8)
    struct.pack_into(">I", header, 0, version << 24 | flags << 16 | len(payload))
    struct.pack_into(">I", header, 4, port << 24 | response_new << 23 | seq_no)
    return bytes(header) + payload


def chunks(message, seq_no, size, **header):
    """Returns the chunks of a message, with `size` bytes of payload each."""
    pieces = [message[i:i + size] for i in range(0, len(message), size)]
    last = len(pieces) - 1
    return [
        chunk(piece, seq_no, 0x80 * (i == 0) | 0x40 * (i == last), **header)
        for i, piece in enumerate(pieces)
    ]


class Capture:
    """A file of packets. `limit` is the most bytes kept of a packet."""

    def __init__(self, path, limit=65535):
        self.file = open(path, "wb")
        self.limit = limit
        self.packets = 0
        self.file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 1))

    def close(self):
        self.file.close()

    def add(self, packet):
        kept = packet[:self.limit]
        self.file.write(struct.pack("<IIII", 1, self.packets, len(kept), len(packet)) + kept)
        self.packets += 1


class Connection:
    """A TCP connection from a port of a client to the server."""

    def __init__(self, capture, client, server=SERVER):
        self.capture = capture
        self.ports = (client, server)
        self.sent = [1000, 5000]
        self._packet(0, b"", 0x02, 0)
        self.sent[0] += 1
        self._packet(1, b"", 0x12, 0)
        self.sent[1] += 1

    def _packet(self, side, data, flags, back):
        tcp = struct.pack(">HHIIBBHHH", self.ports[side], self.ports[1 - side],
                          self.sent[side] - back, self.sent[1 - side] if flags & 0x10 else 0, 0x50,
                          flags, 65535, 0, 0)
        total = 20 + len(tcp) + len(data)
        hosts = (b"\x0a\0\0\1", b"\x0a\0\0\2")
        ip = struct.pack(">BBHHHBBH", 0x45, 0, total, 0, 0x4000, 64, 6, 0)
        ether = b"\2\0\0\0\0\1\2\0\0\0\0\2\x08\0"
        self.capture.add(ether + ip + hosts[side] + hosts[1 - side] + tcp + data)

    def send(self, side, data, segment=1400):
        """Sends bytes in segments. Returns the number of the last frame. Side 0 is the client."""
        for i in range(0, len(data), segment):
            self.sent[side] += len(data[i:i + segment])
            self._packet(side, data[i:i + segment], 0x18, len(data[i:i + segment]))
        return self.capture.packets

    def repeat(self, side, data):
        """Sends the last bytes again."""
        self._packet(side, data, 0x18, len(data))
