#!/bin/sh
# Installs what the tests need, builds everything and runs every test. See --help.
set -eu
cd "$(dirname "$0")"

usage() {
  cat <<'TEXT'
Usage: ./test.sh [--quick | --fuzz HOURS]

Runs, one after the other: the format check; the Clang build with thread-safety analysis and a minute
of each fuzzer; the unit and end-to-end tests under AddressSanitizer with
UndefinedBehaviorSanitizer and under ThreadSanitizer; the Windows build under Wine; the tests of the
release build, with those of the Linux service on the real smart-card daemon (they need root), of the
packages and of the web page in a browser.

  --quick       the unit tests alone
  --fuzz HOURS  the fuzzers alone, side by side, each for that many hours

What this machine can't run is skipped and named at the end, with the reason. Where the environment
has CI set, it counts as a failure.
TEXT
}

quick=
fuzz_hours=
case "${1-}" in
  '') ;;
  --quick) quick=yes ;;
  --fuzz)
    fuzz_hours=${2-}
    case $fuzz_hours in
      '' | 0* | *[!0-9]*) echo "test.sh: --fuzz takes a number of hours" >&2; exit 2 ;;
    esac
    ;;
  --help | -h) usage; exit 0 ;;
  *) usage >&2; exit 2 ;;
esac

step() {
  echo
  echo "== $* (after $(($(date +%s) - begin)) s)"
}
begin=$(date +%s)
began=$(mktemp)
trap 'rm -f "$began"' EXIT

build() { # build PRESET [--target TARGET...]
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$@"
}

fuzz() { # fuzz SECONDS
  cmake --preset clang -DKV500_FUZZ_SECONDS="$1" >/dev/null
  cmake --build --preset clang --target kv500-simulator KV500Service service_fuzz gzip_fuzz xml_fuzz
  ctest --test-dir build/clang -L fuzz -j 3 --no-tests=error --output-on-failure
}

# Names what was skipped in the runs so far, with the reasons. Fails if that counts.
report_skipped() {
  skipped=$(awk '/^[0-9]+\/[0-9]+ Testing: / { name = $3 }
    sub(/^SKIPPED: /, "") { split(FILENAME, path, "/"); print "  " path[2] ", " name ": " $0 }' \
    $(find build -path '*/Testing/Temporary/LastTest.log' -newer "$began"))
  if [ -n "$skipped" ]; then
    echo "Skipped on this machine:"
    echo "$skipped"
    [ -z "${CI-}" ] || { echo "test.sh: nothing may be skipped where CI is set" >&2; return 1; }
  fi
}

finish() {
  step "Done"
  scripts/test-share.sh 33
  report_skipped
}

step "Installing what is missing"
scripts/install.sh build test linux-test

if [ -n "$quick" ]; then
  build release
  ctest --test-dir build/release -j 8 -L unit --no-tests=error --output-on-failure
  finish
  exit
fi

if [ -n "$fuzz_hours" ]; then
  fuzz $((fuzz_hours * 3600))
  exit
fi

step "Format"
git ls-files '*.cc' '*.h' | xargs clang-format-14 --dry-run -Werror

step "Clang with thread-safety analysis, and the fuzzers"
fuzz 60

for preset in asan tsan; do
  step "Tests, preset $preset"
  build $preset
  ctest --test-dir build/$preset -j 6 --no-tests=error --output-on-failure
done

step "Windows, under Wine"
scripts/test-windows.sh

step "Tests, preset release"
build release
ctest --test-dir build/release -j 6 --no-tests=error --output-on-failure

finish
