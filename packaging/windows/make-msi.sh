#!/bin/sh
# Makes the package for Windows Installer: packaging/windows/make-msi.sh VERSION FOLDER PACKAGE.
# FOLDER contains KV500Service.exe, kv500-check.exe and actions.dll.
#
# KV500_SIGN is a command that signs a file in place; the file name is appended.
# SOURCE_DATE_EPOCH is the time that is written into the package.
set -eu
version=$1 output=$(realpath "$3") source=$(realpath "$2")
cd "$(dirname "$0")"
export TZ=UTC # Times in the package are local ones.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cp "$source/KV500Service.exe" "$source/kv500-check.exe" "$source/actions.dll" "$folder"
if [ -n "${KV500_SIGN-}" ]; then
  for file in "$folder"/*.exe "$folder"/*.dll; do
    $KV500_SIGN "$file" || { echo "make-msi.sh: not signed: $(basename "$file")" >&2; exit 1; }
  done
fi
cp config.txt KV500Service.wxs ../../platform/windows/kv500.ico "$folder"
size=$(cat "$folder"/*.exe | wc -c) # In KiB behind this.
touch -d "@$SOURCE_DATE_EPOCH" "$folder"/*

# An identifier derived from what it stands for: the same on every machine.
identifier() {
  sha1sum | sed -E 's/^(.{8})(.{4}).(.{3}).(.{3})(.{12}).*/{\1-\2-5\3-8\4-\5}/' | tr a-f A-F
}
product=$(echo "KV500Service $version" | identifier)
content=$(cat tables.sql "$folder"/* | identifier)

rm -f "$output"
# wixl goes on after problems that it takes for minor. Here any message of it is a failure.
words=$(cd "$folder" && wixl --arch x64 -D "Version=$version" -D "ProductCode=$product" \
  -D "Size=$(((size + 1023) / 1024))" --output "$output" KV500Service.wxs 2>&1) && [ -z "$words" ] || {
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
  msibuild "$output" -q "$statement" || { echo "make-msi.sh: $statement" >&2; exit 1; }
done
# The summary, with a new identifier of the package (9) and new times (12, 13).
time=$(date -d "@$SOURCE_DATE_EPOCH" '+%Y\/%m\/%d %H:%M:%S')
msiinfo export "$output" _SummaryInformation |
  sed "s/^9\t[^\r]*/9\t$content/; s/^\(1[23]\)\t[^\r]*/\1\t$time/" >"$folder/_SummaryInformation.idt"
msibuild "$output" -i "$folder/_SummaryInformation.idt"
if [ -n "${KV500_SIGN-}" ]; then
  $KV500_SIGN "$output" || { rm -f "$output"; echo "make-msi.sh: the package is not signed" >&2; exit 1; }
fi
