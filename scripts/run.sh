#!/usr/bin/env bash
# Sets up, builds and runs Tarnwick: the app's window wherever there is a screen to show it on
# (a Mac, or Linux with DISPLAY or WAYLAND_DISPLAY), else the terminal front end, tarnwick-doctor.
# Arguments are the doctor's (e.g. --fix, --json) and always run the doctor. Anywhere but on a Mac
# both work on a simulated Mac; TARNWICK_FIXTURE chooses another, or `live` for this machine.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
./scripts/build.sh default

doctor=build/default/src/doctor/tarnwick-doctor
[ $# -eq 0 ] || exec "$doctor" "$@"

case "$(uname -s)" in
Darwin) exec build/default/src/app/tarnwick.app/Contents/MacOS/tarnwick ;;
*)
    if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
        exec build/default/src/app/tarnwick
    fi
    echo "No display here, so this is tarnwick-doctor; ./scripts/screens.sh renders every screen of the app to pictures."
    exec "$doctor"
    ;;
esac
