"""What the messages of a whole fleet cost its servers: load.py [DEVICES]

Publishes 4 KB of DEVICES (200) devices, 25 times a second, on one server; a listener hears them on another, through TLS. Prints
a row; run by hand, on a machine that does nothing else.
"""
import contextlib
import os
import pathlib
import sys
import tempfile
import threading
import time

from client import gateway, listener
from servers import Fleet, Server, free_ports

DEVICES = int((sys.argv[1:] or [200])[0])
RATE, SECONDS, BYTES = 25, 20, 4000
HEAD = (b"NATS/1.0\r\nCorvalux-Origin: rack-1 0123456789abcdef\r\nCorvalux-Sequence: 123456\r\nCorvalux-Age: 0.000123\r\n"
        b"Corvalux-Clock: 12345.678901\r\n\r\n")


def cpu_and_memory(server):
    """Seconds, and MB."""
    words = pathlib.Path(f"/proc/{server.process.pid}/stat").read_text().rpartition(")")[2].split()
    ticks, pages = int(words[11]) + int(words[12]), int(words[21])
    return ticks / os.sysconf("SC_CLK_TCK"), pages * os.sysconf("SC_PAGE_SIZE") / 1e6


def drain(socket, received):
    """Counts octets; answers no pings, which the server asks for only where nothing comes."""
    with contextlib.suppress(OSError):  # closed at the end
        while chunk := socket.recv(1 << 20):
            received[0] += len(chunk)


def publish(socket):
    size = (len(HEAD), len(HEAD) + BYTES)
    messages = [b"HPUB corvalux.v1.device-%d.fast %d %d\r\n%b%b\r\n" % (number, *size, HEAD, BYTES * b"x")
                for number in range(DEVICES)]
    begin = time.monotonic()
    for update in range(RATE * SECONDS):
        for place, message in enumerate(messages):
            socket.sendall(message)
            time.sleep(max(0, begin + (update + place / DEVICES) / RATE - time.monotonic()) if place % 10 == 0 else 0)
    return time.monotonic() - begin


def main(folder):
    fleet, (first, second, *ports) = Fleet(folder), free_ports(4)
    here, there = (f"127.0.0.1:{port}" for port in ports)
    with Server(folder / "a", first, fleet.routes("a", here, [there])) as source, \
            Server(folder / "b", second, fleet.routes("b", there, [here])) as target, \
            gateway(first) as publisher, listener(second) as hearer:
        hearer.say("SUB corvalux.v1.> 1")
        received = [0]
        threading.Thread(target=drain, args=(hearer.socket, received), daemon=True).start()
        time.sleep(3)  # until the route is there
        before = [cpu_and_memory(server) for server in (source, target)]
        took = publish(publisher.socket)
        after = [cpu_and_memory(server) for server in (source, target)]
        cores = [(late[0] - early[0]) / took for early, late in zip(before, after)]
        print(f"ROW | {DEVICES} devices | {DEVICES * RATE * SECONDS / took:.0f} messages/s | {received[0] / took / 125e3:.0f} Mbit/s "
              f"| cores: {cores[0]:.2f} publishing side, {cores[1]:.2f} receiving side | MB: {after[0][1]:.0f}, {after[1][1]:.0f}")


with tempfile.TemporaryDirectory() as name:
    main(pathlib.Path(name))
