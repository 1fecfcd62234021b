#!/usr/bin/python3
"""Prints a level live, as a viewer of the gateway: levels.py [URL [DEVICE [KEY]]]

Needs python3-websockets, python3-protobuf, and in its path what protoc makes of the schema.
"""
import asyncio
import contextlib
import random
import sys

import websockets
from corvalux.live.live_pb2 import STREAM_FAST, FromViewer, ToViewer

url, device, key = sys.argv[1:] + ["ws://127.0.0.1:8080/live", "desk", "input/1/peak"][len(sys.argv) - 1:]
STAY_AWAY = {1000, 1002, 1003, 1007, 1008, 1009, 4100, 4101}  # it would be the same again


def show(entries):
    for entry in entries.entries:
        print(f"{getattr(entry.value, entry.value.WhichOneof('value')):.1f}", flush=True)


async def view(socket):
    async def say(**message):
        await socket.send(FromViewer(**message).SerializeToString())

    drawn = 0
    await say(hello={"acknowledges": True})
    await say(subscribe={"subscription": 1, "device": device, "streams": [STREAM_FAST], "keys": [key], "rate": 10})
    while message := ToViewer.FromString(await socket.recv()):
        kind = message.WhichOneof("message")
        if kind == "snapshot":
            show(message.snapshot.entries)
        elif kind == "update":
            show(message.update.entries)
            drawn += 1
            await say(acknowledge={"updates": drawn})  # otherwise there are two, and no more
        elif kind == "ping":
            await say(pong={"clock": message.ping.clock})
        elif kind == "error":
            sys.exit(message.error.text)


async def main():
    # Tries until there is a gateway. Pings of the library are not needed: the gateway's are answered above.
    async for socket in websockets.connect(url, subprotocols=["corvalux.v1"], compression=None, ping_interval=None):
        try:
            await view(socket)
        except websockets.ConnectionClosed as end:
            if end.rcvd and end.rcvd.code in STAY_AWAY:
                sys.exit(str(end))
            print(f"no levels: {end}; trying again", file=sys.stderr, flush=True)
            await asyncio.sleep(0.5 + random.random())  # not all viewers at once


with contextlib.suppress(KeyboardInterrupt):
    asyncio.run(main())
