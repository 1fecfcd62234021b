"""What the tests of the gateway share: the program, its devices, and clients that are not ours."""
import contextlib
import http.client
import json
import pathlib
import re
import signal
import socket
import sys
import tempfile
import time
import urllib.parse

from programs import PATIENCE, ROOT, Program, check, host  # noqa: F401, for the tests

DEVHOST, GATEWAY = (pathlib.Path(word) for word in sys.argv[1:3])


def wait_for(condition, what, seconds=PATIENCE):
    """Fails when the condition does not come true in time; gives what it answered."""
    end = time.monotonic() + seconds
    while not (answer := condition()) and time.monotonic() < end:
        time.sleep(0.02)
    check(answer, what)
    return answer


@contextlib.contextmanager
def folder():
    with tempfile.TemporaryDirectory(prefix="corvalux-", dir="/tmp") as name:
        yield pathlib.Path(name)


def device(address, *options):
    """The module on this address, under the development host."""
    return host(DEVHOST, address, "--log-level", "4", *options)


class Gateway(Program):
    """The gateway, once it serves: on a port of 127.0.0.1, unless `listen` says otherwise."""

    def __init__(self, *options, listen="127.0.0.1:0", before=()):
        super().__init__(*before, GATEWAY, "--listen", listen, *options)
        self.wait_for("says where it serves", "errors", r"serving \S+\n")
        self.url = re.search(r"serving (\S+)\n", self.texts["errors"])[1]
        parts = urllib.parse.urlsplit(self.url)
        self.port = parts.port  # None on a socket file

    def connect(self, source="127.0.0.1"):
        """A connection, from this address of the machine if the gateway is on one."""
        if self.port:
            return socket.create_connection(("127.0.0.1", self.port), PATIENCE, (source, 0))
        connection = socket.socket(socket.AF_UNIX)
        connection.settimeout(PATIENCE)
        connection.connect(self.url.removeprefix("unix:"))
        return connection

    def request(self, target, method="GET", **headers):
        """The response and its body. `_` in a header's name stands for `-`."""
        with contextlib.closing(http.client.HTTPConnection("localhost")) as connection:
            connection.sock = self.connect()
            connection.request(method, target, headers={name.replace("_", "-"): text for name, text in headers.items()})
            response = connection.getresponse()
            return response, response.read()

    def status(self, target, method="GET", **headers):
        return self.request(target, method, **headers)[0].status

    def text(self, target):
        return self.request(target)[1].decode()

    def json(self, target):
        return json.loads(self.text(target))

    def summary(self, name="desk"):
        """Of a device; None if the gateway does not follow it."""
        return next((each for each in self.json("/api/devices")["devices"] if each["name"] == name), None)

    def wait_until(self, state, name="desk", seconds=PATIENCE):
        """Until the device is in this state; gives its summary."""
        return wait_for(lambda: (one := self.summary(name)) and one["state"] == state and one, f"{name} is {state}", seconds)

    def metric(self, series):
        """The number of a series; 0 while there is none. Metrics are made once a second at most."""
        found = re.search(rf"^{re.escape(series)} (\S+)$", self.text("/metrics"), re.MULTILINE)
        return float(found[1]) if found else 0

    def events(self, query="", name="desk", **options):
        return Events(self, f"/api/devices/{name}/stream{query}", **options)

    def exchange(self, octets, **options):
        """All that comes back on a connection of its own, until the gateway closes it."""
        with self.connect(**options) as connection:
            connection.sendall(octets)
            return received(connection)

    def ends(self, number=signal.SIGTERM, seconds=3):
        """Whether it ends in order, so soon after the signal."""
        begin = time.monotonic()
        return self.end(number) == 0 and time.monotonic() - begin < seconds


def received(connection):
    """Until the other side closes, or has not sent anything for long."""
    text = b""
    with contextlib.suppress(ConnectionResetError):
        while chunk := connection.recv(65536):
            text += chunk
    return text


def status_of(octets):
    """Of a response as it came."""
    return int(octets.split(b" ", 2)[1]) if octets.startswith(b"HTTP/1.1 ") else None


def lines_of(*lines):
    """A request as it is sent."""
    return "\r\n".join([*lines, "", ""]).encode("latin-1")


class Events:
    """Server-sent events as they come, by the rules of the format. The first one has come when this is made."""

    def __init__(self, gateway, target, lines=(), window=None, **options):
        self.socket = gateway.connect(**options)
        if window:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, window)
        self.socket.sendall(lines_of(f"GET {target} HTTP/1.1", "Host: localhost", *lines))
        self.file = self.socket.makefile("rb")
        self.status = int(self.file.readline().split()[1])
        self.headers = http.client.parse_headers(self.file)
        check(self.status == 200, f"{target} streams")
        self.first = self.next()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()
        self.socket.close()

    def next(self):
        """(name, data) of the next event; None when the stream has ended."""
        name, data = "message", []
        while line := self.file.readline().decode():
            field, _, value = line.rstrip("\n").partition(": ")
            if field == "" and data:
                return name, json.loads("\n".join(data))
            if field == "event":
                name = value
            if field == "data":
                data.append(value)
        return None

    def until(self, name, matches=lambda data: True):
        """The data of the next event of this name that matches."""
        end = time.monotonic() + PATIENCE
        while (event := self.next()) and time.monotonic() < end:
            if event[0] == name and matches(event[1]):
                return event[1]
        check(False, f"an event '{name}' comes before the stream ends")

    def message(self, stream=None, after=0):
        """The next message, of a stream if one is given, that came after this time."""
        return self.until("message", lambda data: data["stream"] == (stream or data["stream"]) and data["time"] > after)

    def is_healthy(self):
        """Fails unless it still gets what comes from now on."""
        check(self.message(after=time.time())["entries"], "a healthy reader still gets values")

    def ended(self):
        """Whether nothing but the end comes."""
        return self.next() is None


def values(entries):
    """By key; of a key that repeats, the last."""
    return {entry["key"]: entry["value"] for entry in entries}
