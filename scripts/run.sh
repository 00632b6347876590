#!/usr/bin/env bash
# Installs what is missing, builds the release preset and runs Sonvale with the given arguments.
# Until the windows exist, Sonvale is its command-line face, sonvale-cli.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release >/dev/null
exec build/release/src/cli/sonvale-cli "$@"
