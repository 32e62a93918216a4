#!/usr/bin/env bash
# What programs are built against, and the library has to keep: virtual tables, records and the
# signatures of what is exported. They stand in abi.xml.gz beside this script.
#
#   check_abi.sh           fails where the library has another interface, and tells the difference
#   check_abi.sh update    writes it anew; see CONTRIBUTING.md for what else is due then
#
# Needs abigail-tools. Types come from the debug information, so that the library is built apart,
# in build/abi, with one form: the forms are no part of the interface.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$here/../.."
stored=$here/abi.xml.gz

cmake -S . -B build/abi -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-g -O0" \
  -DQRX_PORTABLE=ON >/dev/null
cmake --build build/abi --target qrx_jpeg --parallel "$(nproc)" >/dev/null

found=build/abi/abi.xml
abidw --headers-dir include/qrx --exported-interfaces-only --drop-private-types \
  --drop-undefined-syms --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names \
  --no-elf-needed --type-id-style hash --out-file "$found" build/abi/libqrx_jpeg.so

if [ "${1:-}" = update ]; then
  gzip --best --no-name --stdout "$found" >"$stored"
  exit 0
fi
gzip --decompress --stdout "$stored" >build/abi/stored.xml
# Each virtual function by its slot, which abidiff does not look at.
virtuals() {
  grep -A 1 vtable-offset "$1" |
    sed -n "s/.*vtable-offset='\([^']*\)'.*/\1/p; s/.*mangled-name='\([^']*\)'.*/\1/p" |
    paste - - | sort -u
}
diff <(virtuals build/abi/stored.xml) <(virtuals "$found")
abidiff build/abi/stored.xml "$found"
