#!/usr/bin/env bash
# Formats every tracked C++ file. With --check it changes nothing and fails where it would.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run -Werror)
git ls-files '*.cpp' '*.h' | xargs -r clang-format "${mode[@]}"
