"""The real nats-server with the installed configuration, and certificates for its routes."""
import re
import signal
import socket
import subprocess

from programs import ROOT, Program

INSTALLED = ROOT / "packaging/fleet"
ROUTES = '"nats-route://192.0.2.2:6250", "nats-route://192.0.2.3:6250"'  # of its example


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


class Fleet:
    """A folder with the certificates of a fleet's machines, and of a stranger's authority."""

    def __init__(self, folder):
        self.folder = folder
        for authority in ("ca", "stranger"):
            if not (folder / f"{authority}.crt").exists():
                make_authority(folder, authority)

    def routes(self, name, own, others, authority="ca", address="127.0.0.1"):
        """routes.conf, by its own example, of a machine that listens on `own`, with a new certificate."""
        make_certificate(self.folder, name, authority, address)
        return replaced(uncommented((INSTALLED / "routes.conf").read_text()), {
            ROUTES: ", ".join(f'"nats-route://{other}"' for other in others), "0.0.0.0:6250": own,
            "/etc/corvalux/nats/ca.crt": self.folder / "ca.crt", "/etc/corvalux/nats/route.": f"{self.folder}/{name}."})


class Server(Program):
    """A nats-server with the installed configuration, once it is ready; in a folder of its own, on this port."""

    def __init__(self, folder, port, routes=None, before=(), password="one"):
        folder.mkdir(exist_ok=True)
        self.port = port
        main = replaced((INSTALLED / "nats.conf").read_text(), {"127.0.0.1:4250": f"127.0.0.1:{port}"})
        (folder / "nats.conf").write_text(main)
        (folder / "routes.conf").write_text((INSTALLED / "routes.conf").read_text() if routes is None else routes)
        (folder / "passwords.conf").write_text(f'GATEWAY_PASSWORD: "{password}"\nLISTENER_PASSWORD: "two"\n')
        super().__init__(*before, "/usr/sbin/nats-server", "-c", folder / "nats.conf")
        self.wait_for("is ready", "errors", "Server is ready")

    def ends(self):
        return self.end(signal.SIGINT) == 0
