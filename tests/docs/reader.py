"""Does a document's steps as a reader would: in one shell, in a folder that looks like a clone in which all is built."""
import contextlib
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import subprocess
import tempfile

LIMIT = float(os.environ.get("CORVALUX_DOCS_LIMIT", 200))  # seconds for a document; less where it is to be reached
VARYING = [(r"0x[0-9a-f]+|-?\d+(?:[.:]\d+)*", "N"), (r"[#▁▂▃▄▅▆▇█▉▊▋▌▍▎▏▒░·┃]+", ""), (r"\s+", " ")]
PREAMBLE = r"""
knows() {  # PROGRAM ARGUMENT...: its help names the options; of scripts/setup, the groups
  local help word
  help=$("$1" --help) || return
  [[ $1 != *scripts/test ]] || help+=$(ctest --help)
  for word in "${@:2}"; do
    [[ $word == -* || $1 == *scripts/setup ]] || continue
    grep -qE -- "(^|[ ,[])${word%%=*}\b" <<<"$help" || { echo "the help of $1 does not name $word" && return 1; }
  done
}
"""


def free_port():
    """Below the range from which the system hands out ports by itself."""
    ports = iter(lambda: random.randrange(20000, 30000), None)
    return next(port for port in ports if socket.socket().connect_ex(("127.0.0.1", port)) != 0)


def matches(shown, printed, marks):
    """`...` stands for anything, and for any number of lines where it stands alone."""
    def normalised(line):
        for pattern, replacement in VARYING if "varying" in marks else []:
            line = re.sub(pattern, replacement, line)
        return line.rstrip()

    pattern = "".join("(?:.*\n)*?" if line.strip() == "..." else
                      ".*".join(map(re.escape, normalised(line).split("..."))) + "\n" for line in shown)
    match = re.match if "background" in marks else re.fullmatch  # what goes on prints more
    return match(pattern, "".join(normalised(line) + "\n" for line in printed))


class Reader:
    def __init__(self, root, build, folder):
        self.folder, self.clone, self.build = folder, folder / "clone", build
        self.ports = {":50005": f":{free_port()}", ":8080": f":{free_port()}"}
        shutil.copytree(root, self.clone, ignore=shutil.ignore_patterns(".git", "build", "dist", "node_modules"))
        (self.clone / "build").mkdir()
        (folder / "tmp").mkdir()
        for preset in ("dev", "release"):
            (self.clone / "build" / preset).symlink_to(build)

    def _here(self, text):
        """With this run's ports and folder for temporary files."""
        for documented, free in self.ports.items():
            text = text.replace(documented, free)
        return text.replace("/tmp/", f"{self.folder}/tmp/")

    def _script(self, steps):
        """Each command from a file, so that one that reads its input does not take the next one."""
        yield PREAMBLE
        for number, step in enumerate(steps):
            file = self.folder / str(number)
            file.write_text(self._here(step.command) + "\n", encoding="utf-8")
            if "background" in step.marks:
                yield f": >{file}.out; source {file} </dev/null >>{file}.out 2>&1 &"
                yield f"until (($(wc -l <{file}.out) >= {len(step.shown)})); do sleep 0.05; done; echo 0 >{file}.status"
            else:
                yield f"source {file} </dev/null >{file}.out 2>&1; echo $? >{file}.status"
        yield "kill $(jobs -p) 2>/dev/null; wait"

    def _run(self, steps):
        rooms = ("tools/devhost", "tools/monitor", "gateway")
        programs = ":".join(f"{self.build}/{room}" for room in rooms)  # and Debian's Python, which has its modules
        environment = {"PATH": f"{programs}:/usr/bin:/bin:/usr/sbin:/sbin:/usr/local/bin", "LC_ALL": "C.UTF-8",
                       "HOME": os.environ.get("HOME", "/"), "TMPDIR": f"{self.folder}/tmp"}
        shell = subprocess.Popen(["bash", "-c", "\n".join(self._script(steps))], cwd=self.clone, env=environment,
                                 start_new_session=True)
        with contextlib.suppress(subprocess.TimeoutExpired):
            shell.wait(LIMIT)
        with contextlib.suppress(ProcessLookupError):
            os.killpg(shell.pid, signal.SIGKILL)
        shell.wait()

    def problems(self, steps):
        """Does them, and yields (line, what is wrong)."""
        self._run(steps)
        for number, step in enumerate(steps):
            file, name = self.folder / str(number), step.command.splitlines()[0]
            printed = file.with_suffix(".out").read_text(errors="replace").splitlines()
            if not file.with_suffix(".status").exists():
                yield step.line, f"`{name}` did not end, or not print what is shown, but:\n" + "\n".join(printed)
                return
            if (status := int(file.with_suffix(".status").read_text())) != 0:
                yield step.line, f"`{name}` ended with {status}:\n" + "\n".join(printed)
            elif step.shown is not None and not matches([self._here(line) for line in step.shown], printed, step.marks):
                yield step.line, f"`{name}` printed something else:\n" + "\n".join(printed)


def problems(steps, root, build):
    with tempfile.TemporaryDirectory(prefix="corvalux-docs.", ignore_cleanup_errors=True) as folder:
        yield from Reader(root, build, pathlib.Path(folder)).problems(steps)
