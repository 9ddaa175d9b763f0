"""Messages in chunks."""

import itertools
import pathlib
import pickle
import threading

import pytest

import tmsg


def chunked(message, seq_no, **options):
    return b"".join(tmsg.chunks(message, seq_no, **options))


def test_messages_in_pieces_of_any_size():
    first = tmsg.request("a.b", {"text": "x" * 500})
    second = tmsg.fault(7, "no")
    chunks = list(tmsg.chunks(first, 5, port=3, chunk_size=30))
    assert max(map(len, chunks)) == 38
    others = tmsg.chunks(second, 6, chunk_size=3)
    # The chunks of both messages take turns.
    stream = b"".join(a + b for a, b in itertools.zip_longest(chunks, others, fillvalue=b""))
    for size in (1, 7, 64, len(stream)):
        receiver = tmsg.Receiver()
        received = []
        for at in range(0, len(stream), size):
            received += receiver.receive(memoryview(stream)[at : at + size])
        receiver.finish()
        by_number = {message.seq_no: message for message in received}
        assert by_number == {5: first, 6: second}
        assert by_number[5].port == 3 and by_number[6].port == 0
    assert b"catalog" in chunked(first, 1, by_index=True)


def test_errors_of_streams():
    good = tmsg.response({"a": 1})
    broken = bytearray(chunked(good, 7))
    broken[8] = 0x55
    stream = chunked(good, 1) + broken + chunked(good, 2)

    with pytest.raises(tmsg.ReceiveError, match="unknown tag found: 55h at byte 0") as caught:
        tmsg.Receiver().receive(stream)
    assert caught.value.seq_no == 7
    assert [message.seq_no for message in caught.value.messages] == [1, 2]
    copied = pickle.loads(pickle.dumps(caught.value))
    assert (str(copied), copied.messages) == (str(caught.value), [good, good])

    errors = []
    receiver = tmsg.Receiver(lambda *error: errors.append(error))
    assert receiver.receive(stream) == [good, good]
    assert errors == [(7, "unknown tag found: 55h at byte 0")]
    assert receiver.receive(chunked(good, 9)[:-1]) == []
    receiver.finish()
    assert [seq_no for seq_no, _ in errors] == [7, 9]
    # After the end another stream may begin.
    assert receiver.receive(chunked(good, 3)) == [good]

    with pytest.raises(tmsg.ReceiveError):
        tmsg.Receiver().receive(b"GET / HTTP/1.1\r\n\r\n" * 10)
    with pytest.raises(tmsg.ReceiveError):
        tmsg.Receiver(max_depth=1).receive(chunked(good, 3))
    with pytest.raises(tmsg.Error):
        tmsg.chunks(good, 1, chunk_size=0)
    for options in ({"seq_no": 2**23}, {"seq_no": -1}, {"port": 256}):
        with pytest.raises(tmsg.RangeError, match="is not between 0 and"):
            tmsg.chunks(good, **options)
    with pytest.raises(TypeError):
        tmsg.Receiver(max_size=1)


def test_files_of_messages_that_nobody_gets_are_removed(tmp_path):
    (tmp_path / "f").write_bytes(b"x" * 100_000)
    message = tmsg.response({"f": tmsg.File(tmp_path / "f"), "g": 1})
    stream = chunked(message, 1)
    tmsg.Receiver().receive(stream[:-50])
    tmsg.Receiver().receive(stream)
    (received,) = tmsg.Receiver().receive(stream)
    assert pathlib.Path(received.body["f"]).read_bytes() == b"x" * 100_000


def test_a_file_that_becomes_shorter_ends_the_chunks(tmp_path):
    path = tmp_path / "f"
    path.write_bytes(b"x" * 12_000_000)
    source = tmsg.chunks(tmsg.response({"f": tmsg.File(path)}))
    next(source)
    path.write_bytes(b"")
    with pytest.raises(tmsg.Error, match="^failed to read from "):
        list(source)


def test_threads_share_a_receiver():
    receiver = tmsg.Receiver()
    big = tmsg.response({"a": b"x" * 200_000})
    received = []

    def run(seq_no):
        for _ in range(20):
            received.extend(receiver.receive(chunked(big, seq_no, chunk_size=1_000_000)))

    threads = [threading.Thread(target=run, args=(number,)) for number in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(received) == 60 and all(message == big for message in received)
