#!/usr/bin/env bash
# Builds the nadiro tool and renders the demo gallery into demo-out/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)" --target nadiro
build/release/tools/nadiro demo --out demo-out
