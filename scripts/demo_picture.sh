#!/usr/bin/env bash
# Takes the picture of the demo's page that README shows, docs/demo.jpg, anew.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
need_packages chromium

scripts/demo.sh
options=(--headless --hide-scrollbars "--window-size=1280,1330")
[ "$(id -u)" -ne 0 ] || options+=(--no-sandbox)
chromium "${options[@]}" --screenshot=build/demo/page.png "file://$PWD/build/demo/index.html" \
  2>build/demo/chromium.txt || { cat build/demo/chromium.txt >&2; exit 1; }
build/release/qrx-jpeg encode build/demo/page.png docs/demo.jpg --quality 80 --sampling 444
