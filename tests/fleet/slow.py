"""A listener that does not read, while 200 devices publish: it is disconnected, nobody else waits for it, and when it comes back
it gets what is new."""
import pathlib
import tempfile

from client import gateway, listener
from programs import check
from servers import Server, free_ports
from traffic import DEVICES, Friend, publish


def main(folder):
    port, = free_ports(1)
    with Server(folder, port) as server, gateway(port) as source, listener(port) as slow, listener(port) as other:
        slow.say("SUB corvalux.v1.> 1")
        friend = Friend(other)
        publish(source)
        server.wait_for("disconnects a listener that does not read", "errors", "Slow Consumer")
        print(f"ROW | {DEVICES} devices, a listener that does not read: gap of others | {friend.gap:.2f} s")
        check(friend.gap < 0.5, f"nobody waits for it: {friend.gap:.2f} s")
        check(friend.has_all(), "nor misses anything")
        with listener(port) as back:
            back.say("SUB corvalux.v1.desk.fast 1")
            source.publish("corvalux.v1.desk.fast", "new")
            check(back.next() == ("corvalux.v1.desk.fast", "new"), "when it comes back it gets what is new")


with tempfile.TemporaryDirectory() as name:
    main(pathlib.Path(name))
