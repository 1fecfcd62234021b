#!/usr/bin/env python3
"""A slow line between two networks: slow_line.py NAMESPACE DELAY_MS MBIT

Joins the network of this process, as 192.0.2.1, with the network namespace, as 192.0.2.2. In each direction a packet takes
DELAY_MS, and MBIT megabits pass in a second; none is lost. Prints "ready" and runs until it is killed. Needs root.
"""
import collections
import fcntl
import os
import select
import struct
import subprocess
import sys
import time

TUNSETIFF, IFF_TUN, IFF_NO_PI = 0x400454CA, 1, 0x1000


def interface(address, namespace=None):
    """A network interface whose packets this program reads and writes."""
    name = f"line{'far' if namespace else 'near'}"
    file = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK)
    fcntl.ioctl(file, TUNSETIFF, struct.pack("16sH22x", name.encode(), IFF_TUN | IFF_NO_PI))
    inside = []
    if namespace:
        subprocess.run(["ip", "link", "set", name, "netns", namespace], check=True)
        inside = ["-n", namespace]
    subprocess.run(["ip", *inside, "addr", "add", f"{address}/24", "dev", name], check=True)
    subprocess.run(["ip", *inside, "link", "set", name, "up"], check=True)
    return file


class Direction:
    def __init__(self, source, target, delay, rate):
        self.source, self.target, self.delay, self.rate = source, target, delay, rate
        self.idle_from = 0.0  # when the last packet has left
        self.packets = collections.deque()  # (time of arrival, packet)

    def take(self, now):
        packet = os.read(self.source, 65536)
        self.idle_from = max(self.idle_from, now) + len(packet) / self.rate
        self.packets.append((self.idle_from + self.delay, packet))

    def deliver(self, now):
        while self.packets and self.packets[0][0] <= now:
            os.write(self.target, self.packets.popleft()[1])

    def next_arrival(self):
        return self.packets[0][0] if self.packets else float("inf")


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    namespace, delay, rate = sys.argv[1], float(sys.argv[2]) / 1e3, float(sys.argv[3]) * 1e6 / 8
    near, far = interface("192.0.2.1"), interface("192.0.2.2", namespace)
    directions = {near: Direction(near, far, delay, rate), far: Direction(far, near, delay, rate)}
    print("ready", flush=True)
    while True:
        wait = min(direction.next_arrival() for direction in directions.values()) - time.monotonic()
        readable = select.select(directions, [], [], min(max(wait, 0), 1))[0]
        for file in readable:
            directions[file].take(time.monotonic())
        for direction in directions.values():
            direction.deliver(time.monotonic())


if __name__ == "__main__":
    main()
