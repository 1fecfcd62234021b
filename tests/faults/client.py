#!/usr/bin/env python3
"""A client that behaves badly: client.py FAULT ADDRESS SECONDS

Speaks HTTP/2 by hand, because no proper client would do these things. ADDRESS is unix:PATH or HOST:PORT. Prints "ready"
once it is at work, and ends by itself after SECONDS. `read` is the one good client: it prints every message as a line of
hexadecimal digits.
"""
import random
import select
import socket
import struct
import sys
import time

PREFACE = b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"
DATA, HEADERS, PRIORITY, RST_STREAM, SETTINGS, PUSH_PROMISE, PING, GOAWAY, WINDOW_UPDATE, CONTINUATION = range(10)
END_STREAM, ACK, END_HEADERS = 1, 1, 4
INITIAL_WINDOW_SIZE = 4
FAST = "/corvalux.grpc.Meters/GetMetersFast"
CHANGES = "/corvalux.grpc.Notifications/GetNotifications"
REQUEST = b"\0\0\0\0\0"  # an empty message


def frame(kind, flags, stream, payload=b""):
    return struct.pack(">I", len(payload))[1:] + bytes([kind, flags]) + struct.pack(">I", stream) + payload


def hpack_integer(value, bits):
    limit = (1 << bits) - 1
    if value < limit:
        return bytes([value])
    out, value = [limit], value - limit
    while value >= 0x80:
        out.append(value % 0x80 | 0x80)
        value //= 0x80
    return bytes(out + [value])


def header(name, value):
    name, value = name.encode(), value.encode()
    return b"\0" + hpack_integer(len(name), 7) + name + hpack_integer(len(value), 7) + value


def request(method, content_type="application/grpc"):
    fields = {":method": "POST", ":scheme": "http", ":path": method, ":authority": "fault", "te": "trailers",
              "content-type": content_type}
    return b"".join(header(name, value) for name, value in fields.items())


class Connection:
    def __init__(self, address, settings=b"", greet=True):
        if address.startswith("unix:"):
            self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            self.socket.connect(address[5:])
        else:
            host, port = address.rsplit(":", 1)
            self.socket = socket.create_connection((host, int(port)))
        self.socket.settimeout(1)
        self.next_stream = 1
        self.input = b""
        if greet:
            self.send(PREFACE + frame(SETTINGS, 0, 0, settings))

    def send(self, data):
        self.socket.sendall(data)

    def call(self, method, content_type="application/grpc", flags=END_HEADERS):
        stream = self.next_stream
        self.next_stream += 2
        self.send(frame(HEADERS, flags, stream, request(method, content_type)))
        return stream

    def subscribe(self, method=FAST):
        stream = self.call(method)
        self.send(frame(DATA, END_STREAM, stream, REQUEST))
        return stream

    def cancel(self, stream):
        self.send(frame(RST_STREAM, 0, stream, struct.pack(">I", 8)))

    def drop_input(self):
        """Takes what the server has sent, and throws it away."""
        while select.select([self.socket], [], [], 0)[0]:
            if not self.socket.recv(1 << 16):
                raise ConnectionError("closed by the server")

    def frames(self, seconds):
        """The frames that come within `seconds`; acknowledges settings and pings. Raises when the server closes."""
        end = time.monotonic() + seconds
        while select.select([self.socket], [], [], max(end - time.monotonic(), 0))[0]:
            received = self.socket.recv(1 << 16)
            if not received:
                raise ConnectionError("closed by the server")
            self.input += received
            while len(self.input) >= 9 and len(self.input) >= 9 + (size := int.from_bytes(self.input[:3], "big")):
                kind, flags = self.input[3], self.input[4]
                stream = int.from_bytes(self.input[5:9], "big")
                payload, self.input = self.input[9:9 + size], self.input[9 + size:]
                if kind in (SETTINGS, PING) and not flags & ACK:
                    self.send(frame(kind, ACK, 0, payload if kind == PING else b""))
                yield kind, stream, payload

    def reset(self):
        """Closes with a TCP reset, not in good order."""
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.socket.close()


def window(stream, size):
    return frame(WINDOW_UPDATE, 0, stream, struct.pack(">I", size))


def ready():
    print("ready", flush=True)


class Until:
    """Iterates until the time is up; the first round reports that the fault is at work."""

    def __init__(self, seconds):
        self.end = time.monotonic() + seconds
        self.first = True

    def __iter__(self):
        return self

    def __next__(self):
        if not self.first and time.monotonic() >= self.end:
            raise StopIteration
        if not self.first:
            return self.end - time.monotonic()
        self.first = False
        ready()
        return self.end - time.monotonic()


def again(address, seconds, fault, settings=b""):
    """Runs `fault(connection)` on one connection after the other, whenever there is a server."""
    for _ in Until(seconds):
        try:
            connection = Connection(address, settings)
        except OSError:
            time.sleep(0.001)
            continue
        try:
            fault(connection)
            connection.socket.close()
        except OSError:
            pass


def read(address, seconds):
    connection = Connection(address)
    connection.subscribe()
    ready()
    body = b""
    for kind, stream, payload in connection.frames(seconds):
        if kind != DATA:
            continue
        connection.send(window(0, max(len(payload), 1)) + window(stream, max(len(payload), 1)))
        body += payload
        while len(body) >= 5 and len(body) >= 5 + (size := int.from_bytes(body[1:5], "big")):
            print(body[5:5 + size].hex(), flush=True)
            body = body[5 + size:]


def hold(connection, seconds):
    """Reads nothing until the server hangs up."""
    ready()
    hangup = select.poll()
    hangup.register(connection.socket, select.POLLRDHUP)
    hangup.poll(seconds * 1000)


def stall(address, seconds):
    connection = Connection(address)
    connection.subscribe(FAST)
    connection.subscribe(CHANGES)
    hold(connection, seconds)


def stall_wide(address, seconds):
    """Grants all that HTTP/2 allows and reads nothing: what stops the server is a full socket."""
    connection = Connection(address, struct.pack(">HI", INITIAL_WINDOW_SIZE, 0x7FFFFFFF))
    connection.send(window(0, 0x7FFFFFFF - 65535))
    connection.subscribe(FAST)
    connection.subscribe(CHANGES)
    hold(connection, seconds)


def tiny_window(address, seconds):
    connection = Connection(address, struct.pack(">HI", INITIAL_WINDOW_SIZE, 1))
    stream = connection.subscribe()
    for _ in Until(seconds):
        list(connection.frames(0.005))
        connection.send(window(stream, 1))


def break_off(connection):
    connection.subscribe()
    connection.send(frame(HEADERS, END_HEADERS, 99, request(FAST))[:20])
    connection.reset()


def reset_mid_frame(address, seconds):
    def fault(connection):
        break_off(connection)
        time.sleep(0.005)
    again(address, seconds, fault)


def reset_flood(address, seconds):
    again(address, seconds, break_off)


def slow_handshake(address, seconds):
    """Twenty connections, each on its way to a preface byte by byte; one that the server ends starts again."""
    connections = {}  # and how much of the preface is sent
    for _ in Until(seconds):
        try:
            while len(connections) < 20:
                connections[Connection(address, greet=False)] = 0
        except OSError:
            pass
        for connection, sent in list(connections.items()):
            try:
                connection.drop_input()
                connection.send(PREFACE[sent % len(PREFACE):][:1])
                connections[connection] = sent + 1
            except OSError:
                del connections[connection]
        select.select([connection.socket for connection in connections], [], [], 0.05 if connections else 0.001)


def random_bytes(address, seconds):
    source = random.Random(1)

    def fault(connection):
        connection.send(source.randbytes(source.randrange(4096)))
        list(connection.frames(0.002))
    again(address, seconds, fault)


def malformed_frames(address, seconds):
    bad = [frame(SETTINGS, 0, 0, b"\0" * 5), frame(PING, 0, 0, b"short"), frame(WINDOW_UPDATE, 0, 0, b"\0\0\0\0"),
           frame(DATA, 0, 7, b"no such stream"), frame(HEADERS, END_HEADERS, 2, request(FAST)),
           frame(HEADERS, END_HEADERS, 1, b"\xff" * 40), frame(CONTINUATION, 0, 1, b""), frame(200, 255, 1, b"?"),
           frame(RST_STREAM, 0, 1, b"\0"), b"\xff\xff\xff" + bytes([DATA, 0, 0, 0, 0, 1]) + b"x" * 64,
           window(0, 0x7FFFFFFF) * 2, frame(PUSH_PROMISE, 0, 1, b"\0" * 8), frame(GOAWAY, 0, 0, b"\0" * 8)]
    source = random.Random(2)

    def fault(connection):
        connection.subscribe()
        connection.send(source.choice(bad))
        list(connection.frames(0.002))
    again(address, seconds, fault)


def flood(address, seconds, data, size):
    """Sends `data` as fast as the server takes it, on connections that are renewed when the server ends them."""
    def fault(connection):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            connection.send(data * size)
            connection.drop_input()
    again(address, seconds, fault)


def ping_flood(address, seconds):
    flood(address, seconds, frame(PING, 0, 0, b"12345678"), 200)


def settings_flood(address, seconds):
    flood(address, seconds, frame(SETTINGS, 0, 0, b""), 200)


def connection_flood(address, seconds):
    held = []
    for _ in Until(seconds):
        try:
            held.append(Connection(address))
            held[-1].subscribe()
        except OSError:
            time.sleep(0.01)
        if len(held) >= 300:
            held.pop(0).socket.close()
        time.sleep(0.002)


def stream_flood(address, seconds):
    def fault(connection):
        for _ in range(1000):
            connection.subscribe()
            connection.drop_input()
        list(connection.frames(0.2))
    again(address, seconds, fault)


def churn(address, seconds):
    def fault(connection):
        for _ in range(100):
            connection.cancel(connection.subscribe())
            connection.drop_input()
    again(address, seconds, fault)


def churn_backwards(address, seconds):
    def fault(connection):
        streams = [connection.subscribe() for _ in range(300)]
        connection.drop_input()
        for stream in reversed(streams):
            connection.cancel(stream)
        connection.drop_input()
    again(address, seconds, fault)


def unknown_methods(address, seconds):
    def fault(connection):
        for i in range(200):
            connection.call(f"/corvalux.grpc.Meters/Get{i}", flags=END_HEADERS | END_STREAM)
            connection.drop_input()
    again(address, seconds, fault)


def oversized_headers(address, seconds):
    block = request(FAST) + b"".join(header(f"x-{i}", "y" * 1000) for i in range(15))

    def fault(connection):
        connection.send(frame(HEADERS, 0, 1, block))
        for _ in range(60):
            connection.send(frame(CONTINUATION, 0, 1, block[-15000:]))
        connection.send(frame(CONTINUATION, END_HEADERS, 1, b""))
        list(connection.frames(0.01))
    again(address, seconds, fault)


def endless_requests(address, seconds):
    def fault(connection):
        stream = connection.call(FAST)
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            connection.send(frame(DATA, 0, stream, (REQUEST[:4] + b"\x08" + b"meters!?") * 100))
            connection.drop_input()
    again(address, seconds, fault)


def wrong_content_type(address, seconds):
    def fault(connection):
        for content_type in ("text/html", "application/json", "application/grpc-web", ""):
            connection.call(FAST, content_type)
            connection.drop_input()
        list(connection.frames(0.005))
    again(address, seconds, fault)


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    fault, address, seconds = sys.argv[1:]
    globals()[fault.replace("-", "_")](address, float(seconds))


if __name__ == "__main__":
    try:
        main()
    except (BrokenPipeError, ConnectionError):
        sys.exit(0)  # the server ended it: for a bad client that is in order
