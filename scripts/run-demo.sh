#!/usr/bin/env bash
# What `make run` starts until the app exists: the built-in demo (a pointer
# flight, clicks, a rest on a button, typing in a field) replayed through the
# frame engine with every overlay on.
set -euo pipefail
bin=${1:?usage: run-demo.sh BIN_DIR}
out=build/demo
rm -rf "$out/frames"
mkdir -p "$out"
cat > "$out/settings.json" <<'JSON'
{"enableAutoZoom": true, "showMouseClicks": true, "showKeystrokes": true,
 "enableCursorFollowText": true, "webcamPosition": "bottomRight"}
JSON
"$bin/vantrel-render" --demo --size 1280x720 --settings "$out/settings.json" --webcam synthetic \
    --frames-dir "$out/frames" --camera-path "$out/camera-path.jsonl" --contact-sheet "$out/contact-sheet.png"
echo "frames:        $out/frames/"
echo "contact sheet: $out/contact-sheet.png"
echo "camera path:   $out/camera-path.jsonl"
