#!/bin/bash
# Random scenarios give the same results, byte for byte, on this machine and on the emulated router.
# Usage: tests/checks/big_endian.sh BUILD ROUTER-BUILD [COUNT]   two build folders; 20,000 scenarios
set -euo pipefail

(($# == 2 || $# == 3)) || { sed -n 2,3p "$0" >&2; exit 2; }
count=${3-20000}
# Thousands of small files come and go.
[[ -w /dev/shm ]] && export TMPDIR=/dev/shm
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT

"$1/bin/scenario-sweep" 1 "$count" "$results/here"
qemu-mips -L /usr/mips-linux-gnu "$2/bin/scenario-sweep" 1 "$count" "$results/router"
[[ $(wc -l <"$results/here") == "$count" ]]
cmp "$results/here" "$results/router"
echo "The same results on both machines"
