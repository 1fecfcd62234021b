"""What tests of programs share: a program with its output collected, and the development host."""
import pathlib
import re
import signal
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PATIENCE = 20  # seconds; only used up by a test that fails


def check(condition, what):
    if not condition:
        sys.exit(f"FAILED: {what}")
    print(f"ok: {what}", flush=True)


class Program:
    """A running program, its output collected. Ended with the test."""

    def __init__(self, *command):
        self.name = " ".join(pathlib.Path(str(word)).name for word in command[:2])
        self.changed = threading.Condition()
        self.texts = {"output": "", "errors": ""}  # guarded by changed
        self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for name, pipe in (("output", self.process.stdout), ("errors", self.process.stderr)):
            threading.Thread(target=self.collect, args=(name, pipe), daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def collect(self, name, pipe):
        while chunk := pipe.read1(65536):
            with self.changed:
                self.texts[name] += chunk.decode(errors="replace")
                self.changed.notify_all()

    def count(self, name, pattern):
        return len(re.findall(pattern, self.texts[name]))

    def wait_for(self, what, name, pattern, times=1, seconds=PATIENCE):
        """Fails when the output does not have the pattern so many times in time."""
        with self.changed:
            found = self.changed.wait_for(lambda: self.count(name, pattern) >= times, seconds)
            told = f"{self.texts['output'][-400:]}\n{self.texts['errors'][-2000:]}"
        check(found, f"{self.name}: {what}" + ("" if found else f"; it said: {told}"))

    def end(self, number=signal.SIGINT):
        """Ends it by the signal, and gives its exit code."""
        self.process.send_signal(number)
        end = time.monotonic() + PATIENCE
        while self.process.poll() is None and time.monotonic() < end:
            time.sleep(0.01)
        return self.process.poll()


def host(devhost, address, *options):
    """The development host with the module on the address, once it serves."""
    program = Program(devhost, "--set", f"serverUrl={address}", *options)
    program.wait_for("serves", "output", "serves")
    return program
