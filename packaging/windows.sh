#!/bin/sh
# Makes the installer for Windows, dist/KV500Service-<version>-setup.exe.
set -eu
cd "$(dirname "$0")/.."

scripts/install.sh windows windows-installer
scripts/windows-dependencies.sh
cmake --preset windows >/dev/null
cmake --build build/windows --target KV500Service

version=$(sed -n 's/^project(kv500service VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ -n "$version" ] || {
  echo "packaging/windows.sh: no version in CMakeLists.txt" >&2
  exit 1
}
mkdir -p dist
makensis -V2 -WX "-DVERSION=$version" "-DPROGRAM=$PWD/build/windows/KV500Service.exe" \
  "-DOUTPUT=$PWD/dist/KV500Service-$version-setup.exe" packaging/windows/setup.nsi
echo "dist/KV500Service-$version-setup.exe"
