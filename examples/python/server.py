#!/usr/bin/python3
"""Serves the methods that the example client in C++ calls.

It listens at a free port of this machine and prints the port. SIGINT and SIGTERM end it.
"""

import asyncio
import signal
import zlib
from typing import Any

import tmsg


def crc_of(file: tmsg.File) -> tuple[int, int]:
    """Returns the size and the CRC of the file."""
    size = crc = 0
    with open(file, "rb") as contents:
        while block := contents.read(1 << 16):
            size += len(block)
            crc = zlib.crc32(block, crc)
    return size, crc


async def store(request: tmsg.Message) -> dict[str, Any]:
    """Replies with the size and the CRC of the file, and with every other value."""
    values = dict(request.body)
    announced = values.pop("crc32")
    size, crc = await asyncio.to_thread(crc_of, values.pop("file"))
    if crc != announced:
        raise tmsg.Fault(3, "the file arrived with another CRC than it was sent with")
    print(f"received {len(request.body)} members", flush=True)
    return {"size": tmsg.Uint32(size), "crc32": tmsg.Uint32(crc), **values}


async def run() -> None:
    stop = asyncio.Event()
    for number in (signal.SIGINT, signal.SIGTERM):
        asyncio.get_running_loop().add_signal_handler(number, stop.set)
    async with await tmsg.serve({"demo.store": store}) as server:
        print(server.port, flush=True)
        await stop.wait()


if __name__ == "__main__":
    asyncio.run(run())
