#!/usr/bin/python3
"""Who may listen on a loopback and on a unix address: addresses.py DEVHOST"""
import os
import pathlib
import pwd
import shutil
import subprocess
import sys

import grpc

from harness import check, free_port, host, open_folder, stream


def listens_as(user, groups, client, address):
    """Whether a client of this user, with these groups only, gets a message."""
    def become():
        os.setgroups(groups)
        os.setgid(user.pw_gid)
        os.setuid(user.pw_uid)
    command = ["/usr/bin/python3", str(client), address]
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
    for source in ("listen.py", "harness.py"):
        shutil.copy(pathlib.Path(__file__).with_name(source), folder)
    client = folder / "listen.py"
    members = folder / "members"
    members.mkdir()
    os.chown(members, 0, group)
    members.chmod(0o2750)
    address = f"unix:{members}/grpc"
    with host(devhost, address, umask=0o007):
        check(listens_as(nobody, [group], client, address), "a member of the group gets meters")
        check(not listens_as(nobody, [], client, address), "who is not in the group gets none")
        members.chmod(0o2755)
        check(not listens_as(nobody, [], client, address), "nor from the socket itself")


def main():
    devhost = sys.argv[1]
    test_loopback(devhost)
    if os.geteuid() == 0:
        with open_folder() as folder:
            test_group(devhost, folder)


if __name__ == "__main__":
    main()
