#!/bin/bash
# Starts manager and web server as their units say, where systemd does not run, and plays a guest. Run by chroot_test.sh
# as root in a new Debian, in name spaces of its own.
set -euo pipefail

fail() {
  echo "portal_in_root.sh: $*" >&2
  tail -n 20 /tmp/hotspot-*.log >&2
  exit 1
}

# value UNIT KEY: the setting's value in the unit.
value() { sed -n "s/^$2=//p" "/lib/systemd/system/$1.service"; }

# Starts a unit as systemd would: its own user, the groups, the directories, no privilege but those that it names.
declare -A started=()
start() {
  local unit=$1 user=$2 groups="" capabilities="" directory member
  for member in $(value "$unit" SupplementaryGroups); do
    groups+=${groups:+,}$(getent group "$member" | cut -d: -f3)
  done
  for directory in $(value "$unit" StateDirectory); do
    install -d -m "$(value "$unit" StateDirectoryMode)" -o "$user" -g "$user" "/var/lib/$directory"
  done
  for directory in $(value "$unit" RuntimeDirectory); do
    install -d -m 0755 -o "$user" -g "$user" "/run/$directory"
  done
  for member in $(value "$unit" AmbientCapabilities); do
    capabilities+=,+${member,,}
  done
  capabilities=${capabilities//+cap_/+}
  # shellcheck disable=SC2046  # the words of the command
  setpriv --reuid "$user" --regid "$user" --groups "$groups" --no-new-privs --bounding-set "-all$capabilities" \
    --inh-caps "-all$capabilities" --ambient-caps "-all$capabilities" \
    $(value "$unit" ExecStart) >"/tmp/$unit.log" 2>&1 </dev/null &
  started[$unit]=$!
}
await() {
  local unit=$1
  shift
  for ((i = 0; i < 1200; i++)); do
    kill -0 "${started[$unit]}" 2>/dev/null || fail "$unit has ended"
    ! "$@" >/dev/null 2>&1 || return 0
    sleep 0.1
  done
  fail "$unit does not answer: $*"
}
fetch() { curl --silent --show-error --max-time 60 "$@"; }

start hotspot-manager 61184
await hotspot-manager hotspotctl server show
start hotspot-web 61185
await hotspot-web fetch http://127.0.0.1:8080/login

[[ $(hotspotctl --json user list) == "[]" ]] || fail "there is a user though nobody added one: $(hotspotctl --json user list)"
echo "a password" | hotspotctl user add anna >/dev/null
[[ $(fetch http://127.0.0.1:8080/login) == *'name="username"'* ]] || fail "the login page has no form"
led=$(fetch --output /dev/null --write-out '%{http_code} %{redirect_url}' --header 'Host: www.example.com' \
  http://127.0.0.1:8080/news)
[[ $led == "302 http://127.0.0.1:8080/login?dst="* ]] || fail "a request for another site got $led"
# The certificate that was made is this machine's own.
trusted=(--cacert /etc/hotspot/certificate.pem)
login() {
  fetch "${trusted[@]}" --data-urlencode username=anna --data-urlencode "password=$1" https://127.0.0.1:8443/login
}
[[ $(login wrong) != *'<h1>You are logged in</h1>'* ]] || fail "logged in with a wrong password"
[[ $(login "a password") == *'<h1>You are logged in</h1>'* ]] || fail "not logged in"
[[ $(hotspotctl session list) == *anna* ]] || fail "there is no session"

# A port below 1024 with what the unit gives, and a reload as the unit does it.
cat >>/etc/hotspot/web.toml <<'TOML'

[[listen]]
address = "127.0.0.1"
port = 80
TOML
[[ $(value hotspot-web ExecReload) == "/bin/kill -HUP \$MAINPID" ]] || fail "another reload than this test knows"
kill -HUP "${started[hotspot-web]}"
await hotspot-web fetch --fail http://127.0.0.1/login

# Neither has what is the other's; nobody else has anything.
as() { setpriv --reuid "$1" --regid "$1" --groups "$2" --no-new-privs "${@:3}"; }
portal=$(getent group hotspot | cut -d: -f3)
! as 61185 "$portal" ls /var/lib/hotspot >/dev/null 2>&1 || fail "the web server's user gets at the database"
! as 61184 "$portal" cat /etc/hotspot/key.pem >/dev/null 2>&1 || fail "the manager's user reads the key"
! as 65534 65534 cat /etc/hotspot/key.pem >/dev/null 2>&1 || fail "anybody reads the key"
! as 65534 65534 hotspotctl server show >/dev/null 2>&1 || fail "anybody may administrate"
! as 61185 "$portal" hotspotctl server show >/dev/null 2>&1 || fail "the web server may administrate"

for unit in hotspot-web hotspot-manager; do
  kill -TERM "${started[$unit]}"
  wait "${started[$unit]}" || fail "$unit ended with status $?"
done
! grep -E -i 'error|warning' /tmp/hotspot-*.log || fail "the programs complained"
rm /tmp/hotspot-*.log
rmdir /run/hotspot
echo "logged in as anna"
