#!/usr/bin/env bash
# The library beside libjpeg-turbo, from any folder: builds the release preset, measures, prints the
# ratios and leaves every figure in build/performance.json.
#
#   bench/compare.sh [options of compare but for --json, see --help]
#
# A whole run also draws docs/performance.svg and fills the figures in README.md and
# docs/performance.md; one of --quick or --roads draws build/performance.svg only.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
start=$PWD
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

need_build_packages
command -v python3 >/dev/null || need_packages python3

note "building (build/release)"
cmake --preset release >/dev/null
cmake --build --preset release --parallel "$(nproc)" --target compare

json=$root/build/performance.json
note "measuring"
# From the caller's folder, where relative paths of the options point.
(cd "$start" && "$root/build/release/bench/compare" --json "$json" "$@")
[ "$json" -nt "$root/build/release/bench/compare" ] || exit 0 # --help
note "figures: $json"
scripts/performance_report.py "$json"
