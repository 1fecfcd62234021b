"""Gateways of a fleet among others who publish on its subjects: origins that are none of ours, with clocks of their own,
conflicts, and garbage."""
import contextlib
import os
import sys

from fleet_harness import Foreign, Nats, Server, Watch, entry, field
from harness import check, device, folder, wait_for

LOWEST, HIGHEST = "0" * 15 + "1", "f" * 16


def value(gateway, key, name="desk"):
    found = gateway.json(f"/api/devices/{name}/values?keys={key}")["values"]
    return found[0]["value"] if found else None


def shows(gateway, text, name="desk"):
    wait_for(lambda: gateway.summary(name) and value(gateway, "name", name) == text, f"{name}: {text}")


def establish(gateway, origin, name="desk", **options):
    """Publishes until it is shown."""
    wait_for(lambda: origin.message([("name", "first")], name, **options) or
             gateway.summary(name) and value(gateway, "name", name) == "first", f"{name}: what it publishes is shown")


def any_program_may_be_an_origin(place, server):
    with server.gateway("edge") as edge, Foreign(server) as origin:
        establish(edge, origin, "studio-1")
        summary = edge.summary("studio-1")
        check(summary["state"] == "live" and summary["address"] == "via foreign", "it is live")
        origin.message([("name", "second")], "studio-1")
        shows(edge, "second", "studio-1")
        origin.report("studio-1", speaks=False, gone=True)
        wait_for(lambda: edge.summary("studio-1") is None, "it goes when its origin says so")


def clocks_may_differ(place, server):
    for number, ahead in enumerate((-60, 60, 1e7)):
        with server.gateway("edge") as edge, Foreign(server, ahead=ahead) as origin:
            name = f"clock-{number}"
            establish(edge, origin, name, age=0.2)
            check(0.2 <= edge.summary(name)["age"] < 15, f"the age is right with a clock {ahead:g} s ahead")


def what_lay_somewhere_is_dropped(place, server):
    with server.gateway("edge") as edge, Foreign(server) as origin:
        establish(edge, origin)
        origin.message([("name", "late")], late=1.5)
        wait_for(lambda: edge.metric('corvalux_fleet_ignored_total{reason="late"}') == 1, "it is counted")
        check(value(edge, "name") == "first", "and not shown")
        origin.message([("name", "newer")], late=0.5)
        shows(edge, "newer")


def what_comes_twice_counts_once(place, server):
    with server.gateway("edge") as edge, Foreign(server) as origin:
        establish(edge, origin)
        origin.sequences.clear()
        origin.message([("name", "one")])
        wait_for(lambda: edge.metric('corvalux_fleet_ignored_total{reason="repeated"}') == 1, "it is counted")
        check(value(edge, "name") == "first", "and not shown")


def in_a_conflict_the_lower_number_goes_on(place, server):
    with device(place), server.gateway("alpha", f"desk={place}") as alpha, server.gateway("edge") as edge:
        edge.wait_until("live")
        with Foreign(server, start=HIGHEST) as high, Watch(edge) as viewer, Nats(server) as listener:
            listener.subscribe("corvalux.v1.desk.state")
            for _ in range(4):
                high.report()
                listener.until(lambda *message: b'"speaks":true' in message[3] and "alpha" in message[2]["Corvalux-Origin"],
                               "the gateway goes on against a higher number")
            with Foreign(server, start=LOWEST) as low:
                low.report()
                listener.until(lambda *message: b'"speaks":false' in message[3] and "alpha" in message[2]["Corvalux-Origin"],
                               "it yields to a lower one")
                low.message([("name", "low")])
                wait_for(lambda: low.report() or edge.summary()["address"] == "via foreign", "which the edge follows")
                check(alpha.metric("corvalux_fleet_speaking") == 0, "the gateway is silent, but serves on")
                with Watch(alpha) as near:
                    near.goes_on("from its own connection")
                low.report(speaks=False)
            wait_for(lambda: edge.summary()["address"] == "via alpha", "and speaks when that one releases the device")
            viewer.goes_on("the viewer goes on")
            viewer.saw_nothing_older()


def one_without_a_connection_takes_the_device_from_the_fleet(place, server):
    with device(place), server.gateway("alpha", f"desk={place}") as alpha, \
            server.gateway("beta", f"desk={place}-none") as beta:
        alpha.wait_until("live")
        check(beta.wait_until("live")["address"] == f"{place}-none", "one that cannot reach it serves it all the same")
        with Watch(beta) as viewer:
            viewer.goes_on("with values")
        check(beta.metric("corvalux_fleet_speaking") == 0, "and does not speak for it")


def garbage_of_headers():
    origin = b"Corvalux-Origin: foreign 0123456789abcdef\r\n"
    clock = b"Corvalux-Clock: 5.0\r\n"
    yield b""
    yield b"NATS/1.0\r\n\r\n"
    yield b"NATS/1.0 503\r\n\r\n"
    yield b"HTTP/1.1 200 OK\r\n\r\n"
    yield b"NATS/1.0\r\n" + origin
    yield b"NATS/1.0\r\n" + origin + b"\r\n"
    yield b"NATS/1.0\r\n" + clock + b"\r\n"
    yield b"NATS/1.0\r\n" + clock + b"Corvalux-Origin: foreign\r\n\r\n"
    for name in (b"", b"a b", b"x" * 65, b"\xff\xfe", b"a/../b", b"x" * 60_000):
        yield b"NATS/1.0\r\n" + clock + b"Corvalux-Origin: " + name + b" 0123456789abcdef\r\n\r\n"
    for start in (b"", b"0", b"0123456789abcdeg", b"-123456789abcdef", b"0123456789abcdef0"):
        yield b"NATS/1.0\r\n" + clock + b"Corvalux-Origin: foreign " + start + b"\r\n\r\n"
    for text in (b"", b"nan", b"inf", b"-1", b"1e300", b"5.0x", b"0x5", b"9" * 400):
        yield b"NATS/1.0\r\n" + origin + b"Corvalux-Clock: " + text + b"\r\n\r\n"
        yield b"NATS/1.0\r\n" + origin + clock + b"Corvalux-Sequence: 1\r\nCorvalux-Age: " + (text or b" x") + b"\r\n\r\n"
    for text in (b"0", b"-1", b"99999999999999999999999", b"one"):
        yield b"NATS/1.0\r\n" + origin + clock + b"Corvalux-Sequence: " + text + b"\r\n\r\n"
    yield b"NATS/1.0\r\n" + 20_000 * b"A: b\r\n" + b"\r\n"
    yield b"NATS/1.0\r\n:::\r\n\r\nCorvalux-Clock\r\n"
    yield os.urandom(4_000)


def garbage_changes_nothing(place, server):
    with device(place), server.gateway("alpha", f"desk={place}") as alpha, server.gateway("edge") as edge, \
            Nats(server) as client:
        edge.wait_until("live")
        with Watch(edge) as viewer, Watch(alpha) as near:
            payloads = (b"", b"{", b"[]", b"null", b"[" * 10_000, b'{"speaks":1}', b'{"speaks":true,"changes":-1}',
                        b'{"speaks":true,"reason":5}', b'{"speaks":true,"reason":"' + 20_000 * b"x" + b'"}', os.urandom(3_000))
            right = b"NATS/1.0\r\nCorvalux-Origin: foreign 0123456789abcdef\r\nCorvalux-Clock: 5.0\r\n\r\n"
            for topic in ("fast", "slow", "changes", "state", "picture", "unknown"):
                for raw in garbage_of_headers():
                    client.publish(f"corvalux.v1.desk.{topic}", b"garbage", raw=raw)
                for subject in (f"corvalux.v1.a%b.{topic}", f"corvalux.v1.{65 * 'x'}.{topic}", f"corvalux.v1.\xff.{topic}"):
                    client.publish(subject, b"garbage", raw=right)
            for payload in payloads:
                client.publish("corvalux.v1.desk.state", payload, raw=right)
            # Replies that would make a gateway publish on a device's subject.
            for reply in ("", "corvalux.v1.desk.fast", "anything"):
                client.publish("corvalux.v1.desk.picture", b"x" * 100_000, reply=reply)
            client.publish("corvalux.v1.desk.fast", b"", raw=right)
            wait_for(lambda: edge.metric('corvalux_fleet_ignored_total{reason="bad"}') > 100, "it is counted")
            viewer.goes_on("the edge shows on what it should")
            near.goes_on("so does the gateway of the device")
            viewer.saw_nothing_older()
            check([each["name"] for each in edge.json("/api/devices")["devices"]] == ["desk"], "no device came of it")


def devices_of_the_fleet_are_limited(place, server):
    with server.gateway("edge", "--max-fleet-devices", "3") as edge, Foreign(server) as origin:
        for number in range(10):
            origin.message([("name", "one")], f"device-{number}")
        wait_for(lambda: edge.metric('corvalux_fleet_ignored_total{reason="limit"}') == 7, "those beyond it are counted")
        check(len(edge.json("/api/devices")["devices"]) == 3, "and not served")


def many_origins_cost_nobody_the_device(place, server):
    with device(place), server.gateway("alpha", f"desk={place}"), server.gateway("edge") as edge:
        edge.wait_until("live")
        with contextlib.ExitStack() as strangers, Watch(edge) as viewer:
            for _ in range(40):
                strangers.enter_context(Foreign(server, start="f" * 8 + os.urandom(4).hex())).message([("name", "stranger")])
            viewer.goes_on("the edge stays with the one that it follows")
            check(value(edge, "name") is None, "and shows nothing of the others")


def messages_that_do_not_parse_are_rejected(place, server):
    with server.gateway("edge") as edge, Foreign(server) as origin:
        establish(edge, origin)
        subject = "corvalux.v1.desk.fast"
        for payload in (b"\xff\xff", field(1, b"\xff"), os.urandom(1 << 20)[:1_000_000]):
            origin.sequences[subject] += 1
            headers = {**origin.headers(), "Corvalux-Sequence": origin.sequences[subject], "Corvalux-Age": "0"}
            origin.nats.publish(subject, payload, headers)
        origin.message([("name", "again")])
        shows(edge, "again")
        wait_for(lambda: edge.metric('corvalux_rejected_total{device="desk",stream="fast"}') == 3, "they are counted")


TESTS = (any_program_may_be_an_origin, clocks_may_differ, what_lay_somewhere_is_dropped, what_comes_twice_counts_once,
         in_a_conflict_the_lower_number_goes_on, one_without_a_connection_takes_the_device_from_the_fleet,
         garbage_changes_nothing, devices_of_the_fleet_are_limited, many_origins_cost_nobody_the_device,
         messages_that_do_not_parse_are_rejected)

with folder() as root:
    for number, test in enumerate(TESTS):
        if len(sys.argv) > 3 and test.__name__ not in sys.argv[3:]:
            continue
        print(test.__name__.replace("_", " "))
        with Server() as nats:
            test(f"unix:{root}/{number}", nats)
