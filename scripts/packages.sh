# Debian packages for the scripts in this folder. Source it, then call need_build_packages.
# shellcheck shell=bash

build_packages=(g++ cmake ninja-build libgtest-dev libbenchmark-dev libpng-dev libcli11-dev
  libsdl2-dev libsodium-dev libturbojpeg0-dev libjpeg62-turbo-dev libjpeg-turbo-progs pkgconf)

export DEBIAN_FRONTEND=noninteractive

note() { printf '== %s\n' "$*"; }

package_installed() {
  [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# need_packages NAME...: installs what is missing when root; otherwise says what is missing and
# ends the script.
need_packages() {
  local package missing=()
  if ! command -v dpkg-query >/dev/null; then
    note "not a Debian system: these packages must be there under their names here: $*"
    return
  fi
  for package in "$@"; do
    package_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "Missing Debian packages: ${missing[*]}" >&2
    echo "Install them as root: apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  note "installing ${missing[*]}"
  if ! install_quietly "${missing[@]}"; then
    apt-get update --quiet >&2 # the lists may be old, or not there yet
    install_quietly "${missing[@]}" || {
      echo "Could not install: ${missing[*]}" >&2
      exit 1
    }
  fi
}

# What building, testing and the demo take.
need_build_packages() { need_packages "${build_packages[@]}"; }

install_quietly() {
  apt-get install --yes --quiet --no-install-recommends "$@" >/dev/null
}

# unpack_pictures NAME FOLDER: the pictures of a package below FOLDER/NAME, without installing it or
# anything that it depends on. False where it cannot be had.
unpack_pictures() {
  local target=$2/$1 work
  [ -d "$target" ] && return 0
  work=$(mktemp -d) || return 1
  if download_package "$1" "$work" && dpkg-deb --extract "$work"/*.deb "$work/files"; then
    find "$work/files" -type f ! -iname '*.png' ! -iname '*.jpg' ! -iname '*.jpeg' -delete
    mkdir -p "$2" && mv "$work/files" "$target"
  fi
  rm -rf "$work"
  [ -d "$target" ]
}

# Puts the .deb of package $1 into folder $2. As root, package lists that are not there are fetched.
download_package() {
  command -v dpkg-deb >/dev/null || return 1
  if [ "$(id -u)" -eq 0 ] && ! apt-cache show "$1" >/dev/null 2>&1; then
    apt-get update --quiet >/dev/null 2>&1 || return 1
  fi
  (cd "$2" && apt-get download --quiet --option Acquire::http::Timeout=20 "$1" >/dev/null 2>&1)
}
