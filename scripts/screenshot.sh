#!/usr/bin/env bash
# screenshot.sh [OUT.png]: takes the README's picture of the main window. Builds the release
# preset, makes a small album of tagged FLAC files with a cover, starts Sonvale on them under a
# private X server (Xvfb) and sound server, lets it play a few seconds and saves the window.
# Nothing of the user's own data is touched: the program runs with a temporary HOME.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$(realpath -m "${1:-docs/main-window.png}")
mkdir -p "$(dirname "$out")"
bash scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target sonvale >/dev/null

work=$(mktemp -d "${TMPDIR:-/tmp}/sonvale-shot-XXXXXX")
trap 'rm -rf "$work"' EXIT
export HOME="$work/home" XDG_DATA_HOME="$work/home/data" XDG_CONFIG_HOME="$work/home/config"
export XDG_CACHE_HOME="$work/home/cache"
mkdir -p "$HOME" "$work/music"

ffmpeg -hide_banner -loglevel error -f lavfi -i "gradients=s=600x600:c0=0x1d3557:c1=0xe76f51:x0=0:y0=0:x1=600:y1=600:d=1" \
  -frames:v 1 "$work/cover.png"
titles=("Harbour Lights" "Paper Kites" "The Long Way Home" "Cold Coffee" "Amber" "Small Hours"
        "Lanterns" "Salt and Stone" "Late Train" "Quiet Rooms" "Northern Sky" "Undertow")
for i in "${!titles[@]}"; do
  n=$((i + 1))
  ffmpeg -hide_banner -loglevel error -f lavfi -i "sine=frequency=$((220 + 30 * n)):duration=$((150 + 17 * n))" \
    -i "$work/cover.png" -map 0:a -map 1:v -c:a flac -c:v png -disposition:v attached_pic \
    -metadata title="${titles[$i]}" -metadata artist="Mira Holm" -metadata album="Harbour Lights" \
    -metadata track="$n" "$work/music/$(printf '%02d' "$n") ${titles[$i]}.flac"
done

# The part that runs inside the private X and sound servers.
cat >"$work/inner.sh" <<'INNER'
set -euo pipefail
build/release/src/app/sonvale "$work/music" &
pid=$!
xdotool search --sync --onlyvisible --name 'Sonvale' >/dev/null
# A few seconds in, with the labels, cover and position settled.
sleep 4
window=$(xdotool search --onlyvisible --name 'Sonvale' | head -1)
import -window "$window" "$out"
kill "$pid"
wait "$pid" || true
INNER
export work out
xvfb-run -a -s "-screen 0 1280x900x24" scripts/with-pulseaudio.sh bash "$work/inner.sh"
echo "screenshot: $out"
