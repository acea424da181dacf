#!/usr/bin/env bash
# Fails when a C or C++ file of the tree differs from what clang-format makes
# of it with the checked-in .clang-format (the generated Python declarations
# excepted). With --fix, formats them in place instead.
#   scripts/check-format.sh [--fix]       (needs: scripts/install-deps.sh format)
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files '*.c' '*.h' '*.cpp' | grep -v '^python/nadiro/_cdef\.h$')
if [ "${1:-}" = --fix ]; then
  clang-format -i "${files[@]}"
else
  clang-format --dry-run -Werror "${files[@]}"
fi
