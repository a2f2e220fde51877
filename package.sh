#!/bin/sh
# Makes the packages of a system: ./package.sh SYSTEM. Each has a script packaging/SYSTEM.sh.
set -eu
cd "$(dirname "$0")"
script=packaging/${1-}.sh
if [ $# != 1 ] || [ ! -f "$script" ]; then
  echo "Usage: ./package.sh SYSTEM, with one of: $(ls packaging/*.sh | sed 's,.*/,,; s,\.sh,,')" >&2
  exit 2
fi
"$script"
# The checksums of the files in dist/; check them with "sha256sum --check SHA256SUMS".
cd dist
find . -type f ! -name SHA256SUMS -printf '%P\n' | LC_ALL=C sort | xargs -d '\n' sha256sum >SHA256SUMS
