"""The client and the server of asyncio."""

import asyncio
import contextlib
import gc
import pathlib
import time

import pytest

import tmsg


async def add(request):
    await asyncio.sleep(request.body.get("wait", 0))
    return {"sum": request.body["a"] + request.body["b"], "who": request.meta.get("who", "")}


def refuse(request):
    raise tmsg.Fault(7, "out of stock")


def refuse_without_text(request):
    raise tmsg.Fault(7, None)


async def wait_for_cancelled_task(request):
    task = asyncio.create_task(asyncio.sleep(60))
    task.cancel()
    await task


def send_released_view(request):
    view = memoryview(b"abc")
    view.release()
    return {"view": view}


METHODS = {
    "add": add,
    "refuse": refuse,
    "fail": lambda request: 1 // 0,
    "long_failure": lambda request: {}["é" * 40000],
    "unsendable": lambda request: {"a": None},
    "refuse_without_text": refuse_without_text,
    "wait_for_cancelled_task": wait_for_cancelled_task,
    "send_released_view": send_released_view,
    "return_request": lambda request: request,
    "nothing": lambda request: None,
    "echo": lambda request: tmsg.response(request.body, request.meta),
    "sleep": lambda request: asyncio.sleep(60),
}


@contextlib.asynccontextmanager
async def serving(methods=METHODS, **options):
    async with await tmsg.serve(methods, **options) as server:
        async with await tmsg.connect("127.0.0.1", server.port) as client:
            yield server, client


def run(test, **options):
    """Runs a test with a server and a client. It fails for errors that asyncio only reports."""

    async def supervised():
        reports = []
        asyncio.get_running_loop().set_exception_handler(lambda _, report: reports.append(report))
        async with asyncio.timeout(20), serving(**options) as (server, client):
            await test(server, client)
        tasks = asyncio.all_tasks() - {asyncio.current_task()}
        assert tasks == set()
        gc.collect()
        assert reports == []

    asyncio.run(supervised())


def test_answers_in_any_order():
    async def test(server, client):
        calls = [client.call("add", {"a": i, "b": 1, "wait": (50 - i) / 500}) for i in range(50)]
        answers = await asyncio.gather(*calls)
        assert [answer["sum"] for answer in answers] == [i + 1 for i in range(50)]
        assert await client.call("add", {"a": 1, "b": 2}, meta={"who": "me"}) == {"sum": 3, "who": "me"}
        assert await client.call("nothing") == {}
        answer = await client.request(tmsg.request("echo", {"a": tmsg.Int8(1)}, {"id": 5}))
        assert answer == tmsg.response({"a": 1}, {"id": 5}) and type(answer.body["a"]) is tmsg.Int8

    run(test)


def test_faults(caplog):
    async def test(server, client):
        expected = {
            "refuse": (7, "out of stock"),
            "fail": (2, "integer division or modulo by zero"),
            "unsendable": (2, "an object of the class NoneType has no type in a message"),
            "refuse_without_text": (2, "'NoneType' object has no attribute 'encode'"),
            "wait_for_cancelled_task": (2, "the method was cancelled"),
            "send_released_view": (2, "operation forbidden on released memoryview object"),
            "return_request": (2, "the method returned a request"),
            "unknown": (1, "no method unknown"),
        }
        for method, (code, text) in expected.items():
            with pytest.raises(tmsg.Fault) as caught:
                await client.call(method, timeout=5)
            assert (caught.value.code, caught.value.text) == (code, text)
        with pytest.raises(tmsg.Fault) as caught:
            await client.call("long_failure")
        assert len(caught.value.text.encode("utf-8", "surrogateescape")) == 65535
        assert (await client.request(tmsg.request("refuse"))).kind == "fault"
        # A request that cannot be sent harms no other one.
        with pytest.raises(tmsg.Error, match="NoneType"):
            await client.call("add", {"a": None})
        with pytest.raises(tmsg.Error, match="a request without a name"):
            await client.call("")
        assert (await client.call("add", {"a": 1, "b": 1}))["sum"] == 2

    run(test)
    assert any("method fail" in record.getMessage() for record in caplog.records)


def test_timeouts_and_cancellation():
    async def test(server, client):
        with pytest.raises(tmsg.CallTimeout, match="no answer to sleep within 0.05 seconds"):
            await client.call("sleep", timeout=0.05)
        with pytest.raises(TimeoutError):
            await client.call("add", {"a": 1, "b": 1, "wait": 0.1}, timeout=0.02)
        cancelled = asyncio.create_task(client.call("sleep"))
        await asyncio.sleep(0.02)
        cancelled.cancel()
        with pytest.raises(asyncio.CancelledError):
            await cancelled
        await asyncio.sleep(0.1)
        # The late answer went to nobody.
        assert (await client.call("add", {"a": 2, "b": 2}, timeout=5))["sum"] == 4
        begun = time.monotonic()
        await server.close(patience=0.05)
        assert time.monotonic() - begun < 3

    run(test)


def test_a_cancelled_call_does_not_cut_its_message():
    async def test(server, client):
        big = {"data": b"x" * 10_000_000}
        cancelled = asyncio.create_task(client.call("echo", big))
        await asyncio.sleep(0.01)
        cancelled.cancel()
        assert (await client.call("add", {"a": 2, "b": 2}, timeout=10))["sum"] == 4

    run(test)


def test_the_end_of_the_connection():
    async def the_server_ends(server, client):
        port = server.port
        waiting = asyncio.create_task(client.call("sleep"))
        await asyncio.sleep(0.05)
        await server.close(patience=0)
        with pytest.raises(tmsg.ConnectionLost):
            await waiting
        with pytest.raises(ConnectionError):
            await client.call("add")
        with pytest.raises(OSError):
            await tmsg.connect("127.0.0.1", port)

    async def the_client_ends(server, client):
        waiting = asyncio.create_task(client.call("sleep"))
        await asyncio.sleep(0.05)
        await client.close()
        with pytest.raises(tmsg.ConnectionLost, match="the client was closed"):
            await waiting
        await server.close(patience=0)

    run(the_server_ends)
    run(the_client_ends)


def test_closing_waits_for_calls_in_progress():
    begun = asyncio.Event()

    async def work(request):
        begun.set()
        await asyncio.sleep(0.2)
        return {"done": True}

    async def test(server, client):
        waiting = asyncio.create_task(client.call("work"))
        await begun.wait()
        await server.close()
        assert await waiting == {"done": True}

    run(test, methods={"work": work})


def test_strangers(caplog):
    """Garbage closes its own connection, and no other."""
    header = lambda size, seq_no: bytes((0, 0xC0)) + size.to_bytes(2, "big") + seq_no.to_bytes(4, "big")
    good = b"".join(tmsg.chunks(tmsg.request("sleep"), 1))

    async def test(server, client):
        for garbage in (
            b"GET / HTTP/1.1\r\nHost: x\r\n\r\n",
            b"\xff" * 1000,
            header(3, 1) + b"abc",
            header(0, 1),
            good + header(1, 2) + b"\x55",
        ):
            reader, writer = await asyncio.open_connection("127.0.0.1", server.port)
            writer.write(garbage)
            with contextlib.suppress(ConnectionResetError):
                assert await asyncio.wait_for(reader.read(), 5) == b""
            writer.close()
            assert (await client.call("add", {"a": 1, "b": 2}))["sum"] == 3
        # A stranger that leaves in the middle of a message is no failure.
        _, writer = await asyncio.open_connection("127.0.0.1", server.port)
        writer.write(good[:-3])
        writer.close()
        # A response is no request.
        _, other = await asyncio.open_connection("127.0.0.1", server.port)
        other.write(b"".join(tmsg.chunks(tmsg.response(), 1)))
        other.close()
        assert (await client.call("add", {"a": 1, "b": 2}))["sum"] == 3

    run(test)
    assert "a client was dropped" in caplog.text


@contextlib.asynccontextmanager
async def talking(talk):
    """A client of a server that talks in its own way."""
    server = await asyncio.start_server(talk, "127.0.0.1", 0)
    async with server, await tmsg.connect("127.0.0.1", server.sockets[0].getsockname()[1]) as client:
        yield client


def test_a_server_that_sends_garbage():
    async def answer_with(data):
        async def talk(reader, writer):
            await reader.read(1)
            writer.write(data)
            await writer.drain()
            writer.close()

        async with talking(talk) as client:
            await client.call("add", timeout=5)

    broken = bytearray(b"".join(tmsg.chunks(tmsg.response(), 1)))
    broken[8] = 0x55
    unasked = b"".join(tmsg.chunks(tmsg.response(), 99))
    for data, failure, text in (
        (bytes(broken), tmsg.Error, "unknown tag found: 55h at byte 0"),
        (b"HTTP/1.1 400 Bad Request\r\n", tmsg.ConnectionLost, ""),
        (unasked, tmsg.ConnectionLost, "the server closed the connection"),
        (b"", tmsg.ConnectionLost, "the server closed the connection"),
    ):
        with pytest.raises(failure, match=text):
            asyncio.run(answer_with(data))


def test_a_late_broken_answer_harms_no_other_call():
    async def talk(reader, writer):
        receiver = tmsg.Receiver()
        while len(requests := receiver.receive(await reader.read(1000))) == 0:
            pass
        broken = bytearray(b"".join(tmsg.chunks(tmsg.response(), requests[0].seq_no)))
        broken[8] = 0x55
        while len(requests := receiver.receive(await reader.read(1000))) == 0:
            pass
        writer.write(broken + b"".join(tmsg.chunks(tmsg.response({"a": 1}), requests[0].seq_no)))
        await reader.read()
        writer.close()

    async def test():
        async with talking(talk) as client:
            with pytest.raises(tmsg.CallTimeout):
                await client.call("first", timeout=0.05)
            assert await client.call("second", timeout=5) == {"a": 1}

    asyncio.run(test())


def test_closing_while_a_message_is_sent():
    """The caller was not cancelled, so it gets an error and no cancellation."""
    closed = asyncio.Event()

    async def talk(reader, writer):
        await closed.wait()
        writer.close()

    async def test():
        async with talking(talk) as client:
            waiting = asyncio.create_task(client.call("echo", {"data": bytes(20_000_000)}))
            await asyncio.sleep(0.1)
            await client.close()
            with pytest.raises(tmsg.ConnectionLost, match="the client was closed"):
                await waiting
            closed.set()

    asyncio.run(test())


def test_backpressure():
    """The server begins no further calls of a client that reads no answers."""
    begun = 0

    def produce(request):
        nonlocal begun
        begun += 1
        return {"data": b"x" * 1_000_000}

    async def test(server, client):
        reader, writer = await asyncio.open_connection("127.0.0.1", server.port)
        for number in range(30):
            writer.write(b"".join(tmsg.chunks(tmsg.request("produce"), number)))
        while begun < 4:
            await asyncio.sleep(0.01)
        await asyncio.sleep(0.5)
        # The buffers of the sockets hold some answers, too.
        assert begun <= 20
        receiver, answers = tmsg.Receiver(), 0
        while answers < 30:
            answers += len(receiver.receive(await reader.read(1 << 20)))
        writer.close()
        assert begun == 30

    run(test, methods={"produce": produce}, max_calls=4)


def test_limits_and_files(tmp_path):
    (tmp_path / "f").write_bytes(b"x" * 1_000_000)

    def size(request):
        return {"size": pathlib.Path(request.body["f"]).stat().st_size}

    async def test(server, client):
        answer = await client.call("size", {"f": tmsg.File(tmp_path / "f")})
        assert answer == {"size": 1_000_000}
        with pytest.raises(tmsg.ConnectionLost):
            await client.call("size", {"f": [[[[[1]]]]]})

    run(test, methods={"size": size}, max_depth=5)

    for options, failure in (({"max_dept": 5}, TypeError), ({"chunk_size": 0}, tmsg.Error)):
        with pytest.raises(failure):
            asyncio.run(tmsg.serve({}, **options))
        with pytest.raises(failure):
            asyncio.run(tmsg.connect("127.0.0.1", 1, **options))
