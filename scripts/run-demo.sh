#!/usr/bin/env bash
# What `make run` starts until the app exists: the built-in demo (a pointer
# flight, clicks, typing in a field) replayed through the frame engine.
set -euo pipefail
bin=${1:?usage: run-demo.sh BIN_DIR}
out=build/demo
rm -rf "$out/frames"
"$bin/vantrel-render" --demo --size 1280x720 \
    --frames-dir "$out/frames" --camera-path "$out/camera-path.jsonl" --contact-sheet "$out/contact-sheet.png"
echo "frames:        $out/frames/"
echo "contact sheet: $out/contact-sheet.png"
echo "camera path:   $out/camera-path.jsonl"
