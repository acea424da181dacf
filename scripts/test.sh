#!/usr/bin/env bash
# Checks the formatting, builds Nadiro and runs every test: an optimised
# build, then the whole suite again under AddressSanitizer +
# UndefinedBehaviorSanitizer, then the 32-bit Windows module (NadiroUser.dll,
# cross-built with mingw-w64) with the same suite as a Windows program under
# Wine. The release suite includes the
# installed-tree and .deb checks and the Python package's tests; run as root,
# the .deb is also installed for real, checked and removed again. In between,
# each fuzz harness meets the same 3000 inputs (fixed seed; fuzz/run.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh browser windows bench python package fuzz format
echo "== the tree as clang-format makes it (scripts/check-format.sh --fix mends it)"
scripts/check-format.sh
jobs=$(nproc)
for preset in release asan; do
  echo "== $preset: build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== $preset: tests"
  ctest --preset "$preset" -j "$jobs"
done

if [ "$(id -u)" -eq 0 ] && ! dpkg-query -W nadiro >/dev/null 2>&1; then
  echo "== .deb: dpkg -i, the installed-tree check on /usr, dpkg -r"
  rm -rf build/deb-system && mkdir -p build/deb-system
  cpack -G DEB --config build/release/CPackConfig.cmake -B build/deb-system >/dev/null
  dpkg -i build/deb-system/nadiro_*.deb >/dev/null
  status=0
  bash tests/install/installed_tree_test.sh "$PWD" /usr build/deb-system/checks || status=$?
  dpkg -r nadiro >/dev/null
  [ "$status" -eq 0 ]
fi

# The smoke builds and runs every harness so that none can rot, on a fixed
# seed and number of inputs: the same tree meets the same inputs every time,
# so a failure is a finding to fix (its input then joins
# fuzz/corpus/crashers/, which the suite replays in every build).
echo "== fuzzing smoke: every harness for a fixed set of inputs, so none can rot"
NADIRO_JOBS=$jobs NADIRO_FUZZ_RUNS=3000 fuzz/run.sh 120

echo "== peer comparison (a small picture, so the script cannot rot)"
bench/compare --size 320x200 --runs 1 --lib build/release/libNadiroUser.so

echo "== mingw: build"
cmake --preset mingw >/dev/null
cmake --build --preset mingw -j "$jobs"
echo "== mingw: tests under Wine"
scripts/wine-run.sh ctest --preset mingw
