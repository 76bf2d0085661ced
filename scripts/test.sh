#!/usr/bin/env bash
# Sets up what is missing, builds Ravelin with AddressSanitizer and UndefinedBehaviorSanitizer,
# runs a short fuzzing run of the message reader, then every test. Extra arguments go to
# ctest (e.g. -R Codecs) and skip the fuzzing run.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DRAVELIN_SANITIZE=ON -DRAVELIN_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
fuzz_status=0
if [ $# -eq 0 ]; then
  ./scripts/fuzz.sh "${RAVELIN_FUZZ_SECONDS:-15}" || fuzz_status=$?
fi
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan --output-on-failure -j"$jobs" "$@"
if [ "$fuzz_status" -ne 0 ]; then
  echo "the fuzzing run failed (exit $fuzz_status); see above" >&2
  exit "$fuzz_status"
fi
