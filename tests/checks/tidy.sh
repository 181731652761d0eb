#!/bin/bash
# Runs clang-tidy over every source file that the build in BUILD-DIR compiles, tests aside. A file that
# passed is not looked at again until it, a header of the tree or the list of checks changes.
# Usage: tests/checks/tidy.sh BUILD-DIR
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
build=${1:?usage: tests/checks/tidy.sh BUILD-DIR}
stamps=build/tidy
mkdir -p "$stamps"
export build stamps
headers=$(find . -name build -prune -o -type f \( -name '*.h' -o -name .clang-tidy \) -print0 |
  sort -z | xargs -0 sha256sum | sha256sum | cut -c1-16)
export headers

check() {
  local stamp
  stamp=$stamps/$(printf '%s' "$1$headers$(sha256sum <"$1")" | sha256sum | cut -c1-32)
  [[ -e $stamp ]] && return
  clang-tidy -p "$build" --quiet "$1" 2>"$stamp.log" || { cat "$stamp.log"; rm -f "$stamp.log"; return 1; }
  rm -f "$stamp.log"
  touch "$stamp"
}
export -f check

find . \( -name build -o -path ./tests -o -path ./bench -o -path ./fuzz \) -prune -o -name '*.cc' -print0 |
  xargs -0 -r -n 1 -P "$(nproc)" bash -c 'check "$0"'
echo "clang-tidy: clean"
