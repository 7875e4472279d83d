#!/bin/bash
# Installs the build into a temporary prefix and checks what a desktop finds
# there: the programs, a valid desktop entry whose icon and command exist, a
# valid metainfo naming that entry.
set -euo pipefail
build="$1"
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

fail() { echo "FAIL: $*" >&2; exit 1; }
id=app.vantrel.Vantrel
desktop="$prefix/share/applications/$id.desktop"
metainfo="$prefix/share/metainfo/$id.metainfo.xml"
icon="$prefix/share/icons/hicolor/scalable/apps/$id.svg"

[ -x "$prefix/bin/vantrel-record" ] || fail "vantrel-record not installed"
[ -f "$desktop" ] || fail "no desktop entry"
desktop-file-validate "$desktop" || fail "desktop entry invalid"
grep -qx 'Categories=AudioVideo;Recorder;' "$desktop" || fail "desktop entry not in AudioVideo;Recorder"
grep -qx "Icon=$id" "$desktop" || fail "desktop entry names another icon"
[ -s "$icon" ] || fail "no icon"
grep -q '<svg' "$icon" || fail "icon is not an SVG"
command=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")
if [ -f "$build/bin/$command" ]; then
    [ -x "$prefix/bin/$command" ] || fail "the desktop entry starts $command, which is built but not installed"
fi
appstreamcli validate --no-net "$metainfo" >/dev/null || { appstreamcli validate --no-net "$metainfo"; fail "metainfo invalid"; }
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" || fail "metainfo names another desktop entry"
grep -q '<release version="[0-9]' "$metainfo" || fail "metainfo has no release version"
echo "install tree OK: $(cd "$prefix" && find . -type f | sort | tr '\n' ' ')"
