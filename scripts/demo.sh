#!/usr/bin/env bash
# Builds the tool and runs its demonstration on built-in data.
#   scripts/demo.sh [OUTPUT_DIR]    (default: tolmar-demo)
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup-deps.sh
cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j"${JOBS:-2}" --target tolmar
./build/tolmar demo "${1:-tolmar-demo}"
