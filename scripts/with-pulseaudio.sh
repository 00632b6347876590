#!/usr/bin/env bash
# with-pulseaudio.sh CMD...: runs CMD with PULSE_SERVER pointing at a private PulseAudio server
# that has two null sinks, "one" (the default) and "two", and stops the server afterwards. The
# default source is a silent one, so that recorders of the sinks' monitors stay where they are
# when the default sink changes.
# Nothing of the user's own sound setup is touched. Works as root (where pulseaudio only warns)
# and as a normal user. Exits with CMD's status.
set -euo pipefail
if [ $# -eq 0 ]; then
  echo "usage: $0 CMD..." >&2
  exit 2
fi

dir=$(mktemp -d "${TMPDIR:-/tmp}/sonvale-pulse-XXXXXX")
chmod 700 "$dir"
mkdir -m 700 "$dir/runtime" "$dir/home"
pid=
cleanup() {
  if [ -n "$pid" ]; then
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  fi
  rm -rf "$dir"
}
trap cleanup EXIT INT TERM

# Only the listed modules: no hardware, no D-Bus, no session integration. Anonymous access
# spares the clients the cookie, whose HOME the tests move elsewhere.
(
  export HOME="$dir/home" XDG_RUNTIME_DIR="$dir/runtime" PULSE_RUNTIME_PATH="$dir/runtime/pulse"
  export PULSE_STATE_PATH="$dir/state" XDG_CONFIG_HOME="$dir/home/.config"
  unset DBUS_SESSION_BUS_ADDRESS
  exec pulseaudio -n --daemonize=no --exit-idle-time=-1 --disable-shm=yes --use-pid-file=no \
    --system=no --log-target=file:"$dir/pulse.log" \
    -L "module-native-protocol-unix auth-anonymous=1 socket=$dir/runtime/native" \
    -L "module-null-sink sink_name=one" \
    -L "module-null-sink sink_name=two" \
    -L "module-null-source source_name=silence"
) &
pid=$!

export PULSE_SERVER="unix:$dir/runtime/native"
for _ in $(seq 100); do
  if pactl info >/dev/null 2>&1; then break; fi
  if ! kill -0 "$pid" 2>/dev/null; then
    echo "with-pulseaudio: the server did not start:" >&2
    cat "$dir/pulse.log" >&2 || true
    exit 1
  fi
  sleep 0.1
done
pactl set-default-sink one
pactl set-default-source silence

status=0
"$@" || status=$?
exit "$status"
