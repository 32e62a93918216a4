# For the tests of the command line: source it with the tool's path as $1.
# shellcheck shell=bash disable=SC2034
set -u

tool=$(realpath "$1")
script=$(realpath "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

# expect CODE COMMAND...: standard output goes to the file out, standard error to err.
expect() {
  local wanted=$1 code=0
  shift
  "$@" >out 2>err || code=$?
  if [ "$code" -ne "$wanted" ]; then
    fail "exit code $code instead of $wanted: $*"
    cat err >&2
  fi
}

# json NAME <out: the value of that name, without quotes.
json() { sed -nE "s/.*\"$1\":\"?([^\",}]*).*/\\1/p"; }

# within A OP B: a comparison of numbers.
within() { awk -v a="$1" -v b="$3" "BEGIN { exit !(a $2 b) }"; }

need() {
  command -v "$1" >/dev/null || {
    echo "skipped: $1 is not installed"
    exit 77
  }
}

finish() {
  [ "$failures" -eq 0 ] || exit 1
  echo "passed"
}
