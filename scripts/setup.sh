#!/usr/bin/env bash
# Installs, from Debian's packages, everything Ravelin needs to build, test and benchmark.
# Idempotent: when every package is present it installs nothing and touches no list.
set -euo pipefail

packages=(
  g++ cmake make pkg-config
  libsqlite3-dev libicu-dev libssl-dev libboost1.81-dev
  libgumbo-dev
  libgd-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  python3-aiosmtpd
)
# Only for comparison benchmarks against a peer implementation.
bench_packages=(libgmime-3.0-dev)
# Only for the browser tests of the viewer (driven by playwright-core from npm, below).
browser_packages=(chromium)

missing=()
for p in "${packages[@]}" "${bench_packages[@]}" "${browser_packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}" >&2
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# playwright-core for the browser tests, at the version tests/browser/package-lock.json
# pins; node and npm from Debian when the machine has none.
browser_dir="$(dirname "$0")/../tests/browser"
if [ ! -d "$browser_dir/node_modules/playwright-core" ]; then
  if ! command -v npm >/dev/null 2>&1; then
    export DEBIAN_FRONTEND=noninteractive
    $SUDO apt-get update -qq
    $SUDO apt-get install -y -qq --no-install-recommends nodejs npm >/dev/null
  fi
  echo "setup: installing playwright-core for the browser tests" >&2
  (cd "$browser_dir" && npm ci --no-audit --no-fund --silent)
fi
