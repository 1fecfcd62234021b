#!/usr/bin/env bash
# For scripts that pass options to ctest; includes script.sh.
source "$(dirname "${BASH_SOURCE[0]}")/script.sh"

# ctest ignores unknown arguments, and would run everything.
checkCtestOptions() {
  local known option previous=
  command -v ctest >/dev/null || "$here/scripts/setup" build
  known=$(ctest --help | grep -oE '^ +-[^=]*' | grep -oE -- '(^|[ ,])--?[A-Za-z][A-Za-z-]*' | tr -d ' ,')
  for option in "$@"; do
    if [[ $option == -* && ! $option =~ ^-j[0-9]+$ ]]; then
      grep -qxFe "${option%%=*}" <<<"$known" || misuse "ctest has no option '$option'"
    elif [[ $option != -* && $previous != -* ]]; then
      misuse "unexpected argument '$option'; choose tests with -R"
    fi
    previous=$option
  done
}
