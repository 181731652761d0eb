#!/bin/bash
# Runs a command in a network namespace of its own, as root in there: without being root where the system
# grants user namespaces, else as root. Fails where neither is to be had.
# Usage: in_namespace.sh COMMAND...
set -euo pipefail

fail() {
  echo "in_namespace.sh: $*" >&2
  exit 1
}

for tool in ip nft unshare nsenter; do
  PATH=$PATH:/usr/sbin:/sbin command -v "$tool" >/dev/null ||
    fail "$tool is missing; packaging/install-deps.sh test installs it"
done
export PATH=$PATH:/usr/sbin:/sbin
for namespaces in --map-root-user --; do
  if refusal=$(unshare --net "$namespaces" true 2>&1); then
    exec unshare --net "$namespaces" "$@"
  fi
done
fail "no network namespace for this test: $refusal; run it as root, in a container with CAP_SYS_ADMIN," \
  "or allow user namespaces (sysctl user.max_user_namespaces)"
