#!/bin/sh
# Prints which share of the code lines are tests. Fails if it is above LIMIT per cent:
# scripts/test-share.sh [LIMIT]
set -eu
cd "$(dirname "$0")/.."

code=$(git ls-files | grep -E '(\.(c|cc|h|py|sh|js|mjs|ts|nsi|cmake)|(^|/)CMakeLists\.txt)$' |
  grep -vE '^(docs|examples)/')
lines() { xargs cat | wc -l; }
all=$(echo "$code" | lines)
tests=$(echo "$code" | grep -E '(^|/)(test|tests|fuzz)/|_test\.' | lines)
tenths=$((1000 * tests / all))
echo "$tests of $all code lines are tests: $((tenths / 10)).$((tenths % 10)) per cent"
[ "$tenths" -le $((10 * ${1:-100})) ] || {
  echo "test-share.sh: at most $1 per cent may be" >&2
  exit 1
}
