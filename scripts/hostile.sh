#!/usr/bin/env bash
# Hostile packets, counted, in their long form: all 255 other values of each of the first 64 bytes
# of 20 packets, every truncation, and a million packets damaged at random (a minute or two).
# Prints the thread CPU time of the slowest packet of each kind, and what happens to memory.
#
#   scripts/hostile.sh [DAMAGED [STRIDE [SEED]]]
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

need_build_packages
cmake --preset release >/dev/null
cmake --build --preset release --parallel "$(nproc)" --target hostile_packets
mkdir -p build/empty/root build/empty/user
QRX_ROOT=build/empty/root QRX_USER_CONFIG_DIR=build/empty/user \
  build/release/fuzz/hostile_packets "${1:-1000000}" "${2:-1}" "${3:-1}"
