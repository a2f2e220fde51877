#!/bin/sh
# Makes Debian packages of a build: packaging/linux/make-debs.sh VERSION BUILD OUTPUT [OPTION...].
# The options go to dpkg-shlibdeps. For another architecture than this machine's, CROSS is the
# prefix of its tools, ARCHITECTURE its name and PACKAGES a folder of its unpacked packages.
# SOURCE_DATE_EPOCH is the time that is written into packages.
set -eu
version=$1 build=$(realpath "$2") output=$(realpath "$3")
shift 3
cd "$(dirname "$0")"
umask 022
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
architecture=${ARCHITECTURE:-$(dpkg --print-architecture)}
export DEB_HOST_ARCH="$architecture" # Tells dpkg-shlibdeps the folders of libraries.

# The programs and libraries below a folder; scripts are none.
programs() { # programs FOLDER
  LC_ALL=C grep -rl "^$(printf '\177')ELF" "$1"
}

# The packages that the programs below a folder need, according to dpkg-shlibdeps.
libraries() { # libraries FOLDER OPTION...
  root=$1
  shift
  mkdir -p "$folder/debian"
  printf 'Source: x\n\nPackage: x\nArchitecture: any\n' >"$folder/debian/control"
  (cd "$folder" && dpkg-shlibdeps --ignore-missing-info -O "$@" $(programs "$root") \
    2>"$folder/words") | sed -n 's/^shlibs:Depends=//p'
}

for part in service simulator; do
  root=$folder/$part
  DESTDIR=$root cmake --install "$build" --prefix / --component $part >/dev/null
  programs "$root" | xargs "${CROSS-}strip" --strip-unneeded --remove-section=.comment \
    --remove-section=.note
  chmod -x,a+r $(find "$root" -name '*.so') 2>/dev/null || true

  mkdir "$root/DEBIAN"
  depends=$(libraries "$root" "$@")
  [ -n "$depends" ] || { cat "$folder/words" >&2; exit 1; }
  size=$(find "$root" -type f -exec cat {} + | wc -c)
  sed "s/@VERSION@/$version/; s/@ARCHITECTURE@/$architecture/; s/@DEPENDS@/$depends/
    s/@SIZE@/$(((size + 1023) / 1024))/" $part/control >"$root/DEBIAN/control"
  for file in preinst postinst postrm conffiles; do
    [ ! -f $part/$file ] || install -m "$([ $file = conffiles ] && echo 644 || echo 755)" \
      $part/$file "$root/DEBIAN"
  done
  (cd "$root" && find . -type f ! -path './DEBIAN/*' -printf '%P\0' | LC_ALL=C sort -z |
    xargs -0 md5sum >DEBIAN/md5sums)
  find "$root" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  name=$(sed -n 's/^Package: //p' $part/control)
  package=$output/${name}_${version}_$architecture.deb
  dpkg-deb --root-owner-group -Zxz --build "$root" "$package" >/dev/null

  # The libraries belong to other packages. Their versions are those that the build has used.
  parts=
  for library in $(echo "$depends" | sed 's/([^)]*)//g; s/,/ /g'); do
    case $library in
      libtinyxml2*) part=tinyxml2 ;;
      zlib1g*) part=zlib ;;
      *) part=$(echo "$library" | sed -E 's/(-s)?[-0-9.]*(t64)?$//') ;;
    esac
    control=${PACKAGES-}/$library/DEBIAN/control
    used=$([ -f "$control" ] && sed -n 's/^Version: //p' "$control" ||
      dpkg-query -W -f='${Version}\n' "$library" | head -n 1)
    parts="$parts $part=$used"
  done
  rm -rf "$root/DEBIAN"
  ../bill_of_materials.py "$version" "$package" "$root" $parts
done
