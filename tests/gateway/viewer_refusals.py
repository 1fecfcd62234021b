"""What the gateway refuses of viewers: each with a text and a code that says whether to come back; others notice nothing."""
import array
import asyncio
import contextlib
import fcntl
import os
import random
import struct
import sys
import termios
import time

import websockets
from harness import Gateway, check, device, folder, lines_of, wait_for
from viewer import Viewer, live

OPTIONS = ("--max-viewers", "4", "--max-subscriptions", "3", "--max-patterns", "2", "--max-hz", "50",
           "--max-viewer-message", "1024", "--max-viewer-messages", "20", "--header-time", "1", "--stall-time", "2",
           "--max-requests", "1000")
COME_BACK, BAD, LIMIT = 4000, 4100, 4101


def upgrade(*lines, target="/live", protocol="corvalux.v1"):
    return lines_of(f"GET {target} HTTP/1.1", "Host: localhost", "Connection: Upgrade", "Upgrade: websocket",
                    "Sec-WebSocket-Version: 13", "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==",
                    f"Sec-WebSocket-Protocol: {protocol}", *lines)


def frame(payload, first=0x82, masked=True):
    """A WebSocket frame of a client; its mask changes nothing."""
    return bytes([first, (0x80 if masked else 0) | len(payload)]) + (bytes(4) if masked else b"") + payload


def messages(connection):
    """As they come, until the gateway closes."""
    file = connection.makefile("rb")
    while (head := file.read(2)) and head[0] == 0x82:
        size = head[1]
        if size > 125:
            size = int.from_bytes(file.read(2 if size == 126 else 8), "big")
        yield live.ToViewer.FromString(file.read(size))


def close_code(connection):
    """Takes what comes until the gateway closes, and gives the code."""
    end = b""
    while octets := connection.recv(1 << 20):
        end = (end + octets)[-200:]
    return int.from_bytes(end[(start := end.rindex(b"\x88") + 2):start + 2], "big")


def full(connection):
    """Waits until no more fits into a connection that nobody reads."""
    def waiting():
        count = array.array("i", [0])
        fcntl.ioctl(connection, termios.FIONREAD, count)
        return count[0]

    before, since = -1, 0
    while waiting() > before or time.monotonic() - since < 0.4:
        if waiting() > before:
            before, since = waiting(), time.monotonic()
        time.sleep(0.02)


@contextlib.contextmanager
def frozen(gateway, streams, acknowledges, **options):
    """A viewer's connection that is full, since nobody reads it."""
    with gateway.connect(**options) as connection:
        connection.sendall(upgrade())
        check(connection.recv(4096).startswith(b"HTTP/1.1 101 "), "a viewer begins")
        for message in (live.FromViewer(hello=live.ViewerHello(acknowledges=acknowledges)),
                        live.FromViewer(subscribe=live.Subscribe(subscription=1, device="desk", streams=streams))):
            connection.sendall(frame(message.SerializeToString()))
        full(connection)
        yield connection


async def healthy(gateway):
    """Another viewer gets what it should."""
    async with Viewer(gateway) as viewer:
        await viewer.subscribe()
        await viewer.snapshot()
        check(max(update.age for update in await viewer.several(3)) < 0.5, "another viewer gets what is new")


async def handshakes_are_refused_with_a_text(gateway):
    for octets, status in ((upgrade(protocol="corvalux.v2"), 400), (upgrade("Origin: http://evil.example"), 403),
                           (lines_of("GET /live HTTP/1.1", "Host: localhost", "Connection: close"), 426),
                           (upgrade("Host: evil.example"), 400), (upgrade("Connection: close", target="/liver"), 404),
                           (upgrade() + frame(b"early"), 400),
                           (upgrade().replace(b"Version: 13", b"Version: 8"), 426)):
        with gateway.connect() as connection:
            connection.sendall(octets)
            connection.settimeout(2)
            answer = b""
            with contextlib.suppress(TimeoutError):
                answer = connection.recv(4096)
            check(int(answer.split()[1]) == status and b"\r\n\r\n" in answer, f"{octets[:40]!r}: {status}")
    async with Viewer(gateway, protocols=("other", "corvalux.v1")) as viewer:
        check(viewer.socket.subprotocol == "corvalux.v1", "one of several is chosen")
    await healthy(gateway)


async def messages_that_make_no_sense_end_the_connection(gateway):
    hello = live.FromViewer(hello=live.ViewerHello(acknowledges=True))
    acknowledge = live.FromViewer(acknowledge=live.Acknowledge(updates=1))
    subscribe = live.FromViewer(subscribe=live.Subscribe(subscription=0, device="desk", streams=[1]))
    rate = live.FromViewer(hello=live.ViewerHello(devices_per_second=6))
    nan = live.FromViewer(hello=live.ViewerHello(devices_per_second=float("nan")))
    for first, message, why in ((hello, hello, "two hellos"), (None, acknowledge, "no hello"), (hello, acknowledge, "too much"),
                                (hello, live.FromViewer(), "no kind"), (hello, subscribe, "no number"), (None, rate, "a rate"),
                                (None, nan, "no number")):
        async with Viewer(gateway, hello=False) as viewer:
            for one in filter(None, (first, message)):
                await viewer.socket.send(one.SerializeToString())
            code, error = await viewer.closed()
            check(code == BAD and error.code == live.ERROR_CODE_BAD_MESSAGE and error.text, f"{why}: {error.text}")
    for message in (b"\xff\xff", "a text", b"\x0a\x05ab", b"\x7a\x00"):
        async with Viewer(gateway) as viewer:
            await viewer.socket.send(message)
            check((await viewer.closed())[0] == BAD, f"{message!r}")
    await healthy(gateway)


async def a_wrong_subscription_is_refused_alone(gateway):
    async with Viewer(gateway) as viewer:
        for code, more in ((live.ERROR_CODE_UNKNOWN_DEVICE, {"device": "none"}), (live.ERROR_CODE_BAD_MESSAGE, {"streams": ()}),
                           (live.ERROR_CODE_BAD_MESSAGE, {"streams": ("fast", "fast")}),
                           (live.ERROR_CODE_BAD_MESSAGE, {"rate": -1}), (live.ERROR_CODE_BAD_MESSAGE, {"rate": 51}),
                           (live.ERROR_CODE_BAD_MESSAGE, {"rate": float("nan")}),
                           (live.ERROR_CODE_BAD_MESSAGE, {"keys": [""]}), (live.ERROR_CODE_BAD_MESSAGE, {"peaks": ["a\n"]}),
                           (live.ERROR_CODE_LIMIT, {"keys": ["a", "b", "c"]}), (live.ERROR_CODE_LIMIT, {"peaks": ["a", "b", "c"]})):
            await viewer.subscribe(number=7, **more)
            error = await viewer.until(live.Error)
            check((error.code, error.subscription) == (code, 7), f"{more}: {error.text}")
        for number in (1, 2, 3):
            await viewer.subscribe(number=number)
            await viewer.snapshot(number)
        await viewer.subscribe(number=4)
        check((await viewer.until(live.Error)).code == live.ERROR_CODE_LIMIT, "subscriptions are limited")
        await viewer.subscribe(number=3, streams=("slow",))
        check((await viewer.snapshot(3))[0].stream == live.STREAM_SLOW, "one may be replaced")


async def limits_hold(gateway):
    async with Viewer(gateway) as viewer:
        await viewer.say(subscribe=live.Subscribe(subscription=1, device="x" * 2000, streams=[1]))
        check((await viewer.closed())[0] == 1009, "a message beyond --max-viewer-message")
    async with Viewer(gateway) as viewer:
        with contextlib.suppress(websockets.ConnectionClosed):
            for _ in range(100):
                await viewer.say(visibility=live.Visibility(hidden=False))
        code, error = await viewer.closed()
        check(code == LIMIT and error.code == live.ERROR_CODE_LIMIT, "more messages than --max-viewer-messages")
    async with contextlib.AsyncExitStack() as stack:
        for _ in range(4):
            await stack.enter_async_context(Viewer(gateway))
        try:
            async with Viewer(gateway):
                check(False, "a viewer too many is refused")
        except websockets.InvalidStatusCode as refusal:
            check(refusal.status_code == 503, "a viewer beyond --max-viewers")
    wait_for(lambda: gateway.metric("corvalux_gateway_viewers") == 0, "their places are free again")
    await healthy(gateway)


async def who_says_nothing_is_ended(gateway):
    async with Viewer(gateway, hello=False) as viewer:
        begin = time.monotonic()
        check((await viewer.closed())[0] == COME_BACK and 0.9 < time.monotonic() - begin < 3, "no hello in --header-time")
    async with Viewer(gateway) as viewer:
        viewer.pongs = False
        check((await viewer.closed())[0] == COME_BACK, "no pong in --stall-time")
    async with Viewer(gateway) as viewer:
        viewer.acknowledge = lambda _: asyncio.sleep(0)
        await viewer.subscribe()
        check((await viewer.closed())[0] == COME_BACK, "no acknowledgement in --stall-time")
    async with Viewer(gateway, acknowledges=False, window=1) as viewer:
        await viewer.subscribe(streams=("fast", "slow", "changes"))
        await asyncio.sleep(5)
        wait_for(lambda: gateway.metric("corvalux_gateway_viewers") == 0, "who sends but never reads", 3)
    await healthy(gateway)


async def floods_of_pings_end(gateway):
    with gateway.connect() as connection:
        connection.sendall(upgrade() + frame(b"", first=0x89) * 300)
        answers = b""
        connection.settimeout(5)
        with contextlib.suppress(OSError):
            while octets := connection.recv(4096):
                answers += octets
        check(answers.count(b"\x8a\x00") <= 100, "no more than 100 pings a second are answered")
    await healthy(gateway)


async def octets_that_are_no_websocket_harm_nobody(gateway):
    rule = random.Random(4)
    hello = live.FromViewer(hello=live.ViewerHello(acknowledges=True)).SerializeToString()
    wrong = [frame(hello, masked=False), frame(b"", first=0x87), frame(hello, first=0xc2), frame(b"x" * 100, first=0x89) * 50,
             frame(b"\x03\xe8", first=0x88), struct.pack("!BBQ", 0x82, 0xff, 1 << 62), frame(hello, first=0x02) * 3,
             *(rule.randbytes(rule.randrange(1, 400)) for _ in range(40))]
    for octets in wrong:
        with gateway.connect() as connection:
            connection.sendall(upgrade())
            connection.recv(4096)
            connection.settimeout(0.05)
            with contextlib.suppress(OSError):
                connection.sendall(octets)
                connection.recv(4096)
    wait_for(lambda: gateway.metric("corvalux_gateway_viewers") == 0, "all have ended")
    await healthy(gateway)


async def viewers_may_leave_at_any_time(gateway):
    hello = frame(live.FromViewer(hello=live.ViewerHello(acknowledges=True)).SerializeToString())
    subscribe = frame(live.FromViewer(subscribe=live.Subscribe(subscription=1, device="desk", streams=[1, 2, 3])).SerializeToString())
    for octets in (upgrade()[:-3], upgrade(), upgrade() + b"", hello, hello + subscribe):
        for _ in range(20):
            with gateway.connect() as connection:
                if octets.startswith(b"GET"):
                    connection.sendall(octets)
                else:
                    connection.sendall(upgrade())
                    connection.recv(4096)
                    connection.sendall(octets)
    wait_for(lambda: gateway.metric("corvalux_gateway_viewers") == 0, "all have left")
    await healthy(gateway)


async def a_device_that_is_dropped_ends_its_subscriptions(place):
    config = place / "gateway.toml"
    config.write_text(f'device = ["desk=unix:{place}/desk", "other=unix:{place}/desk"]\n')
    with Gateway("--config", str(config)) as gateway:
        gateway.wait_until("live")
        async with Viewer(gateway) as viewer:
            await viewer.subscribe()
            await viewer.subscribe("other", number=2)
            await viewer.snapshot(2)
            config.write_text(f'device = ["other=unix:{place}/desk"]\n')
            os.kill(gateway.process.pid, 1)
            error = await viewer.until(live.Error)
            check((error.code, error.subscription) == (live.ERROR_CODE_DEVICE_GONE, 1), error.text)
            check(list((await viewer.until(live.Devices, lambda some: some.gone)).gone) == ["desk"], "the list says so too")
            check((await viewer.until(live.Update)).subscription == 2, "others go on")
            config.write_text("")
            os.kill(gateway.process.pid, 1)
            wait_for(lambda: gateway.count("errors", "following 0 devices") == 1, "no devices at all")
            config.write_text(f'device = ["other=unix:{place}/desk"]\n')
            os.kill(gateway.process.pid, 1)
            await viewer.until(live.Devices, lambda some: [one.name for one in some.devices] == ["other"])
            check(True, "a device that is back at once is named")


async def subscriptions_count_as_requests(place):
    with Gateway(f"desk=unix:{place}/desk") as gateway:
        gateway.wait_until("live")
        async with Viewer(gateway, source="127.0.0.2") as one, Viewer(gateway, source="127.0.0.2") as other:
            for viewer in (one, other):
                for _ in range(95):
                    await viewer.subscribe(keys=["input/1/*"])
            error = await other.until(live.Error)
            check((error.code, error.subscription) == (live.ERROR_CODE_BUSY, 1), error.text)
            await healthy(gateway)
            check(gateway.metric('corvalux_gateway_refused_total{reason="viewer subscription"}') > 0, "they are counted")


async def who_wants_too_much_work_must_come_back_later(place):
    """Each choice of keys is made for this viewer alone."""
    with device(f"unix:{place}/wide", "--channels", "1024", "--fast-hz", "200"), Gateway(
            f"desk=unix:{place}/wide", "--max-subscriptions", "60") as gateway:
        gateway.wait_until("live")
        with gateway.connect(source="127.0.0.2") as connection:
            connection.sendall(upgrade())
            check(connection.recv(4096).startswith(b"HTTP/1.1 101 "), "a viewer begins")
            connection.sendall(frame(live.FromViewer(hello=live.ViewerHello()).SerializeToString()))
            for number in range(1, 61):
                wanted = live.Subscribe(subscription=number, device="desk", streams=[1], keys=["**", f"other/{number}"])
                connection.sendall(frame(live.FromViewer(subscribe=wanted).SerializeToString()))
            check(close_code(connection) == 1013, "its work is for later")
        check(gateway.metric('corvalux_gateway_refused_total{reason="viewer work"}') == 1, "it is counted")
        await healthy(gateway)


async def who_closes_and_reads_nothing_is_ended(gateway):
    with frozen(gateway, [1, 2, 3], acknowledges=False) as connection:
        connection.sendall(frame(struct.pack("!H", 1000), first=0x88))
        wait_for(lambda: gateway.metric("corvalux_gateway_viewers") == 0, "who closes and reads nothing", 8)


async def a_hidden_viewer_gets_the_rest_of_a_snapshot(gateway):
    async with Viewer(gateway) as viewer:
        await viewer.subscribe(streams=("slow",))
        await viewer.until(live.Update)
    with frozen(gateway, [2, 1], acknowledges=True) as connection:
        connection.sendall(frame(live.FromViewer(visibility=live.Visibility(hidden=True)).SerializeToString()))
        check(any(message.snapshot.last for message in messages(connection)), "nothing is held for it")


async def who_leaves_the_most_unread_makes_room(place):
    """Not the one who has waited the longest, at another address."""
    def dropped():
        return gateway.metric('corvalux_gateway_refused_total{reason="viewer unsent"}')

    options = (f"desk=unix:{place}/large", "--max-unsent", "1048576", "--max-metrics", "100000")
    with device(f"unix:{place}/large", "--channels", "1024", "--fast-hz", "10"), Gateway(*options) as gateway, \
            contextlib.ExitStack() as connections:
        gateway.wait_until("live")
        connections.enter_context(frozen(gateway, [1], False, source="127.0.0.2"))
        others = 0
        while dropped() == 0 and others < 20:
            connections.enter_context(frozen(gateway, [1], False))
            others += 1
        wait_for(lambda: gateway.metric("corvalux_gateway_viewers") == 1 + others - dropped(), "who is dropped is gone")
        check(others > 2 and dropped() < others, "the room is for several")
        refused = [line for line in gateway.texts["errors"].splitlines() if "viewer unsent" in line]
        check(refused and all("127.0.0.1" in line for line in refused), f"one of the others makes room: {refused}")
        await healthy(gateway)


async def on_a_socket_file():
    with folder() as place, device(f"unix:{place}/desk", "--channels", "1024"):
        with Gateway(f"desk=unix:{place}/desk", "--stall-time", "3", listen=f"unix:{place}/http") as gateway:
            gateway.wait_until("live")
            for test in (who_closes_and_reads_nothing_is_ended, a_hidden_viewer_gets_the_rest_of_a_snapshot):
                print(test.__name__.replace("_", " "), flush=True)
                await test(gateway)


async def main():
    await on_a_socket_file()
    with folder() as place, device(f"unix:{place}/desk"):
        with Gateway(f"desk=unix:{place}/desk", *OPTIONS) as gateway:
            gateway.wait_until("live")
            for test in (handshakes_are_refused_with_a_text, messages_that_make_no_sense_end_the_connection,
                         a_wrong_subscription_is_refused_alone, limits_hold, who_says_nothing_is_ended,
                         floods_of_pings_end, octets_that_are_no_websocket_harm_nobody, viewers_may_leave_at_any_time):
                print(test.__name__.replace("_", " "), flush=True)
                await test(gateway)
            check(gateway.metric('corvalux_gateway_refused_total{reason="viewer message"}') == 11, "refusals are counted")
        await a_device_that_is_dropped_ends_its_subscriptions(place)
        await subscriptions_count_as_requests(place)
        await who_leaves_the_most_unread_makes_room(place)


async def work():
    with folder() as place:
        await who_wants_too_much_work_must_come_back_later(place)


asyncio.run(work() if sys.argv[3:] == ["work"] else main())
