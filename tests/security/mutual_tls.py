#!/usr/bin/python3
"""TLS with client certificates in front of the module, by the real nginx and the documented configuration:
mutual_tls.py DEVHOST"""
import sys
import time

import grpc

from harness import check, counter, free_port, host, open_folder, stream
from proxy import make_certificates, nginx

PORT = free_port()


def channel(folder, name):
    pair = {} if name is None else {"private_key": (folder / f"{name}.key").read_bytes(),
                                    "certificate_chain": (folder / f"{name}.crt").read_bytes()}
    credentials = grpc.ssl_channel_credentials((folder / "ca.crt").read_bytes(), **pair)
    return grpc.secure_channel(f"localhost:{PORT}", credentials,
                               [("grpc.http2.bdp_probe", 0), ("grpc.use_local_subchannel_pool", 1)])


def refused(folder, name):
    try:
        next(stream(channel(folder, name), 5))
    except grpc.RpcError as error:
        return error.code() != grpc.StatusCode.DEADLINE_EXCEEDED
    return False


def backlog(new_channel, pause=5):
    """How many old messages a client gets that did not read for a while, before it gets a fresh one."""
    messages = stream(new_channel, 60)
    next(messages)
    time.sleep(pause)
    old, last = 0, time.monotonic()
    for message in messages:
        now = time.monotonic()
        if now - last > 0.01:  # it had to wait: the backlog is used up
            return old, len(message)
        old, last = old + 1, now
    return old, 0


def test_proxy(devhost, folder):
    make_certificates(folder)
    replacements = [("/etc/corvalux", folder), ("/run/corvalux", folder), ("0.0.0.0:50443", f"127.0.0.1:{PORT}")]
    with host(devhost, f"unix:{folder}/grpc", "--channels", "64", "--fast-hz", "50"), \
            nginx(folder, "nginx-mutual-tls.conf", replacements):
        (folder / "grpc").chmod(0o666)
        messages = stream(channel(folder, "client"))
        check(counter(next(messages)) < counter(next(messages)), "a client with a certificate of the authority streams")
        check(refused(folder, None), "a client without a certificate is refused")
        check(refused(folder, "stranger"), "a client with a certificate of its own making is refused")
        direct, size = backlog(grpc.insecure_channel(f"unix:{folder}/grpc", [("grpc.http2.bdp_probe", 0)]))
        proxied, _ = backlog(channel(folder, "client"))
        print(f"ROW | 5 s without reading, messages of {size} bytes | {direct} old messages direct | {proxied} through nginx |")
        check(proxied < 250 and proxied * size < 4_000_000, "what waits in the proxy for a slow client is bounded")


def main():
    with open_folder() as folder:
        test_proxy(sys.argv[1], folder)


if __name__ == "__main__":
    main()
