#!/bin/bash
# Installs what is missing of this project's Debian packages; quick and silent when nothing is.
# Made for Debian 12, as root or with sudo; asks nothing.
set -euo pipefail

usage() {
  cat <<'TEXT'
Usage: packaging/install-deps.sh GROUP...

Groups:
  build   what the programs, the pages and ./run need
  test    what the tests need beyond that
  router  what the tests on the emulated router need beyond test
  fuzz    what fuzzing needs beyond build
  clang   what a build with the newest clang needs beyond test
  coverage  what measuring coverage needs beyond test
  bench   what the measurements need beyond build
  docs    what making the documents' pictures anew needs beyond test
  packages  what building the Debian packages and testing them needs beyond build
TEXT
}

build=(
  g++ cmake ninja-build ccache ca-certificates openssl curl
  libboost1.81-dev libssl-dev libcli11-dev libspdlog-dev libtomlplusplus-dev
  nlohmann-json3-dev libsqlite3-dev libcrypt-dev)
test=(
  libgtest-dev googletest patch chromium fonts-dejavu-core fonts-ipafont-gothic python3 binutils procps
  iproute2 nftables nginx-light lighttpd valgrind pkg-config clang-format clang-tidy)
router=(g++-mips-linux-gnu qemu-user)
fuzz=(clang-22 libclang-rt-22-dev libgtest-dev googletest pkg-config python3)
clang=(clang-22)
coverage=(gcovr)
bench=(libbenchmark-dev libctemplate-dev nginx-light lighttpd wrk python3)
docs=(webp)
packages=(dpkg-dev debhelper lintian debootstrap systemd systemd-container iproute2)

fail() {
  echo "install-deps.sh: $*" >&2
  exit 1
}

(($# > 0)) || { usage >&2; exit 2; }
wanted=()
for group in "$@"; do
  case $group in
    build) wanted+=("${build[@]}") ;;
    test) wanted+=("${test[@]}") ;;
    router) wanted+=("${router[@]}") ;;
    fuzz) wanted+=("${fuzz[@]}") ;;
    clang) wanted+=("${clang[@]}") ;;
    coverage) wanted+=("${coverage[@]}") ;;
    bench) wanted+=("${bench[@]}") ;;
    docs) wanted+=("${docs[@]}") ;;
    packages) wanted+=("${packages[@]}") ;;
    -h | --help) usage; exit 0 ;;
    *) echo "install-deps.sh: no group \"$group\"" >&2; usage >&2; exit 2 ;;
  esac
done
# Node may be here without being a Debian package.
command -v node >/dev/null || wanted+=(nodejs)
command -v npm >/dev/null || wanted+=(npm)

missing=()
for package in "${wanted[@]}"; do
  state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || state=none
  [[ $state == installed ]] || missing+=("$package")
done
((${#missing[@]} > 0)) || exit 0

as_root=()
if ((EUID != 0)); then
  command -v sudo >/dev/null ||
    fail "to be installed as root: ${missing[*]} (no sudo here)"
  as_root=(sudo)
fi
# What the packages' scripts make is for everybody.
umask 022

echo "Installing: ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
apt() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 "$@" \
    >"$log" 2>&1 </dev/null || {
    cat "$log" >&2
    fail "apt-get $1 failed, see above"
  }
}
apt update
apt install -y --no-install-recommends "${missing[@]}"
