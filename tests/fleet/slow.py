"""A listener that does not read, while 200 devices publish: it is disconnected, nobody else waits for it, and when it comes back
it gets what is new."""
import contextlib
import pathlib
import tempfile
import threading
import time

from client import gateway, listener
from programs import check
from servers import Server, free_ports

DEVICES, RATE, SECONDS = 200, 25, 4
MESSAGES = b"".join(b"PUB corvalux.v1.device-%d.fast 4000\r\n%b\r\n" % (number, 4000 * b"x") for number in range(DEVICES))


class Friend(threading.Thread):
    """Reads all that comes; `gap` is the longest time without anything."""

    def __init__(self, client):
        super().__init__(daemon=True)
        client.say("SUB corvalux.v1.> 1")
        self.socket, self.gap, self.octets = client.socket, 0, 0
        self.start()

    def run(self):
        last = time.monotonic()
        with contextlib.suppress(OSError):  # closed at the end
            while chunk := self.socket.recv(1 << 20):
                now = time.monotonic()
                self.gap, last, self.octets = max(self.gap, now - last), now, self.octets + len(chunk)


def publish(source):
    begin = time.monotonic()
    for update in range(RATE * SECONDS):
        source.socket.sendall(MESSAGES)
        time.sleep(max(0, begin + (update + 1) / RATE - time.monotonic()))


def main(folder):
    port, = free_ports(1)
    with Server(folder, port) as server, gateway(port) as source, listener(port) as slow, listener(port) as other:
        slow.say("SUB corvalux.v1.> 1")
        friend = Friend(other)
        publish(source)
        server.wait_for("disconnects a listener that does not read", "errors", "Slow Consumer")
        print(f"ROW | {DEVICES} devices, a listener that does not read: gap of others | {friend.gap:.2f} s")
        check(friend.gap < 0.5, f"nobody waits for it: {friend.gap:.2f} s")
        check(friend.octets >= RATE * SECONDS * len(MESSAGES) * 0.98, "nor misses anything")
        with listener(port) as back:
            back.say("SUB corvalux.v1.desk.fast 1")
            source.publish("corvalux.v1.desk.fast", "new")
            check(back.next() == ("corvalux.v1.desk.fast", "new"), "when it comes back it gets what is new")


with tempfile.TemporaryDirectory() as name:
    main(pathlib.Path(name))
