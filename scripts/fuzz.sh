#!/bin/sh
# Builds the libFuzzer targets with clang and runs each for a while.
#   scripts/fuzz.sh [SECONDS [TARGET...]]    (default 60 s each; targets: mime_parser,
#                                             header_decoder, date_reader, sql_translator,
#                                             mbox_splitter, vcard_reader)
# Inputs that crash are copied to tests/formats/fuzz_regressions/ (named after the target),
# which the reader's unit test replays. The growing corpora live in the build folder; the
# reader's is seeded from samples/ and from the shared corpus of real mail beside the
# repository when it is there.
set -eu
seconds="${1:-60}"
[ $# -gt 0 ] && shift
targets="${*:-mime_parser header_decoder date_reader sql_translator mbox_splitter vcard_reader}"
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${RAVELIN_FUZZ_BUILD:-$root/build-fuzz}"
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DRAVELIN_FUZZ=ON -DRAVELIN_TESTS=OFF -DRAVELIN_BENCH=OFF >/dev/null
cmake --build "$build" -j2 --target $(for t in $targets; do printf 'fuzz_%s ' "$t"; done)

status=0
found=0
for t in $targets; do
  corpus="$build/fuzz-corpus/$t"
  artifacts="$build/fuzz-artifacts/$t/"
  mkdir -p "$corpus" "$artifacts"
  if [ "$t" = mime_parser ]; then
    for seed in "$root"/samples/*.eml "$root"/tests/formats/fuzz_regressions/* "$root"/../shared/corpus/*/*; do
      [ -f "$seed" ] && cp -n "$seed" "$corpus/" 2>/dev/null || true
    done
  fi
  if [ "$t" = vcard_reader ]; then
    for seed in "$root"/tests/formats/vcards/*.vcf "$root"/tests/formats/fuzz_regressions/vcard_reader-*; do
      [ -f "$seed" ] && cp -n "$seed" "$corpus/" 2>/dev/null || true
    done
  fi
  log="$build/fuzz-$t.log"
  # libFuzzer reports every new input; its log goes to a file and only a failure is shown.
  rc=0
  "$build/fuzz/fuzz_$t" "$corpus" -max_total_time="$seconds" -max_len=65536 -timeout=10 \
    -rss_limit_mb=2048 -artifact_prefix="$artifacts" >"$log" 2>&1 || rc=$?
  if [ "$rc" -ne 0 ]; then tail -n 60 "$log"; status=$rc; fi
  for crash in "$artifacts"crash-* "$artifacts"timeout-* "$artifacts"oom-* "$artifacts"leak-*; do
    [ -f "$crash" ] || continue
    cp "$crash" "$root/tests/formats/fuzz_regressions/$t-$(basename "$crash")"
    found=$((found + 1))
  done
  echo "fuzz: $t ran ${seconds}s"
done
echo "fuzz: kept $found failing input(s) in tests/formats/fuzz_regressions/"
exit $status
