"""Devices that go and come back, by themselves or because the configuration says so."""
import contextlib
import signal
import time

from harness import Gateway, check, device, folder, values, wait_for


class Place:
    """A folder with sockets of devices and a configuration that names some."""

    def __init__(self, path):
        self.path = path
        self.file = path / "gateway.toml"

    def address(self, name):
        return f"unix:{self.path}/{name}"

    def device(self, name, *options):
        return device(self.address(name), *options)

    def configure(self, *names):
        self.file.write_text("device = [" + ", ".join(f'"{name}={self.address(name)}"' for name in names) + "]\n")

    def gateway(self, *names):
        self.configure(*names)
        return Gateway("--config", self.file)

    def reload(self, gateway, *names):
        self.configure(*names)
        gateway.process.send_signal(signal.SIGHUP)


def a_lost_device_keeps_its_values_and_comes_back(place):
    with place.gateway("desk") as gateway:
        with place.device("desk"):
            gateway.wait_until("live")
            events = gateway.events("?keys=counter")
            events.message()
        check(events.until("state")["state"] == "lost", "the stream says that it is lost")
        lost = gateway.json("/api/devices/desk/values?keys=counter")
        check(lost["state"] == "lost" and lost["reason"].startswith("connection lost"), "so does the list, with a reason")
        check(lost["values"] and lost["values"][0]["age"] > 0, "its values stay, with their age")
        with place.device("desk"):
            check(events.until("state", lambda data: data["state"] == "live"), "the stream says that it is back")
            check(events.message("fast", time.time()), "and goes on")


def a_device_that_never_came_is_unknown(place):
    with place.gateway("desk") as gateway:
        desk = gateway.wait_until("lost")
        check(desk["reason"].startswith("cannot be reached") and desk["age"] is None and desk["worst"] is None,
              "unknown is not 0")
        answer = gateway.json("/api/devices/desk/values?keys=counter")
        check(answer["values"] == [] and answer["unknown"] == ["counter"], "nor has it values")


def two_devices_are_served_apart(place):
    with place.device("desk"), place.device("stage", "--channels", "2"), place.gateway("desk", "stage") as gateway:
        for name, keys in (("desk", 8), ("stage", 2)):
            gateway.wait_until("live", name)
            with gateway.events("?streams=fast&keys=input/*/peak", name) as events:
                check(events.first[1]["device"] == name and len(events.message()["entries"]) == keys, f"{name} by name")
        check(not gateway.json("/api/devices/stage/values?keys=input/8/peak")["values"], "each has its own values only")


def a_device_that_is_configured_no_more_is_gone(place):
    with place.device("desk"), place.device("stage"), place.gateway("desk", "stage") as gateway:
        gateway.wait_until("live")
        with gateway.events() as leaving, gateway.events(name="stage") as staying:
            staying.message()
            place.reload(gateway, "stage")
            check(leaving.until("gone") == {"device": "desk"} and leaving.ended(), "its readers are notified; they end")
            check(gateway.status("/api/devices/desk/values") == 404, "it is unknown")
            staying.is_healthy()
            place.reload(gateway)
            check(staying.until("gone") == {"device": "stage"} and staying.ended(), "the last one may go as well")
        check(gateway.json("/api/devices") == {"devices": []}, "none is left")
        place.reload(gateway, "desk")
        gateway.wait_until("live")


def a_device_that_moved_is_another_one(place):
    with place.device("desk"), place.device("stage", "--channels", "2"), place.gateway("desk") as gateway:
        gateway.wait_until("live")
        with gateway.events() as events:
            place.file.write_text(f'device = "desk={place.address("stage")}"\n')
            gateway.process.send_signal(signal.SIGHUP)
            check(events.until("gone"), "readers of the former are notified")
        wait_for(lambda: len(gateway.json("/api/devices/desk/values?keys=input/*/peak")["values"]) == 2, "it is the new one")


def a_broken_configuration_changes_nothing(place):
    with place.device("desk"), place.gateway("desk") as gateway:
        gateway.wait_until("live")
        with gateway.events() as events:
            breaks = ['device = ["desk=', 'device = ["a=x", "a=y"]\n', "devices = []\n", "max-clients = many\n", None]
            for count, text in enumerate(breaks, 1):
                place.file.write_text(text) if text else place.file.unlink()
                gateway.process.send_signal(signal.SIGHUP)
                gateway.wait_for(f"keeps the devices: {text!r}", "errors", "kept the devices as they are: .+", count)
            events.is_healthy()


def it_ends_in_time(place):
    """With readers, with a device that was stopped, and with others that cannot be reached."""
    names = [f"desk={place.address('desk')}", "nobody=192.0.2.1", "refused=127.0.0.1:1"]
    with place.device("desk") as desk, Gateway(*names) as gateway, contextlib.ExitStack() as streams:
        gateway.wait_until("live")
        readers = [streams.enter_context(gateway.events(name=name)) for name in ("desk", "nobody", "refused")]
        stalled = gateway.connect()
        desk.process.send_signal(signal.SIGSTOP)
        gateway.wait_until("stale")
        check(gateway.ends(), "SIGTERM ends it within 3 s")
        for reader in readers:
            while reader.next():
                pass
        check(stalled.recv(1) == b"", "its clients see the end")


with folder() as root:
    for number, test in enumerate((
            a_lost_device_keeps_its_values_and_comes_back, a_device_that_never_came_is_unknown,
            two_devices_are_served_apart, a_device_that_is_configured_no_more_is_gone,
            a_device_that_moved_is_another_one, a_broken_configuration_changes_nothing, it_ends_in_time)):
        print(test.__name__.replace("_", " "))
        (root / str(number)).mkdir()
        test(Place(root / str(number)))
