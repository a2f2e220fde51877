#!/bin/sh
# Runs the tests of client, page and reference: web/tests/run.sh SIMULATOR [FILE...]
# Installs what they need where it is missing; the pictures of the page go to build/web-pictures.
set -eu

[ $# -gt 0 ] || { echo "run.sh: name the kv500-simulator program" >&2; exit 1; }
KV500_SIMULATOR=$(realpath "$1")
export KV500_SIMULATOR
shift
cd "$(dirname "$0")"
mkdir -p ../../build
[ $# -gt 0 ] || set -- *.test.mjs

# Tests that run side by side wait for the first one to install.
exec 9>../../build/web-tests.lock
flock 9
../../scripts/install.sh web web-test
command -v npm >/dev/null || ../../scripts/install.sh npm
# npm notes what it has installed; a newer lock file means that it has to be done again.
if [ ! -e node_modules/.package-lock.json ] || [ package-lock.json -nt node_modules/.package-lock.json ]; then
  npm ci --no-audit --no-fund --loglevel=error
  touch node_modules/.package-lock.json
fi
exec 9>&-
for file in "$@"; do
  node --test "$file"
done
