#!/usr/bin/env bash
# Fuzzes every road into the library for a while, with the sanitizers on.
#
#   scripts/fuzz.sh [SECONDS_PER_TARGET [TARGET...]]     default: 60 seconds, all targets
#   scripts/fuzz.sh --keep [TARGET...]                   merges what runs added into fuzz/corpus
#   scripts/fuzz.sh --ledger                             the hours so far, against what each target
#                                                        has to have
#
# The seeds are made by our own encoder and kept in fuzz/corpus; what a run adds stays in
# build/fuzz-corpus. A finding leaves its input in build/fuzz-findings: fix the fault and bring the
# input into tests/data/fuzz. Runs of at least a minute are told in fuzz/LEDGER.csv; FUZZ_LEDGER
# names another file for that, and /dev/null for none.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

all_targets=(decompress decoder decompress_tile packet_inspection packet_sequence packet_round_trip
  frame_round_trip huffman_forms huffman_tables strip_forms band_forms primitive_forms ini_text
  settings host_readers live_envelope viewer alloc_fail c_interface)
# Frames, packets and the fast routes: three times the hours of the others in all, six times on the
# code as it is.
main_targets="decompress decoder decompress_tile packet_sequence strip_forms"
ledger=${FUZZ_LEDGER:-fuzz/LEDGER.csv}

# Hours count for the code that they ran: a hash over what the library is made of.
code_hash() {
  git rev-parse HEAD:codecs HEAD:primitives HEAD:common | sha256sum | cut -c 1-12
}

# The commit; marked where the code differs from it, whose hours then count for no tree.
commit_name() {
  local dirty=""
  git diff --quiet HEAD -- codecs primitives common include || dirty=-changed
  echo "$(git rev-parse --short=10 HEAD)$dirty"
}

print_ledger() {
  awk -F, -v tree="$(code_hash)" -v all="${all_targets[*]}" -v main="$main_targets" '
    NR > 1 {
      total[$1] += $4
      executions[$1] += $5
      if ($6 > edges[$1]) edges[$1] = $6
      if ($3 == tree && $2 !~ /-changed/) present[$1] += $4
      findings[$1] += $8
    }
    END {
      split(main, names, " ")
      for (i in names) is_main[names[i]] = 1
      print "hours on code " tree ", and in all"
      printf "%-18s %6s of %-4s %6s of %-4s %12s %6s %8s\n", "target", "hours", "goal", "in all",
             "goal", "executions", "edges", "findings"
      count = split(all, names, " ")
      for (i = 1; i <= count; i++) {
        t = names[i]
        most = t in is_main ? 3 : 1
        now = t in is_main ? 1 : 1 / 6
        missing = present[t] < now || total[t] < most
        printf "%-18s %6.2f of %-4.2f %6.2f of %-4.2f %12d %6d %8d%s\n", t, present[t], now,
               total[t], most, executions[t], edges[t], findings[t], missing ? "  missing" : ""
        sum += total[t]
        ran += executions[t]
        open += missing
      }
      printf "%.2f hours, %d executions; %d targets short of their hours\n", sum, ran, open
    }' "$ledger"
}

# append_run TARGET LOG "USER SYSTEM" FINDINGS
append_run() {
  local executions edges
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$2" | tail -n 1)
  edges=$(sed -n 's/^#[0-9].* cov: \([0-9]*\).*/\1/p' "$2" | tail -n 1)
  [ -e "$ledger" ] ||
    echo "target,commit,tree,cpu_hours,executions,edges,corpus,findings,date" >"$ledger"
  echo "$1,$(commit_name),$(code_hash),$(echo "$3" | awk '{ printf "%.4f", ($1 + $2) / 3600 }'),\
${executions:-0},${edges:-0},$(find "build/fuzz-corpus/$1" -type f | wc -l),$4,$(date -u +%F)" \
    >>"$ledger"
}

# run_target TARGET SECONDS: tells how many inputs were tried; 1 with what the fuzzer said of a finding
run_target() {
  local log=build/fuzz-findings/$1.log cpu=build/fuzz-findings/$1.cpu status=0
  local folders=(build/fuzz-corpus/"$1" "$seeds" tests/data/fuzz)
  [ -d "fuzz/corpus/$1" ] && folders+=("fuzz/corpus/$1")
  mkdir -p "build/fuzz-corpus/$1"
  # The library's texts about bad streams go nowhere; the fuzzer's own go to the log.
  local TIMEFORMAT='%U %S'
  { time build/fuzz/fuzz/fuzz_"$1" "${folders[@]}" -max_total_time="$2" -timeout=20 \
    -rss_limit_mb=4096 -max_len=65536 -print_final_stats=1 -dict=fuzz/jpeg.dict \
    -artifact_prefix=build/fuzz-findings/"$1"- -close_fd_mask=2 >"$log" 2>&1; } 2>"$cpu" ||
    status=$?
  [ $status -ne 72 ] || return 1 # interrupted
  if [ "$2" -ge 60 ] && [ "$ledger" != /dev/null ]; then
    append_run "$1" "$log" "$(cat "$cpu")" $((status != 0))
  fi
  if [ $status -ne 0 ]; then
    tail -n 60 "$log"
    echo "finding in $1" >&2
    return 1
  fi
  note "$1: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") inputs," \
    "$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log") a second"
}

# One target a processor at a time; after a finding no other is begun.
run_targets() { # SECONDS TARGET...
  local seconds=$1 target running=0 jobs
  jobs=$(nproc)
  shift
  for target in "$@"; do
    if [ $running -ge "$jobs" ]; then
      wait -n || return 1
      running=$((running - 1))
    fi
    note "fuzzing $target for $seconds seconds"
    run_target "$target" "$seconds" &
    running=$((running + 1))
  done
  while [ $running -gt 0 ]; do
    wait -n || return 1
    running=$((running - 1))
  done
}

# The smallest set of inputs that reaches, with the seeds, what all known ones reach: named by their
# content, as the fuzzer names them.
keep_target() {
  local folders=() folder seed kept=fuzz/corpus/$1 merged=build/fuzz-merged/$1
  for folder in "$kept" "build/fuzz-corpus/$1" tests/data/fuzz; do
    [ -d "$folder" ] && folders+=("$folder")
  done
  rm -rf "$merged" && mkdir -p "${merged%/*}" && cp -r "$seeds" "$merged"
  build/fuzz/fuzz/fuzz_"$1" -set_cover_merge=1 -timeout=60 -max_len=65536 "$merged" \
    "${folders[@]}" >"build/fuzz-findings/$1-merge.log" 2>&1
  for seed in "$seeds"/*; do rm "$merged/${seed##*/}"; done
  rm -rf "$kept" && mkdir -p fuzz/corpus && mv "$merged" "$kept"
  note "$1: $(find "$kept" -type f | wc -l) files, $(du -sb "$kept" | cut -f 1) bytes"
}

if [ "${1:-}" = --ledger ]; then
  print_ledger
  exit
fi
keeps=false seconds=60
if [ "${1:-}" = --keep ]; then
  keeps=true
  shift
elif [ $# -gt 0 ]; then
  seconds=$1
  shift
fi
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")

need_packages g++ cmake ninja-build clang libclang-rt-14-dev libpng-dev libjpeg62-turbo-dev libsodium-dev

note "building (build/fuzz)"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel "$(nproc)"

seeds=$root/build/fuzz-corpus/seeds
mkdir -p build/fuzz-corpus build/fuzz-findings
build/fuzz/fuzz/make_corpus "$seeds"
if $keeps; then
  for target in "${targets[@]}"; do keep_target "$target"; done
  bytes=$(find fuzz/corpus -type f -printf '%s\n' | awk '{ sum += $1 } END { print sum }')
  note "$bytes bytes in fuzz/corpus"
  [ "$bytes" -le $((4 << 20)) ] || {
    echo "more than 4 MiB: give some of it up" >&2
    exit 1
  }
else
  run_targets "$seconds" "${targets[@]}" || { wait; exit 1; }
  note "no findings"
fi
