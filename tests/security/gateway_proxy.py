#!/usr/bin/python3
"""Passwords and client certificates in front of the gateway, by the real nginx and the documented configurations:
gateway_proxy.py DEVHOST GATEWAY"""
import asyncio
import base64
import contextlib
import json
import os
import re
import ssl
import subprocess
import sys
import time

from harness import check, free_port, host, open_folder, running, wait_for
from proxy import make_certificates, nginx, openssl
from viewer import Viewer

NAME = "meters.example.com"
HERE, THERE = free_port(), free_port()  # of the gateway, of nginx
SITE = f"https://{NAME}:{THERE}"
STREAM = f"{SITE}/api/devices/desk/stream"


def curl(folder, *options):
    return ["curl", "--silent", "--no-buffer", "--cacert", str(folder / "ca.crt"), "--resolve", f"*:{THERE}:127.0.0.1",
            "--max-time", "20", *options]


def status(folder, *options):
    """The status of the answer; "000" without one."""
    command = curl(folder, "--output", "/dev/null", "--write-out", "%{http_code}", *options)
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


@contextlib.contextmanager
def reading(folder, *options):
    """A reader of a stream, once it has got something."""
    with running(curl(folder, *options), stdout=subprocess.PIPE, text=True) as reader:
        check(re.match("event:|data:", reader.stdout.readline()), "a reader gets events")
        yield reader


def ages(reader, count):
    """How long after its making each of the next events of changes came."""
    times = []
    for line in reader.stdout:
        if len(times) == count:
            break
        if line.startswith("data: {") and '"stream"' in line:
            times.append(time.time() - json.loads(line.removeprefix("data: "))["time"])
    check(len(times) == count, f"{count} events come")
    return times


@contextlib.contextmanager
def site(programs, folder, example, *more):
    """A device, the gateway, and nginx in front."""
    devhost, gateway = programs
    command = [gateway, "--listen", f"127.0.0.1:{HERE}", "--allow-host", NAME, "--trusted-proxy", "127.0.0.1",
               "--max-clients-per-address", "3", f"desk=unix:{folder}/grpc"]
    replacements = [("/etc/corvalux", folder), ("0.0.0.0:8443", f"127.0.0.1:{THERE}"),
                    ("127.0.0.1:8080", f"127.0.0.1:{HERE}"), *more]
    with host(devhost, f"unix:{folder}/grpc"), running(command), nginx(folder, example, replacements):
        wait_for(lambda: status(folder, f"http://127.0.0.1:{HERE}/healthz") == "200", "the gateway serves")
        yield


def test_passwords(programs, folder):
    (folder / "passwords").write_text(f"ada:{openssl('passwd', '-6', 'secret')}\n")
    os.chmod(folder / "passwords", 0o644)
    with site(programs, folder, "nginx-gateway-password.conf"):
        check(status(folder, f"{SITE}/api/devices") == "401", "without a password nobody gets anything")
        check(status(folder, "--user", "ada:guess", f"{SITE}/api/devices") == "401", "nor with a wrong one")
        check(status(folder, "--user", "ada:secret", f"{SITE}/api/devices") == "200", "with the right one one does")
        test_names(folder)
        test_addresses(folder)
        test_promptness(folder, "events come through nginx at once")
        asyncio.run(test_frozen_viewer(folder))


def test_names(folder):
    user = ("--user", "ada:secret", "--insecure")
    check(status(folder, *user, f"https://other.example.com:{THERE}/api/devices") == "403",
          "the gateway refuses a name that was not allowed, also behind nginx")
    check(status(folder, *user, "--header", f"Origin: {SITE}", f"{SITE}/api/devices") == "200",
          "a page of the same host and port may ask, though nginx took away the TLS")
    check(status(folder, *user, "--header", "Origin: https://other.example.com", f"{SITE}/api/devices") == "403",
          "a page from elsewhere may not")


def test_addresses(folder):
    """The gateway was allowed three connections of one address."""
    user = ("--user", "ada:secret")
    with contextlib.ExitStack() as readers:
        for _ in range(3):
            readers.enter_context(reading(folder, *user, STREAM))
        check(status(folder, *user, f"{SITE}/api/devices") == "503", "nginx's clients are counted by their own address")
        check(status(folder, *user, "--header", "X-Forwarded-For: 192.0.2.1", f"{SITE}/api/devices") == "503",
              "an address that a client invents does not count")
        check(status(folder, *user, "--interface", "127.0.0.2", f"{SITE}/api/devices") == "200",
              "a client from another address is served")
    wait_for(lambda: status(folder, *user, f"{SITE}/api/devices") == "200", "who has left makes place")


def test_promptness(folder, fact):
    with reading(folder, "--user", "ada:secret", f"{STREAM}?streams=changes") as reader:
        worst = max(ages(reader, 6))
        check(worst < 1, f"{fact}: the latest after {worst:.3f} s")


async def test_frozen_viewer(folder):
    """What waits in nginx and in its sockets is no more than the window."""
    through = {"uri": f"wss://{NAME}:{THERE}/live", "host": "127.0.0.1", "port": THERE, "server_hostname": NAME,
               "ssl": ssl.create_default_context(cafile=folder / "ca.crt"),
               "extra_headers": {"Authorization": "Basic " + base64.b64encode(b"ada:secret").decode()}}
    async with Viewer(None, through=through) as viewer:
        await viewer.subscribe()
        await viewer.snapshot()
        await viewer.several(10)
        await asyncio.sleep(5)
        updates = await viewer.several(10)
        newest = next(place for place, update in enumerate(updates) if update.merged > 50)
        check(newest <= 4, f"a viewer frozen for 5 s behind nginx gets {newest} old updates")
        check(updates[newest].age < 0.1, "then one that is fresh, for all that it missed")


def test_header(programs, folder):
    """Whoever forgets the line gets no backlog either: the gateway's header says it as well."""
    with site(programs, folder, "nginx-gateway-password.conf", ("proxy_buffering off;", "")):
        test_promptness(folder, "without proxy_buffering off, too")


def test_certificates(programs, folder):
    with site(programs, folder, "nginx-gateway-certificates.conf"):
        def by(name):
            return ("--cert", str(folder / f"{name}.crt"), "--key", str(folder / f"{name}.key"))
        check(status(folder, f"{SITE}/api/devices") == "400", "without a certificate nginx refuses")
        check(status(folder, *by("stranger"), f"{SITE}/api/devices") == "400", "also with one of one's own making")
        check(status(folder, *by("client"), f"{SITE}/api/devices") == "200", "a certificate of the authority is served")
        with reading(folder, *by("client"), f"{STREAM}?streams=changes") as reader:
            check(max(ages(reader, 6)) < 1, "events come through nginx at once")


def main():
    with open_folder() as folder:
        make_certificates(folder)
        for test in (test_passwords, test_header, test_certificates):
            test(sys.argv[1:], folder)


if __name__ == "__main__":
    main()
