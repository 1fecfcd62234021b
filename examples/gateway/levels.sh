#!/usr/bin/env bash
# Prints a level live, with curl alone: levels.sh [URL [DEVICE [KEY]]]
set -euo pipefail
url=${1-http://127.0.0.1:8080} device=${2-desk} key=${3-input/1/peak}

curl --silent --show-error --fail --no-buffer --get --data "streams=fast&hz=10" --data-urlencode "keys=$key" \
  "$url/api/devices/$device/stream" | sed --unbuffered --quiet 's/^data: .*"value":\([^,}]*\)}\]}$/\1/p'
