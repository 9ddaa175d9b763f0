"""Messages in chunks, as they travel on streams."""

from __future__ import annotations

from typing import Callable

from . import _tmsg
from ._types import Error, Message, RangeError

ErrorHandler = Callable[[int, str], None]


class ReceiveError(Error):
    """A message of a stream that cannot be decoded.

    `errors` has the sequence number and the error text of each such message, and `messages` the
    good messages of the same call.
    """

    def __init__(self, messages: list[Message], errors: list[tuple[int, str]]) -> None:
        super().__init__(errors[0][1])
        self.messages = messages
        self.errors = errors
        self.seq_no = errors[0][0]

    def __reduce__(self) -> tuple[type[ReceiveError], tuple[list[Message], list[tuple[int, str]]]]:
        return type(self), (self.messages, self.errors)


class Receiver:
    """Puts together the messages of one stream of chunks.

    After a broken message it goes on with the others. It passes the sequence number and the error
    text to `on_error`, or else raises ReceiveError. The limits are those of loads().
    """

    def __init__(self, on_error: ErrorHandler | None = None, **limits: int) -> None:
        self._on_error = on_error
        self._receiver = _tmsg.ChunkReceiver(**limits)

    def receive(self, data: _tmsg.Bytes) -> list[Message]:
        """Reads the next bytes of the stream. Returns the messages that are complete now."""
        return self._checked(*self._receiver.receive(data))

    def finish(self) -> None:
        """Ends the stream. Every message that is not complete is an error."""
        self._checked(*self._receiver.finish())

    def _checked(self, messages: list[Message], errors: list[tuple[int, str]]) -> list[Message]:
        for seq_no, text in errors:
            if self._on_error is None:
                raise ReceiveError(messages, errors)
            self._on_error(seq_no, text)
        return messages


def chunks(
    message: _tmsg.AnyMessage,
    seq_no: int = 0,
    *,
    port: int = 0,
    chunk_size: int = 16384,
    by_index: bool = False,
) -> _tmsg.Chunks:
    """Returns the chunks of the message, one at a time, each with its header."""
    for name, number, most in (("sequence number", seq_no, 0x7FFFFF), ("port", port, 0xFF)):
        if not 0 <= number <= most:
            raise RangeError(f"{name} {number} is not between 0 and {most}")
    return _tmsg.Chunks(message, seq_no, port=port, chunk_size=chunk_size, by_index=by_index)
