"""What scripts ask: a summary of each device, present values, and live events."""
import json
import subprocess
import time
import urllib.request

from harness import Events, Gateway, check, device, folder, lines_of, status_of, values, wait_for


def curl(*words):
    return subprocess.run(["curl", "--silent", "--show-error", "--fail", *words], check=True, capture_output=True,
                          text=True).stdout


def devices_have_a_summary(gateway):
    def has_all(desk):
        return desk["lastChange"] and all(stream["messages"] > 0 for stream in desk["streams"].values())
    desk = wait_for(lambda: has_all(one := gateway.summary()) and one, "all streams have come")
    check(desk["state"] == "live" and desk["reason"] == "" and desk["since"] < time.time(), "its state, since when")
    check(desk["worst"]["key"].endswith("/peak") and desk["worst"]["level"] < 10, "its loudest level")
    check(desk["clips"] >= 0 and desk["age"] < 5, "its clipped samples, and its age")
    check(json.loads(curl(gateway.url + "api/devices"))["devices"][0]["name"] == "desk", "curl gets the same")


def values_are_of_the_patterns(gateway):
    answer = json.loads(curl("--globoff", gateway.url + "api/devices/desk/values?keys=input/*/peak&keys=no/key"))
    check(values(answer["values"]).keys() == {f"input/{n}/peak" for n in range(1, 9)}, "* stays within a segment")
    check(answer["unknown"] == ["no/key"], "a key that was never seen is unknown")
    check(all(each["stream"] == "fast" and each["sequence"] > 0 and 0 <= each["age"] < 5 for each in answer["values"]),
          "each has its stream, sequence and age")
    with urllib.request.urlopen(gateway.url + "api/devices/desk/values?keys=**/peak") as response:
        check(len(json.load(response)["values"]) == 12, "** goes across segments")
    everything = gateway.json("/api/devices/desk/values")
    check({each["stream"] for each in everything["values"]} == {"fast", "slow", "changes"}, "without a pattern, all")
    check({each["kind"] for each in everything["values"]} >= {"string", "float", "int", "uint", "float_array", "double"},
          "values of each kind")


def targets_are_decoded_and_bad_ones_refused(gateway):
    encoded = gateway.json("/%61pi/devices/%64esk/values?keys=input%2F1%2Fpeak&keys=%6eo%2Fkey")
    check(values(encoded["values"]).keys() == {"input/1/peak"} and encoded["unknown"] == ["no/key"], "% is decoded")
    for target in ("/", "/api", "/healthz", "/metrics"):
        check(gateway.status(target) == 200, f"{target} is there")
    for target in ("/api/", "/api/devices/", "/api/devices/nobody/values", "/api/devices/desk/else", "/../etc/passwd",
                   "/%2e%2e/etc/passwd", "/api/devices/desk%00/values", "/api%2Fdevices", "//api/devices"):
        check(gateway.status(target) == 404, f"{target} is not there")
    for target in ("/healthz?x=1", "/api/devices/desk/values?keys=", "/api/devices/desk/values?hz=1",
                   "/api/devices/desk/values?keys=" + 256 * "a", "/api/devices/desk/values?keys=%00",
                   *("/api/devices/desk/stream?" + query for query in
                     ("streams=", "streams=fast,,slow", "streams=all", "hz=0", "hz=-1", "hz=nan", "hz=inf", "hz=1x", "hz="))):
        response, body = gateway.request(target)
        check(response.status == 400 and json.loads(body)["error"], f"{target[:60]} is refused, with a sentence")
    for target in ("desk", "http://localhost/healthz", "/%zz", "/a b", "*"):
        answer = gateway.exchange(lines_of(f"GET {target} HTTP/1.1", "Host: localhost", "Connection: close"))
        check(status_of(answer) == 400, f"'{target}' is not a target")


def a_stream_sends_the_state_and_then_what_was_asked_for(gateway):
    with gateway.events("?streams=fast,changes&keys=input/1/*&keys=counter") as events:
        check(events.headers["Content-Type"] == "text/event-stream", "its type")
        check(events.headers["X-Accel-Buffering"] == "no" and events.headers["Cache-Control"] == "no-store",
              "nobody may buffer or keep it")
        check(events.first[0] == "state" and events.first[1]["state"] == "live", "the state comes first")
        for stream in ("fast", "changes"):
            message = events.message(stream)
            check(values(message["entries"]).keys() <= {"counter", *(f"input/1/{name}" for name in (
                "peak", "rms", "spectrum", "clips", "gate", "name", "mute", "gain", "pan", "eq", "routing"))},
                f"{stream}: only the keys")
        seen = [events.next()[1] for _ in range(60)]
        check({data["stream"] for data in seen} == {"fast", "changes"}, "only the streams")


def a_rate_thins_the_events(gateway):
    with gateway.events("?streams=fast&keys=counter&hz=5") as events:
        times = [events.message()["time"] for _ in range(6)]
    check(all(later - earlier > 0.1 for earlier, later in zip(times, times[1:])), "an event each 0.2 s, not each 0.04 s")


def events_are_in_the_format(gateway):
    text = subprocess.run(["curl", "--silent", "--no-buffer", "--max-time", "1", gateway.url + "api/devices/desk/stream"],
                          check=False, capture_output=True, text=True).stdout
    *blocks, _ = text.split("\n\n")
    check(len(blocks) > 5 and blocks[0].startswith("event: state\ndata: {"), "a blank line ends an event")
    check(all(json.loads(block.removeprefix("data: "))["entries"] for block in blocks[1:]), "one line of data each")


def duplicate_keys_stay_apart(gateway):
    entries = wait_for(lambda: gateway.json("/api/devices/odd/values")["values"], "it has values")
    fast = [each["key"] for each in entries if each["stream"] == "fast"]
    check(len(fast) > len(set(fast)), "a key that repeats is there as often as it came")
    with Events(gateway, "/api/devices/odd/stream?streams=fast") as events:
        check([each["key"] for each in events.message()["entries"]] == fast, "also in an event")


with folder() as place, device(f"unix:{place}/desk"), \
        device(f"unix:{place}/odd", "--misbehave", "duplicate-keys") as _, \
        Gateway(f"desk=unix:{place}/desk", f"odd=unix:{place}/odd", "--max-requests", "1000") as served:
    served.wait_until("live")
    for test in (devices_have_a_summary, values_are_of_the_patterns, targets_are_decoded_and_bad_ones_refused,
                 a_stream_sends_the_state_and_then_what_was_asked_for, a_rate_thins_the_events,
                 events_are_in_the_format, duplicate_keys_stay_apart):
        print(test.__name__.replace("_", " "))
        test(served)
