"""How many may read, what a slow reader gets, and when one that reads no more is ended."""
import contextlib
import socket
import time

from harness import Gateway, check, device, folder, lines_of, received, status_of, wait_for

STREAM = "/api/devices/desk/stream"


def ask(*lines, target=STREAM):
    return lines_of(f"GET {target} HTTP/1.1", "Host: localhost", *lines)


def forwarded(addresses):
    return f"X-Forwarded-For: {addresses}"


def is_refused(gateway, *lines, **options):
    return status_of(gateway.exchange(ask(*lines, target="/healthz"), **options)) == 503


def clients_are_limited_in_all(desk):
    with Gateway(desk, "--max-clients", "3") as gateway, gateway.events() as events:
        with gateway.events(), gateway.events(source="127.0.0.2"):
            check(is_refused(gateway, source="127.0.0.3"), "one more than --max-clients gets 503")
            check(is_refused(gateway) and is_refused(gateway), "again and again")
            events.is_healthy()
        wait_for(lambda: gateway.status("/healthz") == 200, "when others have left there is room again")
        check(gateway.metric('corvalux_gateway_refused_total{reason="clients"}') >= 3, "they were counted")


def clients_of_an_address_are_limited(desk):
    with Gateway(desk, "--max-clients-per-address", "2") as gateway, gateway.events() as events:
        with gateway.events():
            check(is_refused(gateway, forwarded("198.51.100.1")), "whatever a stranger says of whom it asks for")
            check(not is_refused(gateway, "Connection: close", source="127.0.0.2"), "another address is served")
            events.is_healthy()
        wait_for(lambda: gateway.status("/healthz") == 200, "there is room again")


def clients_of_a_proxy_are_told_apart(desk, listen="127.0.0.1:0", proxy="127.0.0.1"):
    with Gateway(desk, "--max-clients-per-address", "2", "--trusted-proxy", proxy, listen=listen) as gateway, \
            gateway.events(lines=[forwarded("198.51.100.1")]) as events:
        with gateway.events(lines=[forwarded("203.0.113.9, 198.51.100.1")]):
            check(is_refused(gateway, forwarded("198.51.100.1"), "Connection: close"), "by the address that it names")
            check(is_refused(gateway, forwarded("203.0.113.9"), forwarded("198.51.100.1"), "Connection: close"), "the last")
            check(is_refused(gateway, forwarded("::ffff:198.51.100.1"), "Connection: close"), "also as IPv6 writes it")
            for other in ("198.51.100.2", "2001:db8::1", "198.51.100.1, 198.51.100.2"):
                check(not is_refused(gateway, forwarded(other), "Connection: close"), f"{other} is served")
            check(not is_refused(gateway, "Connection: close"), "so is the proxy itself")
            events.is_healthy()
        wait_for(lambda: not is_refused(gateway, forwarded("198.51.100.1"), "Connection: close"), "there is room again")


def a_slow_reader_gets_the_newest(desk):
    with Gateway(desk) as gateway, gateway.events("?streams=fast&keys=counter") as healthy, \
            gateway.events("?streams=fast", window=4096) as slow:
        first = slow.message()["entries"][0]["value"]
        healthy.until("message", lambda data: data["entries"][0]["value"] > first + 60)
        resumed, counters = time.time(), [first]
        while (message := slow.message())["time"] < resumed:
            counters.append(message["entries"][0]["value"])
        counters.append(message["entries"][0]["value"])
        gaps = [later - earlier for earlier, later in zip(counters, counters[1:])]
        check(min(gaps) > 0 and max(gaps) > 20, f"it misses {max(gaps) - 1} in a row, and gets none twice")
        check(len(counters) < 50, f"after {len(counters) - 2} old messages it has the newest")
        wait_for(lambda: gateway.metric("corvalux_gateway_skipped_total") > 0, "what it missed was counted")
        healthy.is_healthy()


def a_reader_with_a_pace_of_its_own_stays(desk):
    """Slower than what comes, but never still for as long as --stall-time."""
    with Gateway(desk, "--stall-time", "1") as gateway, gateway.connect() as reader:
        reader.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
        reader.sendall(ask())
        end = time.monotonic() + 4
        while time.monotonic() < end:
            assert reader.recv(65536), "it was ended"
            time.sleep(0.1)  # its pace
        check(gateway.metric("corvalux_gateway_readers") == 1, "it still reads after four times --stall-time")
        wait_for(lambda: gateway.metric("corvalux_gateway_skipped_total") > 10, "and skipped what it was too slow for")


def a_reader_that_stops_is_ended(desk):
    with Gateway(desk, "--stall-time", "1") as gateway, gateway.events("?streams=fast&keys=counter") as healthy, \
            gateway.connect() as stopped:
        stopped.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        stopped.sendall(ask())
        wait_for(lambda: gateway.metric("corvalux_gateway_readers") == 2, "two read")
        wait_for(lambda: gateway.metric("corvalux_gateway_readers") == 1, "the one that does not is ended", 8)
        check(gateway.metric("corvalux_gateway_clients") == 2, "its connection is closed")
        with contextlib.suppress(ConnectionResetError, TimeoutError):
            check(received(stopped) is not None, "it sees the end")
        healthy.is_healthy()


def a_response_that_nobody_reads_is_ended(desk):
    with Gateway(desk, "--stall-time", "4", "--max-unsent", "1048576") as gateway, gateway.events("?keys=counter") as healthy:
        wait_for(lambda: len(gateway.text("/api/devices/desk/values")) > 150_000, "values are a large response")
        with contextlib.ExitStack() as connections:
            for _ in range(12):
                one = connections.enter_context(gateway.connect())
                one.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
                one.sendall(ask(target="/api/devices/desk/values"))
            wait_for(lambda: gateway.status("/api/devices/desk/values") == 503, "too many wait: 503")
            wait_for(lambda: gateway.status("/healthz") == 200, "a small response is still sent", 3)
            wait_for(lambda: gateway.status("/api/devices/desk/values") == 200, "they are ended, and there is room again", 20)
        wait_for(lambda: (gateway.metric('corvalux_gateway_refused_total{reason="unsent"}') or 0) > 0, "it was counted")
        healthy.is_healthy()


with folder() as place, device(f"unix:{place}/desk", "--channels", "250", "--fast-hz", "50"):
    served = f"desk=unix:{place}/desk"
    for test in (clients_are_limited_in_all, clients_of_an_address_are_limited, clients_of_a_proxy_are_told_apart,
                 a_slow_reader_gets_the_newest, a_reader_with_a_pace_of_its_own_stays, a_reader_that_stops_is_ended,
                 a_response_that_nobody_reads_is_ended):
        print(test.__name__.replace("_", " "))
        test(served)
    clients_of_a_proxy_are_told_apart(served, f"unix:{place}/socket", "unix")
    clients_of_a_proxy_are_told_apart(served, "[::]:0")
    for where in ("127.0.0.1:0", "[::]:0"):
        clients_of_a_proxy_are_told_apart(served, where, "::ffff:127.0.0.1")
