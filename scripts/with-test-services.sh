#!/usr/bin/env bash
# Runs a command with the services the tests stand on, and stops them again
# afterwards, also when the command fails or is interrupted:
#   - an X server: Xvfb on a free display, 1920x1080, with RandR;
#   - a D-Bus session bus with the accessibility bus (at-spi-bus-launcher).
# Usage: scripts/with-test-services.sh COMMAND [ARGS...]
set -euo pipefail
[ $# -gt 0 ] || { echo "usage: $0 COMMAND [ARGS...]" >&2; exit 2; }

work=$(mktemp -d -t vantrel-services-XXXXXX)
pids=()

cleanup() {
    local pid
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
        pid=${pids[i]}
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# The X server. -noreset keeps monitors that tests add with xrandr after the
# last client leaves; -displayfd picks a free display number.
start_x_server() {
    Xvfb -displayfd 3 -screen 0 1920x1080x24 +extension RANDR -nolisten tcp -noreset \
        3>"$work/display" >"$work/xvfb.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 100); do
        [ -s "$work/display" ] && break
        sleep 0.1
    done
    [ -s "$work/display" ] || { echo "Xvfb did not start:" >&2; cat "$work/xvfb.log" >&2; exit 1; }
    export DISPLAY=":$(head -n1 "$work/display")"
}

# The session bus and, on it, the accessibility bus, switched on.
start_session_bus() {
    dbus-daemon --session --nofork --print-address=3 3>"$work/bus" >/dev/null 2>&1 &
    pids+=($!)
    for _ in $(seq 100); do
        [ -s "$work/bus" ] && break
        sleep 0.1
    done
    [ -s "$work/bus" ] || { echo "dbus-daemon did not start" >&2; exit 1; }
    DBUS_SESSION_BUS_ADDRESS="$(head -n1 "$work/bus")"
    export DBUS_SESSION_BUS_ADDRESS
    /usr/libexec/at-spi-bus-launcher --launch-immediately --a11y=1 >"$work/at-spi.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 100); do
        dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
            org.freedesktop.DBus.GetNameOwner string:org.a11y.Bus >/dev/null 2>&1 && return
        sleep 0.1
    done
    echo "at-spi-bus-launcher did not start:" >&2
    cat "$work/at-spi.log" >&2
    exit 1
}

# A sound server goes here when the audio tests arrive: start it in a
# function like the two above, add its pid to `pids`, export PULSE_SERVER.

mkdir -m 700 "$work/runtime"
export XDG_RUNTIME_DIR="$work/runtime"
export QT_QPA_PLATFORM=xcb
start_x_server
start_session_bus

set +e
"$@"
status=$?
set -e
exit $status
