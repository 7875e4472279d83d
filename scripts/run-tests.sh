#!/usr/bin/env bash
# Runs every test of a built tree, inside the services the tests stand on (an
# X server, a session bus with the accessibility bus): with-test-services.sh
# starts them and stops them again, also when a test fails. Tests that change
# global X state (monitors) start an X server of their own.
set -euo pipefail
tree=${1:?usage: run-tests.sh BUILD_TREE}
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
here=$(cd "$(dirname "$0")" && pwd)
exec bash "$here/with-test-services.sh" ctest --test-dir "$tree" --output-on-failure -j "$(nproc)"
