#!/usr/bin/env bash
# Common to all scripts: help, wrong usage (exit code 2) and failures (1).
# Sourced, never run; sets here, the project's folder, and program, the script's name.
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
program=$(realpath --no-symlinks --relative-to="$here" "$0")
readonly here program

fail() {
  printf '%s: %s\n' "$program" "$*" >&2
  exit 1
}

misuse() {
  printf '%s: %s; try --help\n' "$program" "$*" >&2
  exit 2
}

# usage "$@" <<'TEXT': stores the help text, and shows it if the first argument asks for it.
usage() {
  help=$(cat)
  case "${1-}" in -h | --help) unknown "$1" ;; esac
}

# unknown ARGUMENT: rejects an argument that a script does not know, unless it asks for help.
unknown() {
  case "$1" in -h | --help) printf '%s\n' "$help" && exit ;; esac
  misuse "unknown argument '$1'"
}

# needValue "$@": checks that the first option has a value.
needValue() { [[ ${2-} ]] || misuse "$1 needs a value"; }

# needCount "$@": checks that its value is a number above 0.
needCount() { [[ ${2-} =~ ^[1-9][0-9]*$ ]] || misuse "$1 needs a number above 0"; }

asRoot() {
  if ((EUID == 0)); then "$@"; else sudo "$@"; fi
}
