"""The classes of messages, of errors, and of values that Python has no type of its own for."""

from __future__ import annotations

import os
from typing import Any, ClassVar, Literal, Protocol, Self

Kind = Literal["request", "response", "fault"]


class Error(Exception):
    """The base class of the errors of this package.

    `path` is the place of the value in its message, such as "body.ports[2]". It is empty where the
    place is not known.
    """

    path: str = ""


class RangeError(Error, OverflowError):
    """A number or a length that does not fit its type."""


class DecodeError(Error, ValueError):
    """Input that is no message. Bytes have an offset, a text has a line and a column."""

    offset: int | None = None
    line: int | None = None
    column: int | None = None


class Fault(Error):
    """A fault that the other side has sent. A method of a server raises it to send one."""

    def __init__(self, code: int, text: str) -> None:
        super().__init__(f"fault {code}: {text}")
        self.code = code_of_fault(code)
        self.text = text

    def __reduce__(self) -> tuple[type[Fault], tuple[int, str]]:
        return type(self), (self.code, self.text)


class _SizedInt(int):
    """An integer that is sent as one type. Results of arithmetic are plain integers."""

    __slots__ = ()
    LOWEST: ClassVar[int]
    HIGHEST: ClassVar[int]

    def __new__(cls, value: Any = 0) -> Self:
        made = int.__new__(cls, value)
        if not cls.LOWEST <= made <= cls.HIGHEST:
            raise RangeError(f"{int(made)} is not between {cls.LOWEST} and {cls.HIGHEST}")
        return made

    def __repr__(self) -> str:
        return f"{type(self).__name__}({int(self)})"

    def __str__(self) -> str:
        return int.__repr__(self)


class Int8(_SizedInt):
    __slots__ = ()
    LOWEST, HIGHEST = -(2**7), 2**7 - 1


class Uint8(_SizedInt):
    __slots__ = ()
    LOWEST, HIGHEST = 0, 2**8 - 1


class Int16(_SizedInt):
    __slots__ = ()
    LOWEST, HIGHEST = -(2**15), 2**15 - 1


class Uint16(_SizedInt):
    __slots__ = ()
    LOWEST, HIGHEST = 0, 2**16 - 1


class Int32(_SizedInt):
    """Plain integers that fit are sent as this type. It is received as a plain integer."""

    __slots__ = ()
    LOWEST, HIGHEST = -(2**31), 2**31 - 1


class Uint32(_SizedInt):
    __slots__ = ()
    LOWEST, HIGHEST = 0, 2**32 - 1


class Int64(_SizedInt):
    __slots__ = ()
    LOWEST, HIGHEST = -(2**63), 2**63 - 1


class Uint64(_SizedInt):
    __slots__ = ()
    LOWEST, HIGHEST = 0, 2**64 - 1


class RepeatedName(str):
    """The key of a member whose name an earlier member of the same struct has.

    The first such member has the plain name as its key, the others have RepeatedName(name, 1), and
    so on. Keys with different numbers are not equal.
    """

    number: int

    def __new__(cls, name: str, number: int) -> RepeatedName:
        made = super().__new__(cls, name)
        made.number = number
        return made

    def __eq__(self, other: object) -> bool:
        is_same = isinstance(other, RepeatedName) and self.number == other.number
        return is_same and str.__eq__(self, str(other))

    def __ne__(self, other: object) -> bool:
        return not self == other

    def __hash__(self) -> int:
        return hash((str(self), self.number))

    def __str__(self) -> str:
        return str.__str__(self)

    def __repr__(self) -> str:
        return f"RepeatedName({str.__repr__(self)}, {self.number})"

    def __getnewargs__(self) -> tuple[str, int]:  # type: ignore[override]
        return str(self), self.number


class _Owner(Protocol):
    def keep(self) -> None: ...


class File:
    """A file that is sent with its contents.

    A received file is removed when its File object is destroyed. keep() leaves it in place.
    """

    __slots__ = ("path", "_owner")

    def __init__(self, path: str | os.PathLike[str], _owner: _Owner | None = None) -> None:
        self.path: str = os.fspath(path)
        self._owner = _owner

    def keep(self) -> str:
        """Returns the path of the file, which the caller owns from now on."""
        if self._owner is not None:
            self._owner.keep()
        return self.path

    def __fspath__(self) -> str:
        return self.path

    def __eq__(self, other: object) -> bool:
        return isinstance(other, File) and self.path == other.path

    def __hash__(self) -> int:
        return hash(self.path)

    def __repr__(self) -> str:
        return f"File({self.path!r})"

    def __reduce__(self) -> tuple[type[File], tuple[str]]:
        return type(self), (self.path,)


class Message:
    """A request, a response or a fault.

    `body` has the arguments, the results or the fault, and `meta` describes the message. Both are
    dictionaries, in the order of the members. `seq_no` and `port` come from the chunks of a
    received message. They do not count when messages are compared.
    """

    __slots__ = ("kind", "name", "meta", "body", "seq_no", "port")
    __hash__ = None  # type: ignore[assignment]

    def __init__(
        self,
        kind: Kind,
        name: str = "",
        meta: dict[str, Any] | None = None,
        body: dict[str, Any] | None = None,
        seq_no: int = 0,
        port: int = 0,
    ) -> None:
        self.kind: Kind = kind
        self.name = name
        self.meta: dict[str, Any] = {} if meta is None else meta
        self.body: dict[str, Any] = {} if body is None else body
        self.seq_no = seq_no
        self.port = port

    @property
    def fault_code(self) -> int:
        """The code of a fault, or -1 without one."""
        code = self.body.get("faultCode", -1)
        return code if isinstance(code, int) else -1

    @property
    def fault_text(self) -> str:
        """The text of a fault, which is empty without one."""
        text = self.body.get("faultString", "")
        return text if isinstance(text, str) else ""

    def to_dict(self) -> dict[str, Any]:
        """Returns {"request": name, "meta": {...}, "body": {...}}, or the like for other kinds."""
        head = self.name if self.kind == "request" else True
        return {self.kind: head, "meta": self.meta, "body": self.body}

    @classmethod
    def from_dict(cls, members: dict[str, Any]) -> Message:
        """Returns the message of a dictionary as to_dict() returns it. The groups may be absent."""
        rest = dict(members)
        meta, body = rest.pop("meta", None), rest.pop("body", None)
        if len(rest) != 1:
            raise Error("a message needs one of the keys request, response and fault")
        kind, head = rest.popitem()
        if kind == "request":
            return cls("request", head, meta, body)
        if kind not in ("response", "fault"):
            raise Error(f"unknown key of a message: {kind}")
        if head is not True:
            raise Error(f"the key {kind} of a message is not True")
        return cls("fault" if kind == "fault" else "response", "", meta, body)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Message):
            return NotImplemented
        return self.to_dict() == other.to_dict()

    def __repr__(self) -> str:
        return f"Message.from_dict({self.to_dict()!r})"


def request(
    name: str, body: dict[str, Any] | None = None, meta: dict[str, Any] | None = None
) -> Message:
    """Returns a request of the method with that name."""
    return Message("request", name, meta, body)


def response(body: dict[str, Any] | None = None, meta: dict[str, Any] | None = None) -> Message:
    """Returns a response."""
    return Message("response", "", meta, body)


def code_of_fault(code: int) -> int:
    """Returns the code. Raises RangeError unless it is an int32, as codes of faults are."""
    return int(Int32(code))


def fault(code: int, text: str) -> Message:
    """Returns a fault."""
    return Message("fault", "", None, {"faultCode": code_of_fault(code), "faultString": text})
