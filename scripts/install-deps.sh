#!/usr/bin/env bash
# Installs what building and testing Nadiro needs on Debian 12, as root.
# Packages already present are left alone, so this is quick on a set-up machine.
set -euo pipefail

packages=(cmake g++ ninja-build pkg-config libgtest-dev libbenchmark-dev libpng-dev libjpeg62-turbo-dev)
# Extra package groups, asked for by the scripts that need them.
for group in "$@"; do
  case "$group" in
    browser) packages+=(chromium) ;;
    windows) packages+=(g++-mingw-w64-i686 wine wine32:i386) ;;
    *) echo "install-deps: unknown group '$group'" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: run as root to install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
if printf '%s\n' "${missing[@]}" | grep -q ':i386$'; then
  "${as_root[@]}" dpkg --add-architecture i386
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
