#!/usr/bin/python3
"""Prints a level live, with Python alone: levels.py [URL [DEVICE [KEY]]]"""
import json
import sys
import urllib.parse
import urllib.request

url, device, key = sys.argv[1:] + ["http://127.0.0.1:8080", "desk", "input/1/peak"][len(sys.argv) - 1:]
query = urllib.parse.urlencode({"streams": "fast", "hz": 10, "keys": key})

with urllib.request.urlopen(f"{url}/api/devices/{device}/stream?{query}", timeout=30) as stream:
    for line in stream:
        if line.startswith(b"data: "):
            for entry in json.loads(line[6:]).get("entries", []):  # an event about the device's state has none
                print(entry["value"], flush=True)
