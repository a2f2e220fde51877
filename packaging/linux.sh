#!/bin/sh
# Makes the Debian packages of the service and the simulator in dist/.
set -eu
cd "$(dirname "$0")/.."
umask 022
scripts/install.sh build package
cmake --preset release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG -D_FORTIFY_SOURCE=2 \
-fstack-protector-strong" -DCMAKE_EXE_LINKER_FLAGS="-Wl,-z,relro,-z,now" \
  -DCMAKE_POSITION_INDEPENDENT_CODE=ON -B build/package >/dev/null
cmake --build build/package --target KV500Service kv500-simulator ifdkv500sim
rm -f dist/kv500*.deb
(cd build/package && cpack >cpack.log 2>&1) || { cat build/package/cpack.log >&2; exit 1; }
ls dist/kv500*.deb
