"""Where documents are tried: a folder that looks like a clone in which everything is built."""
import os
import pathlib
import random
import shutil
import socket

NOT_OURS = {"build", "dist", "node_modules", ".git"}
PORT = "50005"  # the documents'; each run takes a free one


def free_port():
    """Below the range from which the system hands out ports by itself."""
    while True:
        port = random.randrange(20000, 30000)
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) != 0:
                return str(port)


class Place:
    def __init__(self, root, build):
        self.root = root
        self.build = build
        self.port = free_port()
        self.compile_options = ["-Wall", "-Wextra", "-Werror", "-O0", "-c", "-o", "/dev/null", f"-I{root}/host",
                                f"-isystem{build}/proto", "-"]

    @staticmethod
    def path_of(folder):
        return pathlib.Path(folder) / "clone"

    def furnish(self, folder):
        """Makes the clone: a copy, because readers write into theirs; with this build under each name that they use."""
        clone = self.path_of(folder)
        shutil.copytree(self.root, clone, ignore=lambda _, names: NOT_OURS.intersection(names))
        for made in (clone / "build", pathlib.Path(folder) / "bin", pathlib.Path(folder) / "tmp"):
            made.mkdir()
        for preset in ("dev", "release"):
            (clone / "build" / preset).symlink_to(self.build)
        for tool in ("devhost", "monitor"):
            name = f"corvalux-{tool}"
            (pathlib.Path(folder) / "bin" / name).symlink_to(self.build / "tools" / tool / name)
        (pathlib.Path(folder) / "bin" / "python3").symlink_to("/usr/bin/python3")  # Debian's modules belong to it

    def environment(self, folder):
        """With the installed tools, and nothing that this run's own surroundings set."""
        kept = {name: os.environ[name] for name in ("HOME", "USER", "CC", "CXX") if name in os.environ}
        return {**kept, "PATH": f"{folder}/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin", "LC_ALL": "C.UTF-8",
                "TMPDIR": f"{folder}/tmp", "PYTHONDONTWRITEBYTECODE": "1"}

    def here(self, text, folder):
        """The text with this run's port and folder for temporary files."""
        return text.replace(f":{PORT}", f":{self.port}").replace("/tmp/", f"{folder}/tmp/")
