#!/usr/bin/env bash
# A stranger's machine: makes a minimal Debian root from this machine's apt sources, installs the
# packages there, types what README says, removes them, and looks whether anything is left. Takes
# those of build/packages/packages, where scripts/build_packages.sh puts them.
#
#   scripts/clean_root.sh [FOLDER]   packages from another folder
#
# A root that can't be made (no network, no mmdebstrap) is a failure.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

packages=$(realpath "${1:-build/packages/packages}")
if [ "$(find "$packages" -name '*.deb' 2>/dev/null | wc -l)" -ne 4 ]; then
  echo "$packages does not have the four packages: scripts/build_packages.sh makes them" >&2
  exit 1
fi
need_packages mmdebstrap

# shellcheck source=/dev/null
suite=$(source /etc/os-release && echo "${VERSION_CODENAME:-}")
mapfile -t sources < <(grep -lsw -- "$suite" /etc/apt/sources.list /etc/apt/sources.list.d/*.list \
  /etc/apt/sources.list.d/*.sources)
if [ -z "$suite" ] || [ ${#sources[@]} -eq 0 ]; then
  echo "cannot make a clean root: this machine has no apt sources of its own Debian" >&2
  exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/srv"
cp "$packages"/*.deb README.md scripts/clean_root_walk.sh "$work/srv"
chmod -R a+rX "$work"

note "making a minimal root of $suite"
# shellcheck disable=SC2016 # mmdebstrap names the root
if ! mmdebstrap --quiet --variant=minbase --format=null \
  --include=g++,pkgconf,python3-numpy,python3-minimal \
  --customize-hook="copy-in '$work/srv' /" --customize-hook='echo "== the root is made"' \
  --customize-hook='chroot "$1" bash /srv/clean_root_walk.sh' \
  "$suite" - "${sources[@]}" 2>&1 | tee "$work/log"; then
  if ! grep -q '^== the root is made' "$work/log"; then
    echo "cannot make a clean root: is there a network, and may this user make one?" >&2
  fi
  exit 1
fi
note "the packages work, and leave nothing behind"
