"""viewer.py DEVHOST GATEWAY LANGUAGE: the example viewer shows levels, comes back after a restart, and ends on Ctrl-C."""
import sys

from harness import ROOT, Gateway, Program, check, device, folder

LEVEL = r"(?m)^-\d+(\.\d+)?$"
language = sys.argv[3]

with folder() as place, device(f"unix:{place}/desk"):
    follow = f"desk=unix:{place}/desk"
    with Gateway(follow) as first:
        first.wait_until("live")
        port, url = first.port, f"ws://127.0.0.1:{first.port}/live"
        example = [ROOT / "examples/run", language, url]
        with Program(*example, "desk", "input/2/rms") as other:
            other.wait_for("prints the level of another key", "output", LEVEL, 5)
        with Program(*example, "nobody") as lost:
            lost.wait_for("says that the device is unknown", "errors", "there is no device of this name")
        viewer = Program(*example)
        viewer.wait_for("prints levels", "output", LEVEL, 30)  # more than the window: it acknowledges
        check(first.end() == 0, "the gateway stops in order")
    with viewer:
        viewer.wait_for("says that the gateway went away", "errors", "no levels: .*; trying again")
        shown = viewer.count("output", LEVEL)
        with Gateway(follow, listen=f"127.0.0.1:{port}"):
            viewer.wait_for("prints levels again after a restart", "output", LEVEL, shown + 5)
            check(viewer.end() == 0, "Ctrl-C ends the viewer in order")
        check("Traceback" not in viewer.texts["errors"], "nothing went wrong on the way")
