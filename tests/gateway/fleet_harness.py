"""What the tests of the fleet share: NATS servers, gateways on them, watchers that see whether anything older comes back,
and a plain client of NATS."""
import contextlib
import json
import os
import re
import select
import signal
import socket
import threading
import time

from harness import PATIENCE, Gateway, Program, check

LONGEST_GAP = 2  # seconds without values when the one who speaks is gone


class Server:
    """A nats-server on a free port of this machine, which it keeps when it comes back."""

    def __init__(self, *options):
        self.options = options
        self.port = -1
        self.start()

    def start(self):
        self.program = Program("nats-server", "-a", "127.0.0.1", "-p", self.port, *self.options)
        self.program.wait_for("serves", "errors", "Server is ready")
        self.port = int(re.search(r"client connections on 127\.0\.0\.1:(\d+)", self.program.texts["errors"])[1])

    @property
    def url(self):
        return f"nats://127.0.0.1:{self.port}"

    def gateway(self, name, *devices):
        """Once it is in the fleet."""
        gateway = Gateway(*devices, "--nats", self.url, "--name", name)
        gateway.wait_for("is in the fleet", "errors", f"in the fleet as {name}")
        return gateway

    def kill(self):
        self.program.process.kill()
        self.program.process.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.program.__exit__()


class Watch:
    """Follows a device's counters at a gateway on a thread of its own, as a viewer does."""

    def __init__(self, gateway, name="desk"):
        self.lock = threading.Lock()
        self.newest = {}  # by stream: (counter, when); guarded by lock, as all of these
        self.older = []
        self.gap = 0
        self.ended = False
        self.events = gateway.events("?keys=counter", name)
        self.thread = threading.Thread(target=self.follow, daemon=True)
        self.thread.start()

    def follow(self):
        with contextlib.suppress(OSError, ValueError):
            while (event := self.events.next()):
                if event[0] == "message" and event[1]["entries"]:
                    self.take(event[1]["stream"], event[1]["entries"][0]["value"])
        self.ended = True

    def take(self, stream, counter):
        now = time.monotonic()
        with self.lock:
            known, when = self.newest.get(stream, (counter, now))
            if counter < known:
                self.older.append((stream, known, counter))
            if stream == "fast":
                self.gap = max(self.gap, now - when)
            self.newest[stream] = (counter, now)

    def counter(self, stream="fast"):
        with self.lock:
            return self.newest.get(stream, (0, 0))[0]

    def silence(self):
        """The longest time without fast values, the present one included; forgets it."""
        with self.lock:
            gap, self.gap = max(self.gap, time.monotonic() - self.newest["fast"][1]), 0
            return gap

    def goes_on(self, what, seconds=PATIENCE):
        before = self.counter()
        end = time.monotonic() + seconds
        while self.counter() < before + 10 and time.monotonic() < end:
            time.sleep(0.01)
        check(self.counter() >= before + 10, what)

    def saw_nothing_older(self):
        with self.lock:
            check(not self.older, f"nothing older than what was shown: {self.older or 'so it was'}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(OSError):
            self.events.socket.shutdown(socket.SHUT_RDWR)
        self.thread.join(PATIENCE)
        self.events.__exit__()


class Nats:
    """A plain client of a NATS server, by the protocol itself."""

    def __init__(self, server):
        self.socket = socket.create_connection(("127.0.0.1", server.port), PATIENCE)
        self.buffer = b""
        self.subscriptions = 0
        self.line()  # INFO
        self.send(b'CONNECT {"verbose":false,"pedantic":false,"headers":true,"no_responders":false}\r\nPING\r\n')
        while self.line() != b"PONG":
            pass

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, octets):
        self.socket.sendall(octets)

    def fill(self):
        chunk = self.socket.recv(1 << 20)
        if not chunk:
            raise ConnectionResetError
        self.buffer += chunk

    def line(self):
        while b"\r\n" not in self.buffer:
            self.fill()
        line, self.buffer = self.buffer.split(b"\r\n", 1)
        return line

    def octets(self, count):
        while len(self.buffer) < count + 2:
            self.fill()
        octets, self.buffer = self.buffer[:count], self.buffer[count + 2:]
        return octets

    def subscribe(self, subject):
        self.subscriptions += 1
        self.send(f"SUB {subject} {self.subscriptions}\r\nPING\r\n".encode())
        while self.line() != b"PONG":
            pass

    def publish(self, subject, payload=b"", headers=None, reply="", raw=None):
        """`raw`: the header's octets as they are."""
        head = raw if raw is not None else b"NATS/1.0\r\n" + "".join(
            f"{name}: {text}\r\n" for name, text in (headers or {}).items()).encode() + b"\r\n"
        self.send(f"HPUB {subject} {reply + ' ' if reply else ''}{len(head)} {len(head) + len(payload)}\r\n".encode()
                  + head + payload + b"\r\n")

    def next(self, seconds=PATIENCE):
        """(subject, reply, headers, payload) of the next message; None when none comes in time."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if b"\r\n" not in self.buffer:
                if not select.select([self.socket], [], [], max(0, end - time.monotonic()))[0]:
                    return None
                self.fill()
                continue
            words = self.line().decode().split()
            if words[0] == "PING":
                self.send(b"PONG\r\n")
            if words[0] not in ("MSG", "HMSG"):
                continue
            head = int(words[-2]) if words[0] == "HMSG" else 0
            octets = self.octets(int(words[-1]))
            headers = dict(line.split(": ", 1) for line in octets[:head].decode().split("\r\n") if ": " in line)
            return words[1], words[3] if len(words) > (5 if head else 4) else "", headers, octets[head:]
        return None

    def until(self, matches, what):
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end and (message := self.next(end - time.monotonic())):
            if matches(*message):
                return message
        return check(False, what)


class Foreign:
    """An origin that is none of our gateways, with a clock of its own."""

    def __init__(self, server, name="foreign", start=None, ahead=0):
        self.nats = Nats(server)
        self.origin = f"{name} {start or os.urandom(8).hex()}"
        self.ahead = ahead
        self.sequences = {}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.nats.__exit__()

    def headers(self, late=0):
        return {"Corvalux-Origin": self.origin, "Corvalux-Clock": f"{time.clock_gettime(time.CLOCK_BOOTTIME) + self.ahead - late:.6f}"}

    def report(self, device="desk", speaks=True, **members):
        body = json.dumps({"state": "live", "reason": "", "since": 0, "address": "", "speaks": speaks, **members})
        self.nats.publish(f"corvalux.v1.{device}.state", body.encode(), self.headers())

    def message(self, entries, device="desk", stream="fast", age=0, late=0):
        subject = f"corvalux.v1.{device}.{stream}"
        self.sequences[subject] = self.sequences.get(subject, 0) + 1
        headers = {**self.headers(late), "Corvalux-Sequence": self.sequences[subject], "Corvalux-Age": f"{age:.6f}"}
        self.nats.publish(subject, b"".join(entry(*each) for each in entries), headers)


def field(number, octets):
    """Of a protobuf message: octets with a length."""
    size, head = len(octets), bytes([number << 3 | 2])
    while size > 0x7F:
        head += bytes([size & 0x7F | 0x80])
        size >>= 7
    return head + bytes([size]) + octets


def entry(key, text):
    """As the module writes a text."""
    return field(1, field(1, key.encode()) + field(2, field(1, field(1, text.encode()))))


def frozen(gateway):
    """Stops a gateway for the time of the block."""
    @contextlib.contextmanager
    def block():
        gateway.process.send_signal(signal.SIGSTOP)
        try:
            yield
        finally:
            gateway.process.send_signal(signal.SIGCONT)
    return block()
