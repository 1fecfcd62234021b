#!/usr/bin/env bash
# For scripts that pass options to ctest; brings script.sh along.
source "$(dirname "${BASH_SOURCE[0]}")/script.sh"

# ctest itself ignores what it does not know, and would run everything.
checkCtestOptions() {
  local known option previous=
  command -v ctest >/dev/null || "$here/scripts/setup" build
  known=$(ctest --help | grep -oE '^ +-[^=]*' | grep -oE -- '(^|[ ,])--?[A-Za-z][A-Za-z-]*' | tr -d ' ,')
  for option in "$@"; do
    if [[ $option == -* && ! $option =~ ^-j[0-9]+$ ]]; then
      grep -qxFe "${option%%=*}" <<<"$known" || misuse "ctest has no option '$option'"
    elif [[ $option != -* && $previous != -* ]]; then
      misuse "what is '$option' for? A test is chosen by -R"
    fi
    previous=$option
  done
}
