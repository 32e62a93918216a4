#!/usr/bin/env bash
# Builds the Debian packages libqrx-jpeg1, libqrx-jpeg-dev, qrx-jpeg-tools and python3-qrx-jpeg, from
# any folder, has lintian look at them, and leaves them in build/packages/packages.
#
#   scripts/build_packages.sh
#   scripts/build_packages.sh --twice   builds once more from a copy of the tree in another folder, with
#                                       other rights and time zone; all bytes have to be the same. With
#                                       ccache only what is not in its cache is compiled again:
#                                       CCACHE_DISABLE=1 leaves it out.
#
# Every file bears the date of the last commit, or SOURCE_DATE_EPOCH where it is set. As root the
# script installs the Debian packages that it needs; otherwise it names those missing and stops.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/packages.sh
source "$root/scripts/packages.sh"
cd "$root"

twice=false
case ${1:-} in
  --twice) twice=true ;;
  '') ;;
  *) echo "unknown option: $1" >&2; exit 64 ;;
esac

need_build_packages
need_packages dpkg-dev gzip lintian
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH
umask 022 # stands in the head of each archive

packages_of() { # SOURCE: what CPack and the compiler say comes out where they fail
  local build=$1/build/packages log
  local -x CCACHE_BASEDIR=$1 CCACHE_NOHASHDIR=1 # an object of one folder serves the other
  log=$(mktemp)
  rm -rf "$build/packages"
  if ! { cmake -S "$1" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DQRX_BUILD_TOOLS=ON -DQRX_WERROR=ON &&
    cmake --build "$build" --parallel "$(nproc)" && (cd "$build" && cpack); } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

note "building and packing (build/packages)"
packages_of "$root"
packages=$root/build/packages/packages
(cd "$packages" && sha256sum ./*.deb) | tee "$packages/SHA256SUMS"

note "lintian"
# There is no Debian bug that asks for the package. Root is what a clean machine builds as.
lintian --allow-root --fail-on error --suppress-tags initial-upload-closes-no-bugs "$packages"/*.deb

if $twice; then
  note "building and packing again, in another folder"
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  copy=$work/some-other-folder
  mkdir "$copy"
  git ls-files -z --cached --others --exclude-standard | tar --create --null --files-from=- |
    tar --extract --touch --directory="$copy"
  chmod -R go= "$copy"
  TZ=Asia/Tokyo packages_of "$copy"
  (cd "$copy/build/packages/packages" && sha256sum --check "$packages/SHA256SUMS")
fi
note "packages: ${packages#"$PWD"/}"
