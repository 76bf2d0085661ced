#!/bin/sh
# Builds the libFuzzer target of the message reader with clang and runs it for a while.
#   scripts/fuzz.sh [SECONDS]        (default 60)
# Inputs that crash are copied to tests/formats/fuzz_regressions/, which the reader's
# unit test replays. The growing corpus lives in the build folder, seeded from samples/
# and from the shared corpus of real mail beside the repository when it is there.
set -eu
seconds="${1:-60}"
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${RAVELIN_FUZZ_BUILD:-$root/build-fuzz}"
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DRAVELIN_FUZZ=ON -DRAVELIN_TESTS=OFF -DRAVELIN_BENCH=OFF >/dev/null
cmake --build "$build" --target fuzz_mime_parser -j2

corpus="$build/fuzz-corpus/mime_parser"
artifacts="$build/fuzz-artifacts/"
mkdir -p "$corpus" "$artifacts"
for seed in "$root"/samples/*.eml "$root"/tests/formats/fuzz_regressions/* "$root"/../shared/corpus/*/*; do
  [ -f "$seed" ] && cp -n "$seed" "$corpus/" 2>/dev/null || true
done

status=0
log="$build/fuzz-mime_parser.log"
# libFuzzer reports every new input; its log goes to a file and only a failure is shown.
"$build/fuzz/fuzz_mime_parser" "$corpus" -max_total_time="$seconds" -max_len=65536 -timeout=10 \
  -rss_limit_mb=2048 -artifact_prefix="$artifacts" >"$log" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then tail -n 60 "$log"; fi

found=0
for crash in "$artifacts"crash-* "$artifacts"timeout-* "$artifacts"oom-* "$artifacts"leak-*; do
  [ -f "$crash" ] || continue
  cp "$crash" "$root/tests/formats/fuzz_regressions/"
  found=$((found + 1))
done
echo "fuzz: ran ${seconds}s, kept $found failing input(s) in tests/formats/fuzz_regressions/"
exit $status
