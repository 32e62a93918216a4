#!/usr/bin/env bash
# Builds everything in the release preset and runs all tests, from any folder.
#
#   scripts/test.sh [arguments for ctest]
#
# As root it installs the Debian packages that are missing; otherwise it names them and stops.
# Packages that carry pictures are unpacked below build/pictures, without being installed; tests
# look for them there (QRX_TEST_PICTURES). Each is optional.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

need_build_packages
need_packages qemu-user # old processors, emulated
if [ "$(id -u)" -eq 0 ]; then # without these the Python package's test is skipped
  need_packages python3-numpy python3-pip python3-setuptools python3-venv python3-wheel
fi

pictures=$root/build/pictures
for package in golang-1.19-src gnome-user-docs python3-skimage; do
  if unpack_pictures "$package" "$pictures"; then
    note "pictures of $package: build/pictures/$package"
  else
    note "pictures of $package: absent (the package cannot be downloaded); their tests are skipped"
  fi
done
export QRX_TEST_PICTURES=$pictures

# No setting of this machine may reach the tests.
empty=$root/build/empty
mkdir -p "$empty/root" "$empty/user"
export QRX_ROOT=$empty/root QRX_USER_CONFIG_DIR=$empty/user

note "configuring (build/release)"
cmake --preset release
note "building"
cmake --build --preset release --parallel "$(nproc)"
note "testing"
ctest --preset release "$@"
note "all tests passed"
