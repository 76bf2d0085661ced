#!/usr/bin/env bash
# Installs, from Debian's packages, everything Ravelin needs to build, test and benchmark.
# Idempotent: when every package is present it installs nothing and touches no list.
set -euo pipefail

packages=(
  g++ cmake make pkg-config
  libsqlite3-dev libicu-dev libssl-dev libboost1.81-dev
  libgumbo-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  python3-aiosmtpd
)
# Only for comparison benchmarks against a peer implementation.
bench_packages=(libgmime-3.0-dev)

missing=()
for p in "${packages[@]}" "${bench_packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "setup: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
