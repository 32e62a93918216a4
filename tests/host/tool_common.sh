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
  [ "$code" -eq "$wanted" ] || fail "exit code $code instead of $wanted: $*: $(cat err)"
}

# json NAME <out: the value of that name, without quotes.
json() { sed -nE "s/.*\"$1\":\"?([^\",}]*).*/\\1/p"; }

finish() {
  [ "$failures" -eq 0 ] || exit 1
  echo "passed"
}
