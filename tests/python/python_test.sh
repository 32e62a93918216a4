#!/usr/bin/env bash
# python_test.sh PACKAGE LIBRARY SCRATCH PROGRAM...: installs the Python package as its page says and
# runs the programs with it.
set -euo pipefail
package=$1 library=$2 scratch=$3
shift 3
python=/usr/bin/python3
for module in venv ensurepip pip setuptools wheel numpy; do
  "$python" -c "import $module" 2>/dev/null || {
    echo "skipped: $python has no $module"
    exit 77
  }
done
rm -rf "$scratch"
mkdir -p "$scratch"
cp -r "$package" "$scratch/package" # building leaves files in its folder
cd "$scratch"
"$python" -m venv --system-site-packages venv
venv/bin/pip install --quiet --disable-pip-version-check --no-build-isolation --no-index ./package
export QRX_JPEG_LIBRARY=$library
for program in "$@"; do
  venv/bin/python "$program"
done
