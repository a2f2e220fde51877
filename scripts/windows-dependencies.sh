#!/bin/sh
# Builds for Windows the libraries that Debian does not offer: tinyxml2, from Debian's source
# package, and GoogleTest, from the sources that the package "googletest" installs. They are put
# into build/windows-dependencies/target, where the preset "windows" looks for them. Returns quickly
# if everything is there.
set -eu
cd "$(dirname "$0")/.."

root=$PWD/build/windows-dependencies
toolchain=$PWD/cmake/mingw-w64-x86_64.cmake
done_mark=$root/built-with
stamp=$(cat "$0" "$toolchain" | cksum; x86_64-w64-mingw32-g++-posix -dumpfullversion)
if [ -f "$done_mark" ] && [ "$(cat "$done_mark")" = "$stamp" ]; then
  exit 0
fi
rm -rf "$root"
mkdir -p "$root"

fail() {
  echo "windows-dependencies.sh: $*" >&2
  exit 1
}

# The machine's own package sources, but asked for source packages. The lists are kept apart from
# those of the machine: it is not changed, and this needs no root.
fetch_sources() {
  apt=$root/apt
  mkdir -p "$apt/sources" "$apt/lists/partial"
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$file" ] && sed -n 's/^deb /deb-src /p' "$file" >"$apt/sources/$(basename "$file" .list).list"
  done
  for file in /etc/apt/sources.list.d/*.sources; do
    [ -f "$file" ] && sed 's/^Types:.*/Types: deb-src/' "$file" >"$apt/sources/$(basename "$file")"
  done
  options="-o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts=$apt/sources"
  options="$options -o Dir::State::Lists=$apt/lists -o Dir::Cache::srcpkgcache= -o Dir::Cache::pkgcache="
  # The update fails for all package sources if one of them has no source packages. What counts is
  # whether the package is found afterwards.
  apt-get $options -qq update >"$apt/log" 2>&1 || true
  (cd "$root" && apt-get $options -qq -o APT::Sandbox::User=root source "$1" >>"$apt/log" 2>&1) || {
    tail -n 20 "$apt/log" >&2
    fail "no source package $1 (is the network there?)"
  }
}

# build NAME SOURCE-FOLDER OPTION...
build() {
  name=$1 source=$2
  shift 2
  log=$root/$name.log
  {
    cmake -G Ninja -S "$source" -B "$root/$name" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
      -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$root/target" -DBUILD_SHARED_LIBS=OFF "$@" &&
      cmake --build "$root/$name" --target install
  } >"$log" 2>&1 || {
    tail -n 20 "$log" >&2
    fail "could not build $name"
  }
}

fetch_sources tinyxml2
build tinyxml2 "$(echo "$root"/tinyxml2-*/)" -Dtinyxml2_BUILD_TESTING=OFF
build googletest /usr/src/googletest -DBUILD_GMOCK=OFF
echo "$stamp" >"$done_mark"
