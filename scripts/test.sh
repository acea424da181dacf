#!/usr/bin/env bash
# Builds Nadiro and runs every test: an optimised build, then the whole suite
# again under AddressSanitizer + UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh browser
jobs=$(nproc)
for preset in release asan; do
  echo "== $preset: build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== $preset: tests"
  ctest --preset "$preset" -j "$jobs"
done
