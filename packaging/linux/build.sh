#!/bin/sh
# Builds the content of the Debian packages: packaging/linux/build.sh BUILD-FOLDER CMAKE-OPTION...
set -eu
cd "$(dirname "$0")/../.."
build=$1
shift
cmake -G Ninja -B "$build" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG -D_FORTIFY_SOURCE=2 -fstack-protector-strong" \
  -DCMAKE_POSITION_INDEPENDENT_CODE=ON "$@" >/dev/null
cmake --build "$build" --target KV500Service kv500-check kv500-simulator ifdkv500sim
