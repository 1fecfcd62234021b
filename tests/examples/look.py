"""look.py DEVHOST BUF DESCRIPTOR_SET: `buf curl` shows every stream, from the schema's text or from the compiled set."""
import json
import signal
import sys
import tempfile

from programs import ROOT, Program, check, host

METHODS = ["Meters/GetMetersFast", "Meters/GetMetersSlow", "Notifications/GetNotifications"]
devhost, buf, descriptor_set = sys.argv[1:]


def look(socket, schema, method):
    """The first two messages."""
    command = [buf, "curl", "--protocol", "grpc", "--http2-prior-knowledge", "--schema", schema]
    with Program(*command, "--unix-socket", socket, f"http://localhost/corvalux.grpc.{method}") as program:
        program.wait_for(f"{method} from {schema.name}", "output", r"(?m)^}", 2)
        program.end(signal.SIGTERM)
        decoder, text, messages = json.JSONDecoder(), program.texts["output"], []
        for _ in range(2):
            message, end = decoder.raw_decode(text)
            messages.append(message)
            text = text[end:].lstrip()
    return messages


with tempfile.TemporaryDirectory() as folder:
    socket = f"{folder}/meters.sock"
    with host(devhost, f"unix:{socket}") as started:
        for schema in (ROOT / "proto", type(ROOT)(descriptor_set)):
            for method in METHODS:
                first, second = (message["entries"][0] for message in look(socket, schema, method))
                check(first["key"] == "counter", "the message begins with the engine's counter")
                check(second["value"]["uintValue"] > first["value"]["uintValue"], "the second comes after the first")
        check(started.end() == 0, "the host stops in order")
