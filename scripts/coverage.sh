#!/bin/sh
# Builds with coverage, runs the tests and prints how much of the logic they run: lines, regions and
# branches of card/, device/, frontend/ and support/. Says which lines no test runs.
# scripts/coverage.sh [LABELS]   which tests, as ctest -L takes it (default: unit|simulator|sweep,
# about 5 minutes)
#
# Fails below 95 per cent of the lines or 93 of the regions. The programs end without destructors, so
# the counters are in files that are mapped into memory ("%c").
set -eu
cd "$(dirname "$0")/.."

root=$PWD
labels=${1:-unit|simulator|sweep}
scripts/install.sh build test coverage
build=$root/build/coverage
profiles=$build/profiles
rm -rf "$profiles"
mkdir -p "$profiles"
cmake -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping -mllvm -runtime-counter-relocation \
    -Wno-unused-command-line-argument" \
  >/dev/null
cmake --build "$build"
LLVM_PROFILE_FILE="$profiles/%p%c.profraw" ctest --test-dir "$build" -L "$labels" -j 4 --no-tests=error \
  --output-on-failure >"$build/tests.log" || { tail -n 40 "$build/tests.log" >&2; exit 1; }

find "$profiles" -name '*.profraw' >"$build/list"
llvm-profdata-14 merge -sparse -f "$build/list" -o "$build/all.profdata"
cover() {
  kind=$1
  shift
  (cd "$build" && llvm-cov-14 "$kind" tests/unit_tests -object kv500-simulator -object KV500Service \
    -instr-profile all.profdata "$@" 2>warnings \
    -ignore-filename-regex="($root|\.\./\.\.)/(check|platform|service|simulator|tests)/|_test\.cc$")
}
echo "Lines that no test runs:"
cover show -show-instantiations=false |
  awk '/^[./].*:$/ { file = $0 } /^ *[0-9]+\| *0\|/ { if (file) print file; file = ""; print }'
cover report -show-functions=false
cover export -summary-only | python3 -c '
import json, sys
totals = json.load(sys.stdin)["data"][0]["totals"]
lines, regions = (totals[kind]["percent"] for kind in ("lines", "regions"))
print(f"{lines:.1f} per cent of the lines, {regions:.1f} per cent of the regions")
sys.exit(0 if lines > 95 and regions > 93 else "coverage.sh: too little")'
