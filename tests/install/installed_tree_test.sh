#!/usr/bin/env bash
# Checks an installed Nadiro tree as an outside C program sees it: the
# versioned library and its links, its export table, then the README's C
# example built against the tree with pkg-config (shared and static) and
# with find_package(Nadiro), and run.
#   installed_tree_test.sh SOURCE_DIR PREFIX WORK_DIR
set -euo pipefail
src=$1 prefix=$2 work=$3
rm -rf "$work" && mkdir -p "$work"
fail() { echo "installed tree: $*" >&2; exit 1; }

pc=$(find "$prefix" -name nadiro.pc -path '*/pkgconfig/*' | head -n1)
[ -n "$pc" ] || fail "no nadiro.pc under $prefix"
export PKG_CONFIG_PATH=$(dirname "$pc")
libdir=$(cd "$(pkg-config --variable=libdir nadiro)" && pwd)
[ "$libdir" = "$(cd "$(dirname "$pc")/.." && pwd)" ] || fail "nadiro.pc names libdir $libdir"

# libNadiroUser.so -> libNadiroUser.so.N -> libNadiroUser.so.N.M, SONAME .so.N.
version=$(pkg-config --modversion nadiro)
major=${version%%.*}
real=$(readlink -f "$libdir/libNadiroUser.so")
[ "$(basename "$real")" = "libNadiroUser.so.$version" ] || fail "link name resolves to $real"
[ "$(readlink "$libdir/libNadiroUser.so.$major")" = "libNadiroUser.so.$version" ] ||
  fail "no libNadiroUser.so.$major link"
soname=$(readelf -d "$real" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = "libNadiroUser.so.$major" ] || fail "SONAME is '$soname'"
[ -f "$libdir/libNadiroUser.a" ] || fail "no static library"
[ -f "$libdir/libNadiroDlgs.so" ] || fail "no companion module next to the library"
cmake -DNM=nm -DMODULE="$real" -DDEF="$src/src/exports/NadiroUser.def" \
      -DHEADERS="$prefix/include/nadiro" -P "$src/tests/api/exports_check.cmake"

run() {  # run NAME: the example must pass and print the library's version
  local out
  out=$(LD_LIBRARY_PATH="$libdir" "$work/$1") || fail "$1 failed"
  grep -q "^Version $version\$" <<<"$out" || fail "$1 printed: $out"
  echo "$1: ok"
}

cc -std=c11 -Wall -Werror $(pkg-config --cflags nadiro) "$src/tests/api/c_example.c" \
   -o "$work/pkgconfig_shared" $(pkg-config --libs nadiro)
run pkgconfig_shared
cc -std=c11 -Wall -Werror $(pkg-config --cflags nadiro) "$src/tests/install/layer_example.c" \
   -o "$work/layer_example" $(pkg-config --libs nadiro)
LD_LIBRARY_PATH="$libdir" "$work/layer_example" >/dev/null || fail "the layer example failed"
echo "layer_example: ok"
readelf -d "$work/pkgconfig_shared" | grep -q "NEEDED.*\[libNadiroUser.so.$major\]" ||
  fail "the program does not record the SONAME"

# Static: the archive in place of -lNadiroUser, then what it needs.
cc -std=c11 -Wall -Werror $(pkg-config --cflags nadiro) "$src/tests/api/c_example.c" \
   -o "$work/pkgconfig_static" $(pkg-config --static --libs nadiro |
   sed "s|-lNadiroUser|$libdir/libNadiroUser.a|")
! readelf -d "$work/pkgconfig_static" | grep -q "libNadiroUser" || fail "static link used the .so"
run pkgconfig_static

cmake -S "$src/tests/install/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
      -DNADIRO_EXAMPLE_SOURCE="$src/tests/api/c_example.c" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/cmake" >/dev/null
cp "$work/cmake/c_example" "$work/find_package"
run find_package

# The Python package on the installed library, found by the loader.
if /usr/bin/python3 -c "import cffi, numpy" 2>/dev/null; then
  cp -r "$src/python/nadiro" "$work/"
  (cd "$work" && LD_LIBRARY_PATH="$libdir" PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -c "
import numpy, nadiro
assert nadiro.library_path.startswith('libNadiroUser') or '$libdir' in nadiro.library_path
mono = nadiro.dither(numpy.tile(numpy.arange(0, 256, 4, dtype=numpy.uint8), (8, 1)), 'fs', bits=1)
assert mono[:, :4].sum() == 0 and mono[:, -4:].all()") || fail "the Python package"
  echo "python: ok"
fi

if [ -x "$prefix/bin/nadiro" ]; then
  "$prefix/bin/nadiro" --version | grep -q "$version" || fail "the tool's version"
  [ -f "$prefix/share/man/man1/nadiro.1" ] || fail "no man page"
  [ -f "$prefix/share/bash-completion/completions/nadiro" ] || fail "no bash completion"
  echo "tool: ok"
fi
