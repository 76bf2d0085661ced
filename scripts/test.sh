#!/usr/bin/env bash
# Sets up what is missing, builds Ravelin with AddressSanitizer and UndefinedBehaviorSanitizer,
# and runs every test. Extra arguments go to ctest (e.g. -R Codecs).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DRAVELIN_SANITIZE=ON -DRAVELIN_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan --output-on-failure -j"$jobs" "$@"
# A short fuzzing run of the message parser, when the fuzzer can be built here.
if [ -x scripts/fuzz.sh ] && [ $# -eq 0 ]; then
  ./scripts/fuzz.sh "${RAVELIN_FUZZ_SECONDS:-60}"
fi
