#!/bin/sh
# Fetches Debian's libraries for arm64 into build/arm64-dependencies. They are unpacked together in
# "root", for the compiler and for QEMU, and one by one in "packages", for dpkg-shlibdeps. The
# machine's own list of packages is not changed. Returns quickly if everything is there.
set -eu
cd "$(dirname "$0")/.."
folder=$PWD/build/arm64-dependencies
stamp=$(cksum <"$0")
[ "$(cat "$folder/made-by" 2>/dev/null)" != "$stamp" ] || exit 0
rm -rf "$folder"
mkdir -p "$folder/lists/partial" "$folder/archives/partial" "$folder/root" "$folder/packages" "$folder/sources"
touch "$folder/status"
for file in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
  [ ! -f "$file" ] || cp "$file" "$folder/sources/"
done
[ ! -f "$folder/sources/sources.list" ] || mv "$folder/sources/sources.list" "$folder/sources/own.list"
apt() {
  apt-get -qq -o APT::Architecture=arm64 -o APT::Architectures::=arm64 -o APT::Sandbox::User=root \
    -o Dir::State="$folder" -o Dir::State::Status="$folder/status" -o Dir::Cache="$folder" \
    -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$folder/sources" "$@"
}
fail() {
  tail -n 20 "$folder/log" >&2
  echo "arm64-dependencies.sh: $* (is the network there?)" >&2
  exit 1
}
apt update >"$folder/log" 2>&1 || fail "no lists of packages"
apt -y --no-install-recommends --download-only install libtinyxml2-dev zlib1g-dev libpcsclite-dev \
  libudev-dev libsystemd-dev libgtest-dev libstdc++6 >>"$folder/log" 2>&1 || fail "no packages for arm64"
for package in "$folder"/archives/*.deb; do
  name=$(dpkg-deb -f "$package" Package)
  case $name in
    libc6-dev | libcrypt-dev) continue ;; # The cross compiler has its own.
    lib* | zlib1g*) ;;
    *) continue ;;
  esac
  dpkg-deb -x "$package" "$folder/root"
  dpkg-deb -R "$package" "$folder/packages/$name"
done
# Absolute links would lead to this machine's files, and the linker would take static libraries instead.
find "$folder/root" -lname '/*' -printf '%p %l\n' | while read -r link target; do
  ln -sfn "$folder/root$target" "$link"
done
rm -rf "$folder/archives"
echo "$stamp" >"$folder/made-by"
