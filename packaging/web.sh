#!/bin/sh
# Makes the npm packages of the client and of the service for tests, dist/kv500-*.tgz.
set -eu
cd "$(dirname "$0")/.."

scripts/install.sh web
command -v npm >/dev/null || scripts/install.sh npm
version=$(sed -n 's/^project(kv500service VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
mkdir -p dist
rm -f dist/kv500-client-*.tgz dist/kv500-fake-*.tgz
for package in client fake; do
  grep -q "\"version\": \"$version\"" "web/$package/package.json" || {
    echo "packaging/web.sh: web/$package/package.json is not of version $version" >&2
    exit 1
  }
  npm pack --silent --pack-destination dist "./web/$package" >/dev/null
  echo "dist/kv500-$package-$version.tgz"
done
