#!/bin/sh
# Installs the missing packages of the named groups: scripts/install.sh GROUP... Each group is a
# file in scripts/packages with one package name per line. Returns quickly if everything is there.
set -eu
cd "$(dirname "$0")/packages"

fail() {
  echo "install.sh: $*" >&2
  exit 1
}

[ $# -gt 0 ] || fail "name a package group: $(echo *)"
wanted=$(cat "$@" | grep -v '^#') || fail "no such package group among: $*"

missing=
for package in $wanted; do
  state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) || state=
  [ "$state" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

command -v apt-get >/dev/null || fail "apt-get is not here; install by hand:$missing"
if [ "$(id -u)" = 0 ]; then
  as_root=
elif command -v sudo >/dev/null; then
  as_root=sudo
else
  fail "not root, and sudo is not here; install by hand:$missing"
fi
echo "Installing:$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
export DEBIAN_FRONTEND=noninteractive
# Another program may be installing something at the moment.
wait_for_others="-o DPkg::Lock::Timeout=300"
if ! { $as_root apt-get $wait_for_others update &&
  $as_root apt-get $wait_for_others install -y --no-install-recommends $missing; } \
  >"$log" 2>&1; then
  tail -n 20 "$log" >&2
  fail "apt-get could not install:$missing (is the network there?)"
fi
