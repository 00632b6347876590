#!/usr/bin/env bash
# Installs what is missing, builds, runs every test and checks the installed files and the Debian
# package (scripts/check-package.sh); then runs every test again under AddressSanitizer and
# UndefinedBehaviorSanitizer. The tests run on a private session bus (scripts/with-dbus.sh)
# against a private sound server (scripts/with-pulseaudio.sh). Exits non-zero when anything fails.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

jobs=$(nproc)
cmake --preset release
cmake --build --preset release -j "$jobs"
scripts/with-dbus.sh scripts/with-pulseaudio.sh ctest --preset release -j "$jobs"
scripts/check-package.sh build/release

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake --preset sanitize
cmake --build --preset sanitize -j "$jobs"
scripts/with-dbus.sh scripts/with-pulseaudio.sh ctest --preset sanitize -j "$jobs"
