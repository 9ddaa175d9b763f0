"""Messages to bytes and texts and back, and the limits."""

import os
import random
import subprocess
import threading

import pytest

import tmsg


def inputs(sources):
    """Every input of the fuzzers, whole and without its first one or two bytes, which some take as options."""
    for target in ("decode", "roundtrip", "split"):
        for folder in ("corpus", "regressions"):
            for path in sorted((sources / "fuzz" / folder / target).glob("*")):
                data = path.read_bytes()
                for skipped in range(3):
                    yield data[skipped:]


def reencoded(data):
    """The bytes that the program writes for the message."""
    convert = [os.environ["TMSG_PROGRAM"], "convert", "--from", "wire", "--to", "wire", "-"]
    return subprocess.run(convert, input=data, stdout=subprocess.PIPE, check=True).stdout


def test_every_message_of_the_corpus_keeps_its_bytes(sources):
    same = others = 0
    for data in inputs(sources):
        try:
            message = tmsg.loads(data)
        except tmsg.DecodeError as refusal:
            assert str(refusal) and 0 <= refusal.offset <= len(data)
            continue
        again = tmsg.dumps(message)
        if again == data:
            same += 1
        else:
            others += 1
            assert again == reencoded(data)
        assert tmsg.dumps(tmsg.Message.from_dict(tmsg.loads(data).to_dict())) == again
    assert same >= 60 and others <= 10


def random_value(random, depth):
    sized = [tmsg.Int8, tmsg.Uint8, tmsg.Int16, tmsg.Uint16, tmsg.Uint32, tmsg.Int64, tmsg.Uint64]
    name = lambda: "".join(random.choices("abcé\0$.\udc80", k=random.randrange(4)))
    makers = [
        lambda: random.choice((True, False)),
        lambda: random.randrange(-(2**31), 2**31),
        lambda: (kind := random.choice(sized))(random.randint(kind.LOWEST, kind.HIGHEST)),
        lambda: random.choice((0.0, -0.0, 1.5, 1e300, float("inf"), random.random())),
        lambda: name() * random.randrange(60),
        lambda: random.randbytes(random.randrange(300)),
    ]
    if depth > 0:
        makers += 2 * [
            lambda: [random_value(random, depth - 1) for _ in range(random.randrange(5))],
            lambda: {name(): random_value(random, depth - 1) for _ in range(random.randrange(5))},
            lambda: random_message(random, depth - 1),
        ]
    return random.choice(makers)()


def random_message(random, depth):
    groups = [
        {f"m{i}": random_value(random, depth) for i in range(random.randrange(5))} for _ in "mb"
    ]
    kind = random.choice(("request", "response", "fault"))
    return tmsg.Message(kind, "a.b" if kind == "request" else "", *groups)


@pytest.mark.parametrize("seed", range(200))
def test_random_messages_keep_values_and_bytes(seed):
    message = random_message(random.Random(seed), 4)
    data = tmsg.dumps(message)
    received = tmsg.loads(data)
    assert received == message
    assert tmsg.dumps(received) == data
    assert tmsg.dumps(tmsg.from_json(tmsg.to_json(message, indent=seed % 3))) == data
    by_index = tmsg.dumps(message, by_index=True)
    received = tmsg.loads(by_index)
    assert received.body == message.body
    assert tmsg.dumps(received) == by_index


def test_texts():
    message = tmsg.request("add", {"a": 1, "b": tmsg.Int8(-5), "é": "é"})
    text = 'request {name "add" struct {} struct {"a" {int32_t 1 } "b" {int8_t -5 } "é" {string "é" } } } '
    assert tmsg.to_text(message) == text
    assert tmsg.from_text(text) == tmsg.from_text(text.encode()) == message
    assert type(tmsg.from_text(text).body["b"]) is tmsg.Int8
    json = '{"request":"add","meta":{},"body":{"a":1,"b":{"$int8":-5},"é":"é"}}'
    assert tmsg.to_json(message) == json
    assert tmsg.from_json(json) == tmsg.from_json(bytearray(json.encode())) == message
    assert tmsg.to_json(tmsg.response(), indent=2).startswith('{\n  "response": true')


def test_bad_input():
    data = tmsg.dumps(tmsg.request("a", {"b": [1, 2]}))
    with pytest.raises(tmsg.DecodeError) as caught:
        tmsg.loads(data[:-9])
    assert str(caught.value) == "decoder expecting more data after end of buffer"
    with pytest.raises(tmsg.DecodeError) as caught:
        tmsg.loads(data.replace(b"\x11\0\0\0\2", b"\x09\0\0\0\2"))
    assert str(caught.value) == "unknown tag found: 09h at byte 19"
    assert (caught.value.offset, caught.value.path) == (19, "body.b[1]")
    for extra in (data + b"\0", b""):
        with pytest.raises(tmsg.DecodeError):
            tmsg.loads(extra)
    with pytest.raises(tmsg.DecodeError) as caught:
        tmsg.from_json('{"response": true,\n  "body": {"a": null}}')
    assert (caught.value.line, caught.value.column, caught.value.offset) == (2, 17, None)
    with pytest.raises(tmsg.DecodeError) as caught:
        tmsg.from_text("request {name 5")
    assert caught.value.line == 1 and caught.value.column > 0
    for text in ("", "int32_t 5", "response {struct {} struct {} } response {struct {} struct {} }"):
        with pytest.raises(tmsg.Error):
            tmsg.from_text(text)
    # The file that came before is removed.
    with pytest.raises(tmsg.DecodeError):
        tmsg.from_json('{"response": true, "meta": {"f": {"$file": "YQ=="}, "catalog": 5}, "body": {"a": 1}}')
    for call in (tmsg.loads, tmsg.from_json, tmsg.from_text, tmsg.dumps, tmsg.to_text, tmsg.to_json):
        with pytest.raises((TypeError, tmsg.Error)):
            call(5)


def test_limits(tmp_path):
    (tmp_path / "f").write_bytes(b"12345")
    file = tmsg.File(tmp_path / "f")
    data = tmsg.dumps(tmsg.response({"a": [[1]], "f": file, "g": file}))
    for limits, text in (
        ({"max_depth": 3}, "nested deeper than 3 levels"),
        ({"max_message_bytes": 10}, "message longer than 10 bytes"),
        ({"max_file_bytes": 4}, "file longer than 4 bytes"),
        ({"max_files": 1}, "more than 1 files"),
        ({"max_values": 3}, "more than 3 values"),
        ({"max_memory": 300}, "more than 300 bytes"),
    ):
        with pytest.raises(tmsg.DecodeError) as caught:
            tmsg.loads(data, **limits)
        assert text in str(caught.value)
    assert "a" in tmsg.loads(data, max_depth=4).body
    with pytest.raises(tmsg.DecodeError):
        tmsg.from_json(tmsg.to_json(tmsg.response({"a": [[1]]})), max_depth=2)
    with pytest.raises(tmsg.DecodeError):
        tmsg.from_text(tmsg.to_text(tmsg.response({"a": [[1]]})), max_depth=2)
    with pytest.raises(TypeError, match="unknown limit max_dept"):
        tmsg.loads(data, max_dept=1)
    for wrong in (-1, 2**32, "5"):
        with pytest.raises(ValueError, match="no number that max_depth can have"):
            tmsg.loads(data, max_depth=wrong)
    for call in (lambda: tmsg.loads(data, max_depth=4001), lambda: tmsg.dumps(tmsg.response(), max_depth=4001)):
        with pytest.raises(ValueError):
            call()


def test_the_deepest_nesting_that_may_be_allowed():
    deep = []
    for _ in range(3996):
        deep = [deep]
    data = tmsg.dumps(tmsg.response({"a": {"b": deep}}), max_depth=4000)
    with pytest.raises(tmsg.DecodeError):
        tmsg.loads(data)
    assert tmsg.dumps(tmsg.loads(data, max_depth=4000), max_depth=4000) == data


def test_other_threads_run_meanwhile():
    """Two threads encode and decode the same objects, which are long enough to release the GIL."""
    message = tmsg.response({"list": [{"a": i, "b": str(i), "c": b"x" * 50} for i in range(1000)]})
    data = tmsg.dumps(message)
    results = []

    def run():
        for _ in range(4):
            received = tmsg.loads(data)
            results.append(received == message and tmsg.dumps(received) == data)

    threads = [threading.Thread(target=run) for _ in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [True] * 12
