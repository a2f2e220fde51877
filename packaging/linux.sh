#!/bin/sh
# Makes the Debian packages of the service and the simulator in dist/.
set -eu
cd "$(dirname "$0")/.."
. packaging/common
scripts/install.sh build package
build=build/package
packaging/linux/build.sh $build -DCMAKE_CXX_COMPILER=g++
rm -f dist/kv500*_"$(dpkg --print-architecture)".deb*
mkdir -p dist
packaging/linux/make-debs.sh "$version" $build dist
ls dist/kv500*_"$(dpkg --print-architecture)".deb
