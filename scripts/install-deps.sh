#!/usr/bin/env bash
# Installs what building and testing Nadiro needs on Debian 12, as root.
# Packages already present are left alone, so this is quick on a set-up machine.
#
# Groups:
#   browser  chromium, for the demo gallery's checks.
#   windows  the i686 mingw-w64 cross compiler, 32-bit Wine and Xvfb, used to
#            build NadiroUser.dll and run its test program.
#   bench    OpenCV, Pillow, numpy and ImageMagick, the peers bench/compare
#            times Nadiro against.
#   python   cffi, numpy, Pillow, pytest, Dask and distributed, for the Python
#            package and its tests.
#   package  dpkg-dev and fakeroot, to build and inspect the .deb with CPack.
#   fuzz     clang and its runtime libraries (libFuzzer, sanitizers), for
#            the fuzz preset and fuzz/run.sh.
#   format   clang-format, for scripts/check-format.sh.
set -euo pipefail

# The tool reads and writes pictures through libpng, libjpeg, libwebp, libtiff
# and giflib; its end-to-end test makes and reads pictures with Pillow.
packages=(cmake g++ ninja-build pkg-config libgtest-dev libbenchmark-dev libpng-dev libjpeg62-turbo-dev
          libwebp-dev libtiff-dev libgif-dev python3-pil)
want_i386=0
# Extra package groups, asked for by the scripts that need them.
for group in "$@"; do
  case "$group" in
    browser) packages+=(chromium) ;;
    bench) packages+=(python3 python3-numpy python3-opencv python3-pil imagemagick) ;;
    python)
      packages+=(python3 python3-cffi python3-numpy python3-pil python3-pytest python3-dask
                 python3-distributed)
      ;;
    package) packages+=(dpkg-dev fakeroot file) ;;
    fuzz) packages+=(clang llvm libclang-rt-14-dev) ;;
    format) packages+=(clang-format) ;;
    windows)
      packages+=(g++-mingw-w64-i686 wine wine32:i386 wine64 xvfb xauth)
      want_i386=1
      ;;
    *) echo "install-deps: unknown group '$group'" >&2; exit 2 ;;
  esac
done

installed() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"
}
missing=()
for p in "${packages[@]}"; do
  installed "$p" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: run as root to install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
if [ "$want_i386" -eq 1 ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
  "${as_root[@]}" dpkg --add-architecture i386
fi
export DEBIAN_FRONTEND=noninteractive

# A failed index download (for instance a security mirror in mid-sync) is
# not fatal here: the fallback below copes with the one case that matters.
"${as_root[@]}" apt-get update -qq || true

log=$(mktemp)
trap 'rm -f "$log"' EXIT
if "${as_root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" >"$log" 2>&1; then
  exit 0
fi

# The i386 index of the security suite can lag behind the main archive; apt
# then cannot satisfy the :i386 dependencies of wine32. Installing from the
# main bookworm archive alone, with its own lists, resolves them.
if ! grep -q ':i386' "$log"; then
  cat "$log" >&2
  exit 1
fi
echo "install-deps: :i386 dependencies unmet; retrying against the main archive only" >&2

# The URI of the machine's main bookworm entry (deb822 or one-line form).
main_uri() {
  local f
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] || continue
    awk '
      /^[[:space:]]*$/ { if (uri != "" && main) { print uri; exit } uri = ""; main = 0; next }
      /^URIs:/ { uri = $2 }
      /^Suites:/ { for (i = 2; i <= NF; i++) if ($i == "bookworm") main = 1 }
      END { if (uri != "" && main) print uri }
    ' "$f" | head -n1
  done
  for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$f" ] || continue
    sed -E 's/\[[^]]*\]//' "$f" | awk '$1 == "deb" && $3 == "bookworm" { print $2 }'
  done
}
uri=$(main_uri | head -n1)
uri=${uri:-http://deb.debian.org/debian}

alt=$(mktemp -d)
trap 'rm -f "$log"; rm -rf "$alt"' EXIT
mkdir -p "$alt/lists/partial"
echo "deb $uri bookworm main" >"$alt/sources.list"
apt_alt=(-o "Dir::State::Lists=$alt/lists" -o "Dir::Etc::SourceList=$alt/sources.list"
         -o "Dir::Etc::SourceParts=/dev/null")
"${as_root[@]}" apt-get "${apt_alt[@]}" update -qq
"${as_root[@]}" apt-get "${apt_alt[@]}" install -y -q --no-install-recommends --allow-downgrades \
  "${missing[@]}"
