"""A recording that a device plays comes through the gateway: every meter message as it was, and every change."""
import struct
import subprocess
import sys
import time

from harness import PATIENCE, ROOT, Gateway, check, device, folder

RECORDING = ROOT / "examples/desk.recording"


def schemas(place):
    """Of streams and recordings, as Python classes."""
    for path, name in ((ROOT / "proto", "corvalux/grpc/streams.proto"), (ROOT / "client", "recording.proto")):
        subprocess.run(["protoc", f"--proto_path={path}", f"--python_out={place}", name], check=True)
    sys.path.insert(0, str(place))
    import recording_pb2
    from corvalux.grpc import streams_pb2
    return streams_pb2, recording_pb2


def varint(octets, place):
    number, shift = 0, 0
    while True:
        number |= (octets[place] & 0x7F) << shift
        place, shift = place + 1, shift + 7
        if octets[place - 1] < 0x80:
            return number, place


def records(recording_pb2):
    octets = RECORDING.read_bytes()
    size, place = varint(octets, 0)
    place += size  # of the header
    while place < len(octets):
        size, place = varint(octets, place)
        yield recording_pb2.Record.FromString(octets[place:place + size])
        place += size


def plain(value):
    """As it is in JSON, with its kind."""
    kind = value.WhichOneof("value").removesuffix("_value")
    inner = getattr(value, value.WhichOneof("value"))
    return kind, inner.data if kind == "string" else list(inner.values) if kind.endswith("_array") else inner


def exact(kind, value):
    """Floats are written with as few digits as tell them apart from other floats."""
    if kind == "float":
        return struct.unpack("f", struct.pack("f", value))[0]
    return [exact("float", each) for each in value] if kind == "float_array" else value


def entry_of(entry):
    return entry["key"], entry["kind"], repr(exact(entry["kind"], entry["value"]))


def recorded(place):
    """Of each stream, the messages as lists of entries."""
    streams_pb2, recording_pb2 = schemas(place)
    messages = {"fast": [], "slow": [], "changes": []}
    for record in records(recording_pb2):
        name = recording_pb2.Stream.Name(record.stream).removeprefix("STREAM_").lower()
        entries = streams_pb2.Meter.FromString(record.message).entries
        messages[name].append([entry_of(dict(zip(("key", "kind", "value"), (entry.key, *plain(entry.value)))))
                               for entry in entries])
    return messages


def follows(places, count):
    """Whether none came twice or before its time; the recording begins again at its end."""
    return all((later - earlier) % count in range(1, count // 2) for earlier, later in zip(places, places[1:]))


with folder() as place:
    messages = recorded(place)
    check(all(len(of) > 5 for of in messages.values()), "the recording has messages of all streams")
    changes = {entry for message in messages["changes"] for entry in message}
    with Gateway(f"desk=unix:{place}/desk") as gateway, gateway.events() as events, \
            device(f"unix:{place}/desk", "--replay", RECORDING, "--pace", "2", "--loop"):
        places = {"fast": [], "slow": []}
        missing = set(changes)
        end = time.monotonic() + PATIENCE
        while (missing or len(places["fast"]) < len(messages["fast"])) and time.monotonic() < end:
            message = events.message()
            entries = [entry_of(entry) for entry in message["entries"]]
            if message["stream"] == "changes":
                check(changes.issuperset(entries), "a change of the recording")
                missing.difference_update(entries)
            else:
                check(entries in messages[message["stream"]], f"{message['stream']}: a message of the recording")
                places[message["stream"]].append(messages[message["stream"]].index(entries))
        check(not missing, f"all {len(changes)} changes have come")
        for stream, seen in places.items():
            check(follows(seen, len(messages[stream])), f"{stream}: {len(seen)} messages, in their order")
        check(gateway.text("/metrics").count('corvalux_value{device="desk",stream="fast"') > 20, "metrics have its values")
