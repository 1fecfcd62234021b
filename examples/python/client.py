"""Shows the fast meters of a corvalux device: client.py [ADDRESS]"""
import collections
import random
import signal
import sys
import threading

import grpc
from corvalux.grpc import streams_pb2, streams_pb2_grpc

OPTIONS = [
    ("grpc.http2.bdp_probe", 0),  # else the window grows and fills with old meters
    ("grpc.keepalive_time_ms", 10_000),  # the server allows a ping every 5 s
    ("grpc.keepalive_timeout_ms", 5_000),
    ("grpc.http2.max_pings_without_data", 0),  # ping in a long silence, too
    ("grpc.max_reconnect_backoff_ms", 8_000),
]
FIRST_DELAY, LONGEST_DELAY = 0.5, 8.0  # seconds


class Receiver(threading.Thread):
    """Subscribes with retries, and keeps the newest meters."""

    def __init__(self, channel):
        super().__init__()
        self.stub = streams_pb2_grpc.MetersStub(channel)
        self.newest = collections.deque(maxlen=1)
        self.stopping = threading.Event()

    def run(self):
        delay = FIRST_DELAY
        while not self.stopping.is_set():
            try:
                for meter in self.stub.GetMetersFast(streams_pb2.SubscribeRequest()):
                    self.newest.append(meter)
                    delay = FIRST_DELAY
            except grpc.RpcError as error:
                if not self.stopping.is_set():
                    print(f"\nno meters: {error.details()}; trying again", file=sys.stderr)
            self.stopping.wait(delay * random.uniform(0.75, 1.25))
            delay = min(2 * delay, LONGEST_DELAY)


def show(meter):
    levels = [entry.value.float_value for entry in meter.entries if entry.key.endswith("/peak")]
    print("\r" + "".join(f"{level:7.1f}" for level in levels), end="", flush=True)


def main(address="127.0.0.1:50005"):
    ended = threading.Event()
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: ended.set())
    with grpc.insecure_channel(address, OPTIONS) as channel:
        receiver = Receiver(channel)
        receiver.start()
        while not ended.wait(0.1):  # redraws ten times a second, however fast the meters come
            if receiver.newest:
                show(receiver.newest.pop())
        receiver.stopping.set()
    receiver.join()  # closing the channel has ended its call
    print()


main(*sys.argv[1:])
