"""Makes messages, and calls and serves methods, in Python."""

import asyncio

import tmsg


def show_messages() -> None:
    request = tmsg.request("stock.reserve", {"article": "bolt M8", "count": 250})
    request.body["weights"] = [0.25, 1.5]
    request.body["shelf"] = tmsg.Int8(5)  # a plain integer is an int32 if it fits

    data = tmsg.dumps(request)  # the wire form, as tm_to_bytes() makes it
    received = tmsg.loads(data)
    print(len(data), "bytes,", received.name, received.body["count"], received.body["weights"])
    try:
        tmsg.loads(data[:20])
    except tmsg.Error as error:
        print("error:", error)


def show_chunks() -> None:
    response = tmsg.Message("response", body={"left": 150})
    receiver = tmsg.Receiver()
    for chunk in tmsg.chunks(response, seq_no=7, chunk_size=16):
        for message in receiver.receive(chunk):  # the bytes may be cut anywhere
            print("answer to request", message.seq_no, message.body)


async def show_calls() -> None:
    def reserve(request: tmsg.Message) -> dict[str, int]:
        if request.body["count"] > 100:
            raise tmsg.Fault(7, "out of stock")
        return {"reserved": request.body["count"]}

    async with await tmsg.serve({"stock.reserve": reserve}) as server:
        async with await tmsg.connect("127.0.0.1", server.port) as client:
            print(await client.call("stock.reserve", {"count": 25}, timeout=10))
            try:
                await client.call("stock.reserve", {"count": 250}, timeout=10)
            except tmsg.Fault as fault:
                print(fault)


show_messages()
show_chunks()
asyncio.run(show_calls())
