#!/usr/bin/env bash
# The headless run of `make run` on a machine without a display: a ten-second recording
# of the primary monitor with vantrel-record (Ctrl+C stops it earlier and
# still finishes the file). The file lands in the Documents folder, or in
# the folder chosen in the settings. Without a display, a virtual one
# (Xvfb, with a sound server) is recorded instead.
set -euo pipefail
bin=${1:?usage: run-record.sh BIN_DIR}
seconds=${VANTREL_RUN_SECONDS:-10}

if [ -n "${DISPLAY:-}" ]; then
    echo "Recording the screen for $seconds s; Ctrl+C stops it earlier."
    exec "$bin/vantrel-record" --seconds "$seconds"
fi
echo "No DISPLAY: recording a virtual screen (Xvfb) for $seconds s instead."
exec bash scripts/with-test-services.sh "$bin/vantrel-record" --seconds "$seconds"
