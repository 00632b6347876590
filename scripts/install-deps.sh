#!/usr/bin/env bash
# Installs every Debian package that building, testing and benchmarking Sonvale needs.
# Idempotent: when everything is present it changes nothing. Works as root or through sudo.
set -euo pipefail

packages=(
  # toolchain
  g++ clang libclang-rt-14-dev cmake ninja-build pkg-config
  # libraries the program links
  qt6-base-dev libavformat-dev libavcodec-dev libswresample-dev libavutil-dev
  libsqlite3-dev libpulse-dev
  # tests: the framework and the tools that make real media files
  libgtest-dev ffmpeg flac pulseaudio pulseaudio-utils
  # the MPRIS tests: a private session bus and an MPRIS client
  dbus playerctl
  # benchmarks only
  libtag1-dev mpd
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}" >&2
if [ "$(id -u)" -eq 0 ]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "install-deps: missing packages (${missing[*]}) and neither root nor sudo" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
