#!/usr/bin/env python3
"""What a client with a small receive buffer reads: slow_reader.py ADDRESS PATH RATE

Passes one connection to the unix socket PATH on to HOST:PORT. Reads what comes back with a receive buffer of 4 KiB,
slowly and steadily, RATE bytes a second. Prints "ready" once it listens, and ends with the connection.
"""
import socket
import sys
import threading
import time

CHUNK = 2048


def forward(source, target):
    while data := source.recv(1 << 16):
        target.sendall(data)


def read_slowly(source, target, rate):
    begin, taken = time.monotonic(), 0
    while data := source.recv(CHUNK):
        target.sendall(data)
        taken += len(data)
        time.sleep(max(begin + taken / rate - time.monotonic(), 0))
    target.shutdown(socket.SHUT_RDWR)


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    host, port = sys.argv[1].rsplit(":", 1)
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(sys.argv[2])
    listener.listen()
    print("ready", flush=True)
    client = listener.accept()[0]
    server = socket.socket()
    server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    server.connect((host, int(port)))
    threading.Thread(target=forward, args=(client, server), daemon=True).start()
    read_slowly(server, client, float(sys.argv[3]))


if __name__ == "__main__":
    try:
        main()
    except ConnectionError as error:
        sys.exit(str(error))
