#!/bin/sh
# Makes the package for Windows Installer: packaging/windows/make-msi.sh VERSION FOLDER PACKAGE.
# FOLDER contains KV500Service.exe, kv500-check.exe and actions.dll.
#
# KV500_SIGN is a command that signs a file in place; the file name is appended. It is run in the
# caller's folder.
# SOURCE_DATE_EPOCH is the time that is written into the package.
set -eu
version=$1 output=$(realpath "$3") source=$(realpath "$2") caller=$PWD
cd "$(dirname "$0")"
export TZ=UTC # Times in the package are local ones.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

sign() { # sign FILE
  [ -z "${KV500_SIGN-}" ] || (cd "$caller" && $KV500_SIGN "$1") || {
    echo "make-msi.sh: not signed: $(basename "$1")" >&2
    exit 1
  }
}

cp "$source/KV500Service.exe" "$source/kv500-check.exe" "$source/actions.dll" "$folder"
for file in "$folder"/*.exe "$folder"/*.dll; do
  sign "$file"
done
cp config.txt KV500Service.wxs ../../platform/windows/kv500.ico "$folder"
size=$(cat "$folder"/*.exe | wc -c) # In KiB behind this.
touch -d "@$SOURCE_DATE_EPOCH" "$folder"/*

# An identifier derived from what it stands for: the same on every machine.
identifier() {
  sha1sum | sed -E 's/^(.{8})(.{4}).(.{3}).(.{3})(.{12}).*/{\1-\2-5\3-8\4-\5}/' | tr a-f A-F
}
product=$(echo "KV500Service $version" | identifier)
content=$(cat tables.sql "$folder"/* | identifier)

package=$folder/$(basename "$output") # Moved when it is complete.
# wixl goes on after problems that it takes for minor. Here any message of it is a failure.
words=$(cd "$folder" && wixl --arch x64 -D "Version=$version" -D "ProductCode=$product" \
  -D "Size=$(((size + 1023) / 1024))" --output "$package" KV500Service.wxs 2>&1) && [ -z "$words" ] || {
  echo "make-msi.sh: wixl: $words" >&2
  exit 1
}
{
  grep '^[A-Z]' tables.sql
  # A file with a version is replaced only by one with a higher version; without this, never.
  for file in KV500Service.exe kv500_check.exe; do
    echo "UPDATE \`File\` SET \`Version\` = '$version.0', \`Language\` = '1033' WHERE \`File\` = '$file'"
    echo "DELETE FROM \`MsiFileHash\` WHERE \`File_\` = '$file'"
  done
} | while IFS= read -r statement; do
  msibuild "$package" -q "$statement" || { echo "make-msi.sh: $statement" >&2; exit 1; }
done
# The summary, with a new identifier of the package (9) and new times (12, 13).
time=$(date -d "@$SOURCE_DATE_EPOCH" '+%Y\/%m\/%d %H:%M:%S')
msiinfo export "$package" _SummaryInformation |
  sed "s/^9\t[^\r]*/9\t$content/; s/^\(1[23]\)\t[^\r]*/\1\t$time/" >"$folder/_SummaryInformation.idt"
msibuild "$package" -i "$folder/_SummaryInformation.idt"
sign "$package"
mv "$package" "$output"
