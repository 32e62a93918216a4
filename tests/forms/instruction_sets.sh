#!/usr/bin/env bash
# instruction_sets.sh OBJDUMP OBJECT...: no form object holds an instruction that the selection of
# its slot does not test for. The form is read from the object's path (qrx_form_<code>.dir).
#
# tzcnt is passed over: compilers write bsf with a prefix that older processors ignore, and ask it
# for values that are not zero only.
set -euo pipefail
objdump=$1
shift

ssse3='pshufb|ph(add|sub)s?[wd]|pmulhrsw|pmaddubsw|palignr|psign[bwd]|pabs[bwd]'
sse41='p?blendv?[bdpsw]+|pmov[sz]x[a-z]+|pmulld|pmuldq|p(min|max)(s[bd]|u[wd])|ptest|packusdw|pextr[bdq]'
sse41+='|pinsr[bdq]|round[ps][sd]|dpp[sd]|mpsadbw|phminposuw|insertps|extractps|movntdqa|pcmpeqq'
sse42='pcmpgtq|pcmp[ei]str[im]|crc32[bwlq]?'
avx='v[a-z0-9]+'
popcnt='popcnt[wlq]?'
bmi='andn|bextr|blsi|blsmsk|blsr|bzhi|mulx|pdep|pext|rorx|sarx|shlx|shrx'
never='lzcnt[wlq]?|movbe[wlq]?|vf(n?m(add|sub)|maddsub|msubadd)[0-9a-z]+|xop|ad[co]x[lq]?|sha[0-9a-z]+|aes[a-z0-9]+'
# Of AVX2, which has the integer operations of AVX in registers of 256 bits.
avx2_names='vp(broadcast[bwdq]|erm[dq]|erm(ps|pd)|gather[dq]+|s[rl]lv[dq]|srav[dq]|blendd|maskmov[dq])|v(broadcast|insert|extract)i128|vperm2i128|vgather[dq]p[sd]'
avx2_wide='vp(add|sub|mul|madd|max|min|avg|abs|sign|cmp|s[rl][la]|and|or|xor|andn|unpck|ack|shuf|blend|align|movmsk|mov[sz]x|sadb)[a-z0-9]*'

forbidden() { # FORM
  case $1 in
    w7) echo "$ssse3|$sse41|$sse42|$avx|$popcnt|$bmi|$never" ;;
    v8 | s8) echo "$sse41|$sse42|$avx|$popcnt|$bmi|$never" ;;
    p8) echo "$sse42|$avx|$popcnt|$bmi|$never" ;;
    g9) echo "$avx2_names|$bmi|$never" ;;
    h9) echo "$never" ;;
    ref) echo "$ssse3|$sse41|$sse42|$avx|$popcnt|$bmi|$never" ;;
    *) return 1 ;;
  esac
}

status=0 seen=0
for object in "$@"; do
  form=$(sed -nE 's/.*qrx_form_([a-z0-9]+)\.dir.*/\1/p' <<<"$object")
  # Instructions alone: mnemonic and operands.
  code=$("$objdump" -d --no-show-raw-insn "$object" | sed -nE 's/^ +[0-9a-f]+:\t//p')
  seen=$((seen + $(wc -l <<<"$code")))
  bad=$(grep -E "^($(forbidden "$form"))( |$)" <<<"$code" || true)
  if [ "$form" = g9 ]; then
    bad+=$(grep -E "^$avx2_wide .*%ymm" <<<"$code" || true)
  fi
  if [ -n "$bad" ]; then
    echo "$object: beyond the instructions of $form:"
    sort <<<"$bad" | uniq -c | head -n 5
    status=1
  fi
done
[ "$seen" -gt 10000 ] || { echo "only $seen instructions seen"; exit 1; }
exit $status
