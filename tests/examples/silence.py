"""silence.py DEVHOST LANGUAGE...: the server puts up with the keep-alive pings of every example.

A server that is pinged faster than every 5 s closes the connection after the third such ping, which would happen in the
silence before the first list that the clients get.
"""
import contextlib
import sys
import tempfile

from programs import PATIENCE, ROOT, Program, check, host

SILENCE = 25  # seconds
devhost, *languages = sys.argv[1:]

with tempfile.TemporaryDirectory() as folder, contextlib.ExitStack() as ends:
    address = f"unix:{folder}/meters.sock"
    started = ends.enter_context(host(devhost, address, "--channels", "1", "--fast-hz", str(1 / SILENCE)))
    clients = [ends.enter_context(Program(ROOT / "examples/run", language, address)) for language in languages]
    for client in clients:
        client.wait_for("shows levels after a silence", "output", r"-\d+\.\d\s", 1, SILENCE + PATIENCE)
        check(client.count("errors", "no meters") == 0, f"{client.name}: on its first connection")
    check(started.end() == 0, "the host stops in order")
