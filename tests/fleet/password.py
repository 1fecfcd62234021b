"""password.py DEVHOST GATEWAY: a gateway gets its password from a file, and says what is wrong with the file."""
import subprocess
from pathlib import Path

from harness import GATEWAY, Gateway, check, folder, wait_for
from servers import Server, free_ports

CONNECTED = "corvalux_fleet_connected"


def refuses(*options):
    done = subprocess.run([GATEWAY, "--check-config", *options], capture_output=True, text=True, check=False)
    check(done.returncode == 2 and "password" in done.stderr, f"refused: {done.stderr.strip()}")


def main(place):
    port, = free_ports(1)
    url = f"nats://gateway@127.0.0.1:{port}"
    (place / "right").write_text("one\n")
    (place / "empty").write_text("")
    refuses("--nats", url, "--nats-password-file", str(place / "none"))
    refuses("--nats", url, "--nats-password-file", str(place / "empty"))
    refuses("--nats", url.replace("gateway@", ""), "--nats-password-file", str(place / "right"))
    with Server(place / "nats", port), Gateway("--nats", url, "--nats-password-file", place / "right") as gateway:
        wait_for(lambda: gateway.metric(CONNECTED) == 1, "the gateway is connected")
    with Gateway("--nats", url.replace("@", ":one@")) as gateway:
        wait_for(lambda: gateway.count("errors", "not in the fleet: the server does not answer") == 1, "says so")
        with Server(place / "other", port, password="other"):
            wait_for(lambda: gateway.count("errors", "not in the fleet: the server closed") > 0, "is refused, and says so")
        with Server(place / "nats", port):
            wait_for(lambda: gateway.metric(CONNECTED) == 1, "is let in later")


with folder() as work:
    main(Path(work))
