#!/usr/bin/env bash
# What `make run` starts: the app on the user's display. Without a display
# (a server, a fresh container) it says so and records a virtual screen with
# the headless recorder instead, so that the main job still visibly works.
set -euo pipefail
bin=${1:?usage: run-app.sh BIN_DIR}

if [ -n "${DISPLAY:-}" ]; then
    echo "Starting Vantrel: its icon is in the tray; Ctrl+Alt+R starts and stops a recording."
    exec "$bin/vantrel"
fi
# run-record.sh says in one line that it records a virtual screen instead.
exec bash scripts/run-record.sh "$bin"
