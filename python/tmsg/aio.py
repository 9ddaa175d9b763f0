"""A client and a server for asyncio."""

from __future__ import annotations

import asyncio
import logging
from typing import Any, Awaitable, Callable, Mapping, Self, Union

from ._streams import Receiver, chunks
from ._types import Error, Fault, Message, fault, request, response

Result = Union[Message, dict[str, Any], None]
Method = Callable[[Message], Union[Result, Awaitable[Result]]]

# The codes of the faults that a server makes itself.
NO_METHOD = 1
METHOD_FAILED = 2

_READ_SIZE = 65536
_MAX_SEQ_NO = 0x7FFFFF
_MAX_TEXT = 65535
_log = logging.getLogger("tmsg")


class ConnectionLost(Error, ConnectionError):
    """The connection ended before the answer came."""


class CallTimeout(Error, TimeoutError):
    """No answer came in time."""


def _check(chunk_size: int, limits: dict[str, int]) -> None:
    """Raises for arguments that would fail later, when nobody can be told."""
    chunks(response(), chunk_size=chunk_size)
    Receiver(None, **limits)


class _Sender:
    """Sends messages on a connection, each whole or not at all."""

    def __init__(self, writer: asyncio.StreamWriter, chunk_size: int) -> None:
        self._writer = writer
        self._chunk_size = chunk_size
        self._sending: set[asyncio.Task[None]] = set()

    async def send(self, message: Message, seq_no: int, port: int = 0) -> None:
        """Returns when the connection has room again. A cancelled call still sends the message."""
        source = chunks(message, seq_no, port=port, chunk_size=self._chunk_size)
        task = asyncio.create_task(self._send_chunks(source))
        self._sending.add(task)
        task.add_done_callback(self._end)
        await asyncio.wait({task})
        if task.cancelled():
            raise ConnectionResetError("the connection was closed")
        task.result()

    async def _send_chunks(self, source: Any) -> None:
        for chunk in source:
            self._writer.write(chunk)
            await self._writer.drain()

    def _end(self, task: asyncio.Task[None]) -> None:
        self._sending.discard(task)
        failure = None if task.cancelled() else task.exception()
        if failure is not None:
            # A message that is cut would confuse the other side.
            self.abort()

    def abort(self) -> None:
        """Ends the connection, and drops what is not sent."""
        self._writer.transport.abort()

    async def close(self) -> None:
        """Writes nothing more, and ends the connection when what was written has been sent."""
        for task in self._sending:
            task.cancel()
        self._writer.close()
        try:
            await self._writer.wait_closed()
        except OSError:
            pass


class _Closable:
    """`async with` closes the object at the end."""

    async def close(self) -> None:
        raise NotImplementedError

    async def __aenter__(self) -> Self:
        return self

    async def __aexit__(self, *_: object) -> None:
        await self.close()


class Client(_Closable):
    """Calls methods of one server. Any number of calls may wait at a time.

    connect() makes one. `async with` closes it at the end.
    """

    def __init__(
        self,
        reader: asyncio.StreamReader,
        writer: asyncio.StreamWriter,
        *,
        chunk_size: int = 16384,
        **limits: int,
    ) -> None:
        self._reader = reader
        self._sender = _Sender(writer, chunk_size)
        self._receiver = Receiver(self._on_error, **limits)
        self._waiting: dict[int, asyncio.Future[Message]] = {}
        self._given_up: set[int] = set()  # calls that ended before their answers came
        self._last_seq_no = 0
        self._end: str | None = None
        self._reading = asyncio.create_task(self._read())

    async def call(
        self,
        method: str,
        body: dict[str, Any] | None = None,
        *,
        meta: dict[str, Any] | None = None,
        timeout: float | None = None,
    ) -> dict[str, Any]:
        """Returns the body of the response. Raises what request() raises, and Fault for a fault."""
        answer = await self.request(request(method, body, meta), timeout=timeout)
        if answer.kind == "fault":
            raise Fault(answer.fault_code, answer.fault_text)
        return answer.body

    async def request(self, message: Message, *, timeout: float | None = None) -> Message:
        """Returns the answer, which may be a fault.

        Raises CallTimeout after `timeout` seconds, ConnectionLost when the connection ends before,
        and Error when the message cannot be sent or the answer cannot be decoded.
        """
        if self._end is not None:
            raise ConnectionLost(self._end)
        if message.kind == "request" and not message.name:
            # The server would take it for garbage, and end the connection.
            raise Error("a request without a name")
        seq_no = self._free_seq_no()
        answer: asyncio.Future[Message] = asyncio.get_running_loop().create_future()
        self._waiting[seq_no] = answer
        try:
            async with asyncio.timeout(timeout):
                await self._send(message, seq_no)
                return await answer
        except TimeoutError:
            text = f"no answer to {message.name} within {timeout} seconds"
            raise CallTimeout(text) from None
        finally:
            del self._waiting[seq_no]
            if answer.cancel() or answer.cancelled():
                self._given_up.add(seq_no)
            else:
                answer.exception()  # asyncio reports those that nobody asks for

    async def close(self) -> None:
        """Closes the connection. Calls that wait raise ConnectionLost."""
        self._finish("the client was closed")
        self._reading.cancel()
        await asyncio.wait({self._reading})
        self._sender.abort()
        await self._sender.close()

    async def _send(self, message: Message, seq_no: int) -> None:
        try:
            await self._sender.send(message, seq_no)
        except OSError as failure:
            raise ConnectionLost(self._end or str(failure)) from failure

    def _free_seq_no(self) -> int:
        if len(self._waiting) > _MAX_SEQ_NO:
            raise Error("all sequence numbers wait")
        while True:
            self._last_seq_no = (self._last_seq_no + 1) & _MAX_SEQ_NO
            if self._last_seq_no not in self._waiting:
                self._given_up.discard(self._last_seq_no)
                return self._last_seq_no

    async def _read(self) -> None:
        end = "the server closed the connection"
        try:
            while self._end is None and (data := await self._reader.read(_READ_SIZE)):
                self._take_answers(data)
        except OSError as failure:
            end = str(failure)
        except Exception as failure:
            end = f"the answers cannot be read: {failure}"
        finally:
            self._finish(end)

    def _take_answers(self, data: bytes) -> None:
        for answer in self._receiver.receive(data):
            self._given_up.discard(answer.seq_no)
            waiting = self._waiting.get(answer.seq_no)
            if waiting is not None and not waiting.done() and answer.kind != "request":
                waiting.set_result(answer)

    def _on_error(self, seq_no: int, text: str) -> None:
        waiting = self._waiting.get(seq_no)
        if waiting is not None:
            if not waiting.done():
                waiting.set_exception(Error(text))
        elif seq_no in self._given_up:
            self._given_up.remove(seq_no)
        else:
            self._finish(text)

    def _finish(self, end: str) -> None:
        """Ends the calls that wait and all later ones. All of them get the first text as their error."""
        if self._end is None:
            self._end = end
        for waiting in self._waiting.values():
            if not waiting.done():
                waiting.set_exception(ConnectionLost(self._end))


async def connect(host: str, port: int, *, chunk_size: int = 16384, **limits: int) -> Client:
    """Connects to a server. The limits are those of loads()."""
    _check(chunk_size, limits)
    reader, writer = await asyncio.open_connection(host, port)
    return Client(reader, writer, chunk_size=chunk_size, **limits)


def _fault_of(code: int, text: str) -> Message:
    """Returns a fault, whose text is cut if it is longer than a string may be."""
    try:
        data = text.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError:
        data = text.encode("utf-8", "backslashreplace")
    return fault(code, data[:_MAX_TEXT].decode("utf-8", "surrogateescape"))


class _Connection:
    """One connection of a server."""

    def __init__(
        self, server: Server, reader: asyncio.StreamReader, writer: asyncio.StreamWriter
    ) -> None:
        self._server = server
        self._reader = reader
        self._sender = _Sender(writer, server.chunk_size)
        self._receiver = Receiver(None, **server.limits)
        self._room = asyncio.Semaphore(server.max_calls)
        self._calls: set[asyncio.Task[None]] = set()
        self._reading = asyncio.create_task(self._read())

    async def run(self) -> None:
        """Returns when the connection and all its calls have ended."""
        await asyncio.wait({self._reading})
        if self._calls:
            await asyncio.wait(self._calls)
        await self._sender.close()

    def stop_reading(self) -> None:
        self._reading.cancel()

    def drop(self) -> None:
        """Cancels all calls, and ends the connection without their answers."""
        for call in self._calls:
            call.cancel()
        self._sender.abort()

    async def _read(self) -> None:
        try:
            while data := await self._reader.read(_READ_SIZE):
                await self._begin_calls(data)
        except Exception as failure:
            _log.warning("a client was dropped: %s", failure)
            self.drop()

    async def _begin_calls(self, data: bytes) -> None:
        # Its own function, so that no variable keeps a message while the connection rests.
        for message in self._receiver.receive(data):
            await self._room.acquire()
            call = asyncio.create_task(self._answer(message))
            self._calls.add(call)
            call.add_done_callback(self._end_call)

    def _end_call(self, call: asyncio.Task[None]) -> None:
        self._calls.discard(call)
        self._room.release()
        if not call.cancelled() and call.exception() is not None:
            _log.warning("an answer was not sent: %s", call.exception())

    async def _answer(self, message: Message) -> None:
        try:
            answer = await self._server.answer(message)
            await self._sender.send(answer, message.seq_no, message.port)
        except Exception as failure:
            # What the method returned or raised has no form in a message.
            refusal = _fault_of(METHOD_FAILED, str(failure))
            await self._sender.send(refusal, message.seq_no, message.port)


class Server(_Closable):
    """Calls the methods that requests name, and sends what they return or raise.

    serve() makes one. `async with` closes it at the end.
    """

    def __init__(
        self,
        methods: Mapping[str, Method],
        *,
        chunk_size: int = 16384,
        max_calls: int = 64,
        **limits: int,
    ) -> None:
        _check(chunk_size, limits)
        self.methods = methods
        self.chunk_size = chunk_size
        self.max_calls = max_calls
        self.limits = limits
        self._listener: asyncio.Server | None = None
        self._connections: dict[_Connection, asyncio.Task[None]] = {}

    async def listen(self, host: str, port: int) -> None:
        """Begins to accept connections. The port 0 stands for a free one."""
        self._listener = await asyncio.start_server(self._connected, host, port)

    @property
    def port(self) -> int:
        """The port at which the server listens."""
        if self._listener is None or not self._listener.sockets:
            raise Error("the server does not listen")
        port: int = self._listener.sockets[0].getsockname()[1]
        return port

    async def serve_forever(self) -> None:
        """Serves until the task is cancelled."""
        if self._listener is None:
            raise Error("the server does not listen")
        await self._listener.serve_forever()

    async def close(self, patience: float = 5.0) -> None:
        """Reads no more requests, and waits for the calls in progress.

        After `patience` seconds it cancels those that are left, and ends their connections.
        """
        if self._listener is not None:
            self._listener.close()
        connections = dict(self._connections)
        for connection in connections:
            connection.stop_reading()
        if not connections:
            return
        await asyncio.wait(connections.values(), timeout=patience)
        for connection in connections:
            if connection in self._connections:
                connection.drop()
        await asyncio.wait(connections.values())

    async def answer(self, message: Message) -> Message:
        """Returns the answer to a request. Methods that fail make faults."""
        method = self.methods.get(message.name)
        if method is None or message.kind != "request":
            return _fault_of(NO_METHOD, "no method " + message.name)
        try:
            called = method(message)
            result = await called if isinstance(called, Awaitable) else called
            answer = result if isinstance(result, Message) else response(result)
            if answer.kind == "request":
                raise Error("the method returned a request")
            return answer
        except asyncio.CancelledError as failure:
            task = asyncio.current_task()
            if task is not None and task.cancelling():
                raise
            _log.exception("the method %s failed", message.name)
            return _fault_of(METHOD_FAILED, str(failure) or "the method was cancelled")
        except Fault as failure:
            return _fault_of(failure.code, failure.text)
        except Exception as failure:
            _log.exception("the method %s failed", message.name)
            return _fault_of(METHOD_FAILED, str(failure))

    def _connected(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        connection = _Connection(self, reader, writer)
        task = asyncio.create_task(connection.run())
        self._connections[connection] = task
        task.add_done_callback(lambda _: self._connections.pop(connection))


async def serve(
    methods: Mapping[str, Method],
    host: str = "127.0.0.1",
    port: int = 0,
    *,
    chunk_size: int = 16384,
    max_calls: int = 64,
    **limits: int,
) -> Server:
    """Returns a server that listens at a port. The port 0 stands for a free one.

    A method gets the request, and may be a coroutine. It returns a dictionary, which is the body of
    the response, or a message, or None. A Fault that it raises is sent with its code and text. Any
    other exception is sent as a fault with the code 2. A request without a method gets a fault with
    the code 1. A connection has at most `max_calls` calls in progress, and waits when its client
    does not read the answers. The limits are those of loads().
    """
    server = Server(methods, chunk_size=chunk_size, max_calls=max_calls, **limits)
    await server.listen(host, port)
    return server
