#!/bin/sh
# Builds the Windows programs and tests them under Wine.
set -eu
cd "$(dirname "$0")/.."
scripts/install.sh windows windows-installer windows-test
scripts/windows-dependencies.sh
cmake --preset windows >/dev/null
cmake --build build/windows
ctest --test-dir build/windows -L windows -j 2 --no-tests=error --output-on-failure
