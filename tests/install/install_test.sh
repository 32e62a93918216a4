#!/usr/bin/env bash
# install_test.sh CMAKE BUILD_DIR SCRATCH_DIR CXX
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
cmake=$1 build=$2 scratch=$3 cxx=$4

if grep -q '^QRX_SANITIZE:STRING=.' "$build/CMakeCache.txt"; then
  echo "skipped: a sanitizer build is not one to install"
  exit 77
fi
rm -rf "$scratch"
prefix=$scratch/prefix
"$cmake" --install "$build" --prefix "$prefix" >/dev/null

echo "== CMake package"
"$cmake" -S "$here/consumer" -B "$scratch/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
"$cmake" --build "$scratch/build" >/dev/null
"$scratch/build/consumer"

if [ -x "$prefix/bin/qrx-jpeg" ]; then
  echo "== the tool, from where it was installed"
  tool=$prefix/bin/qrx-jpeg
  "$tool" version --json | grep "\"library\":\"$prefix/.*libqrx_jpeg.so"
  "$tool" scene --size 64x48 "$scratch" >/dev/null
  for mode in baseline lossless; do # through the library, and through the module beside it
    "$tool" encode "$scratch/frame00000.png" "$scratch/$mode.jpg" --gray --mode $mode
  done
  for file in man/man1/qrx-jpeg.1 bash-completion/completions/qrx-jpeg \
    zsh/site-functions/_qrx-jpeg fish/vendor_completions.d/qrx-jpeg.fish; do
    [ -s "$prefix/share/$file" ] || { echo "not installed: $file"; exit 1; }
  done
fi

echo "== each header by itself, as C++17"
for header in "$prefix"/include/qrx/*.h "$prefix"/include/qrx/*.hpp; do
  echo "#include \"qrx/$(basename "$header")\"" |
    "$cxx" -std=c++17 -Wall -Wextra -Werror -I "$prefix/include" -fsyntax-only -x c++ -
done

echo "== the C interface, as C99"
for standard in c99 c17; do
  echo '#include "qrx/qrx.h"' | "${CC:-cc}" -std=$standard -Wall -Wextra -Wpedantic -Werror \
    -I "$prefix/include" -fsyntax-only -x c -
done
lib=$(dirname "$(find "$prefix" -name libqrx_jpeg.so.1)")
"${CC:-cc}" -std=c99 "$here/../../docs/examples/first_picture.c" -o "$scratch/first_picture" \
  -I "$prefix/include" -L "$lib" -lqrx_jpeg
(cd "$scratch" && LD_LIBRARY_PATH="$lib" ./first_picture)

package=$(find "$prefix" -path '*/dist-packages/qrx_jpeg')
if [ -n "$package" ]; then
  echo "== the Python package, from where it was installed"
  (cd "$scratch" && LD_LIBRARY_PATH=$lib PYTHONPATH=$(dirname "$package") python3 -Bc '
import importlib.metadata, qrx_jpeg
back = qrx_jpeg.decode(qrx_jpeg.encode(bytes(64), 90, format=qrx_jpeg.Format.GRAY, size=(8, 8)))
print(back.text, *back.pixels.shape)
assert back.whole and importlib.metadata.version("qrx-jpeg").startswith("%d.%d" % qrx_jpeg.version()[:2])')
fi

# Builds and runs the stranger by the pkg-config file that stands below a folder.
by_pkg_config() {
  local flags program=$scratch/by_pkg_config
  read -ra flags <<<"$(PKG_CONFIG_PATH=$(dirname "$(find "$1" -name qrx_jpeg.pc)") \
    pkg-config --cflags --libs qrx_jpeg)"
  "$cxx" -std=c++17 "$here/consumer/consumer.cpp" -o "$program" "${flags[@]}"
  LD_LIBRARY_PATH=$(dirname "$(find "$1" -name libqrx_jpeg.so.1)") "$program"
}
# The library as it was built, from a configuration with other folders.
install_to() { # PREFIX LIBDIR INCLUDEDIR
  "$cmake" -S "$here/../.." -B "$scratch/configured" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_INSTALL_LIBDIR="$2" -DCMAKE_INSTALL_INCLUDEDIR="$3" >/dev/null
  cp -P "$build"/libqrx_jpeg.so* "$scratch/configured"
  "$cmake" --install "$scratch/configured" --prefix "$1" >/dev/null
}
if command -v pkg-config >/dev/null; then
  echo "== pkg-config"
  by_pkg_config "$prefix"
  echo "== pkg-config, below folders of folders"
  install_to "$scratch/deep" lib/some/where include/some/where
  by_pkg_config "$scratch/deep"
  echo "== pkg-config, absolute folders"
  outside=$(mktemp -d) # CMake takes no include folder inside the source
  trap 'rm -rf "$outside"' EXIT
  install_to "$scratch/unused" "$outside/lib" "$outside/include"
  by_pkg_config "$outside"
else
  echo "== pkg-config: not there, left out"
fi
