#!/usr/bin/env bash
# What can be said of the code without running it: shellcheck, cppcheck, clang-tidy, the warnings of
# g++ and clang as errors, and the binary interface. A finding fails.
#
#   scripts/check.sh                   the whole tree
#   scripts/check.sh --changed [BASE]  clang-tidy of files that differ from BASE (scripts/tidy.sh tells
#                                      which), and no builds: those of the tests have the same warnings
#
# Over the whole tree clang-tidy has no limit of time.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

changed=false
if [ "${1:-}" = --changed ]; then
  changed=true
  shift
fi
need_build_packages
need_packages shellcheck cppcheck clang clang-tidy abigail-tools

note "shellcheck"
mapfile -t scripts < <(git ls-files '*.sh' .ci/run)
shellcheck --external-sources --exclude=SC2317 "${scripts[@]}"

# Seconds, so always over the whole tree.
note "cppcheck"
mapfile -t sources < <(git ls-files '*.cpp' | grep -E '^(codecs|common|primitives|tools)/')
cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability --inline-suppr \
  --suppressions-list=scripts/cppcheck.txt --error-exitcode=1 --template=gcc -j "$(nproc)" \
  -I . -I include -DQRX_FORM=h9 -D__x86_64__ -D__SSE2__ "${sources[@]}"

if $changed; then
  scripts/tidy.sh "$@"
else
  TIDY_SECONDS=1000000 scripts/tidy.sh --all
  for compiler in g++ clang++; do
    note "warnings of $compiler as errors"
    cmake -S . -B "build/check-$compiler" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
      -DCMAKE_BUILD_TYPE=Release -DQRX_WERROR=ON -DQRX_BUILD_TOOLS=ON -DQRX_BUILD_TESTS=ON \
      -DQRX_BUILD_FUZZ=ON >/dev/null
    cmake --build "build/check-$compiler" --parallel "$(nproc)"
  done
fi

note "binary interface"
tests/exports/check_abi.sh
note "no findings"
