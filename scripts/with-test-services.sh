#!/usr/bin/env bash
# Runs a command with the services the tests stand on, and stops them again
# afterwards, also when the command fails or is interrupted:
#   - an X server: Xvfb on a free display, 1920x1080, with RandR;
#   - a D-Bus session bus with the accessibility bus (at-spi-bus-launcher);
#   - a PulseAudio daemon with null sinks and a virtual microphone.
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

# A PulseAudio daemon of our own on a socket in the work folder, with
# two null sinks, `rec_sink` and `mic_feed`, and `virtual_mic`, a source
# remapped from mic_feed's monitor, so that microphones can be listed and fed.
start_sound_server() {
    pulseaudio -n --daemonize=no --exit-idle-time=-1 --disallow-exit --use-pid-file=no \
        -L "module-native-protocol-unix auth-anonymous=1 socket=$work/pulse.sock" \
        -L "module-null-sink sink_name=rec_sink rate=48000" \
        -L "module-null-sink sink_name=mic_feed" \
        -L "module-remap-source master=mic_feed.monitor source_name=virtual_mic" \
        >"$work/pulse.log" 2>&1 &
    pids+=($!)
    export PULSE_SERVER="unix:$work/pulse.sock"
    for _ in $(seq 100); do
        pactl info >/dev/null 2>&1 && return
        sleep 0.1
    done
    echo "pulseaudio did not start:" >&2
    cat "$work/pulse.log" >&2
    exit 1
}

mkdir -m 700 "$work/runtime"
export XDG_RUNTIME_DIR="$work/runtime"
export QT_QPA_PLATFORM=xcb
start_x_server
start_session_bus
start_sound_server

set +e
"$@"
status=$?
set -e
exit $status
