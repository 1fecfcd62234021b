"""A viewer by a library that is not ours: python3-websockets, and the schema's classes as protoc makes them."""
import asyncio
import collections
import contextlib
import pathlib
import socket
import subprocess
import sys
import tempfile
import time

import websockets
from programs import PATIENCE, ROOT, check

generated = tempfile.TemporaryDirectory(prefix="corvalux-")
subprocess.run(["protoc", f"--proto_path={ROOT}/proto", f"--python_out={generated.name}",
                "corvalux/grpc/streams.proto", "corvalux/live/live.proto"], check=True)
sys.path.insert(0, generated.name)
from corvalux.live import live_pb2 as live  # noqa: E402

STREAMS = {"fast": live.STREAM_FAST, "slow": live.STREAM_SLOW, "changes": live.STREAM_CHANGES}


def value(entry):
    """Of a KeyValue, as Python has it."""
    kind = entry.value.WhichOneof("value")
    found = getattr(entry.value, kind) if kind else None
    return found.data if kind == "string_value" else list(found.values) if kind and kind.endswith("array") else found


def values(entries):
    """By key; of a key that repeats, the last."""
    return {entry.key: value(entry) for entry in entries.entries}


class Viewer:
    """Takes what comes and answers pings by itself; acknowledges what it has taken, unless told not to."""

    def __init__(self, gateway, acknowledges=True, hello=True, rate=0, window=None,
                 protocols=("corvalux.v1",), source="127.0.0.1", through=None):
        self.through = through  # how to connect, if not to the gateway itself
        self.gateway, self.acknowledges, self.hello, self.rate = gateway, acknowledges, hello, rate
        self.window, self.protocols, self.source = window, protocols, source
        self.updates = self.drawn = 0
        self.pongs = True
        self.counts = collections.Counter()  # of messages

    async def __aenter__(self):
        self.socket = await websockets.connect(
            **(self.through or self.directly()), subprotocols=list(self.protocols), compression=None, ping_interval=None,
            max_size=None, max_queue=1, close_timeout=1)
        if self.hello:
            await self.say(hello=live.ViewerHello(acknowledges=self.acknowledges, devices_per_second=self.rate))
        return self

    def directly(self):
        connection = self.gateway.connect(source=self.source)
        if self.window:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, self.window)
        connection.setblocking(False)
        return {"uri": "ws://localhost/live", "sock": connection}

    async def __aexit__(self, *_):
        self.socket.transport.abort()
        self.socket.transfer_data_task.cancel()  # it waits for ever if nobody takes what has come
        with contextlib.suppress(Exception, asyncio.CancelledError):
            await self.socket.wait_closed()

    async def say(self, **message):
        await self.socket.send(live.FromViewer(**message).SerializeToString())

    async def subscribe(self, device="desk", streams=("fast",), number=1, **more):
        await self.say(subscribe=live.Subscribe(subscription=number, device=device,
                                                streams=[STREAMS[stream] for stream in streams], **more))

    async def next(self, seconds=PATIENCE):
        """The next message; what the protocol asks for is done."""
        message = live.ToViewer.FromString(await asyncio.wait_for(self.socket.recv(), seconds))
        kind = message.WhichOneof("message")
        self.counts[kind] += 1
        if kind == "ping" and self.pongs:
            await self.say(pong=live.Pong(clock=message.ping.clock))
        if kind == "update":
            self.updates += 1
            if self.acknowledges:
                await self.acknowledge(self.updates)
        return getattr(message, kind)

    async def several(self, count):
        """The next updates."""
        return [await self.until(live.Update) for _ in range(count)]

    async def quiet(self, seconds, most):
        """Whether no more than so many updates come in this time."""
        end, before = time.monotonic() + seconds, self.updates
        with contextlib.suppress(asyncio.TimeoutError):
            while (left := end - time.monotonic()) > 0:
                await self.next(left)
        return self.updates - before <= most

    async def acknowledge(self, updates):
        await self.say(acknowledge=live.Acknowledge(updates=updates))

    async def until(self, kind, matches=lambda message: True, seconds=PATIENCE):
        """The next message of a kind that matches."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            message = await self.next(seconds)
            if isinstance(message, kind) and matches(message):
                return message
        return check(False, f"a {kind.__name__} comes")

    async def snapshot(self, number=1):
        """All parts of a snapshot."""
        parts = []
        while not parts or not parts[-1].last:
            parts.append(await self.until(live.Snapshot, lambda part: part.subscription == number))
        return parts

    async def closed(self, seconds=PATIENCE):
        """The code with which the gateway closes the connection, and the last error that it said."""
        error = None
        try:
            while True:
                message = await self.next(seconds)
                error = message if isinstance(message, live.Error) else error
        except websockets.ConnectionClosed as end:
            return end.rcvd.code if end.rcvd else 1006, error
