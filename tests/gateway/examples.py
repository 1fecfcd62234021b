"""The examples print a level live, and end with an error when there is none to print."""
from harness import ROOT, Gateway, Program, check, device, folder, wait_for

with folder() as place, device(f"unix:{place}/desk"), Gateway(f"desk=unix:{place}/desk") as gateway:
    gateway.wait_until("live")
    for name in ("levels.sh", "levels.py", "levels.mjs"):
        example = ROOT / "examples/gateway" / name
        with Program(example, gateway.url.rstrip("/")) as program:
            program.wait_for("prints levels of input/1/peak", "output", r"(?m)^-\d+(\.\d+)?$", 5)
        with Program(example, gateway.url.rstrip("/"), "desk", "input/2/rms") as program:
            program.wait_for("prints another key's", "output", r"(?m)^-\d+(\.\d+)?$", 5)
        with Program(example, gateway.url.rstrip("/"), "nobody") as program:
            wait_for(lambda: program.process.poll() is not None, f"{name} ends when the device is unknown")
            check(program.process.returncode != 0, f"{name}: with an error")
