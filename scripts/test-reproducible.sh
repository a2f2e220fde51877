#!/bin/sh
# Builds all packages of the last commit twice, in two folders and two time zones and at different
# times, and compares them byte by byte. Takes minutes. To choose among them, name systems as for
# ./package.sh.
set -eu
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || set -- linux windows
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset SOURCE_DATE_EPOCH CMAKE_CXX_COMPILER_LAUNCHER CMAKE_C_COMPILER_LAUNCHER
for place in first second/in-another-place; do
  git clone -q . "$folder/$place"
  for system in "$@"; do
    echo "== $system, $place"
    (cd "$folder/$place" && TZ=Test$(echo $place | wc -c) ./package.sh "$system" >build.log 2>&1) || {
      tail -n 20 "$folder/$place/build.log" >&2
      exit 1
    }
  done
done
first=$folder/first/dist second=$folder/second/in-another-place/dist
if ! diff -r "$first" "$second"; then
  if command -v diffoscope >/dev/null; then
    diffoscope --max-report-size 20000 "$first" "$second" || true
  fi
  exit 1
fi
echo "The same bytes twice:"
cat "$first/SHA256SUMS"
