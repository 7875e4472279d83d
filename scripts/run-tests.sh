#!/usr/bin/env bash
# Runs every test of a built tree. Tests that need a display or an audio
# server start them through their own fixtures; this script only runs ctest.
set -euo pipefail
tree=${1:?usage: run-tests.sh BUILD_TREE}
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
ctest --test-dir "$tree" --output-on-failure -j "$(nproc)"
