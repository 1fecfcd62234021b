"""The command line, the file that it names, and where the gateway listens."""
import os
import signal
import socket
import subprocess

from harness import GATEWAY, Gateway, check, folder, received, lines_of, status_of

BAD = [["--no-such-option"], ["--max-clients", "0"], ["--max-clients", "many"], ["--idle-time", "0"], ["--max-hz", "1e9"],
       ["--level-window", "0.5"], ["--levels", ""], ["a b=desk"], ["ä=desk"], ["=desk"], ["desk="], ["a" * 65 + "=desk"],
       ["desk=one", "desk=two"], ["--config", "/nowhere"], ["--config", "/"],
       *(["--listen", where] for where in ("nonsense", "127.0.0.1", "127.0.0.1:", "127.0.0.1:99999", "127.0.0.1:x", "[::1",
                                           "desk.example:80", "unix:", "unix:/" + 107 * "a")),
       *(["--allow-host", name] for name in ("desk.example:80", "http://desk.example", "a@b", "")),
       *(["--allow-origin", name] for name in ("desk.example", "https://", "https://desk.example/", "https://a@b", "*")),
       *(["--trusted-proxy", name] for name in ("10.0.0.0/8", "proxy.example", ""))]


def run(*options):
    return subprocess.run([GATEWAY, *options], capture_output=True, text=True, timeout=20, check=False)


def a_wrong_command_line_is_an_error(place):
    for options in BAD:
        result = run(*options)
        check(result.returncode == 2, f"{options}: exit code 2")
        check(result.stderr.startswith("corvalux-gateway: ") and result.stderr.count("\n") == 1, result.stderr.strip())


def a_configuration_can_be_checked(place):
    file = place / "gateway.toml"
    good = 'listen = "127.0.0.1:0"\ndevice = ["desk=10.0.0.5", "10.0.0.6:50005"]\nmax-clients = 5\nlevels = "**/peak"\n'
    file.write_text(good)
    check(run("--config", file, "--check-config").returncode == 0, "a good one")
    file.write_text('device = [ # both\n  "desk=10.0.0.5",\n  # "old=10.0.0.9",\n  "stage=10.0.0.6", # left\n]\nlevels = []\n')
    check(run("--config", file, "--check-config").returncode == 0, "a list on lines of its own, with comments")
    for line in ("max-client = 5", "max-clients = none", "device = [", "devices = []", 'device = "a b=c"', 'device = ["a=x", "a=y"]',
                 'levels = ""', 'listen = "nonsense"', "[section]\nkey = 1", 'check-config = "true"'):
        file.write_text(good.replace("device", "#device") + line + "\n")
        result = run("--config", file, "--check-config")
        check(result.returncode == 2 and result.stderr.count("\n") == 1, f"a bad one: {line!r}: {result.stderr.strip()}")


def devices_may_follow_any_option(place):
    for options in (("--allow-origin", "https://desk.example"), ("--trusted-proxy", "unix"), ("--levels", "**/peak"),
                    ("--device", "one=a")):
        check(run("--check-config", *options, "desk=10.0.0.5", "stage").returncode == 0, f"{options[0]} takes one value")


def help_and_version_are_on_the_output(place):
    for option in ("--help", "--version"):
        result = run(option)
        check(result.returncode == 0 and result.stdout and not result.stderr, option)


def an_address_in_use_is_an_error(place):
    with Gateway() as gateway:
        result = run("--listen", f"127.0.0.1:{gateway.port}")
        check(result.returncode == 1 and "in use" in result.stderr, result.stderr.strip())
    for where in ("192.0.2.1:0", f"unix:{place}/none/socket"):
        result = run("--listen", where)
        check(result.returncode == 1 and "cannot listen on" in result.stderr, result.stderr.strip())


def port_0_is_a_free_port(place):
    with Gateway() as one, Gateway() as another, Gateway(listen="localhost:0"):
        check(one.port != another.port and one.status("/healthz") == another.status("/healthz") == 200, "each has its own")
    with Gateway(listen="[::1]:0") as gateway, socket.create_connection(("::1", gateway.port)) as connection:
        connection.sendall(lines_of("GET /healthz HTTP/1.1", f"Host: [::1]:{gateway.port}", "Connection: close"))
        check(status_of(received(connection)) == 200, "of IPv6 as well")


def who_can_reach_it_is_said(place):
    for where, said in (("127.0.0.1:0", 0), ("[::1]:0", 0), ("0.0.0.0:0", 1)):
        with Gateway(listen=where) as gateway:
            gateway.wait_for("is up", "errors", "following")
            check(gateway.count("errors", "can read all values") == said, f"{where}: said {said} times")


def a_socket_file_is_replaced_only_when_nobody_serves_it(place):
    path = place / "socket"
    with Gateway(listen=f"unix:{path}") as gateway:
        check(gateway.status("/healthz") == 200, "it serves on a socket file")
        check(run("--listen", f"unix:{path}").returncode == 1, "a second one leaves it alone")
        check(gateway.status("/healthz") == 200, "the first still serves")
        gateway.process.kill()
        gateway.process.wait()
    check(path.exists(), "it was left behind")
    with Gateway(listen=f"unix:{path}") as gateway:
        check(gateway.status("/healthz") == 200, "the next replaces it")
        check(gateway.ends(signal.SIGINT), "SIGINT ends it as well")
    check(not path.exists(), "and it removes its own")
    path.write_text("not a socket")
    check(run("--listen", f"unix:{path}").returncode == 1 and path.read_text() == "not a socket", "a file is left alone")


with folder() as root:
    for test in (a_wrong_command_line_is_an_error, a_configuration_can_be_checked,
                 devices_may_follow_any_option, help_and_version_are_on_the_output,
                 an_address_in_use_is_an_error, port_0_is_a_free_port, who_can_reach_it_is_said,
                 a_socket_file_is_replaced_only_when_nobody_serves_it):
        print(test.__name__.replace("_", " "))
        test(root)
