"""Many devices at a time: the gateway drops them all, or ends, as fast as a few."""
import signal
import time

from harness import Gateway, check, device, folder, wait_for

COUNT = 200


def devices_of_each_kind(live):
    """Live ones, such as refuse a connection, and such as never answer."""
    return [name for n in range(1, COUNT + 1)
            for name in (f"live{n}={live}", f"refusing{n}=127.0.0.1:{n}", f"silent{n}=192.0.2.{n}")]


def seconds_until(condition, what):
    begin = time.monotonic()
    wait_for(condition, what, 10)
    return time.monotonic() - begin


with folder() as place, device(f"unix:{place}/desk", "--set", "grpc_memory_kb=524288"):
    everything = devices_of_each_kind(f"unix:{place}/desk")
    file = place / "gateway.toml"

    def reload(gateway, names):
        file.write_text(f"device = {names}\n")
        gateway.process.send_signal(signal.SIGHUP)

    def listed(gateway, state):
        return sum(each["state"] == state for each in gateway.json("/api/devices")["devices"])

    file.write_text("device = []\n")
    with Gateway("--config", file, "--max-requests", "1000") as gateway:
        for _ in range(2):
            reload(gateway, everything)
            wait_for(lambda: listed(gateway, "live") == COUNT and listed(gateway, "lost") >= COUNT, f"{COUNT} are live")
            reload(gateway, [])
            taken = seconds_until(lambda: gateway.json("/api/devices") == {"devices": []}, "all are dropped")
            check(taken < 3, f"after {taken:.2f} s")
        reload(gateway, everything)
        wait_for(lambda: listed(gateway, "live") == COUNT, "all are live again")
        begin = time.monotonic()
        check(gateway.ends(), "SIGTERM ends it within 3 s")
        print(f"after {time.monotonic() - begin:.2f} s")
