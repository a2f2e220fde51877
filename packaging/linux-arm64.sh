#!/bin/sh
# Cross-builds the Debian packages for arm64 into dist/ and runs their unit tests with QEMU.
set -eu
cd "$(dirname "$0")/.."
. packaging/common
scripts/install.sh build package package-arm64
scripts/arm64-dependencies.sh
root=$PWD/build/arm64-dependencies/root
build=build/package-arm64
export PKG_CONFIG_LIBDIR="$root/usr/lib/aarch64-linux-gnu/pkgconfig:$root/usr/share/pkgconfig"
export PKG_CONFIG_SYSROOT_DIR="$root"
packaging/linux/build.sh $build -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/linux-arm64.cmake"
cmake --build $build --target unit_tests
# A test that starts its program again does so by this name. One test is left out: its clients have to
# send within 10 ms, which is too short for an emulator.
tests=$build/emulated_tests
cat >$tests <<END
#!/bin/sh
exec qemu-aarch64-static -0 "\$0" -L "$root" "$PWD/$build/tests/unit_tests" "\$@"
END
chmod +x $tests
$tests --gtest_brief=1 --gtest_filter=-ServerTest.InACrowdTheLastWorkerIsForThoseWhoAskAtOnce
mkdir -p dist
rm -f dist/kv500*_arm64.deb*
set --
for package in build/arm64-dependencies/packages/*/; do
  set -- "$@" "-S$PWD/$package"
done
PACKAGES=$PWD/build/arm64-dependencies/packages ARCHITECTURE=arm64 \
  CROSS=aarch64-linux-gnu- packaging/linux/make-debs.sh "$version" $build dist "$@"
ls dist/kv500*_arm64.deb
