#!/usr/bin/env bash
# Runs clang-tidy on the C++ sources that changed, with the checks of .clang-tidy; a finding fails.
#
#   scripts/tidy.sh [BASE]          files that differ from BASE
#   scripts/tidy.sh --all           every file
#
# Without BASE it is the place where the branch left origin/main; on main itself the last ten
# commits count. A changed header stands for the source of its name. Takes compile commands of its
# own (build/tidy), with each file alone. Begins no file after TIDY_SECONDS (default 150) and names
# those that are left.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

commit_of() { git rev-parse --quiet --verify "$1^{commit}" 2>/dev/null; }

base_commit() {
  local base head
  head=$(commit_of HEAD) || return 1
  base=$(git merge-base origin/main HEAD 2>/dev/null) || base=
  if [ -n "$base" ] && [ "$base" != "$head" ]; then
    echo "$base"
    return
  fi
  # A shallow clone may hold fewer.
  git rev-list --first-parent --max-count=11 HEAD | tail -n 1
}

what=changed
if [ "${1:-}" = --all ]; then
  what=all
  shift
fi

if [ "$what" = all ]; then
  base=$(git hash-object -t tree /dev/null)
elif [ $# -gt 0 ]; then
  base=$(commit_of "$1") || { echo "no such commit: $1" >&2; exit 64; }
elif ! base=$(base_commit) || [ -z "$base" ] || { [ "$base" = "$(commit_of HEAD)" ] &&
  git diff --quiet HEAD; }; then
  note "clang-tidy: skipped, there is no commit to compare with"
  exit 0
fi

cmake --preset release -B build/tidy -DCMAKE_UNITY_BUILD=OFF >/dev/null
commands=build/tidy/compile_commands.json
mapfile -t files < <(git diff --name-only --diff-filter=d "$base" -- '*.cpp' '*.h' |
  sed 's/\.h$/.cpp/' | sort -u |
  while read -r file; do
    if grep -qF "/$file\"" "$commands"; then echo "$file"; fi
  done)
note "clang-tidy on ${#files[@]} sources that differ from $(git rev-parse --short "$base")"
[ ${#files[@]} -gt 0 ] || exit 0

started_at=$(date +%s)
export started_at TIDY_SECONDS=${TIDY_SECONDS:-150}
# shellcheck disable=SC2016
printf '%s\n' "${files[@]}" | xargs -P "$(nproc)" -I {} bash -c '
  if [ $(($(date +%s) - started_at)) -ge "$TIDY_SECONDS" ]; then
    echo "clang-tidy: no time left for {}"
    exit 0
  fi
  clang-tidy -p build/tidy --quiet --warnings-as-errors="*" "{}" 2> >(grep -v "warnings generated\|^Suppressed\|^Use -header" >&2)'
