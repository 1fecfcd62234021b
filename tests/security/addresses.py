#!/usr/bin/python3
"""Who may listen on a loopback and on a unix address: addresses.py DEVHOST FOLDER"""
import os
import pathlib
import pwd
import subprocess
import sys

import grpc

from harness import check, free_port, host, stream

CLIENT = pathlib.Path(__file__).with_name("listen.py")


def listens_as(user, groups, address):
    """Whether a process of this user, with these groups only, gets a message."""
    def become():
        os.setgroups(groups)
        os.setgid(user.pw_gid)
        os.setuid(user.pw_uid)
    command = ["/usr/bin/python3", str(CLIENT), address]
    return subprocess.run(command, preexec_fn=become, capture_output=True, check=False, cwd="/").returncode == 0


def test_loopback(devhost):
    port = free_port()
    with host(devhost, f"127.0.0.1:{port}"):
        listening = subprocess.run(["ss", "-Hltn", f"sport = :{port}"], capture_output=True, text=True, check=True).stdout
        check(listening.split()[3] in (f"127.0.0.1:{port}", f"[::ffff:127.0.0.1]:{port}"),
              "a loopback address listens on the loopback interface only")
        check(next(stream(grpc.insecure_channel(f"127.0.0.1:{port}"))), "a client on the device gets meters")


def test_group(devhost, folder):
    """A folder that only a group may enter: who is in the group connects, who is not gets nowhere."""
    nobody = pwd.getpwnam("nobody")
    group = 54321
    folder.mkdir()
    os.chown(folder, 0, group)
    folder.chmod(0o750)
    address = f"unix:{folder}/grpc"
    with host(devhost, address):
        os.chown(folder / "grpc", 0, group)
        (folder / "grpc").chmod(0o660)
        check(listens_as(nobody, [group], address), "a member of the group gets meters")
        check(not listens_as(nobody, [], address), "who is not in the group gets none")


def main():
    devhost, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    test_loopback(devhost)
    if os.geteuid() == 0:
        test_group(devhost, folder / "members")


if __name__ == "__main__":
    main()
