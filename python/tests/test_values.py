"""Which types Python objects are sent as, and which objects received values are."""

import collections
import copy
import enum
import gc
import os
import pathlib
import pickle
import struct
import sys
import weakref

import pytest

import tmsg


def sent(value):
    """The value after a journey in the wire form."""
    return tmsg.loads(tmsg.dumps(tmsg.response({"value": value}))).body["value"]


class Color(enum.IntEnum):
    RED = 1


@pytest.mark.parametrize(
    "value, name",
    [
        (True, "bool"),
        (-(2**31), "int32"),
        (2**31 - 1, "int32"),
        (2**31, "int64"),
        (-(2**31) - 1, "int64"),
        (-(2**63), "int64"),
        (2**63 - 1, "int64"),
        (2**63, "uint64"),
        (2**64 - 1, "uint64"),
        (Color.RED, "int32"),
        (1.5, "double"),
        ("text", "string"),
        (b"bytes", "binary"),
        (bytearray(b"bytes"), "binary"),
        (memoryview(b"bytes"), "binary"),
        ([1, "two", 3.5], "array"),
        ((1, 2), "array"),
        ({"a": 1}, "struct"),
        (tmsg.request("a"), "message"),
        (tmsg.File(__file__), "file"),
    ],
)
def test_default_types(value, name):
    assert tmsg.type_name(value) == name
    assert tmsg.type_name(sent(value)) == name


@pytest.mark.parametrize(
    "kind, bits", [(tmsg.Int8, 8), (tmsg.Int16, 16), (tmsg.Int32, 32), (tmsg.Int64, 64)]
)
@pytest.mark.parametrize("is_signed", [True, False])
def test_sized_integers(kind, bits, is_signed):
    if not is_signed:
        kind = getattr(tmsg, kind.__name__.replace("Int", "Uint"))
    lowest, highest = (-(2 ** (bits - 1)), 2 ** (bits - 1) - 1) if is_signed else (0, 2**bits - 1)
    for number in (lowest, 0, 1, highest):
        received = sent(kind(number))
        assert received == number
        assert tmsg.type_name(received) == kind.__name__.lower()
        assert type(received) is (int if kind is tmsg.Int32 else kind)
    for number in (lowest - 1, highest + 1, 2**100):
        with pytest.raises(tmsg.RangeError):
            kind(number)
        # A number that has evaded the check is not sent as another one.
        with pytest.raises(tmsg.RangeError):
            tmsg.dumps(tmsg.response({"a": int.__new__(kind, number)}))
    assert type(kind(1) + 1) is int
    assert str(kind(5)) == "5" and repr(kind(5)) == f"{kind.__name__}(5)"
    assert pickle.loads(pickle.dumps(kind(5))).__class__ is kind


def test_refusals_have_the_path_and_are_errors():
    loop = [1]
    loop.append({"again": loop})
    body_loop = {}
    body_loop["body"] = body_loop
    deep = []
    for _ in range(1000):
        deep = [deep]
    refused = {
        "body.a[1].b": ({"a": [1, {"b": None}]}, "an object of the class NoneType has no type in a message"),
        "body.a": ({"a": object()}, "an object of the class object has no type in a message"),
        "body.a[0]": ({"a": [2**64]}, "integer beyond uint64_t"),
        "body.x": ({"x": -(2**63) - 1}, "integer beyond int64_t"),
        "body": ({5: 1}, "a member name of the class int"),
        "body.s": ({"s": "\ud800"}, "a text with a surrogate that stands for no byte"),
    }
    for path, (body, text) in refused.items():
        with pytest.raises(tmsg.Error) as caught:
            tmsg.dumps(tmsg.response(body))
        assert (str(caught.value), caught.value.path) == (text, path)
    for body in ({"a": loop}, body_loop):
        with pytest.raises(tmsg.Error, match="^a value that contains itself$"):
            tmsg.dumps(tmsg.response(body))
    with pytest.raises(tmsg.Error, match="^nested deeper than 1000 levels$"):
        tmsg.dumps(tmsg.response({"a": deep}))
    with pytest.raises(tmsg.Error, match="^String length 65536 out of range 0..65535$"):
        tmsg.dumps(tmsg.response({"a": "x" * 65536}))
    with pytest.raises(tmsg.Error):
        tmsg.dumps(tmsg.response({"x" * 65536: 1}))
    with pytest.raises(OverflowError):
        tmsg.dumps(tmsg.response({"a": 2**64}))
    message = tmsg.response()
    message.body = [1]
    with pytest.raises(tmsg.Error):
        tmsg.dumps(message)
    message = tmsg.response()
    message.kind = "answer"
    with pytest.raises(tmsg.Error):
        tmsg.dumps(message)


def test_texts_and_names_may_be_any_bytes():
    for text in ("", "a\0b", "grüße", "\U0001f600", b"\xff\x80\xc3".decode("utf-8", "surrogateescape")):
        body = {text: text, "other": {text: [text]}}
        data = tmsg.dumps(tmsg.request("m" + text, body))
        assert text.encode("utf-8", "surrogateescape") in data
        assert tmsg.loads(data) == tmsg.request("m" + text, body)


def test_doubles_keep_their_bits():
    for bits in (0x8000000000000000, 1, 0x7FF0000000000000, 0x7FF8000000000123, 0xFFF0000000000001):
        number = struct.unpack(">d", bits.to_bytes(8, "big"))[0]
        assert struct.pack(">d", sent(number)) == bits.to_bytes(8, "big")


def test_order_and_repeated_names():
    names = b"\x05\x07\x00\x01%c\x0c\x01\x85"
    data = b"\x02\x04\x84\x04" + b"".join(names % name for name in b"baaba") + b"\x84\x82"
    body = tmsg.loads(data).body
    assert list(body) == [
        "b", "a", tmsg.RepeatedName("a", 1), tmsg.RepeatedName("b", 1), tmsg.RepeatedName("a", 2)
    ]
    assert tmsg.dumps(tmsg.response(body)) == data
    body["a"] = False
    assert body[tmsg.RepeatedName("a", 1)] is True and "a" != tmsg.RepeatedName("a", 1)
    assert pickle.loads(pickle.dumps(list(body))) == list(body) == copy.deepcopy(list(body))
    ordered = collections.OrderedDict(a=1, b=2)
    ordered.move_to_end("a")
    assert list(sent(ordered)) == ["b", "a"]


def test_many_repeated_names_take_linear_time():
    members = b"\x05\x07\x00\x01a\x0c\x01\x85" * 20000
    body = tmsg.loads(b"\x02\x04\x84\x04" + members + b"\x84\x82").body
    assert len(body) == 20000


def test_a_dictionary_that_changes_meanwhile():
    class Changing(dict):
        def items(self):
            for number in range(3):
                self[f"new{number}"] = number
                yield f"{number}", number

    assert sent(Changing()) == {"0": 0, "1": 1, "2": 2}


def test_received_binaries_share_the_bytes():
    view = sent(bytes(range(256)) * 1000)
    assert isinstance(view, memoryview) and view.readonly and view == bytes(range(256)) * 1000
    with pytest.raises(TypeError):
        view[0] = 1
    part = view[256:512]
    del view
    gc.collect()
    assert part == bytes(range(256))
    assert sent(part) == bytes(range(256))
    assert sent(memoryview(b"abcdef")[::-2]) == b"fdb"
    assert sent(b"") == b"" and sent(sent(b"")) == b""
    released = memoryview(b"abc")
    released.release()
    with pytest.raises(ValueError):
        sent(released)


def test_sending_a_received_binary_copies_nothing_before_the_encoding():
    big = sent(b"x" * 20_000_000)

    def peak_of(function):
        with open("/proc/self/clear_refs", "w") as out:
            out.write("5")
        function()
        with open("/proc/self/status") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmHWM"))

    before = peak_of(lambda: None)
    # The chunks come one at a time, and the message shares the bytes.
    after = peak_of(lambda: [None for _ in tmsg.chunks(tmsg.response({"a": big, "b": [big] * 3}))])
    assert after - before < 15_000


def test_files(tmp_path):
    path = tmp_path / "data"
    path.write_bytes(b"contents")
    received = sent(tmsg.File(path))
    assert received.path != str(path)
    assert pathlib.Path(received).read_bytes() == b"contents"
    assert pathlib.Path(sent(received)).read_bytes() == b"contents"
    kept = sent(received).keep()
    gc.collect()
    assert pathlib.Path(kept).read_bytes() == b"contents"
    os.unlink(kept)
    where = received.path
    del received
    assert not os.path.exists(where)
    assert path.exists()
    with pytest.raises(tmsg.Error, match="^failed to open /no/such/file$") as caught:
        tmsg.dumps(tmsg.response({"f": tmsg.File("/no/such/file")}))
    assert caught.value.path == "body.f"


def test_messages_and_dictionaries():
    for message in (
        tmsg.request("a.b", {"x": 1}, {"id": 7}),
        tmsg.response({"x": [tmsg.request("inner", {"y": b"z"})]}),
        tmsg.fault(7, "out of stock"),
    ):
        assert tmsg.Message.from_dict(message.to_dict()) == message
        assert tmsg.loads(tmsg.dumps(message.to_dict())) == message
    assert tmsg.request("a.b").to_dict() == {"request": "a.b", "meta": {}, "body": {}}
    assert tmsg.Message.from_dict({"response": True}) == tmsg.response()
    received = tmsg.loads(tmsg.dumps(tmsg.fault(7, "out of stock")))
    assert eval(repr(received), vars(tmsg)) == received
    assert (received.fault_code, received.fault_text) == (7, "out of stock")
    assert (tmsg.response().fault_code, tmsg.response().fault_text) == (-1, "")
    for bad in ({}, {"body": {}}, {"answer": True}, {"response": False}, {"response": True, "x": 1}):
        with pytest.raises(tmsg.Error):
            tmsg.Message.from_dict(bad)
    with pytest.raises(tmsg.RangeError):
        tmsg.fault(2**31, "")


def test_nothing_leaks():
    """The objects of a message end with it."""
    message = tmsg.response({"a": [tmsg.Int8(1), {"b": b"x"}, tmsg.request("c")], "d": "e"})
    data = tmsg.dumps(message)
    view = tmsg.loads(data).body["a"][1]["b"]
    owner = weakref.ref(view)
    del view
    assert owner() is None
    tmsg.loads(data)
    gc.collect()
    before = sys.getallocatedblocks()
    for _ in range(500):
        tmsg.dumps(tmsg.loads(data))
        with pytest.raises(tmsg.DecodeError):
            tmsg.loads(data[:-1])
        with pytest.raises(tmsg.Error):
            tmsg.dumps(tmsg.response({"a": [{"b": None}]}))
    gc.collect()
    assert sys.getallocatedblocks() < before + 250
