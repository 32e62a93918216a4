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

echo "== each header by itself, as C++17"
for header in "$prefix"/include/qrx/*.h; do
  echo "#include \"qrx/$(basename "$header")\"" |
    "$cxx" -std=c++17 -Wall -Wextra -Werror -I "$prefix/include" -fsyntax-only -x c++ -
done

if command -v pkg-config >/dev/null; then
  echo "== pkg-config"
  pc=$(find "$prefix" -name qrx_jpeg.pc)
  # shellcheck disable=SC2046
  env PKG_CONFIG_PATH="$(dirname "$pc")" bash -c \
    "'$cxx' -std=c++17 '$here/consumer/consumer.cpp' -o '$scratch/by_pkg_config' \
      \$(pkg-config --cflags --libs --define-variable=prefix='$prefix' qrx_jpeg)"
  LD_LIBRARY_PATH=$(dirname "$(find "$prefix" -name libqrx_jpeg.so)") "$scratch/by_pkg_config"
fi
