"""A reader's terminal: one shell for each document, which keeps its folder and variables from block to block."""
import os
import selectors
import signal
import subprocess
import time

LIMIT = float(os.environ.get("CORVALUX_DOCS_LIMIT", 30))  # seconds for a command; less where it is to be reached
END = "--end of command--"


class Shell:
    def __init__(self, folder, environment):
        self.folder = folder
        self.lost = False  # a command has not ended: what comes next would not be understood
        self.files = 0
        self.process = subprocess.Popen(
            ["/bin/bash", "--noprofile", "--norc"], cwd=folder, env=environment, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.process.stdout, selectors.EVENT_READ)

    def _source(self, command, where=""):
        """From a file, so that a command that reads its input does not take the next one."""
        self.files += 1
        file = self.folder / f".command-{self.files}"
        file.write_text(command + "\n", encoding="utf-8")
        self.process.stdin.write(f"source '{file}' </dev/null {where}\nprintf '\\n%s %d\\n' '{END}' $?\n".encode())
        self.process.stdin.flush()

    def _until_end(self):
        """What came before the next end of a command, with its status; None for the status when it took too long."""
        output, deadline = b"", time.monotonic() + LIMIT
        while END.encode() not in output or not output.endswith(b"\n"):
            if not self.selector.select(max(deadline - time.monotonic(), 0)):
                return output.decode(errors="replace"), None
            part = os.read(self.process.stdout.fileno(), 1 << 16)
            if not part:
                return output.decode(errors="replace"), None
            output += part
        text, _, status = output.decode(errors="replace").rpartition("\n" + END)
        return text, int(status)

    def run(self, command):
        """The lines that it printed, and its status: None when it was still running after LIMIT, or ended the shell."""
        self._source(command)
        text, status = self._until_end()
        self.lost = status is None
        return text.splitlines(), status

    def leave_running(self, command, enough):
        """Runs it beside the others. Waits until `enough(lines)` of what it has printed; answers those lines, and
        whether it was enough."""
        log = self.folder / f".background-{self.files}"
        log.touch()
        self._source(f"{{ {command}\n}} >'{log}' 2>&1 &")
        self._until_end()
        deadline = time.monotonic() + LIMIT
        while not enough(lines := log.read_text(errors="replace").splitlines()):
            if time.monotonic() > deadline:
                return lines, False
            time.sleep(0.02)
        return lines, True

    def close(self):
        """Ends the shell and all that it left running; by force only what does not end when it is asked to."""
        for number, limit in ((signal.SIGTERM, 10), (signal.SIGKILL, 10)):
            deadline = time.monotonic() + limit
            while self._signal(number) and time.monotonic() < deadline:
                time.sleep(0.05)
                number = 0  # only ask whether somebody is left
        self.selector.close()
        self.process.stdin.close()
        self.process.stdout.close()

    def _signal(self, number):
        self.process.poll()  # a process that nobody has waited for is still there
        try:
            os.killpg(self.process.pid, number)
        except ProcessLookupError:
            return False
        return True
