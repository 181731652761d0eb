#!/bin/bash
# Builds the Debian packages, looks at them, installs them in a new Debian of their own, has the portal answer there,
# and removes them again. Needs root, and Debian's mirror as apt is told it. Usage: chroot_test.sh
set -euo pipefail

fail() {
  echo "chroot_test.sh: $*" >&2
  exit 1
}
step() { printf '== %s\n' "$*"; }

((EUID == 0)) ||
  fail "this test makes a root directory with devices and mounts, so it has to be run as root: sudo ./test --all"
for tool in debootstrap lintian dpkg-buildpackage unshare ip systemd-nspawn; do
  PATH=$PATH:/usr/sbin:/sbin command -v "$tool" >/dev/null ||
    fail "$tool is missing; packaging/install-deps.sh packages installs it"
done
export PATH=$PATH:/usr/sbin:/sbin
umask 022

here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
sources=$(realpath "$here/../..")
work=$(mktemp -d "${TMPDIR:-/var/tmp}/hotspot-packages-XXXXXX")
chmod 755 "$work"
# The control groups that systemd-nspawn makes below this process's own, and leaves there.
container_groups() {
  local controllers path base
  while IFS=: read -r _ controllers path; do
    case $controllers in
      "") base=/sys/fs/cgroup/unified; [[ -d $base ]] || base=/sys/fs/cgroup ;;
      name=systemd) base=/sys/fs/cgroup/systemd ;;
      *) continue ;;
    esac
    printf '%s\n' "$base${path%/}"/{payload,supervisor}
  done </proc/self/cgroup
}
groups=()
while read -r group; do
  # Somebody else's stay.
  [[ -d $group ]] || groups+=("$group")
done < <(container_groups)
finish() {
  for group in "${groups[@]}"; do
    [[ ! -d $group ]] || find "$group" -depth -type d -exec rmdir {} \;
  done
  rm -rf --one-file-system "$work"
}
trap finish EXIT
out=$work/out
root=$work/root

step "Building"
"$sources/packaging/build-packages.sh" "$out" >/dev/null
tree=$(echo "$sources"/build/packages/hotspot-*)
version=${tree##*-}

step "lintian"
lintian --allow-root --fail-on error,warning,info,pedantic --display-info --pedantic "$out"/*.changes

step "What they hold"
mkdir "$work/extracted"
# Of each package its own files, without what every package has; pages and documents are looked at below.
for package in "$out"/*.deb; do
  name=$(dpkg-deb --field "$package" Package)
  [[ $(dpkg-deb --field "$package" Version) == "$version" ]] || fail "$name has another version than $version"
  dpkg-deb --extract "$package" "$work/extracted/$name"
  (cd "$work/extracted/$name" && find . -type f -printf "$name %P\n")
  for file in copyright changelog.gz changelog.Debian.gz; do
    [[ -s $work/extracted/$name/usr/share/doc/$name/$file ]] || fail "$name has no $file"
  done
done | grep -v -E '/doc/[^/]*/(copyright|changelog(\.Debian)?\.gz)$|/doc/hotspot/docs/|/share/hotspot/(optional-)?pages/' |
  # A program more among the tools is in its place.
  grep -v -E '^hotspot-tools (usr/bin/hotspot-|usr/share/man/man1/hotspot-)' |
  LC_ALL=C sort >"$work/contents"
diff -u "$here/contents.txt" "$work/contents" || fail "the packages hold other files than contents.txt says"
for program in lint replay; do
  [[ -x $work/extracted/hotspot-tools/usr/bin/hotspot-$program ]] || fail "hotspot-tools has no hotspot-$program"
done
diff -r --exclude='*.mjs' "$sources/docs" "$work/extracted/hotspot/usr/share/doc/hotspot/docs" || fail "the documents differ"
diff -r "$tree"/obj-*/share/hotspot "$work/extracted/hotspot-pages/usr/share/hotspot" ||
  fail "the pages differ"
twice=$(find "$work/extracted" -type f -printf '%P\n' | sed 's,^[^/]*/,,' | sort | uniq --repeated)
[[ -z $twice ]] || fail "in more than one package: $twice"
[[ $(dpkg-deb --info "$out/hotspot-web_${version}"_*.deb conffiles) == /etc/hotspot/web.toml ]] ||
  fail "web.toml is no settings file to dpkg"
[[ $(dpkg-deb --info "$out/hotspot-manager_${version}"_*.deb conffiles) == /etc/hotspot/manager.toml ]] ||
  fail "manager.toml is no settings file to dpkg"

step "A new Debian"
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-get indextargets --format '$(SITE)' \
  'Created-By: Packages' 'Origin: Debian' "Codename: $codename" 'Component: main' | head -n 1)
[[ -n $mirror ]] || fail "apt knows no mirror of Debian's $codename; apt-get update tells it"
eval "$(apt-config shell proxy Acquire::http::Proxy)"
[[ -z ${proxy-} ]] || export http_proxy=$proxy
debootstrap --variant=minbase --include=curl,systemd,dbus "$codename" "$root" "$mirror" >"$work/debootstrap.log" 2>&1 ||
  { tail -n 30 "$work/debootstrap.log" >&2; fail "debootstrap failed"; }
cp -L /etc/resolv.conf "$root/etc/resolv.conf"
cp -r "$out" "$root/packages"

# Runs a command in there, in name spaces that end with it: no process and no mount is left behind.
inside() {
  unshare --mount --pid --fork --kill-child=KILL bash -c \
    'mount -t proc proc "$0/proc" && exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
       DEBIAN_FRONTEND=noninteractive http_proxy="${http_proxy-}" "$@"' "$root" "$@"
}
apt() {
  inside apt-get -y --no-install-recommends "$@" >"$work/apt.log" 2>&1 </dev/null ||
    { tail -n 40 "$work/apt.log" >&2; fail "apt-get $1 failed"; }
}
packages=$(for package in "$out"/*.deb; do dpkg-deb --field "$package" Package; done)
here_or_not() { inside sh -c "[ $1 $2 ]"; }

step "Installing"
inside sh -c 'find / -xdev -name "*hotspot*" -not -path "/packages*" | sort' >"$work/before"
[[ ! -s $work/before ]] || fail "something of the portal is there already: $(cat "$work/before")"
# shellcheck disable=SC2086  # names without blanks
apt install $(cd "$root" && ls -d ./packages/*.deb)
inside dpkg --audit
for package in $packages; do
  inside dpkg --verify "$package"
done
inside systemctl is-enabled hotspot-web hotspot-manager >/dev/null || fail "the services are not started at boot"
inside systemd-analyze verify --man=no hotspot-manager.service hotspot-web.service
for service in hotspot-manager hotspot-web; do
  inside systemd-analyze security --offline=true --threshold=20 --no-pager "$service.service" >"$work/security" ||
    { cat "$work/security"; fail "$service is exposed by more than 2.0 of 10"; }
done
[[ $(inside stat -c '%U %G %a' /etc/hotspot/key.pem) == "root hotspot-tls 640" ]] || fail "key.pem is open to others"

step "Running"
cp "$here/portal_in_root.sh" "$root/portal.sh"
unshare --net bash -c 'ip link set lo up && "$@"' bash \
  unshare --mount --pid --fork --kill-child=KILL bash -c \
  'mount -t proc proc "$0/proc" && exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin bash /portal.sh' "$root"

step "A version later"
# The packages of a later version: new pages and settings, and one page less.
mkdir "$root/later"
later=$version+later
for package in "$out"/*.deb; do
  name=$(dpkg-deb --field "$package" Package)
  new=$work/later/$name
  mkdir -p "$work/later"
  dpkg-deb --raw-extract "$package" "$new"
  sed -i "s/^Version: .*/Version: $later/; s/(= $version)/(= $later)/g" "$new/DEBIAN/control"
  case $name in
    hotspot-pages)
      echo "of the later version" >"$new/usr/share/hotspot/pages/later.txt"
      rm "$new/usr/share/hotspot/pages/ja/set.html"
      ;;
    hotspot-manager) echo "# Of the later version." >>"$new/etc/hotspot/manager.toml" ;;
    hotspot-web) echo "# Of the later version." >>"$new/etc/hotspot/web.toml" ;;
  esac
  (cd "$new" && find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | grep -z -v '^etc/' |
    LC_ALL=C sort -z | xargs -0 -r md5sum >DEBIAN/md5sums)
  dpkg-deb --root-owner-group --build "$new" "$root/later/${name}_$later.deb" >/dev/null
done
upgrade='dpkg --force-confold --install /later/*.deb </dev/null'
settled() { inside sha256sum /etc/hotspot/key.pem /etc/hotspot/web.toml; }
settled_before=$(settled)
manager_settings=$(inside cat /etc/hotspot/manager.toml)

# As processes of systemd, where a container can have one: its control groups are the machine's to give.
nspawn=(systemd-nspawn --quiet --register=no --keep-unit --private-network --directory "$root")
if refusal=$("${nspawn[@]}" --pipe true </dev/null 2>&1); then
  step "Booted"
  cp "$here/portal_booted.sh" "$root/booted.sh"
  echo "$upgrade" >"$root/upgrade.sh"
  cat >"$root/etc/systemd/system/booted.service" <<'UNIT'
[Unit]
After=hotspot-manager.service hotspot-web.service
SuccessAction=poweroff-force
FailureAction=poweroff-force
[Service]
Type=oneshot
ExecStart=/booted.sh
StandardOutput=file:/booted.log
StandardError=file:/booted.log
[Install]
WantedBy=multi-user.target
UNIT
  inside systemctl enable booted.service 2>/dev/null
  timeout 600 "${nspawn[@]}" --boot </dev/null >"$work/boot.log" 2>&1 ||
    { cat "$root/booted.log"; tail -n 30 "$work/boot.log"; fail "the new Debian did not boot, or did not end"; }
  [[ $(tail -n 1 "$root/booted.log") == fine ]] || { cat "$root/booted.log"; fail "not all is well under systemd"; }
  inside systemctl disable booted.service 2>/dev/null
  rm "$root/etc/systemd/system/booted.service"
else
  echo "not booted, systemd-nspawn says: $refusal"
  inside sh -c "$upgrade" >"$work/upgrade.log" 2>&1 || { cat "$work/upgrade.log"; fail "the upgrade failed"; }
fi

step "Upgraded"
inside dpkg --audit
for package in $packages; do
  [[ $(inside dpkg-query --show --showformat '${Version} ${db:Status-Status}' "$package") == "$later installed" ]] ||
    fail "$package was not upgraded"
  # Settings apart: the owner has changed them.
  [[ -z $(inside dpkg --verify "$package" | grep -v ' c /etc/hotspot/web.toml$') ]] || fail "$package is not whole"
done
[[ $(settled) == "$settled_before" ]] || fail "the upgrade changed the key, or settings that the owner had changed"
diff "$work/later/hotspot-web/etc/hotspot/web.toml" "$root/etc/hotspot/web.toml.dpkg-dist" ||
  fail "the new settings are not beside the owner's"
# Of what nobody has changed the new ones are there.
[[ $(inside cat /etc/hotspot/manager.toml) == "$manager_settings"$'\n'"# Of the later version." ]] ||
  fail "the new settings of the manager are not there"
here_or_not -e /usr/share/hotspot/pages/later.txt || fail "the new page is not there"
! here_or_not -e /usr/share/hotspot/pages/ja/set.html || fail "the page that there is no longer is still there"

step "Installing again"
sum() { inside sha256sum /etc/hotspot/key.pem /etc/hotspot/web.toml /var/lib/hotspot/manager.db; }
kept=$(sum)
# shellcheck disable=SC2086
apt install --reinstall -o Dpkg::Options::=--force-confold $(cd "$root" && ls -d ./later/*.deb)
[[ $(sum) == "$kept" ]] || fail "installing again changed the key, the settings or the database"

step "Removing"
# shellcheck disable=SC2086
apt remove $packages
for file in /usr/bin/hotspot-web /usr/bin/hotspotctl /usr/lib/hotspot /usr/share/hotspot \
  /lib/systemd/system/hotspot-web.service; do
  ! here_or_not -e "$file" || fail "$file is still there"
done
[[ $(sum) == "$kept" ]] || fail "removing took the key, the settings or the database"

step "Purging"
rest=$(inside dpkg-query --show --showformat '${db:Status-Status} ${Package}\n' 'hotspot*' |
  sed -n 's/^config-files //p' | xargs)
[[ $rest == "hotspot-common hotspot-manager hotspot-web" ]] || fail "there is something to purge of $rest"
# shellcheck disable=SC2086
apt purge $rest
inside sh -c 'find / -xdev -name "*hotspot*" -not -path "/packages*" -not -path "/later*" -not -path "/var/log/*" | sort' >"$work/after"
[[ ! -s $work/after ]] || fail "left behind: $(cat "$work/after")"
for group in hotspot hotspot-tls; do
  ! inside getent group "$group" >/dev/null || fail "the group $group is still there"
done
echo "Done: $(echo "$packages" | wc -w) packages of version $version"
