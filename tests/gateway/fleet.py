"""Gateways that share devices over a real NATS server: who serves what, and who goes on when one of them ends."""
import signal
import sys

from fleet_harness import LONGEST_GAP, Nats, Server, Watch
from harness import check, device, folder, values, wait_for


def others_serve_what_one_has(place, server):
    with device(place) as desk, server.gateway("alpha", f"desk={place}") as alpha, server.gateway("edge") as edge:
        shown = edge.wait_until("live")
        check(shown["address"] == "via alpha", "the edge says from where it has the device")
        with alpha.events("?streams=fast") as there, edge.events("?streams=fast") as here:
            message = there.message()
            number = values(message["entries"])["counter"]
            same = here.until("message", lambda data: values(data["entries"])["counter"] >= number)
            while values(message["entries"])["counter"] < values(same["entries"])["counter"]:
                message = there.message()
            check(same["entries"] == message["entries"], "a message is the same at both")
        gained = {each["key"] for each in alpha.json("/api/devices/desk/values?keys=**")["values"]}
        wait_for(lambda: gained <= {each["key"] for each in edge.json("/api/devices/desk/values?keys=**")["values"]},
                 "what changed before the edge came is there as well")
        check(edge.summary()["age"] < 1, "ages are those of the device")
        check(desk.process.poll() is None and edge.metric("corvalux_fleet_remote") == 1, "the edge has one remote device")
        check(alpha.metric("corvalux_fleet_speaking") == 1, "for which the other one speaks")


def one_speaks_and_the_other_takes_over(place, server):
    """Killed, and back under its name while the other one speaks."""
    with device(place), server.gateway("edge") as edge, server.gateway("alpha", f"desk={place}") as alpha:
        edge.wait_until("live")
        with server.gateway("beta", f"desk={place}") as beta, Watch(edge) as viewer:
            beta.wait_until("live")
            check(beta.metric("corvalux_fleet_speaking") == 0, "the second one is silent")
            viewer.goes_on("a viewer at the edge has values")
            viewer.silence()
            alpha.process.kill()
            wait_for(lambda: edge.summary()["address"] == "via beta", "the second one takes over")
            viewer.goes_on("the viewer goes on")
            gap = viewer.silence()
            check(gap <= LONGEST_GAP, f"without values for at most {LONGEST_GAP} s: {gap:.2f} s")
            with server.gateway("alpha", f"desk={place}") as again:
                again.wait_until("live")
                viewer.goes_on("the first one is back")
                time_to_claim(beta, again)
                check(edge.summary()["address"] == "via beta", "and stays silent")
                check(viewer.silence() < LONGEST_GAP, "nobody saw it")
            viewer.saw_nothing_older()


def time_to_claim(speaker, other):
    """Until each has had the time in which it would claim, by messages that went out."""
    before = speaker.metric("corvalux_fleet_published_total")
    wait_for(lambda: speaker.metric("corvalux_fleet_published_total") > before + 60, "time passes")
    check(other.metric("corvalux_fleet_speaking") == 0, "one speaks")


def a_frozen_gateway_comes_back_as_the_second(place, server):
    with device(place), server.gateway("edge") as edge, server.gateway("alpha", f"desk={place}") as alpha:
        edge.wait_until("live")
        with server.gateway("beta", f"desk={place}") as beta, Watch(edge) as viewer:
            beta.wait_until("live")
            viewer.goes_on("a viewer at the edge has values")
            viewer.silence()
            alpha.process.send_signal(signal.SIGSTOP)
            wait_for(lambda: edge.summary()["address"] == "via beta", "the second one takes over")
            viewer.goes_on("the viewer goes on")
            gap = viewer.silence()
            check(gap <= LONGEST_GAP, f"without values for at most {LONGEST_GAP} s: {gap:.2f} s")
            alpha.process.send_signal(signal.SIGCONT)
            wait_for(lambda: alpha.metric("corvalux_fleet_speaking") == 0, "the first one wakes, and no longer speaks")
            time_to_claim(beta, alpha)
            check(viewer.silence() < LONGEST_GAP, "nobody saw it")
            viewer.saw_nothing_older()


def a_gateway_that_drops_a_device_leaves_it_to_the_other(place, server, root):
    file = root / "alpha.conf"
    file.write_text(f'device = "desk={place}"\n')
    with device(place), server.gateway("edge") as edge, server.gateway("alpha", "--config", file) as alpha:
        edge.wait_until("live")
        with server.gateway("beta", f"desk={place}") as beta, Watch(edge) as viewer:
            beta.wait_until("live")
            viewer.goes_on("a viewer at the edge has values")
            viewer.silence()
            file.write_text("device = []\n")
            alpha.process.send_signal(signal.SIGHUP)
            wait_for(lambda: edge.summary()["address"] == "via beta", "the second one takes over")
            viewer.goes_on("the viewer goes on")
            gap = viewer.silence()
            check(gap < 1, f"soon: {gap:.2f} s")
            wait_for(lambda: (alpha.summary() or {}).get("address") == "via beta", "the first one has it from there")
            viewer.saw_nothing_older()
            check(beta.ends(), "the second one ends, too")
        wait_for(lambda: edge.summary() is None, "nobody has it any longer")


def a_server_that_comes_back_gets_nothing_late(place, server):
    with device(place), server.gateway("alpha", f"desk={place}") as alpha, server.gateway("edge") as edge:
        edge.wait_until("live")
        with Watch(edge) as viewer, Watch(alpha) as near:
            viewer.goes_on("a viewer at the edge has values")
            server.kill()
            edge.wait_until("lost")
            near.goes_on("the gateway of the device serves on")
            number = near.counter()
            server.start()
            with Nats(server) as client:
                client.subscribe("corvalux.v1.desk.*")
                ages = [float(client.until(lambda subject, *_: subject.endswith("fast"), "it publishes")[2]["Corvalux-Age"])
                        for _ in range(20)]
                check(max(ages) < 0.6, f"nothing was kept: ages up to {max(ages):.3f} s")
            edge.wait_until("live")
            viewer.goes_on("the viewer goes on")
            check(viewer.counter() > number, "with what is new")
            viewer.saw_nothing_older()
            wait_for(lambda: not missing_changes(alpha, edge), "changes of the time between are there")


def missing_changes(alpha, edge):
    """Keys whose newest change differs, but for those that change meanwhile."""
    def changes(gateway):
        return {each["key"]: each["value"] for each in gateway.json("/api/devices/desk/values?keys=**")["values"]
                if each["stream"] == "changes" and each["key"] != "counter"}
    here, there = changes(edge), changes(alpha)
    return [key for key in there if here.get(key) != there[key]]


TESTS = {test.__name__: test for test in (
    others_serve_what_one_has, one_speaks_and_the_other_takes_over, a_frozen_gateway_comes_back_as_the_second,
    a_gateway_that_drops_a_device_leaves_it_to_the_other, a_server_that_comes_back_gets_nothing_late)}

with folder() as root:
    for number, test in enumerate(TESTS.values()):
        if len(sys.argv) > 3 and test.__name__ not in sys.argv[3:]:
            continue
        print(test.__name__.replace("_", " "))
        with Server() as nats:
            words = [f"unix:{root}/{number}", nats, root]
            test(*words[:test.__code__.co_argcount])
