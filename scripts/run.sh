#!/usr/bin/env bash
# Installs what is missing, builds the release preset and starts Sonvale, the desktop player,
# with the given files, folders and M3U playlists. The headless face is
# build/release/src/cli/sonvale-cli.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release >/dev/null
exec build/release/src/app/sonvale "$@"
