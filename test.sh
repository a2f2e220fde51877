#!/bin/sh
# Installs what the tests need, builds everything and runs every test. See --help.
set -eu
cd "$(dirname "$0")"

usage() {
  cat <<'TEXT'
Usage: ./test.sh [--quick]

Runs, one after the other: the format check; the Clang build with thread-safety analysis and a short
run of the fuzzers; the unit and end-to-end tests under AddressSanitizer with
UndefinedBehaviorSanitizer and under ThreadSanitizer; the Windows build under Wine; the tests of the
release build, with those of the Linux service on the real smart-card daemon (they need root), of the
packages and of the web page in a browser.

  --quick   the unit tests alone
TEXT
}

quick=
case "${1-}" in
  '') ;;
  --quick) quick=yes ;;
  --help | -h) usage; exit 0 ;;
  *) usage >&2; exit 2 ;;
esac

step() {
  echo
  echo "== $* (after $(($(date +%s) - begin)) s)"
}
begin=$(date +%s)

build() { # build PRESET [--target TARGET...]
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$@"
}

step "Installing what is missing"
scripts/install.sh build test linux-test

if [ -n "$quick" ]; then
  build release
  exec ctest --test-dir build/release -j 8 -L unit --no-tests=error --output-on-failure
fi

step "Format"
git ls-files '*.cc' '*.h' | xargs clang-format-14 --dry-run -Werror

step "Clang with thread-safety analysis, and the fuzzers"
build clang --target kv500-simulator KV500Service card_fuzz gzip_fuzz xml_fuzz
ctest --test-dir build/clang -L fuzz --no-tests=error --output-on-failure

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
