"""The installed configuration: who may connect, and who may publish and hear what."""
import re
import subprocess
import tempfile
from pathlib import Path

from client import Client, gateway, listener
from programs import check
from servers import Server, free_ports

OURS = ("corvalux.v1.desk.fast", "corvalux.v1.desk.state", "_INBOX.abc.1")
OTHERS = ("other", "corvalux.v2.desk.fast", "$SYS.REQ.SERVER.PING", ">")


def who_has_no_password_is_refused(port):
    for name, user, password in (("no password", None, None), ("a wrong one", "gateway", "two"),
                                 ("an unknown user", "admin", "one")):
        with Client(port, user, password) as client:
            check(client.said == "" and "Authorization Violation" in client.refused, f"with {name} one gets nothing")


def a_gateway_speaks_for_devices_and_answers(port):
    with gateway(port) as client:
        for subject in OURS:
            check(client.publish(subject), f"a gateway publishes {subject}")
        for subject in OTHERS[:-1]:
            check(not client.publish(subject), f"a gateway does not publish {subject}: {client.refused}")
        check(client.say("SUB corvalux.v1.> 1") and client.say("SUB _INBOX.abc.* 2"), "it hears devices and replies")
        for subject in OTHERS:
            check(not client.say(f"SUB {subject} 3"), f"it does not hear {subject}")
            check(not client.say(f"SUB {subject} queue 4"), "nor shares it")


def a_listener_hears_and_publishes_nothing(port):
    with listener(port) as client, gateway(port) as source:
        check(client.say("SUB corvalux.v1.*.fast 1"), "a listener subscribes")
        source.publish("corvalux.v1.desk.fast", "levels")
        check(client.next() == ("corvalux.v1.desk.fast", "levels"), "and hears what a gateway publishes")
        for subject in (*OURS, "corvalux.v1.desk.picture", "other"):
            check(not client.publish(subject), f"it does not publish {subject}")
        for subject in (*OTHERS, "_INBOX.>"):
            check(not client.say(f"SUB {subject} 2"), f"it does not hear {subject}")


def a_message_over_the_limit_is_refused(port):
    with gateway(port) as client:
        limit = client.information["max_payload"]
        check(limit == 1024 * 1024 and client.publish(OURS[0], limit * "x"), "a message of 1 MiB is taken")
    with gateway(port) as client:
        # It refuses at the announced size; the text would only find the connection closed.
        check(not client.say(f"PUB {OURS[0]} {limit + 1}") and "Maximum Payload" in client.refused, "one more byte is not")


def nothing_else_is_offered(port, server):
    with Client(port) as client:
        offered = client.information
    check(not {"jetstream", "nonce", "connect_urls", "tls_required", "cluster"} & offered.keys(), f"only this: {offered}")
    ports = subprocess.run(["ss", "--no-header", "--listening", "--tcp", "--numeric", "--processes"], check=True,
                           capture_output=True, text=True).stdout
    open_ports = re.findall(rf"(\S+) +\S+ +users:.*pid={server.process.pid},", ports)
    check(open_ports == [f"127.0.0.1:{port}"], f"one port is open: {open_ports}")


with tempfile.TemporaryDirectory() as name:
    client_port, = free_ports(1)
    with Server(Path(name), client_port) as running:
        for test in (who_has_no_password_is_refused, a_gateway_speaks_for_devices_and_answers,
                     a_listener_hears_and_publishes_nothing, a_message_over_the_limit_is_refused):
            test(client_port)
        nothing_else_is_offered(client_port, running)
        check(running.ends(), "the server ends in order")
