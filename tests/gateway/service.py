"""What the service manager gets: when the gateway is ready, reloads and stops, and that it is alive."""
import contextlib
import os
import pathlib
import signal
import socket
import time

from harness import Gateway, check, folder

PINGS = 0.2  # seconds, the watchdog's time


@contextlib.contextmanager
def manager(address):
    """Gives what comes to the socket as sd_notify(3) describes it, and the environment that names it."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notified:
        notified.bind(address.replace("@", "\0"))
        notified.settimeout(20)
        os.environ.update(NOTIFY_SOCKET=address, WATCHDOG_USEC=str(int(PINGS * 1e6)))
        yield notified


def next_but_pings(notified):
    while (message := notified.recv(4096).decode()) == "WATCHDOG=1":
        pass
    return dict(line.split("=", 1) for line in message.split("\n"))


def each_step_is_notified(address, file):
    with manager(address) as notified, Gateway("--config", file) as gateway:
        ready = next_but_pings(notified)
        check(ready["READY"] == "1" and gateway.url in ready["STATUS"], f"ready: {ready['STATUS']}")
        for text in ("device = []\n", "broken\n"):
            file.write_text(text)
            before = time.monotonic_ns() // 1000
            gateway.process.send_signal(signal.SIGHUP)
            reloading = next_but_pings(notified)
            check(reloading["RELOADING"] == "1" and before <= int(reloading["MONOTONIC_USEC"]) <= time.monotonic_ns() // 1000,
                  "it reloads, since when")
            check(next_but_pings(notified)["READY"] == "1", f"it is ready again, after {text!r}")
        check(gateway.ends(), "it ends in order")
        check(next_but_pings(notified) == {"STOPPING": "1"}, "and said so before")


def only_a_living_program_pings(address, file):
    with manager(address) as notified, Gateway("--config", file) as gateway:
        times = []
        while len(times) < 5:
            if notified.recv(4096) == b"WATCHDOG=1":
                times.append(time.monotonic())
        check(times[-1] - times[0] < 4 * PINGS, "more often than the watchdog asks")
        gateway.process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, gateway.process.pid, os.WSTOPPED | os.WNOWAIT)
        notified.setblocking(False)
        with contextlib.suppress(BlockingIOError):
            while notified.recv(4096):
                pass
        notified.settimeout(5 * PINGS)
        try:
            check(not notified.recv(4096), "a stopped one does not ping")
        except TimeoutError:
            print("ok: a stopped one does not ping")
        gateway.process.send_signal(signal.SIGCONT)
        check(notified.recv(4096) == b"WATCHDOG=1", "it does when it runs again")


with folder() as place:
    configuration = pathlib.Path(place) / "gateway.toml"
    for number, where in enumerate((f"{place}/notify", f"@corvalux-{os.getpid()}")):
        configuration.write_text("device = []\n")
        each_step_is_notified(where, configuration)
    configuration.write_text("device = []\n")
    only_a_living_program_pings(f"{place}/alive", configuration)
