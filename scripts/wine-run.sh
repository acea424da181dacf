#!/usr/bin/env bash
# Runs a command (normally `ctest --preset mingw`) with a fresh 32-bit Wine
# prefix of its own and an Xvfb display for the dialog tests; removes both
# afterwards. The prefix uses a virtual desktop, so windows appear and go at
# once instead of waiting for a window manager that Xvfb does not have.
set -euo pipefail
[ $# -gt 0 ] || { echo "usage: $0 command [args...]" >&2; exit 2; }

WINEPREFIX=$(mktemp -d "${TMPDIR:-/tmp}/nadiro-wine.XXXXXX")
export WINEPREFIX WINEARCH=win32 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
cleanup() {
  wineserver -k 2>/dev/null || true
  rm -rf "$WINEPREFIX"
}
trap cleanup EXIT

# Everything that talks to the X display runs inside the one xvfb-run, and
# the prefix's Wine processes are ended before the display goes.
xvfb-run -a -s "-screen 0 1024x768x24" bash -c '
  set -u
  start=$SECONDS
  wineboot -i >/dev/null 2>&1
  wine reg add "HKCU\\Software\\Wine\\Explorer" /v Desktop /d Default /f >/dev/null 2>&1
  wine reg add "HKCU\\Software\\Wine\\Explorer\\Desktops" /v Default /d 1024x768 /f >/dev/null 2>&1
  wineserver -w
  echo "wine prefix ready in $((SECONDS - start)) s"
  status=0
  "$@" || status=$?
  wineserver -k 2>/dev/null || true
  exit $status
' wine-run "$@"
