#!/usr/bin/env bash
# Sets up, builds and starts Tarnwick.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
./scripts/build.sh default

if [ "$(uname -s)" = Darwin ]; then
    exec build/default/src/app/tarnwick.app/Contents/MacOS/tarnwick "$@"
fi
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    # No screen to show a window on: draw it offscreen and keep a picture of it.
    mkdir -p build/screenshots
    echo "No display found; drawing the window offscreen."
    QT_QPA_PLATFORM=offscreen exec build/default/src/app/tarnwick --screenshot build/screenshots/tarnwick.png
fi
exec build/default/src/app/tarnwick "$@"
