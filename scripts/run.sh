#!/usr/bin/env bash
# Sets up what is missing, builds Ravelin, creates the mail store in its default place,
# imports the sample letters and lists the Inbox. Pass --home DIR to use another store.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DRAVELIN_TESTS=OFF -DRAVELIN_BENCH=OFF >/dev/null
cmake --build build -j"$jobs" --target ravelin_cli
ravelin=build/apps/ravelin/ravelin
"$ravelin" "$@" init
# The samples go into a store only once: a second run finds them and leaves them alone.
if [ "$("$ravelin" "$@" list --all --json --folder Inbox)" = "[]" ]; then
  "$ravelin" "$@" import samples/
fi
"$ravelin" "$@" list --folder Inbox
"$ravelin" "$@" where
