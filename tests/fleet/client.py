"""A client of NATS that is not ours."""
import json
import socket

from programs import PATIENCE


class Client:
    """A connection to a server on loopback. `said` has what the server said last, `refused` its last refusal."""

    def __init__(self, port, user=None, password=None):
        self.socket = socket.create_connection(("127.0.0.1", port), PATIENCE)
        self.file = self.socket.makefile("rb")
        self.said = self.refused = ""
        self.messages = []
        self.information = json.loads(self.file.readline().removeprefix(b"INFO "))
        options = {"verbose": False, "pedantic": False, "headers": True, "no_responders": False}
        if user:
            options |= {"user": user, "pass": password}
        self.say(f"CONNECT {json.dumps(options)}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()
        self.socket.close()

    def say(self, *lines):
        """Whether the server took it: it answers a ping, and has refused nothing since."""
        self.refused = ""
        self.socket.sendall("".join(line + "\r\n" for line in (*lines, "PING")).encode())
        while self.read() not in ("PONG", ""):
            pass
        return self.said == "PONG" and not self.refused

    def read(self):
        """One thing that the server says; its first word. Empty when it has closed the connection."""
        try:
            line = self.file.readline().decode().rstrip()
        except ConnectionResetError:
            line = ""
        self.said, _, rest = line.partition(" ")
        if self.said == "MSG":
            subject, *_, size = rest.split()
            self.messages.append((subject, self.file.read(int(size) + 2)[:-2].decode()))
        if self.said == "-ERR":
            self.refused = rest
        if self.said == "PING":
            self.socket.sendall(b"PONG\r\n")
        return self.said

    def publish(self, subject, text="values"):
        return self.say(f"PUB {subject} {len(text)}", text)

    def next(self):
        """The next message: its subject and payload."""
        while not self.messages:
            if not self.read():
                raise ConnectionError("the server has closed the connection")
        return self.messages.pop(0)


def gateway(port):
    return Client(port, "gateway", "one")


def listener(port):
    return Client(port, "listener", "two")
