#!/bin/bash
# The services under systemd itself, with all that their units forbid them. Run by chroot_test.sh as a service in the
# new Debian, whose systemd was booted for it; the last line of what it says is "fine".
set -euo pipefail

fail() {
  echo "portal_booted.sh: $*"
  systemctl --no-pager --lines=0 status hotspot-manager hotspot-web || :
  journalctl --no-pager --lines=40 --unit=hotspot-manager --unit=hotspot-web
  exit 1
}
await() {
  for ((i = 0; i < 1200; i++)); do
    ! "$@" >/dev/null 2>&1 || return 0
    sleep 0.1
  done
  fail "never came: $*"
}
fetch() { curl --silent --show-error --max-time 60 --cacert /etc/hotspot/certificate.pem "$@"; }
login() { fetch --data-urlencode username=anna --data-urlencode "password=$1" https://127.0.0.1:8443/login; }

await hotspotctl server show
await fetch --fail http://127.0.0.1:8080/login
# The database lay where a user of another number had it.
[[ $(hotspotctl session list) == *anna* ]] || fail "the session of the run before is gone"
hotspotctl session end 127.0.0.1 >/dev/null
# Below 1024: the one privilege that the web server has. Its settings are from the run before, as is the user.
[[ $(fetch http://127.0.0.1/login) == *'name="username"'* ]] || fail "no page on port 80"
[[ $(login wrong) != *'<h1>You are logged in</h1>'* ]] || fail "logged in with a wrong password"
[[ $(login "a password") == *'<h1>You are logged in</h1>'* ]] || fail "not logged in"

of() { systemctl show --value --property "$2" "$1"; }
told() { sed -n "s/^$2:[[:space:]]*//p" "/proc/$(of "$1" MainPID)/status"; }
declare -A capabilities=([hotspot-manager]=0000000000000000 [hotspot-web]=0000000000000400) users=()
for unit in hotspot-manager hotspot-web; do
  [[ $(told "$unit" NoNewPrivs) == 1 ]] || fail "$unit could get new privileges"
  [[ $(told "$unit" Seccomp) == 2 ]] || fail "$unit may call anything"
  for set in CapEff CapPrm CapBnd; do
    [[ $(told "$unit" "$set") == "${capabilities[$unit]}" ]] || fail "$unit: $set is $(told "$unit" "$set")"
  done
  users[$unit]=$(told "$unit" Uid | cut -f 1)
  # The range of users that systemd makes up.
  ((users[$unit] >= 61184 && users[$unit] <= 65519)) || fail "$unit runs as ${users[$unit]}"
done
[[ ${users[hotspot-manager]} != "${users[hotspot-web]}" ]] || fail "both run as one user"
[[ $(stat -c %a /var/lib/private/hotspot) == 700 ]] || fail "others get at the database"

systemctl reload hotspot-web
await fetch --fail http://127.0.0.1:8080/login
systemctl restart hotspot-manager
await hotspotctl server show
[[ $(hotspotctl session list) == *anna* ]] || fail "the session is gone"
[[ $(fetch http://127.0.0.1:8080/status) == *'<h1>Your session</h1>'* ]] || fail "the guest is no longer logged in"

# A later version while guests are logged in: both services are started anew, and nobody notices.
declare -A before=()
for unit in hotspot-manager hotspot-web; do before[$unit]=$(of "$unit" MainPID); done
sh /upgrade.sh >/upgrade.log 2>&1 || { cat /upgrade.log; fail "the upgrade failed"; }
await hotspotctl server show
await fetch --fail http://127.0.0.1/login
for unit in hotspot-manager hotspot-web; do
  [[ $(of "$unit" ActiveState) == active ]] || fail "$unit does not run after the upgrade"
  [[ $(of "$unit" MainPID) != "${before[$unit]}" ]] || fail "$unit is still the old one"
done
[[ $(hotspotctl session list) == *anna* ]] || fail "the session is gone with the upgrade"
[[ $(fetch http://127.0.0.1:8080/status) == *'<h1>Your session</h1>'* ]] || fail "the guest is logged out by the upgrade"
[[ $(fetch http://127.0.0.1:8080/later.txt) == "of the later version" ]] || fail "the new pages are not served"
systemctl stop hotspot-web hotspot-manager
for unit in hotspot-manager hotspot-web; do
  [[ $(of "$unit" Result) == success && $(of "$unit" NRestarts) == 0 ]] || fail "$unit did not end well"
done
said=$(journalctl --no-pager --output=cat --unit=hotspot-manager --unit=hotspot-web)
! grep -E -i 'error|warning|not permitted|denied' <<<"$said" || fail "the programs complained"
echo fine
