#!/usr/bin/env bash
# Configures (once) and builds one preset: "default" or "sanitize".
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-default}

configure=(cmake --preset "$preset")
if [ "$(uname -s)" = Darwin ]; then
    configure+=(-DCMAKE_PREFIX_PATH="$(brew --prefix qt)")
fi
if [ ! -f "build/$preset/CMakeCache.txt" ]; then
    "${configure[@]}" >/dev/null
fi
cmake --build --preset "$preset"
