#!/usr/bin/env bash
# Fuzzes every road into the library for a while, with the sanitizers on.
#
#   scripts/fuzz.sh [SECONDS_PER_TARGET [TARGET...]]     default: 60 seconds, all targets
#
# The seeds are made by our own encoder; what a run adds stays in build/fuzz-corpus. A finding
# leaves its input in build/fuzz-findings: fix the fault and bring the input into tests/data/fuzz.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(decompress decoder decompress_tile
  packet_inspection packet_sequence packet_round_trip frame_round_trip
  huffman_forms huffman_tables strip_forms band_forms primitive_forms
  ini_text settings host_readers alloc_fail)

need_packages g++ cmake ninja-build clang libclang-rt-14-dev libpng-dev

note "building (build/fuzz)"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel "$(nproc)"

seeds=$root/build/fuzz-corpus/seeds
build/fuzz/fuzz/make_corpus "$seeds"
mkdir -p build/fuzz-findings
for target in "${targets[@]}"; do
  corpus=build/fuzz-corpus/$target
  mkdir -p "$corpus"
  note "fuzzing $target for $seconds seconds"
  log=build/fuzz-findings/$target.log
  # The library's texts about bad streams go nowhere; the fuzzer's own go to the log.
  if ! build/fuzz/fuzz/fuzz_"$target" "$corpus" "$seeds" tests/data/fuzz \
    -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -max_len=65536 -print_final_stats=1 \
    -dict=fuzz/jpeg.dict -artifact_prefix=build/fuzz-findings/"$target"- -close_fd_mask=2 -verbosity=0 >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "finding in $target" >&2
    exit 1
  fi
  grep -E 'stat::(number_of_executed_units|average_exec_per_sec)' "$log"
done
note "no findings"
