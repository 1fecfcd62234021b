"""Devices with more values than fit into a message of NATS, and gateways that are slow."""
import signal
import sys

from fleet_harness import Nats, Server, Watch, entry, field
from harness import check, device, folder, wait_for

FAST, SLOW, CHANGES = 1, 2, 3


def number(tag, value):
    """A field of a protobuf message."""
    octets = bytes([tag << 3])
    while value > 0x7F:
        octets += bytes([value & 0x7F | 0x80])
        value >>= 7
    return octets + bytes([value])


def record(path, messages):
    """A recording of (stream, ms, message)."""
    records = [field(1, b"corvalux recording") + number(2, 1) + number(3, 1)]
    for stream, time, message in sorted(messages, key=lambda each: each[1]):
        records.append(number(1, stream) + number(2, time * 1_000_000) + field(3, message))
    path.write_bytes(b"".join(field(1, each)[1:] for each in records))
    return path


def entries(name, count, size):
    return b"".join(entry(f"{name}/{place}", f"{place}".rjust(size, "x")) for place in range(count))


def meters(milliseconds, size=10):
    return [(FAST, time, entries("level", 10, size)) for time in range(0, milliseconds, 40)]


def a_picture_of_2_mb_is_fetched(place, server, root):
    """It comes as changes, before the edge does."""
    changes = [(CHANGES, 100 + 40 * block, entries(f"text/{block}", 400, 1_000)) for block in range(5)]
    recording = record(root / "large", meters(600_000) + changes)
    with device(place, "--replay", recording), server.gateway("alpha", f"desk={place}") as alpha:
        def known(gateway):
            return gateway.metric('corvalux_fleet_pictures_total') >= 0 and \
                len(gateway.json("/api/devices/desk/values?keys=text/**")["values"])
        wait_for(lambda: known(alpha) == 2_000, "the gateway of the device has it all")
        wait_for(lambda: alpha.metric("corvalux_fleet_speaking") == 1, "it speaks")
        with server.gateway("edge") as edge, Nats(server) as listener:
            edge.wait_until("live")
            wait_for(lambda: known(edge) == 2_000, "so has the edge")
            listener.subscribe("_INBOX.listener.>")
            listener.publish("corvalux.v1.desk.picture", reply="_INBOX.listener.1")
            parts = [listener.until(lambda *message: True, "its parts come")]
            while sum(len(part[3]) for part in parts) < 2_000_000:
                parts.append(listener.until(lambda *message: True, "more of them"))
            check(all(len(part[3]) < 512 << 10 for part in parts), f"in {len(parts)} parts under 512 KiB")
            check([part[2]["Corvalux-Part"] for part in parts] == [str(1 + place) for place in range(len(parts))], "in order")


def a_message_that_is_too_large_costs_only_itself(place, server, root):
    large = [(SLOW, 20 + time, entries("large", 12, 100_000)) for time in range(0, 600_000, 500)][:100]
    recording = record(root / "frames", meters(60_000) + large)
    with device(place, "--replay", recording), server.gateway("alpha", f"desk={place}") as alpha, \
            server.gateway("edge") as edge:
        wait_for(lambda: alpha.metric('corvalux_fleet_unpublished_total{reason="large"}') >= 2, "it is counted")
        alpha.wait_for("says so", "errors", "too large for the NATS server: corvalux.v1.desk.slow")
        check(edge.wait_until("live"), "others have the rest")
        check(alpha.metric("corvalux_fleet_connected") == 1, "the connection stays")


def a_slow_gateway_delays_nobody(place, server, root):
    with device(place), server.gateway("alpha", f"desk={place}"), server.gateway("edge") as edge, \
            server.gateway("slow") as slow:
        for gateway in (edge, slow):
            gateway.wait_until("live")
        with Watch(edge) as viewer, Watch(slow) as late:
            late.goes_on("both have values")
            slow.process.send_signal(signal.SIGSTOP)
            viewer.silence()
            number = viewer.counter()
            wait_for(lambda: viewer.counter() > number + 150, "the other one goes on for six seconds")
            check(viewer.silence() < 1, "without a gap")
            slow.process.send_signal(signal.SIGCONT)
            wait_for(lambda: late.counter() >= viewer.counter() - 10, "the slow one is back at what is new")
            wait_for(lambda: slow.metric('corvalux_fleet_ignored_total{reason="late"}') > 0, "what had waited was dropped")
            for each in (viewer, late):
                each.saw_nothing_older()


TESTS = (a_picture_of_2_mb_is_fetched, a_message_that_is_too_large_costs_only_itself, a_slow_gateway_delays_nobody)

with folder() as root:
    for place, test in enumerate(TESTS):
        if len(sys.argv) > 3 and test.__name__ not in sys.argv[3:]:
            continue
        print(test.__name__.replace("_", " "))
        with Server() as nats:
            test(f"unix:{root}/{place}", nats, root)
