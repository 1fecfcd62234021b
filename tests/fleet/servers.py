"""The real nats-server with the installed configuration, certificates for its routes, and a client that is not ours."""
import json
import re
import signal
import socket
import subprocess

from programs import PATIENCE, ROOT, Program, check

INSTALLED = ROOT / "packaging/fleet"


def free_ports(count):
    """Ports of 127.0.0.1 that nobody has."""
    probes = [socket.socket() for _ in range(count)]
    for probe in probes:
        probe.bind(("127.0.0.1", 0))
    ports = [probe.getsockname()[1] for probe in probes]
    for probe in probes:
        probe.close()
    return ports


def openssl(*words):
    subprocess.run(["openssl", *map(str, words)], check=True, capture_output=True)


def make_authority(folder, name):
    openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", f"/CN={name}", "-keyout",
            folder / f"{name}.key", "-out", folder / f"{name}.crt")


def make_certificate(folder, name, authority, address="127.0.0.1"):
    """For a machine of this address, as docs/fleet.md says."""
    (folder / "names").write_text(f"subjectAltName=IP:{address}\n")
    openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={name}", "-keyout", folder / f"{name}.key", "-out",
            folder / f"{name}.csr")
    openssl("x509", "-req", "-in", folder / f"{name}.csr", "-CA", folder / f"{authority}.crt", "-CAkey",
            folder / f"{authority}.key", "-CAcreateserial", "-days", "1", "-extfile", folder / "names", "-out",
            folder / f"{name}.crt")


def uncommented(text):
    """The configuration with the cluster that routes.conf has as an example."""
    return re.sub(r"(?m)^#(cluster|}|  )", r"\1", text)


def replaced(text, replacements):
    """The text with each of these in it replaced."""
    for old, new in replacements.items():
        if old not in text:
            raise ValueError(f"there is no '{old}'")
        text = text.replace(old, str(new))
    return text


class Server(Program):
    """A nats-server with the installed configuration, once it is ready; in a folder of its own, on this port."""

    def __init__(self, folder, port, routes=None, before=()):
        folder.mkdir(exist_ok=True)
        self.port = port
        main = replaced((INSTALLED / "nats.conf").read_text(), {"127.0.0.1:4250": f"127.0.0.1:{port}"})
        (folder / "nats.conf").write_text(main)
        (folder / "routes.conf").write_text((INSTALLED / "routes.conf").read_text() if routes is None else routes)
        (folder / "passwords.conf").write_text('GATEWAY_PASSWORD: "one"\nLISTENER_PASSWORD: "two"\n')
        super().__init__(*before, "/usr/sbin/nats-server", "-c", folder / "nats.conf")
        self.wait_for("is ready", "errors", "Server is ready")

    def ends(self):
        return self.end(signal.SIGINT) == 0


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
