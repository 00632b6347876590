#!/usr/bin/env bash
# with-dbus.sh CMD...: runs CMD on a private D-Bus session bus (DBUS_SESSION_BUS_ADDRESS points
# at it, SONVALE_PRIVATE_BUS is set so that tests know the bus is theirs) and stops the bus
# afterwards. The bus starts no services of its own (no activation directories), so nothing of
# the user's session is reached or started. Chains with the sound server:
#   scripts/with-dbus.sh scripts/with-pulseaudio.sh ctest ...
# Exits with CMD's status.
set -euo pipefail
if [ $# -eq 0 ]; then
  echo "usage: $0 CMD..." >&2
  exit 2
fi

dir=$(mktemp -d "${TMPDIR:-/tmp}/sonvale-dbus-XXXXXX")
chmod 700 "$dir"
pid=
cleanup() {
  if [ -n "$pid" ]; then
    kill "$pid" 2>/dev/null || true
  fi
  rm -rf "$dir"
}
trap cleanup EXIT INT TERM

cat >"$dir/bus.conf" <<EOF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$dir/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
EOF

# --fork returns once the bus listens; the address and process id come on one line each.
if ! out=$(dbus-daemon --config-file="$dir/bus.conf" --fork --nopidfile --nosyslog \
             --print-address=1 --print-pid=1); then
  echo "with-dbus: the bus did not start" >&2
  exit 1
fi
address=$(sed -n 1p <<<"$out")
pid=$(sed -n 2p <<<"$out")
export DBUS_SESSION_BUS_ADDRESS="$address" SONVALE_PRIVATE_BUS=1

status=0
"$@" || status=$?
exit "$status"
