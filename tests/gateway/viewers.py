"""Viewers of the real gateway: the present values first, then the newest, whatever the viewer does."""
import asyncio
import math
import re
import time

from harness import Gateway, check, device, folder
from viewer import Viewer, live, values

PERIOD = 0.04  # of the development host's fast meters


async def a_subscription_begins_with_the_present_values(gateway):
    async with Viewer(gateway) as viewer:
        hello = await viewer.until(live.GatewayHello)
        check(hello.epoch and abs(hello.clock - time.time()) < 5 and hello.limits.patterns == 16, "the gateway says what it is")
        every = await viewer.until(live.Devices)
        check([one.name for one in every.devices] == ["desk", "stage"], "all devices come first")
        check(every.devices[0].state == live.DEVICE_STATE_LIVE and every.devices[0].worst.key.endswith("/peak"), "at a glance")
        begin = time.monotonic()
        await viewer.subscribe(streams=("fast", "slow", "changes"))
        parts = await viewer.snapshot()
        check(time.monotonic() - begin < 0.2, "a snapshot is complete within 200 ms")
        check([part.stream for part in parts] == [1, 2, 3] and [part.last for part in parts] == [False, False, True], "in parts")
        present = {one["key"]: one["value"] for one in gateway.json("/api/devices/desk/values")["values"]}
        shown = {key: value for part in parts for key, value in values(part.entries).items()}
        check(set(shown) == set(present), "with the keys that scripts get")
        check(len(parts[2].ages) == len(parts[2].entries.entries), "and the age of each change")
        last = {part.stream: part.sequence for part in parts}
        for update in await viewer.several(20):
            if update.sequence <= last[update.stream] or update.age >= 0.1:
                check(False, f"only what is newer and fresh, not {update.sequence} of {update.age} s")
            last[update.stream] = update.sequence
        check(True, "then only what is newer")


async def updates_come_as_the_device_sends_them(gateway):
    async with Viewer(gateway) as viewer:
        await viewer.subscribe()
        first = (await viewer.snapshot())[-1].sequence + 1
        updates = await viewer.several(25)
        check([update.sequence for update in updates] == list(range(first, first + 25)), "each one")
        check({update.merged for update in updates} == {1}, "and none is merged")


async def a_frozen_viewer_gets_the_newest(gateway, patience=5):
    async with Viewer(gateway) as healthy, Viewer(gateway) as viewer:
        await healthy.subscribe()
        await viewer.subscribe()
        await viewer.snapshot()
        await viewer.several(10)
        gap, begin, last = 0, time.monotonic(), None
        while time.monotonic() - begin < patience:
            await healthy.until(live.Update)
            gap, last = max(gap, time.monotonic() - (last or time.monotonic())), time.monotonic()
        check(gap < 4 * PERIOD, f"nobody else notices: longest gap {1000 * gap:.0f} ms")
        shown, old = time.time(), 0
        while True:
            update = await viewer.until(live.Update)
            if update.merged > 10:
                break
            old += 1
        check(old <= 2, f"at most the window of old updates: {old}")
        check(update.age < 0.1 and time.time() - shown < 1, f"then the newest, {1000 * update.age:.0f} ms old")
        check(abs(update.merged - patience / PERIOD) < 10, f"it stands for {update.merged} messages")


async def a_viewer_with_a_window_of_a_byte_delays_nobody(gateway):
    async with Viewer(gateway) as healthy, Viewer(gateway, window=1) as tiny, Viewer(gateway, acknowledges=False, window=1) as other:
        await healthy.subscribe()
        for each in (tiny, other):
            await each.subscribe(streams=("fast", "slow", "changes"))
        await healthy.snapshot()
        check(max(update.age for update in await healthy.several(50)) < 0.1, "a healthy one gets what is fresh")
        parts = await tiny.snapshot()
        check(len(parts[0].entries.entries) > 20, "the tiny one gets its snapshot")
        check((await tiny.until(live.Update)).entries.entries, "and then updates")


async def merged_updates_keep_every_peak(gateway):
    async with Viewer(gateway) as every, Viewer(gateway) as few:
        await every.subscribe()
        await every.snapshot()
        seen = {}

        async def collect():
            while True:
                update = await every.until(live.Update)
                seen[update.sequence] = values(update.entries)

        collector = asyncio.create_task(collect())
        await asyncio.sleep(0.1)
        await few.subscribe(rate=3)
        last = (await few.snapshot())[-1].sequence
        compared = 0
        while compared < 4:
            update = await few.until(live.Update)
            span = range(last + 1, update.sequence + 1)
            last = update.sequence
            await asyncio.sleep(0.05)
            if not all(sequence in seen for sequence in span):
                continue  # the first one began before the other viewer did
            compared += 1
            check(update.merged == len(span) > 3, f"{len(span)} messages in one")
            for key, value in values(update.entries).items():
                expected = [seen[sequence].get(key) for sequence in span]
                peak = key.endswith(("/peak", "/clips"))
                right = max(one for one in expected if one is not None and not math.isnan(one)) if peak else expected[-1]
                if value != right:
                    check(False, f"{key}: {value} instead of {right}")
            check(True, "each peak is the greatest since the update before, everything else the newest")
        collector.cancel()


async def changes_reach_a_slow_viewer_all(gateway):
    async with Viewer(gateway) as every, Viewer(gateway) as slow:
        await every.subscribe(streams=("changes",))
        await slow.subscribe(streams=("changes",), rate=0.5)
        picture, late = {}, {}
        for part in await every.snapshot():
            picture.update(values(part.entries))
        for part in await slow.snapshot():
            late.update(values(part.entries))
        end, updates = time.monotonic() + 6, 0

        async def follow():
            nonlocal updates
            while time.monotonic() < end:
                late.update(values((await slow.until(live.Update)).entries))
                updates += 1

        follower = asyncio.create_task(follow())
        while time.monotonic() < end:
            picture.update(values((await every.until(live.Update)).entries))
        await asyncio.wait_for(follower, 5)
        late.update(values((await slow.until(live.Update)).entries))  # what came during the last two seconds
        check(updates <= 4, f"{updates} updates in 6 s")
        check(set(picture) <= set(late), "no key that changed is missing")


async def a_choice_of_keys_gets_these_alone(gateway):
    async with Viewer(gateway) as viewer:
        await viewer.subscribe(keys=["input/1/*", "bus/*/rms"], streams=("fast", "slow"))
        await viewer.snapshot()
        keys = {entry.key for update in await viewer.several(10) for entry in update.entries.entries}
        check({"input/1/peak", "bus/1/rms"} <= keys, "what was chosen")
        check(all(re.fullmatch("input/1/[^/]*|bus/[^/]*/rms", key) for key in keys), "and nothing else")
        await viewer.subscribe(keys=["none/at/all"])
        check(not (await viewer.snapshot())[-1].entries.entries, "what matches nothing has an empty snapshot")
        await viewer.subscribe(number=2, rate=5)
        await viewer.snapshot(2)
        begin = time.monotonic()
        check({update.subscription for update in await viewer.several(5)} == {2}, "and no updates")
        check(0.7 < time.monotonic() - begin < 1.6, "five updates a second are what was asked for")
        await viewer.say(unsubscribe=live.Unsubscribe(subscription=2))
        check(await viewer.quiet(0.3, 1), "after the end of a subscription nothing comes but what was on its way")


async def devices_are_shown_without_subscriptions(gateway):
    async with Viewer(gateway, rate=5) as viewer, Viewer(gateway) as calm, Viewer(gateway, rate=1e-300) as patient:
        for each in (viewer, calm, patient):
            await each.until(live.Devices)
        begin = time.monotonic()
        for _ in range(5):
            some = await viewer.until(live.Devices)
            check({one.name for one in some.devices} <= {"desk", "stage"} and some.devices, "those that have changed")
        check(0.8 < time.monotonic() - begin < 2, "at most five times a second")
        for each in (calm, patient):
            await each.quiet(0.1, 0)
            check(each.counts["devices"] == 1, "and only when states change if that is what was asked for")


async def a_hidden_viewer_gets_next_to_nothing(gateway):
    async with Viewer(gateway) as viewer:
        await viewer.subscribe()
        await viewer.snapshot()
        await viewer.until(live.Update)
        await viewer.say(visibility=live.Visibility(hidden=True))
        check(await viewer.quiet(1.5, 3), "nothing comes but what was on its way")
        await viewer.say(visibility=live.Visibility(hidden=False))
        begin = time.monotonic()
        update = await viewer.until(live.Update)
        check(time.monotonic() - begin < 0.2 and update.merged > 20 and update.age < 0.1, "then at once what is newest")


async def a_viewer_that_does_not_acknowledge_is_limited_by_its_line(gateway):
    async with Viewer(gateway, acknowledges=False) as viewer:
        await viewer.subscribe()
        await viewer.snapshot()
        check({update.merged for update in await viewer.several(20)} == {1}, "it gets everything")


async def a_device_may_be_lost_and_come_back(place):
    host = device(f"unix:{place}/lost")
    with Gateway(f"lost=unix:{place}/lost") as gateway:
        gateway.wait_until("live", "lost")
        async with Viewer(gateway) as viewer:
            await viewer.subscribe("lost")
            await viewer.snapshot()
            sequence = (await viewer.until(live.Update)).sequence
            host.end()
            state = await viewer.until(live.Devices, lambda some: some.devices[0].state == live.DEVICE_STATE_LOST)
            check(state.devices[0].reason.startswith("connection lost"), "its loss shows, with the reason")
            with device(f"unix:{place}/lost"):
                await viewer.until(live.Devices, lambda some: some.devices[0].state == live.DEVICE_STATE_LIVE)
                update = await viewer.until(live.Update)
                check(update.sequence > sequence, "the subscription goes on")


async def a_gateway_that_ends_says_that_one_may_come_back(place):
    with Gateway(f"desk=unix:{place}/desk") as gateway:
        gateway.wait_until("live")
        async with Viewer(gateway) as viewer, Viewer(gateway, window=1) as frozen:
            await viewer.subscribe()
            await viewer.snapshot()
            await frozen.subscribe()
            epoch = gateway.url
            gateway.process.terminate()
            code, _ = await viewer.closed()
            check(code == 1001, "it goes away")
            check(gateway.process.wait(3) == 0, f"within 3 s, with a frozen viewer too: {epoch}")
    with Gateway(f"desk=unix:{place}/desk") as gateway:
        gateway.wait_until("live")
        async with Viewer(gateway) as viewer:
            await viewer.subscribe()
            check((await viewer.snapshot())[-1].last, "after a restart the present values come again")


async def main():
    with folder() as place, device(f"unix:{place}/desk"), device(f"unix:{place}/stage", "--channels", "8"):
        with Gateway(f"desk=unix:{place}/desk", f"stage=unix:{place}/stage") as gateway:
            gateway.wait_until("live")
            gateway.wait_until("live", "stage")
            for test in (a_subscription_begins_with_the_present_values, updates_come_as_the_device_sends_them,
                         a_frozen_viewer_gets_the_newest, a_viewer_with_a_window_of_a_byte_delays_nobody,
                         merged_updates_keep_every_peak, changes_reach_a_slow_viewer_all, a_choice_of_keys_gets_these_alone,
                         devices_are_shown_without_subscriptions, a_hidden_viewer_gets_next_to_nothing,
                         a_viewer_that_does_not_acknowledge_is_limited_by_its_line):
                print(test.__name__.replace("_", " "), flush=True)
                await test(gateway)
        for test in (a_device_may_be_lost_and_come_back, a_gateway_that_ends_says_that_one_may_come_back):
            print(test.__name__.replace("_", " "), flush=True)
            await test(place)


asyncio.run(main())
