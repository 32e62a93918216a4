#!/usr/bin/env bash
# check_words.sh DOCUMENT PROGRAM...: what stands between the marks "first picture: begin" and
# "first picture: end" of each program stands in the document, word for word.
set -euo pipefail
document=$(<"$1")
shift
for program in "$@"; do
  # Without the marks, and as far left as it goes.
  marked() { sed -n '/first picture: begin/,/first picture: end/p' "$program" | sed '1d;$d'; }
  indent=$(marked | head -n 1 | sed 's/[^ ].*//')
  lines=$(marked | sed "s/^$indent//")
  [ "$(wc -l <<<"$lines")" -ge 5 ] || { echo "$program has no marked lines" >&2; exit 1; }
  if [[ $document != *"$lines"* ]]; then
    echo "the document lacks these lines of $program:" >&2
    echo "$lines" >&2
    exit 1
  fi
done
