#!/usr/bin/python3
"""Calls the server of the example in C++ with a value of every kind and a file.

Usage: client.py PORT FILE
"""

import asyncio
import sys
import zlib
from pathlib import Path
from typing import Any

import tmsg

VALUES: dict[str, Any] = {
    "int8": tmsg.Int8(-128),
    "uint8": tmsg.Uint8(255),
    "int16": tmsg.Int16(-32768),
    "uint16": tmsg.Uint16(65535),
    "int32": -(2**31),
    "uint32": tmsg.Uint32(2**32 - 1),
    "int64": -(2**63),
    "uint64": 2**64 - 1,
    "double": 0.125,
    "bool": True,
    "string": "a text",
    "binary": b"\x00\x7f\x80\xff",
    "array": [1, "two", 3.5],
    "struct": {"inner": {"deep": True}, "list": [1, "two", 3.5]},
    "message": tmsg.request("demo.note", {"text": "a message in a message"}),
}


async def run(port: int, path: Path) -> None:
    crc = tmsg.Uint32(zlib.crc32(path.read_bytes()))
    async with await tmsg.connect("127.0.0.1", port) as client:
        arguments = {**VALUES, "file": tmsg.File(path), "crc32": crc}
        answer = await client.call("demo.store", arguments, timeout=10)
        if answer != {"size": path.stat().st_size, "crc32": crc, **VALUES}:
            raise SystemExit("this is not the answer that was expected")
        for name, value in answer.items():
            print(f"  {name:8} {tmsg.type_name(value):8} {value!r}")
        try:
            await client.call("demo.forget", timeout=10)
        except tmsg.Fault as fault:
            print(f"  {fault}")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    asyncio.run(run(int(sys.argv[1]), Path(sys.argv[2])))
