"""client.py DEVHOST LANGUAGE: the example shows levels, comes back after a restart, and ends on Ctrl-C."""
import sys
import tempfile

from programs import ROOT, Program, check, host

LEVELS = r"(-\d+\.\d\s*){2}"
devhost, language = sys.argv[1:]

with tempfile.TemporaryDirectory() as folder:
    address = f"unix:{folder}/meters.sock"
    with host(devhost, address) as first, Program(ROOT / "examples/run", language, address) as client:
        client.wait_for("shows levels", "output", LEVELS, 3)
        check(client.count("errors", "no meters") == 0, "it was connected at once")
        check(first.end() == 0, "the host stops in order")
        client.wait_for("says that the device went away", "errors", "no meters: .*; trying again")
        shown = client.count("output", LEVELS)
        with host(devhost, address):
            client.wait_for("shows levels again after a restart", "output", LEVELS, shown + 3)
            check(client.end() == 0, "Ctrl-C ends the client in order")
        check("Traceback" not in client.texts["errors"], "nothing went wrong on the way")
