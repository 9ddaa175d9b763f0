"""Typed messages for remote calls.

A message has a body and meta data, which are dictionaries. Values are sent by their class:

    bool                          bool
    int                           int32 if it fits, else int64 if it fits, else uint64
    Int8, Uint8, ... Uint64       the type of that name
    float                         double
    str                           string
    bytes, bytearray, memoryview  byte string
    list, tuple                   array
    dict                          struct
    Message                       message
    File                          file

type_name() tells the type of a value. All other classes, and integers beyond uint64 or below int64,
raise Error. Received values have the same classes, int32 is int, and byte strings are read-only
memoryview objects, which do not copy the bytes.
"""

from ._streams import Receiver, ReceiveError, chunks
from ._tmsg import __version__, dumps, from_json, from_text, loads, to_json, to_text, type_name
from ._types import (
    DecodeError,
    Error,
    Fault,
    File,
    Int8,
    Int16,
    Int32,
    Int64,
    Message,
    RangeError,
    RepeatedName,
    Uint8,
    Uint16,
    Uint32,
    Uint64,
    fault,
    request,
    response,
)
from .aio import CallTimeout, Client, ConnectionLost, Server, connect, serve

__all__ = [
    "__version__",
    "CallTimeout",
    "Client",
    "ConnectionLost",
    "DecodeError",
    "Error",
    "Fault",
    "File",
    "Int16",
    "Int32",
    "Int64",
    "Int8",
    "Message",
    "RangeError",
    "ReceiveError",
    "Receiver",
    "RepeatedName",
    "Server",
    "Uint16",
    "Uint32",
    "Uint64",
    "Uint8",
    "chunks",
    "connect",
    "dumps",
    "fault",
    "from_json",
    "from_text",
    "loads",
    "request",
    "response",
    "serve",
    "to_json",
    "to_text",
    "type_name",
]
