#!/usr/bin/python3
"""The documented firewall lines between real networks of this machine's own making: firewall.py DEVHOST"""
import contextlib
import os
import pathlib
import subprocess
import sys

from harness import ROOT, check, host

RULES = ROOT / "docs/examples/firewall.nft"
CLIENT = pathlib.Path(__file__).with_name("listen.py")
DEVICE = f"corvalux-device-{os.getpid()}"


def run(*words):
    subprocess.run([str(word) for word in words], check=True)


@contextlib.contextmanager
def namespace(name):
    run("ip", "netns", "add", name)
    try:
        yield name
    finally:
        run("ip", "netns", "del", name)


@contextlib.contextmanager
def neighbour(number, network):
    """Another machine, NETWORK.2, linked to the device, NETWORK.1."""
    link = f"cvf{number}"
    with namespace(f"corvalux-neighbour-{os.getpid()}-{number}") as name:
        run("ip", "-n", DEVICE, "link", "add", link, "type", "veth", "peer", "name", "inside", "netns", name)
        for where, interface, address in ((DEVICE, link, 1), (name, "inside", 2)):
            run("ip", "-n", where, "addr", "add", f"{network}.{address}/24", "dev", interface)
            run("ip", "-n", where, "link", "set", interface, "up")
        yield name


def listens(name, address):
    command = ["ip", "netns", "exec", name, "/usr/bin/python3", str(CLIENT), address]
    return subprocess.run(command, capture_output=True, check=False).returncode == 0


def main():
    if os.geteuid() != 0:
        sys.exit(77)  # skipped: networks are root's
    with namespace(DEVICE), neighbour(1, "192.0.2") as trusted, neighbour(2, "198.51.100") as stranger:
        run("ip", "-n", DEVICE, "link", "set", "lo", "up")
        with host(["ip", "netns", "exec", DEVICE, sys.argv[1]], "0.0.0.0:50005"):
            check(listens(stranger, "198.51.100.1:50005"), "without a firewall every network gets meters")
            run("ip", "netns", "exec", DEVICE, "nft", "-f", RULES)
            check(listens(trusted, "192.0.2.1:50005"), "the network that the rules name gets meters")
            check(not listens(stranger, "198.51.100.1:50005"), "another network gets none")


if __name__ == "__main__":
    main()
