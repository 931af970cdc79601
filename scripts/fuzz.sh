#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time on its seed corpus.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]
#
# SECONDS defaults to 30 per target. With no TARGET every fuzz_* target runs. Seeds come from
# tests/fuzz/seeds/<Target>/; new inputs that libFuzzer finds go to build-fuzz/corpus/<Target>/,
# crashes to build-fuzz/crashes/. Exit status is non-zero when any target fails.
# FUZZ_EXTRA_SEEDS names more seed folders (separated by ':'), read but never written, such as
# the real documents: FUZZ_EXTRA_SEEDS=../shared/corpus/atom scripts/fuzz.sh 600 XmlParserFuzz
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-30}"
shift || true
build=build-fuzz
jobs="$(nproc 2>/dev/null || echo 2)"

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DQUILLON_FUZZ=ON -DQUILLON_TESTS=ON -DQUILLON_BENCH=OFF >/dev/null

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in tests/fuzz/*Fuzz.cpp; do
    [ -e "$source" ] || continue
    targets+=("$(basename "$source" .cpp)")
  done
fi
if [ ${#targets[@]} -eq 0 ]; then
  echo "fuzz: no targets"
  exit 0
fi

cmake --build "$build" -j "$jobs" --target $(printf 'fuzz_%s ' "${targets[@]}")

status=0
mkdir -p "$build/crashes"
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  seeds="tests/fuzz/seeds/$target"
  mkdir -p "$corpus"
  dirs=("$corpus")
  [ -d "$seeds" ] && dirs+=("$seeds")
  IFS=: read -r -a extra <<< "${FUZZ_EXTRA_SEEDS:-}"
  for dir in "${extra[@]}"; do
    [ -d "$dir" ] && dirs+=("$dir")
  done
  echo "fuzz: $target for ${seconds}s"
  if ! "$build/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
      -artifact_prefix="$build/crashes/$target-" -print_final_stats=1 "${dirs[@]}" \
      >"$build/$target.log" 2>&1; then
    echo "fuzz: $target FAILED; see $build/$target.log"
    tail -n 40 "$build/$target.log"
    status=1
  fi
done
exit $status
