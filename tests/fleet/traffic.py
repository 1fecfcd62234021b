"""What 200 devices publish, and one who reads it."""
import contextlib
import threading
import time

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

    def has_all(self):
        """Of what publish() sends; the last may be on its way."""
        return self.octets > RATE * (SECONDS - 0.2) * len(MESSAGES)


def publish(source):
    """For SECONDS."""
    begin = time.monotonic()
    for update in range(RATE * SECONDS):
        source.socket.sendall(MESSAGES)
        time.sleep(max(0, begin + (update + 1) / RATE - time.monotonic()))
