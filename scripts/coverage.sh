#!/usr/bin/env bash
# Which lines and branches of the library run: by the corpus of the fuzz targets alone, and by tests
# and corpus together. A table by file, build/coverage/html, and a list of functions with lines that
# nothing reaches: each has to stand, with its reason, in scripts/coverage_unreached.txt.
#
#   scripts/coverage.sh [--report]    --report: no build and no runs, what is there is counted anew
#
# Counters live in files that processes map (continuous mode), so that children which end by _exit,
# and programs that are killed, count too. The build is clang's, with its warnings as errors.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"
build=$root/build/coverage
profiles=$build/profiles
targets=(fuzz/all tests/forms/all tests/unit/all tests/interop/all host_test bombs_test)

run_corpus() {
  local program
  export LLVM_PROFILE_FILE=$profiles/corpus/%c%m.profraw
  "$build/fuzz/make_corpus" "$build/fuzz/seeds" >/dev/null
  # What making the seeds has run is no work of the corpus.
  rm -f "$profiles"/corpus/*.profraw
  for program in "$build"/fuzz/fuzz_*; do
    [ -x "$program" ] || continue
    "$program" "$build/fuzz/seeds" "fuzz/corpus/${program##*/fuzz_}" tests/data/fuzz >/dev/null 2>&1
  done
}

# What looks at the library's file or at other builds of it has no part in this, nor have examples and
# the tests of the sample host, which are not built: the library's own have to reach it all.
run_tests() {
  export LLVM_PROFILE_FILE=$profiles/tests/%c%m.profraw
  ctest --preset coverage \
    -E '^(example_|exports_|include_layers|install|processors|weak_|instruction_|tool_|qrx-jpeg)'
}

if [ "${1:-}" != --report ]; then
  need_build_packages
  need_packages clang llvm libclang-rt-14-dev python3
  note "building (build/coverage)"
  cmake --preset coverage >/dev/null
  cmake --build --preset coverage --parallel "$(nproc)" --target "${targets[@]}"
  mkdir -p build/empty/root build/empty/user
  export QRX_ROOT=$root/build/empty/root QRX_USER_CONFIG_DIR=$root/build/empty/user
  rm -rf "$profiles"
  note "the corpus alone"
  run_corpus
  note "tests"
  run_tests
fi

objects=("$build/libqrx_jpeg.so")
for program in "$build"/tests/forms/*_test "$build"/tests/unit/*/*_test; do
  [ -x "$program" ] && objects+=(-object "$program")
done
# Files are named from the build's folder on.
others='/\.\./\.\./(tests|tools|fuzz|bench|docs)/|^/usr/'
# count NAME FOLDER...: the counts of some profiles, as JSON.
count() {
  local name=$1
  shift
  llvm-profdata merge -sparse -o "$build/$name.profdata" "$@"
  llvm-cov export -instr-profile="$build/$name.profdata" "${objects[@]}" \
    --ignore-filename-regex="$others" >"$build/$name.json" 2>/dev/null
}
note "counting"
count corpus "$profiles"/corpus
count all "$profiles"/corpus "$profiles"/tests
llvm-cov show -instr-profile="$build/all.profdata" "${objects[@]}" -format=html \
  -show-branches=count -Xdemangler=c++filt -output-dir="$build/html" \
  --ignore-filename-regex="$others" 2>/dev/null
python3 scripts/coverage_report.py "$root" "$build/corpus.json" "$build/all.json" \
  scripts/coverage_unreached.txt
