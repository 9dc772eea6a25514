#!/bin/sh
# The wheel, installed into an environment of its own: its type hints, the examples of its documentation, its tests.
# usage: test_wheel.sh PYTHON LIBRARY PLATFORM HEADER SCRATCH
set -eu
python=$1
library=$2
platform=$3
header=$4
scratch=$5
source=$(dirname "$(readlink -f "$0")")

"$python" -c 'import build, ensurepip, mypy, numpy, pytest, venv, wheel' 2>/dev/null || {
    echo "SKIPPED: not all of python3-build, -wheel, -venv, -numpy, -pytest and mypy are installed"
    exit 77
}
rm -rf "$scratch"
mkdir -p "$scratch"
"$source/build_wheel.sh" "$python" "$library" "$platform" "$scratch/wheel"
"$python" -m venv --system-site-packages "$scratch/venv" # for NumPy
"$scratch/venv/bin/pip" install --quiet --no-index "$scratch"/wheel/qxpixlib-*-py3-none-"$platform".whl

cd "$scratch"
export QXPIXLIB_LIBRARY="$library" QXPIXLIB_HEADER="$header" PYTHONDONTWRITEBYTECODE=1
venv/bin/python -m mypy --config-file "$source/pyproject.toml" --strict --package qxpixlib
venv/bin/python -m pytest -q -p no:cacheprovider --doctest-modules --doctest-ignore-import-errors --pyargs qxpixlib "$source/tests"

# Without a library of its own, as in python3-qxpixlib, the package takes the system's.
mkdir system
cp -r "$source/qxpixlib" system
LD_LIBRARY_PATH=$(dirname "$library") PYTHONPATH=system "$python" -c '
import numpy, qxpixlib
assert qxpixlib.__file__.startswith("'"$scratch"'/system") and qxpixlib.fill(numpy.zeros(3, "u4"), 7).tolist() == [7] * 3'
