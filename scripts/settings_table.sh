#!/usr/bin/env bash
# settings_table.sh [--check]: writes the table of docs/settings.md from the table of the sources;
# with --check it changes nothing and fails where the two differ.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
page=docs/settings.md
mark='<!-- settings: begin -->'

# shellcheck disable=SC2016 # the quotes of Markdown
fresh() {
  sed "/^$mark\$/q" "$page"
  printf '| Variable | Section | Key | Type | Default |\n|---|---|---|---|---|\n'
  sed -nE 's/^QRX_SETTING(_FREE)?\("([^"]*)", "([^"]*)", "([^"]*)", (\w+), (.*), \w+\)$/| `\2` | \3 | `\4` | \5 | \6 |/p' \
    include/qrx/product_settings.def | sed 's/ nullptr |$/ none |/; s/ "\([^"]*\)" |$/ `\1` |/'
}

new=$(fresh)
[ "$(grep -c '^| `' <<<"$new")" -eq "$(grep -cE '^QRX_SETTING(_FREE)?\(' include/qrx/product_settings.def)" ]
if [ "${1:-}" = --check ]; then
  diff "$page" - <<<"$new"
else
  printf '%s\n' "$new" >"$page"
fi
