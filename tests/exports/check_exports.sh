#!/usr/bin/env bash
# Checks the built library from outside.
#
#   check_exports.sh names LIBRARY [SANITIZERS]     exported names against exports.txt
#   check_exports.sh dynamic LIBRARY [SANITIZERS]   soname, needed libraries, load-time code
#   check_exports.sh entries LIBRARY [SANITIZERS]   every entry point is a jump through its table
#   check_exports.sh update LIBRARY                 writes exports.txt anew
set -euo pipefail
export LC_ALL=C

check=$1 library=$2 sanitizers=${3:-}
list=$(dirname "${BASH_SOURCE[0]}")/exports.txt
failed=0

fail() {
  echo "$*" >&2
  failed=1
}

# One demangled name a line: the functions' and the data's, without their version. Constructors and
# destructors have several symbols of one name. The tables of the abstract classes are left out, as
# optimisation may leave them out.
exported() {
  nm --dynamic --demangle --defined-only "$library" | cut -c 20- | sed 's/@.*//' |
    grep -vE '^QRX_JPEG_1(\.1)?$|^vtable for qrx::codec::(Codec|Compressor|Decompressor)$' | sort -u
}

check_names() {
  diff -u "$list" <(exported) || fail "exported names differ from exports.txt"
  # Templates of the standard library, which would take the place of the host's or be taken.
  if exported | grep -E '(^|[^:a-zA-Z_])(std|__gnu_cxx|__cxxabiv1)::' | grep -v '^qrx::\|^CJPEG'; then
    fail "names of the standard library are exported"
  fi
}

check_dynamic() {
  local dynamic needed
  dynamic=$(readelf --dynamic --wide "$library")
  grep -q 'SONAME.*\[libqrx_jpeg\.so\.1\]' <<<"$dynamic" || fail "wrong soname"
  grep -q 'NODELETE' <<<"$dynamic" || fail "the library can be unmapped under its threads"
  grep -q 'R.*PATH' <<<"$dynamic" && fail "the library has a search path"
  if [ -n "$sanitizers" ]; then
    echo "built with sanitizers, which bring libraries and load-time code of their own"
    [ "$failed" -eq 1 ] || exit 77
    return
  fi
  needed=$(sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' <<<"$dynamic")
  grep -vE '^(libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6|ld-linux-x86-64\.so\.2)$' \
    <<<"$needed" && fail "unexpected libraries are needed"
  # One pointer each: what the C runtime itself brings.
  grep -qE 'INIT_ARRAYSZ\) +8 \(bytes\)' <<<"$dynamic" || fail "code of ours runs at load"
  grep -qE 'FINI_ARRAYSZ\) +8 \(bytes\)' <<<"$dynamic" || fail "code of ours runs at unload"
}

# An entry point: the slot word through the global offset table, its own table, a jump.
check_entries() {
  local entries count
  entries=$(objdump --disassemble --no-show-raw-insn --wide "$library" | awk '
    /^[0-9a-f]+ <ipp[ijs]/ { name = $2; gsub(/[<>:]/, "", name); body = ""; next }
    name != "" && NF == 0 { print name " " body; name = "" }
    name != "" { sub(/^ *[0-9a-f]+:[ \t]*/, ""); sub(/ *#.*/, ""); gsub(/[ \t]+/, "_")
                 if ($0 !~ /^(nop|data16|cs_nop|xchg_%ax|endbr64)/) body = body $0 ";" }
    END { if (name != "") print name " " body }')
  count=0
  while read -r name body; do
    grep -q "^${name}_arraddr$" "$list" || continue
    count=$((count + 1))
    grep -qE '^mov_0x[0-9a-f]+\(%rip\),%(r..?);movslq_\(%\1\),%(r..?);lea_0x[0-9a-f]+\(%rip\),%(r..?);jmp_\*\(%\3,%\2,8\);$' \
      <<<"$body" || fail "$name is not a jump through its table: $body"
  done <<<"$entries"
  [ "$count" -eq "$(grep -c '_arraddr$' "$list")" ] || fail "only $count entry points were found"
  [ "$count" -eq 58 ] || fail "$count entry points instead of 58"
}

case $check in
  update) exported >"$list" ;;
  *) "check_$check" ;;
esac
exit $failed
