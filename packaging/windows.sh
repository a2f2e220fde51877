#!/bin/sh
# Makes the package for Windows Installer, dist/KV500Service-<version>-x64.msi.
#
# KV500_SIGN is a command that signs a file in place; the file name is appended. It is called for
# each Windows file and then for the package; see docs/windows.md.
set -eu
cd "$(dirname "$0")/.."
. packaging/common

scripts/install.sh windows windows-installer
scripts/windows-dependencies.sh
build=build/windows
cmake --preset windows >/dev/null
cmake --build $build --target KV500Service kv500-check installer_actions

files=$build/packaging/files
rm -rf "$files"
mkdir -p "$files" dist
cp $build/KV500Service.exe $build/kv500-check.exe $build/packaging/windows/actions.dll "$files"
package=dist/KV500Service-$version-x64.msi
rm -f dist/KV500Service-*.msi*
packaging/windows/make-msi.sh "$version" "$files" "$package"

# Other components in the programs; all of them are linked statically.
unpacked=$build/packaging/unpacked
rm -rf "$unpacked"
msiextract -C "$unpacked" "$package" >/dev/null
gcc=$(dpkg-query -W -f='${Version}' g++-mingw-w64-x86-64-posix)
mingw=$(dpkg-query -W -f='${Version}' mingw-w64-x86-64-dev)
xml=$(basename build/windows-dependencies/tinyxml2-*/ | sed 's/^tinyxml2-//')
packaging/bill_of_materials.py "$version" "$package" "$unpacked" "tinyxml2=$xml" "libstdc++=$gcc" \
  "libgcc=$gcc" "libssp=$gcc" "mingw-w64=$mingw" "winpthreads=$mingw"
echo "$package"
