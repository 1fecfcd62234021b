"""demo.py BUILD: `scripts/demo --fleet` shows a fleet whose gateways each serve all devices, goes on when one of them is
killed, starts a killed server again, and leaves nothing running."""
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import time
import urllib.request

from programs import PATIENCE, ROOT, Program, check

DESKS = {f"desk-{number}" for number in range(1, 9)}
LINE = r"rack-(\d)  (http://\S+) +process (\d+)"


def states(url):
    """Of all devices, by their names."""
    with urllib.request.urlopen(url + "api/devices") as response:
        return {device["name"]: device["state"] for device in json.load(response)["devices"]}


def wait_until(condition, what):
    end = time.monotonic() + PATIENCE
    while not condition() and time.monotonic() < end:
        time.sleep(0.1)
    check(condition(), what)


def all_live(url):
    return states(url) == dict.fromkeys(DESKS, "live")


def children(program):
    """Commands of what it has started, by their processes."""
    listed = subprocess.run(["pgrep", "--parent", str(program.process.pid), "--list-full"], capture_output=True, text=True,
                            check=False)
    return {int(process): command for process, command in (line.split(" ", 1) for line in listed.stdout.splitlines())}


def server(program, number):
    return next((process for process, command in children(program).items() if f"nats-{number}/" in command), None)


def is_gone(process):
    return not pathlib.Path(f"/proc/{process}").exists()


def members_may_fail(demo, racks):
    third = racks["3"][0]
    killed = server(demo, 3)
    os.kill(killed, signal.SIGKILL)
    demo.wait_for("names a server that was killed", "output", "nats-3 has ended")
    wait_until(lambda: server(demo, 3) not in (killed, None), "and starts it again")
    wait_until(lambda: all_live(third), "its gateway serves all eight devices")
    os.kill(racks["1"][1], signal.SIGKILL)
    demo.wait_for("names a gateway that was killed", "output", "rack-1 has ended")
    wait_until(lambda: states(third)["desk-1"] == "lost", "its own device is lost")
    wait_until(lambda: states(third)["desk-4"] == "live", "that of two gateways is live")


def main(build):
    with Program(ROOT / "scripts/demo", "--fleet", "--build", build) as demo:
        demo.wait_for("names three gateways", "output", LINE, 3)
        racks = {number: (url, int(process)) for number, url, process in re.findall(LINE, demo.texts["output"])}
        for url, _ in racks.values():
            wait_until(lambda at=url: all_live(at), f"{url} serves all eight devices")
        members_may_fail(demo, racks)
        started = children(demo)
        check(len(started) > 12, f"{len(started)} programs run")
        check(demo.end() == 0, "Ctrl-C ends the demo in order")
    check(all(is_gone(process) for process in started), "and all that it has started")


main(pathlib.Path(sys.argv[1]))
