#!/bin/bash
# Builds the Debian packages; asks nothing, needs no root.
set -euo pipefail

usage() {
  cat <<'TEXT'
Usage: packaging/build-packages.sh OUT

Builds the Debian packages of this tree for this machine and puts them into the directory OUT, with the .changes
file that lists them. Takes every file that git knows or would take, committed or not; the version is that of
CMakeLists.txt. Works in build/packages. Needs what "packaging/install-deps.sh build packages" installs.

Exit status: 0 when the packages are there, 2 for a mistake in the command.
TEXT
}

fail() {
  echo "build-packages.sh: $*" >&2
  exit 1
}

case ${1-} in
  -h | --help) usage; exit 0 ;;
  "" | -*) usage >&2; exit 2 ;;
esac
(($# == 1)) || { usage >&2; exit 2; }
mkdir -p "$1"
out=$(realpath "$1")

cd "$(dirname "${BASH_SOURCE[0]}")/.."
for tool in dpkg-buildpackage dh; do
  command -v "$tool" >/dev/null ||
    fail "$tool is missing; packaging/install-deps.sh packages installs it"
done
version=$(sed -n 's/^project(hotspot VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
[[ -n $version ]] || fail "CMakeLists.txt names no version"
# What was built of the same commit is the same.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}

work=$PWD/build/packages
tree=$work/hotspot-$version
rm -rf "$work"
mkdir -p "$tree"
# Some may be deleted and not committed.
git ls-files -z --cached --others --exclude-standard |
  while IFS= read -r -d '' file; do [[ ! -e $file ]] || printf '%s\0' "$file"; done |
  tar --create --null --files-from=- | tar --extract --directory="$tree"
cp -r "$tree/packaging/debian" "$tree/debian"
cat >"$tree/debian/changelog" <<TEXT
hotspot ($version) bookworm; urgency=medium

  * Built from the tree; CHANGELOG.md has what is new.

 -- $(sed -n 's/^Maintainer: //p' packaging/debian/control)  $(date --utc --rfc-email --date="@$SOURCE_DATE_EPOCH")
TEXT

# The build has a home directory of its own, but what npm is told about the network stays true.
export NPM_CONFIG_USERCONFIG=${NPM_CONFIG_USERCONFIG:-$HOME/.npmrc}
export NPM_CONFIG_CACHE=${NPM_CONFIG_CACHE:-$HOME/.npm}
export DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym nocheck"
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR=$tree CCACHE_NOHASHDIR=1
  export CCACHE_DIR=${CCACHE_DIR:-$(ccache --get-config cache_dir)}
fi
log=$work/build.log
(cd "$tree" && dpkg-buildpackage --build=binary --no-sign) >"$log" 2>&1 </dev/null || {
  tail -n 40 "$log" >&2
  fail "the build failed, see above and $log"
}
rm -f "$out"/hotspot*_"${version}"_*.{deb,changes,buildinfo}
mv "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$out"
ls "$out"/*.deb
