#!/usr/bin/env bash
# The one list of the Debian 12 packages Vantrel needs to build, test and run.
# Installs only what is missing; does nothing (quickly) when everything is there.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config
  # tests and benchmarks
  libgtest-dev libgmock-dev nlohmann-json3-dev
  # pixels: scale/convert, overlay bitmaps and text
  libyuv-dev libcairo2-dev libpango1.0-dev fontconfig
  # fonts: the default sans face plus the key symbols (⌘ ⌥ ⎋ ⌧ ...) of the keystroke pill
  fonts-dejavu-core fonts-noto-core
  # images for tools and picture tests
  libpng-dev
  # the runtime: Qt event loop, D-Bus, main-thread tasks
  qt6-base-dev qcoro-qt6-dev
  # displays and screen capture on X11: RandR monitors, MIT-SHM
  libxcb1-dev libxcb-randr0-dev libxcb-shm0-dev
  # folders and desktop services: XDG user dirs, session bus, accessibility bus
  xdg-user-dirs dbus at-spi2-core
  # cameras and microphones: V4L2 headers (linux-libc-dev), udev hot-plug,
  # PulseAudio client, MJPEG decoding; Qt Quick for the camera preview
  linux-libc-dev libudev-dev libpulse-dev libavcodec-dev libavutil-dev qt6-declarative-dev
  # test sound server: a PulseAudio daemon with null sinks, pactl to change it
  pulseaudio pulseaudio-utils
  # recording: screen grabs with the pointer and our own windows left out,
  # HEVC and AAC muxed into MP4; ffmpeg/ffprobe for tests and the benchmark
  libxcb-xfixes0-dev libxcb-composite0-dev libxcb-res0-dev
  libavformat-dev libswresample-dev ffmpeg
  # test services: a virtual X server and xrandr to add and remove monitors
  xvfb x11-xserver-utils
  # input: XInput2 raw events, XKB state and layouts, XTest for tests that type and click
  libxcb-xinput-dev libxcb-xkb-dev libxcb-xtest0-dev libxkbcommon-dev libxkbcommon-x11-dev xkb-data xdotool
  # accessibility: AT-SPI2 client library; a GTK3 window from Debian's python for its tests
  libatspi2.0-dev python3-gi gir1.2-gtk-3.0
  # the app: the QML modules the control bar loads at run time (Controls need
  # their templates), and a Japanese font for the alerts under a Japanese locale
  qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtquick-controls
  qml6-module-qtquick-templates qml6-module-qtquick-layouts qml6-module-qtqml-workerscript
  fonts-ipafont-gothic
  # the app's tests: an XEmbed tray host for the tray icon, xwininfo for window geometry
  trayer x11-utils
  # a real terminal whose password prompt (echo off) the key input must hold back,
  # and setxkbmap for the layout tests
  xterm x11-xkb-utils
  # xinput: the input tests give a device a button map of its own (xmodmap,
  # in x11-xserver-utils, sets the core pointer's)
  xinput
  # the windows show our SVG icon (Qt's SVG image plugin); the update check
  # reads its feed with Qt Network (in qt6-base-dev)
  qt6-svg-dev
  # `make deb`: dpkg-shlibdeps computes the package's dependencies; the tests
  # validate the desktop entry and the AppStream metainfo.
  dpkg-dev fakeroot desktop-file-utils appstream
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing missing packages: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
