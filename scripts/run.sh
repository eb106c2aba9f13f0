#!/usr/bin/env bash
# Sets up, builds and runs Tarnwick. Until the app's screens are in place this runs the terminal
# front end, tarnwick-doctor (on a simulated Mac anywhere but on a Mac; TARNWICK_FIXTURE chooses
# another, or `live` for this machine). Arguments go to the doctor, e.g. --fix or --json.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
./scripts/build.sh default
exec build/default/src/doctor/tarnwick-doctor "$@"
