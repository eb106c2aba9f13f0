#!/usr/bin/env bash
# Sets up, builds and runs every test: the normal build, then the sanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh

jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)
for preset in default sanitize; do
    echo "== $preset build"
    ./scripts/build.sh "$preset"
    echo "== $preset tests"
    ctest --preset "$preset" -j "$jobs"
done
