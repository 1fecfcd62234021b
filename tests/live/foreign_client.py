#!/usr/bin/python3
"""Reads the streams of a module with nothing but the schema: foreign_client.py ADDRESS GENERATED [--until-the-end]

GENERATED is the folder of the classes that protoc made of the schema. Without the option, reads ten messages of each
stream and checks their values against what ForeignClientTest.cpp sends. With it, reads one stream until it ends and
says how.
"""
import sys

import grpc

sys.path.insert(0, sys.argv[2])
from corvalux.grpc import streams_pb2  # noqa: E402

MESSAGES = 10
DEADLINE = 30  # seconds

EXPECTED = [
    ("unsigned", "uint_value", 4294967295),
    ("signed", "int_value", -2147483648),
    ("float", "float_value", 0.5),
    ("double", "double_value", 0.1),
    ("text", "string_value", "on air \u00e4"),
    ("unsigneds", "uint_array", [0, 1, 4294967295]),
    ("signeds", "int_array", [-1, 0, 2147483647]),
    ("floats", "float_array", [-1.5, 0, 2]),
    ("unknown", None, None),
]


def open_stream(channel, method, message):
    call = channel.unary_stream(
        method,
        request_serializer=streams_pb2.SubscribeRequest.SerializeToString,
        response_deserializer=message.FromString,
    )
    return call(streams_pb2.SubscribeRequest(), wait_for_ready=True, timeout=DEADLINE)


def plain(value):
    """The kind of an AnyValue, and its content as a plain value."""
    kind = value.WhichOneof("value")
    content = getattr(value, kind) if kind else None
    if kind == "string_value":
        content = content.data
    elif kind and kind.endswith("_array"):
        content = list(content.values)
    return kind, content


def check(message, stream):
    seen = [(entry.key, *plain(entry.value)) for entry in message.entries]
    assert all(entry.HasField("value") for entry in message.entries), message
    assert seen == [("stream", "string_value", stream), *EXPECTED], seen


def read_all_streams(channel):
    streams = [
        ("/corvalux.grpc.Meters/GetMetersFast", streams_pb2.Meter, "meterFast"),
        ("/corvalux.grpc.Meters/GetMetersSlow", streams_pb2.Meter, "meterSlow"),
        ("/corvalux.grpc.Notifications/GetNotifications", streams_pb2.Notification, "changes"),
    ]
    calls = [(open_stream(channel, method, message), stream) for method, message, stream in streams]
    for call, stream in calls:
        for _ in range(MESSAGES):
            check(next(call), stream)
        call.cancel()
    print(f"{len(calls)} streams read, {MESSAGES} messages each")


def read_until_the_end(channel):
    call = open_stream(channel, "/corvalux.grpc.Meters/GetMetersFast", streams_pb2.Meter)
    next(call)
    print("subscribed", flush=True)
    try:
        for _ in call:
            pass
    except grpc.RpcError as error:
        print(f"ended: {error.code().name} {error.details()!r}")


with grpc.insecure_channel(sys.argv[1]) as channel:
    (read_until_the_end if "--until-the-end" in sys.argv else read_all_streams)(channel)
