#!/usr/bin/env bash
# Builds what stands in integrations/ and tests it against the real programs: GStreamer, tshark and
# Chromium.
#
#   scripts/integrations.sh
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

need_build_packages
need_packages libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools \
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-x xvfb imagemagick tshark \
  python3 libwebsockets-dev emscripten nodejs node-acorn chromium chromium-driver python3-numpy \
  python3-selenium

note "building (build/integrations)"
cmake --preset integrations >/dev/null
cmake --build --preset integrations --parallel "$(nproc)" \
  --target gstqrx gstreamer_test qrx-jpeg qrx-jpeg-web browser_replay

note "testing"
ctest --preset integrations
