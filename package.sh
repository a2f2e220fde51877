#!/bin/sh
# Makes a package: ./package.sh linux|windows. The result lands in dist/.
set -eu
cd "$(dirname "$0")"
script=scripts/package-${1:-}.sh
if [ ! -f "$script" ]; then
  echo "Usage: ./package.sh linux|windows" >&2
  exit 2
fi
exec "$script"
