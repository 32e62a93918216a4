#!/usr/bin/env bash
# Walks the includes: none points upward, from primitives to coders to front end to tools.
#
#   check_layers.sh SOURCE_FOLDER
#
# Each rule gives the files of a layer (a path's start) and what they may include of ours. The first
# rule that fits a file counts.
set -euo pipefail
export LC_ALL=C
cd "$1"

primitive_headers='qrx/(primitives|primitive_types|export)\.h'
support_headers='qrx/(application_checks|env|export|ini_file|log|mutex|product_settings|settings|singleton|utilities)\.(h|def)'
coder_headers='qrx/(jpeg_(decoder|encoder|types)|tile_header)\.h'
rules=(
  "include/qrx/(codec|qrx)\.h        -"
  "include/qrx/primitive             $primitive_headers"
  "include/qrx/(jpeg_|tile_header)   $primitive_headers|$coder_headers"
  "include/qrx/front_end\.h          $coder_headers|qrx/export\.h"
  "include/qrx/                      $support_headers"
  "primitives/                       primitives/.*|$primitive_headers"
  "common/                           common/.*|$support_headers"
  "codecs/jpeg/library/              codecs/jpeg/library/.*|primitives/.*|common/.*|$primitive_headers|$coder_headers|$support_headers"
  "codecs/jpeg/                      codecs/jpeg/.*|common/.*|qrx/.*"
  "tools/modes/                      tools/.*|qrx/(codec|tile_header)\.h|$coder_headers"
  "tools/                            tools/.*|qrx/(codec|tile_header)\.h"
)
ours='^[^:]+:[0-9]+:[ \t]*#[ \t]*include[ \t]+("|<(qrx|primitives|common|codecs|tools)/)'

failed=0 seen=0
while IFS=: read -r file line text; do
  seen=$((seen + 1))
  [[ $text =~ [\"\<]([^\"\>]+)[\"\>] ]] && included=${BASH_REMATCH[1]}
  for rule in "${rules[@]}"; do
    read -r layer allowed <<<"$rule"
    [[ $file =~ ^$layer ]] || continue
    if ! [[ $included =~ ^($allowed)$ ]]; then
      echo "$file:$line: a file of $layer includes $included" >&2
      failed=1
    fi
    continue 2
  done
  echo "$file:$line: a file of no layer" >&2
  failed=1
done < <(grep -rnE --include='*.h' --include='*.cpp' --include='*.def' '#[ \t]*include' \
  include primitives common codecs tools | grep -E "$ours")

[ $seen -gt 100 ] || { echo "only $seen includes were found" >&2; failed=1; }
exit $failed
