#!/usr/bin/env bash
# Sets up, builds the library and the command-line program, and runs the main job: the
# program reads the saved OData feed in examples/ and prints its channel, entries and events.
#
#   scripts/run.sh [quillon arguments...]    run the program with other arguments instead
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

build=build
jobs="$(nproc 2>/dev/null || echo 2)"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUILLON_TESTS=OFF -DQUILLON_BENCH=OFF >/dev/null
cmake --build "$build" -j "$jobs" --target quillon_cli

if [ $# -gt 0 ]; then
  exec "$build/tools/quillon" "$@"
fi
exec "$build/tools/quillon" -c ReadFile=examples/products-feed.xml
