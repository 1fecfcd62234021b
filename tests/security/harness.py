"""What the tests of docs/security.md share: the development host, clients, certificates, and the real nginx."""
import contextlib
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time

import grpc

FAST = "/corvalux.grpc.Meters/GetMetersFast"
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def check(condition, what):
    if not condition:
        sys.exit(f"FAILED: {what}")
    print(f"ok: {what}", flush=True)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


@contextlib.contextmanager
def open_folder():
    """A folder that every user may enter: the repository may lie where only its owner may."""
    with tempfile.TemporaryDirectory(prefix="corvalux-", dir="/tmp") as name:
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        yield folder


@contextlib.contextmanager
def running(command, **options):
    process = subprocess.Popen([str(word) for word in command], **options)
    try:
        yield process
    finally:
        if process.poll() is None:
            process.send_signal(signal.SIGTERM)
        process.wait(20)


@contextlib.contextmanager
def host(devhost, url, *more, **options):
    """The development host, a program or the command that runs it, with the module on `url`, once it serves."""
    program = devhost if isinstance(devhost, list) else [devhost]
    command = [*program, "--set", f"serverUrl={url}", "--log-level", "4", *more]
    with running(command, stdout=subprocess.PIPE, text=True, **options) as process:
        check("serves" in process.stdout.readline(), f"the module serves {url}")
        yield process


def stream(channel, timeout=20):
    """The messages of the fast meters as bytes."""
    return channel.unary_stream(FAST, request_serializer=bytes, response_deserializer=bytes)(b"", timeout=timeout)


def counter(message):
    """The engine's counter, which every list of the development host carries."""
    found = re.search(rb"counter\x12.\x20([\x80-\xff]*[\x00-\x7f])", message, re.DOTALL)
    return sum((byte & 0x7F) << (7 * i) for i, byte in enumerate(found[1]))


def wait_for(condition, what, seconds=20):
    end = time.monotonic() + seconds
    while not condition() and time.monotonic() < end:
        time.sleep(0.02)
    check(condition(), what)
