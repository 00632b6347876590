#!/usr/bin/env bash
# check-package.sh BUILD_DIR: installs a built tree into a scratch folder and validates its desktop
# entry and AppStream metainfo, then makes the Debian package with CPack and checks its control
# fields and contents. BUILD_DIR must be built already. Exits non-zero at the first fault.
set -euo pipefail
if [ $# -ne 1 ]; then
  echo "usage: $0 BUILD_DIR" >&2
  exit 2
fi
build=$(cd "$1" && pwd)

work=$(mktemp -d "${TMPDIR:-/tmp}/sonvale-package-XXXXXX")
trap 'rm -rf "$work"' EXIT
fail() {
  echo "check-package: $*" >&2
  exit 1
}
# Runs a command and shows what it printed only when it fails.
quiet() {
  "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; return 1; }
}

quiet cmake --install "$build" --prefix "$work/staging" || fail "cmake --install failed"
# desktop-file-validate exits 0 on warnings and on some errors, so anything it says but a hint
# is a fault; appstreamcli fails on its own with --strict (everything but pedantic notes).
desktop=$work/staging/share/applications/org.sonvale.Sonvale.desktop
said=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate failed: $said"
if grep -v ': hint: ' <<<"$said" | grep -q .; then
  fail "the desktop entry does not validate:"$'\n'"$said"
fi
metainfo=$work/staging/share/metainfo/org.sonvale.Sonvale.metainfo.xml
quiet appstreamcli validate --no-net --strict "$metainfo" || fail "the metainfo does not validate"

# The package, made where the build's CPack configuration lives, written to a scratch folder.
(cd "$build" && quiet cpack -G DEB -B "$work/out") || fail "cpack failed"
debs=("$work"/out/sonvale_*.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || fail "cpack made no single sonvale_*.deb"
deb=${debs[0]}

[ "$(dpkg-deb -f "$deb" Package)" = sonvale ] || fail "the package is not named sonvale"
depends=$(dpkg-deb -f "$deb" Depends)
[ -n "$depends" ] || fail "the package has no Depends"
version=$(dpkg-deb -f "$deb" Version)
# Software centres show the metainfo's releases: the one being packaged must be listed.
grep -q "<release version=\"$version\"" "$metainfo" || fail "the metainfo lists no release $version"

expected=(
  usr/bin/sonvale-cli
  usr/share/applications/org.sonvale.Sonvale.desktop
  usr/share/icons/hicolor/scalable/apps/org.sonvale.Sonvale.svg
  usr/share/metainfo/org.sonvale.Sonvale.metainfo.xml
)
# The desktop program is in the package whenever the build has its target (Ninja lists it as
# "sonvale: phony", Make as "... sonvale").
targets=$(cmake --build "$build" --target help)
if grep -qE '^(\.\.\. )?sonvale(:| |$)' <<<"$targets"; then
  expected+=(usr/bin/sonvale)
fi
contents=$(dpkg-deb -c "$deb" | awk '{ print $NF }' | sed 's|^\./||')
for path in "${expected[@]}"; do
  grep -qxF "$path" <<<"$contents" || fail "$(basename "$deb") lacks $path"
done

echo "$(basename "$deb"): Depends: $depends"
echo "package check: ok"
