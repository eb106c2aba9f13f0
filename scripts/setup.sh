#!/usr/bin/env bash
# Installs what building and testing Tarnwick needs, and only what is missing: Debian packages on
# Debian, Homebrew formulae on macOS. Says nothing when everything is already there.
set -euo pipefail

debian_packages=(
    cmake ninja-build g++ git
    qt6-base-dev qt6-declarative-dev qt6-qpa-plugins
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-templates
    qml6-module-qtquick-window qml6-module-qtquick-layouts qml6-module-qtqml-workerscript
    qt6-declarative-dev-tools
    libgtest-dev libgmock-dev
    libssl-dev zsh curl bubblewrap
    qt6-wayland
    # The robot walks: a private X server and accessibility bus, pointer and keys, screenshots.
    xvfb at-spi2-core dbus python3-pyatspi xdotool imagemagick
)
homebrew_formulae=(cmake ninja qt googletest)

case "$(uname -s)" in
Linux)
    missing=()
    for package in "${debian_packages[@]}"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && exit 0
    sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    echo "Installing ${missing[*]}…"
    log=$(mktemp)
    # apt's chatter goes to a log that is shown only when something fails.
    if ! { "${sudo[@]}" apt-get update -qq && DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq "${missing[@]}"; } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        echo "Couldn't install ${missing[*]}." >&2
        exit 1
    fi
    rm -f "$log"
    ;;
Darwin)
    if ! command -v brew >/dev/null; then
        echo "Tarnwick builds with Homebrew's Qt. Install Homebrew from https://brew.sh, then run this again." >&2
        exit 1
    fi
    missing=()
    for formula in "${homebrew_formulae[@]}"; do
        brew list --formula "$formula" >/dev/null 2>&1 || missing+=("$formula")
    done
    [ ${#missing[@]} -eq 0 ] && exit 0
    echo "Installing ${missing[*]}…"
    brew install --quiet "${missing[@]}"
    ;;
*)
    echo "Tarnwick builds on Debian and macOS; this is $(uname -s)." >&2
    exit 1
    ;;
esac
