"""What the gateway refuses, how it says so, and that nobody else is harmed by it."""
import contextlib
import json
import time
from collections import Counter

from harness import Gateway, check, device, folder, lines_of, received, status_of, wait_for

OPTIONS = ["--max-requests", "1000", "--max-header", "2048", "--header-time", "1", "--idle-time", "1", "--max-patterns", "2",
           "--max-hz", "50", "--allow-host", "Desk.example", "--allow-origin", "https://page.example"]


def ask(*lines, first="GET /healthz HTTP/1.1", host="Host: localhost"):
    return lines_of(first, *([host] if host else []), *lines)


def requests_that_are_refused(gateway):
    """Each a status, the reason that is counted, and the request."""
    own = f"Host: 127.0.0.1:{gateway.port}"
    return [
        *((405, "method", ask(first=f"{method} /healthz HTTP/1.1")) for method in
          ("POST", "PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT", "PATCH", "FOO")),
        (413, "body", ask("Content-Length: 5") + b"hello"),
        (413, "body", ask("Transfer-Encoding: chunked") + b"5\r\nhello\r\n0\r\n\r\n"),
        (413, "body", ask("Transfer-Encoding: gzip") + ask()),
        (413, "body", ask("Content-Length: 99999999999")),
        (405, "method", ask("Content-Length: 1000000", first="POST / HTTP/1.1") + 1_000_000 * b"x"),
        (431, "header", ask("X: " + 2048 * "x")),
        (431, "header", ask(first="GET /" + 4096 * "a" + " HTTP/1.1")),
        (431, "header", ask("X: " + 1_000_000 * "x")),
        (400, "malformed", b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n"),
        (400, "malformed", b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"),
        (400, "malformed", ask("Content-Length: -1")),
        (400, "malformed", ask("Content-Length: 1", "Content-Length: 2")),
        (400, "malformed", ask("no colon")),
        (400, "malformed", ask(first="GET /healthz")),
        (400, "host", ask(host=None)),
        (400, "host", ask("Host: localhost")),
        *((403, "host", ask(host=f"Host: {name}")) for name in
          ("evil.example", "localhost.evil.example", "a@localhost", "localhost:0", "desk.example.", "")),
        *((403, "origin", ask(f"Origin: {origin}", host=own)) for origin in
          ("null", "http://evil.example", f"http://localhost:{gateway.port}", "http://127.0.0.1",
           f"http://127.0.0.1:{gateway.port + 1}", f"ftp://127.0.0.1:{gateway.port}", "http://page.example", "", "*")),
        (403, "origin", ask("Origin: https://page.example", "Origin: http://evil.example")),
    ]


def each_is_refused_and_counted(gateway, events):
    expected = Counter()
    for status, reason, octets in requests_that_are_refused(gateway):
        answer = gateway.exchange(octets.replace(b"\r\n\r\n", b"\r\nConnection: close\r\n\r\n", 1))
        check(status_of(answer) == status, f"{octets[:70]}: {status}")
        head, _, body = answer.partition(b"\r\n\r\n")
        check(json.loads(body)["error"] and b"\r\nContent-Type: application/json\r\n" in head, "with a sentence")
        check((status == 405) == (b"\r\nAllow: GET, HEAD\r\n" in head), "405 says what is allowed")
        expected[reason] += 1
    for reason, count in expected.items():
        series = f'corvalux_gateway_refused_total{{reason="{reason}"}}'
        wait_for(lambda: gateway.metric(series) == count, f"{count} were counted as {reason}")
    events.is_healthy()


def who_is_refused_may_send_the_rest_of_the_request(gateway, events):
    """As clients do that read only then; a connection that is closed with input unread takes the answer away."""
    with gateway.connect() as connection:
        connection.sendall(ask("Content-Length: 1000000", first="POST / HTTP/1.1"))
        check(status_of(received(connection)) == 405, "refused before the body came")
        for _ in range(10):
            connection.sendall(100_000 * b"x")
            time.sleep(0.01)
    events.is_healthy()


def but_not_without_an_end(gateway, events):
    with gateway.connect() as connection:
        connection.sendall(ask("Content-Length: 1000000000", first="POST / HTTP/1.1"))
        received(connection)
        sent = 0
        with contextlib.suppress(ConnectionError):
            while sent < 1_000_000_000:
                sent += connection.send(100_000 * b"x")
        check(sent < 100_000_000, f"{sent} bytes were taken")
    events.is_healthy()


def names_that_were_allowed_are_served(gateway, events):
    own = f"127.0.0.1:{gateway.port}"
    for host in ("localhost", "LOCALHOST:80", "desk.example", "DESK.example:9", "10.1.2.3", "[::1]:8080", own):
        check(status_of(gateway.exchange(ask("Connection: close", host=f"Host: {host}"))) == 200, f"Host: {host}")
    for origin, host in ((f"http://{own}", own), ("https://page.example", own), ("https://PAGE.example", own),
                         ("http://localhost", "localhost"), ("https://desk.example", "desk.example"),
                         ("http://localhost:80", "localhost"), ("http://localhost", "localhost:80")):
        answer = gateway.exchange(ask("Connection: close", f"Origin: {origin}", host=f"Host: {host}"))
        check(status_of(answer) == 200, f"Origin: {origin} of {host}")
        check(f"\r\nAccess-Control-Allow-Origin: {origin}\r\n".encode() in answer, "a browser may show it to the page")


def a_slow_header_is_ended(gateway, events):
    """Byte by byte, so that something comes all the time."""
    with gateway.connect() as connection:
        begin = time.monotonic()
        connection.setblocking(False)
        answer = b""
        for octet in ask("X: " + 1000 * "x"):
            try:
                connection.send(bytes([octet]))
                answer += connection.recv(4096)
            except BlockingIOError:
                time.sleep(0.02)  # the client's own pace
            except OSError:
                break
            if answer:
                break
        taken = time.monotonic() - begin
    check(status_of(answer) == 408, "a header that drips gets an answer")
    check(0.9 < taken < 3, f"after --header-time: {taken:.1f} s")
    wait_for(lambda: gateway.metric('corvalux_gateway_refused_total{reason="slow"}') == 1, "it is counted")
    with gateway.connect() as connection:
        check(received(connection) == b"", "who sends nothing gets nothing")
    events.is_healthy()


def an_idle_connection_is_ended(gateway, events):
    with gateway.connect() as connection:
        connection.sendall(ask())
        begin = time.monotonic()
        check(received(connection).count(b"HTTP/1.1 200") == 1, "a request is answered")
        check(0.9 < time.monotonic() - begin < 3, "then the connection is closed after --idle-time")
    events.is_healthy()


def requests_may_follow_each_other(gateway, events):
    with gateway.connect() as connection:
        connection.sendall(3 * ask() + ask(first="HEAD /healthz HTTP/1.1") + ask("Connection: close"))
        answer = received(connection)
    check(answer.count(b"HTTP/1.1 200 OK") == 5 and answer.count(b"\r\n\r\nok\n") == 4, "five, all sent at once")
    answer = gateway.exchange(ask() + b"\x00\xff garbage \r\n\r\n" + ask())
    check(answer.count(b"HTTP/1.1 ") == 2 and b"HTTP/1.1 400" in answer, "garbage behind a request ends the connection")
    events.is_healthy()


def head_is_the_header_alone(gateway, events):
    for target in ("/healthz", "/api/devices", "/api/devices/desk/values", "/metrics", "/none"):
        response, body = gateway.request(target, "HEAD")
        check(body == b"" and int(response.headers["Content-Length"]) > 0, f"of {target}: as long as it would be")
        check(response.status == gateway.status(target), "the same status")
    response, body = gateway.request("/api/devices/desk/stream", "HEAD")
    check(response.headers["Content-Type"] == "text/event-stream" and body == b"", "of a stream as well")
    events.is_healthy()


def patterns_and_rates_are_limited(gateway, events):
    page = "/api/devices/desk/"
    check(gateway.status(page + "values?keys=a&keys=b") == 200, "as many patterns as --max-patterns")
    check(gateway.status(page + "values?keys=a&keys=b&keys=c") == 400, "one more is refused")
    check(gateway.status(page + "stream?hz=51") == 400, "a rate beyond --max-hz is refused")
    with gateway.events("?hz=50&keys=" + 100 * "*a") as other:
        check(other.first[0] == "state", "a hard pattern is not")
    events.is_healthy()


def clients_may_leave_in_the_middle(gateway, events):
    for octets in (b"", b"GET", ask()[:-2], ask(), ask(first="GET /metrics HTTP/1.1"),
                   ask(first="GET /api/devices/desk/stream HTTP/1.1")):
        for _ in range(20):
            with gateway.connect() as connection:
                connection.sendall(octets)
    wait_for(lambda: gateway.metric("corvalux_gateway_clients") == 2, "only those are left who stay")
    check(gateway.metric("corvalux_gateway_readers") == 1, "one of them reads a stream")
    events.is_healthy()


def too_many_requests_are_refused(address):
    with Gateway(address, "--max-requests", "5") as gateway, gateway.events() as events:
        with gateway.connect() as connection:
            connection.sendall(30 * ask() + ask("Connection: close"))
            answer = received(connection)
        passed = answer.count(b"HTTP/1.1 200")
        check(passed in range(8, 12), f"a burst of two seconds passes, less the healthy reader and the time it took: {passed}")
        check(b"HTTP/1.1 429" in answer and b"Retry-After: " in answer, "more gets 429")
        check(status_of(gateway.exchange(ask("Connection: close"), source="127.0.0.2")) == 200, "another address is served")
        events.is_healthy()
        wait_for(lambda: gateway.status("/healthz") == 200, "soon the first one is served again")


with folder() as place, device(f"unix:{place}/desk"):
    desk = f"desk=unix:{place}/desk"
    with Gateway(desk, *OPTIONS) as served:
        served.wait_until("live")
        with served.events() as healthy:
            for test in (each_is_refused_and_counted, who_is_refused_may_send_the_rest_of_the_request, but_not_without_an_end,
                         names_that_were_allowed_are_served, a_slow_header_is_ended,
                         an_idle_connection_is_ended, requests_may_follow_each_other, head_is_the_header_alone,
                         patterns_and_rates_are_limited, clients_may_leave_in_the_middle):
                print(test.__name__.replace("_", " "))
                test(served, healthy)
    too_many_requests_are_refused(desk)
