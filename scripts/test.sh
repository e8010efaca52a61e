#!/usr/bin/env bash
# Installs what is missing, builds and runs all tests: in `dev` (address and undefined-behaviour sanitizers) and in
# `release`. Arguments name other presets, e.g. `scripts/test.sh coverage`.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(dev release)
for preset in "${presets[@]}"; do
  echo "== $preset"
  cmake --preset "$preset" -DZY_WARNINGS_AS_ERRORS=ON > /dev/null
  cmake --build --preset "$preset" -- --quiet
  ctest --preset "$preset" -j "$(nproc)"
done
