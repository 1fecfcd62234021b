#!/usr/bin/env python3
"""Many clients in one process: crowd.py ADDRESS COUNT SECONDS [idle|streaming|stalled]

Each has a connection of its own. `streaming` ones subscribe to the fast meters and read; `stalled` ones subscribe and never
read; `idle` ones only connect. Prints "ready" when all have connected, and at the end one line of JSON: how many connected,
how many heard something in the last second, and how many streams or connections the server has ended.
"""
import json
import selectors
import sys
import time

from client import DATA, GOAWAY, HEADERS, RST_STREAM, END_STREAM, Connection, window


class Member:
    def __init__(self, address, kind):
        self.connection = Connection(address)
        self.ended = False
        self.heard = 0.0
        if kind != "idle":
            self.connection.subscribe()

    def take(self):
        """Takes what has come; False when the server has ended the stream or the connection."""
        try:
            for kind, stream, payload in self.connection.frames(0):
                if kind == DATA and payload:
                    self.heard = time.monotonic()
                    self.connection.send(window(0, len(payload)) + window(stream, len(payload)))
                elif kind in (RST_STREAM, GOAWAY):
                    self.ended = True
        except OSError:
            self.ended = True
        return not self.ended


def gather(address, count, kind):
    members = []
    for _ in range(count):
        try:
            members.append(Member(address, kind))
        except OSError:
            break
    return members


def main():
    address, count, seconds = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
    kind = sys.argv[4] if len(sys.argv) > 4 else "streaming"
    members = gather(address, count, kind)
    print("ready", flush=True)
    end = time.monotonic() + seconds
    with selectors.DefaultSelector() as selector:
        for member in members if kind != "stalled" else []:
            selector.register(member.connection.socket, selectors.EVENT_READ, member)
        while (left := end - time.monotonic()) > 0:
            for key, _ in selector.select(min(left, 0.1)):
                if not key.data.take():
                    selector.unregister(key.fileobj)
    heard = sum(member.heard > end - 1 and not member.ended for member in members)
    ended = sum(member.ended for member in members)
    print(json.dumps({"connected": len(members), "heard": heard, "ended": ended}), flush=True)


if __name__ == "__main__":
    main()
