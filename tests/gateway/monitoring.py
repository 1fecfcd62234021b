"""What monitoring reads: every line of the metrics by the rules of the format, and what they say."""
import re

from harness import Gateway, check, device, folder, wait_for

LABEL = r'[a-z_]+="(?:[^"\\\n]|\\\\|\\"|\\n)*"'
SERIES = re.compile(rf"([a-z_]+)(\{{{LABEL}(?:,{LABEL})*\}})? (NaN|[+-]Inf|-?\d+(?:\.\d+)?(?:e[+-]\d+)?)")


def parsed(text):
    """The series by name and labels. Fails on the first line that is not as the format has it."""
    check(text.endswith("\n"), "the last line ends")
    types, series, family = {}, {}, None
    for line in text.splitlines():
        if line.startswith("# HELP "):
            family = line.split(" ")[2]
            assert family not in types, f"a second HELP of {family}"
            assert len(line.split(" ", 3)[3]) > 5, line
        elif line.startswith("# TYPE "):
            _, _, name, kind = line.split(" ")
            assert name == family and name not in types and kind in ("gauge", "counter"), line
            assert (kind == "counter") == name.endswith("_total"), line
            types[name] = kind
        else:
            match = SERIES.fullmatch(line)
            assert match, f"no series: {line}"
            assert match[1] == family and family in types, f"outside of its family: {line}"
            assert line.rpartition(" ")[0] not in series, f"twice: {line}"
            series[line.rpartition(" ")[0]] = float(match[3])
    check(series, f"{len(series)} series of {len(types)} families, each line by the rules")
    return types, series


def every_line_is_right(gateway):
    for name in ("desk", "odd"):
        gateway.wait_until("live", name)
    wait_for(lambda: gateway.metric('corvalux_messages_total{device="desk",stream="slow"}'), "slow meters have come")
    response, body = gateway.request("/metrics")
    check(response.headers["Content-Type"] == "text/plain; version=0.0.4; charset=utf-8", "the format's type")
    _, series = parsed(body.decode())
    for name in ("desk", "odd"):
        check(series[f'corvalux_up{{device="{name}"}}'] == 1, f"{name} is up")
    check(series['corvalux_up{device="gone"}'] == 0, "one that cannot be reached is not")
    for name in ("desk", "odd", "gone"):
        check(sum(number for key, number in series.items() if key.startswith(f'corvalux_device_state{{device="{name}"')) == 1,
              f"{name} is in one state")
    keys = {key for key in series if key.startswith('corvalux_value{device="desk"')}
    check('corvalux_value{device="desk",stream="fast",key="input/1/peak"}' in keys and
          'corvalux_value{device="desk",stream="fast",key="input/1/spectrum",index="9"}' in keys, "numbers and lists")
    check('corvalux_text{device="desk",stream="slow",key="input/1/name",text="Lead vocal"}' in series, "texts")


def counters_go_up(gateway):
    types, before = parsed(gateway.text("/metrics"))
    one = 'corvalux_messages_total{device="desk",stream="fast"}'
    wait_for(lambda: gateway.metric(one) > before[one], "messages were counted")
    _, after = parsed(gateway.text("/metrics"))
    for name, number in before.items():
        if types[name.partition("{")[0]] == "counter":
            assert after[name] >= number, f"{name} went down"
    for stream in ("fast", "slow"):
        check(after[f'corvalux_bytes_total{{device="desk",stream="{stream}"}}'] > 0, f"{stream}: bytes")
        check(0 <= after[f'corvalux_message_age_seconds{{device="desk",stream="{stream}"}}'] < 5, f"{stream}: its age")
    wait_for(lambda: 15 < gateway.metric('corvalux_messages_per_second{device="desk",stream="fast"}') < 30, "their rate")


def levels_are_of_the_window(gateway):
    least, greatest = (f'corvalux_level_{which}{{device="desk",key="input/1/peak"}}' for which in ("least", "greatest"))
    with gateway.events("?streams=fast&keys=input/1/peak") as events:
        seen = [events.message()["entries"][0]["value"] for _ in range(60)]
    check(gateway.metric(least) <= min(seen[-10:]) and gateway.metric(greatest) >= max(seen[-10:]), "the range has what came")
    _, series = parsed(gateway.text("/metrics"))
    check({key for key in series if key.startswith("corvalux_level_least{device=\"desk\"")} ==
          {f'corvalux_level_least{{device="desk",key="input/{n}/peak"}}' for n in range(1, 9)}, "of the patterns only")
    wait_for(lambda: gateway.metric(greatest) < max(seen) or gateway.metric(least) > min(seen), "what is older than it leaves")


def a_page_has_a_limit(address):
    with Gateway(address, "--max-metrics", "65536") as gateway:
        wait_for(lambda: 'key="counter"' in gateway.text("/metrics"), "values are there")
        text = gateway.text("/metrics")
        parsed(text)
        check(65536 < len(text) < 2 * 65536, f"of very many values some are left out: {len(text)} bytes")
        check(len(gateway.json("/api/devices/big/values")["values"]) > 2000, "elsewhere they are all")


def what_a_device_may_send_is_limited(place):
    address = f"unix:{place}/desk"
    with Gateway(f"desk={address}", "--max-keys", "20", "--max-key", "12") as gateway:
        gateway.wait_until("live")
        wait_for(lambda: gateway.metric('corvalux_device_exceeded_total{device="desk",limit="keys"}'), "keys are counted")
        wait_for(lambda: gateway.metric('corvalux_device_exceeded_total{device="desk",limit="key"}'), "long keys as well")
        entries = gateway.json("/api/devices/desk/values")["values"]
        check(len(entries) <= 20 and all(len(each["key"]) <= 12 for each in entries), "no more are kept")
    with Gateway(f"desk={address}", "--max-frame", "1024") as gateway:
        wait_for(lambda: gateway.summary()["exceeded"]["frames"] > 2, "messages that are too large are counted")
        check(gateway.json("/api/devices/desk/values?keys=input/1/spectrum")["values"] == [], "and dropped")


with folder() as root, device(f"unix:{root}/desk"), device(f"unix:{root}/big", "--channels", "500"), \
        device(f"unix:{root}/odd", "--misbehave", "duplicate-keys", "--misbehave", "not-utf8", "--misbehave", "empty-texts"):
    names = [f"{name}=unix:{root}/{name}" for name in ("desk", "odd", "gone")]
    with Gateway(*names, "--levels", "input/*/peak", "--level-window", "2") as served:
        check(served.text("/healthz") == "ok\n", "it runs")
        for test in (every_line_is_right, counters_go_up, levels_are_of_the_window):
            print(test.__name__.replace("_", " "))
            test(served)
    a_page_has_a_limit(f"big=unix:{root}/big")
    what_a_device_may_send_is_limited(root)
