#!/bin/sh
# Fills the practice's origin into the policies: packaging/policies/make.sh ORIGIN [FOLDER]
#   packaging/policies/make.sh https://practice.example dist/policies
set -eu
usage() {
  echo "Usage: packaging/policies/make.sh ORIGIN [FOLDER], ORIGIN like https://practice.example[:PORT]" >&2
  exit 2
}
[ $# = 1 ] || [ $# = 2 ] || usage
origin=$1 folder=${2:-dist/policies}
# Accepts no character with a meaning in JSON, in a registry file or for sed; only one line, no
# path.
printf '%s' "$origin" | tr '\n' ' ' |
  grep -qE '^https?://[A-Za-z0-9]([A-Za-z0-9.-]*[A-Za-z0-9])?(:[0-9]{1,5})?$' || usage
host=$(printf '%s' "$origin" | sed -E 's,^https?://,,; s,:[0-9]+$,,')
source=$(dirname "$0")
umask 022 # Each user's browser has to read the copies of these files.
mkdir -p "$folder"
for file in chrome.json edge.json firefox.json; do
  sed "s,@ORIGIN@,$origin,; s,@HOST@,$host," "$source/$file" >"$folder/$file"
done
for file in chrome.reg edge.reg; do # As Windows' own editor writes them: line ends of two characters.
  sed "s,@ORIGIN@,$origin,; s/\$/$(printf '\r')/" "$source/$file" >"$folder/$file"
done
echo "$folder: $(cd "$folder" && echo chrome.json chrome.reg edge.json edge.reg firefox.json)"
