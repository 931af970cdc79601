#!/usr/bin/env bash
# Sets up, builds with warnings as errors under AddressSanitizer and UndefinedBehaviorSanitizer,
# and runs the whole test suite, then each fuzz target briefly. This is what CI runs.
#
#   scripts/test.sh            everything
#   QUILLON_FUZZ_SECONDS=0 scripts/test.sh    skip the fuzz run
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

build=build-asan
jobs="$(nproc 2>/dev/null || echo 2)"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DQUILLON_SANITIZE=ON -DQUILLON_WERROR=ON \
  -DQUILLON_BENCH=ON >/dev/null
cmake --build "$build" -j "$jobs"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
ctest --test-dir "$build" --output-on-failure -j "$jobs" --timeout 300

# The package: installed into a fresh prefix, a host program built against it both ways.
scripts/check-install.sh

fuzz_seconds="${QUILLON_FUZZ_SECONDS:-20}"
if [ "$fuzz_seconds" != "0" ]; then
  scripts/fuzz.sh "$fuzz_seconds"
fi
echo "test: all passed"
