#!/usr/bin/env bash
# Builds the .deb with CPack from a configured build folder, checks its
# metadata and contents, unpacks it into a scratch root and runs the
# installed-tree test on that root's /usr.
#   deb_test.sh SOURCE_DIR BUILD_DIR WORK_DIR
set -euo pipefail
src=$1 build=$2 work=$3
rm -rf "$work" && mkdir -p "$work"
fail() { echo "deb: $*" >&2; exit 1; }

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" ||
  { cat "$work/cpack.log" >&2; fail "cpack failed"; }
deb=$(ls "$work"/nadiro_*.deb)
info=$(dpkg-deb --info "$deb")
for field in "Package: nadiro" "Depends: .*libc6" " Licence: MIT."; do
  grep -q "^ $field" <<<"$info" || fail "control lacks '$field'"
done
contents=$(dpkg-deb --contents "$deb" | awk '{ print $6 }')
for path in ./usr/include/nadiro/nadiro.h ./usr/include/nadiro/nadiro_image.h \
            ./usr/lib/pkgconfig/nadiro.pc ./usr/lib/cmake/Nadiro/NadiroConfig.cmake \
            ./usr/share/doc/nadiro/LICENSE ./usr/share/doc/nadiro/copyright; do
  grep -qx "$path" <<<"$contents" || fail "missing $path"
done
! grep -q "^\./usr/local" <<<"$contents" || fail "files under /usr/local"

dpkg-deb --fsys-tarfile "$deb" | tar -xO ./usr/share/doc/nadiro/copyright |
  grep -q "^License: MIT$" || fail "copyright file does not name MIT"

dpkg-deb -x "$deb" "$work/root"
bash "$src/tests/install/installed_tree_test.sh" "$src" "$work/root/usr" "$work/tree"
