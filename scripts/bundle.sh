#!/usr/bin/env bash
# Makes build/bundle/src/app/tarnwick.app, a release bundle that runs on other Macs: Qt's
# frameworks, plugins and QML modules copied in, then signed (ad hoc unless an identity is given).
#
#   scripts/bundle.sh                                   # ad hoc: runs here and on Macs that allow it
#   scripts/bundle.sh "Developer ID Application: …"     # hardened runtime + timestamp, for notarisation
#
# QT_PREFIX picks the Qt (default: Homebrew's, which holds this Mac's architecture only); point it
# at a universal Qt, e.g. QT_PREFIX=~/Qt/6.8.3/macos, for a bundle that runs on arm64 and x86_64.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(uname -s)" != Darwin ]; then
    echo "bundle.sh makes a macOS app bundle and needs a Mac (macdeployqt, codesign)." >&2
    exit 2
fi
identity=${1:--}

qt_prefix=${QT_PREFIX:-}
if [ -z "$qt_prefix" ]; then
    if ! qt_prefix=$(brew --prefix qt 2>/dev/null); then
        echo "No Qt found: set QT_PREFIX to a Qt 6 for macOS (its folder holding bin/ and lib/)." >&2
        exit 2
    fi
fi
macdeployqt="$qt_prefix/bin/macdeployqt"
if [ ! -x "$macdeployqt" ]; then
    echo "No macdeployqt in $qt_prefix/bin: QT_PREFIX must be a Qt 6 for macOS." >&2
    exit 2
fi

build=build/bundle
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARNWICK_BUILD_TESTS=OFF \
    -DCMAKE_PREFIX_PATH="$qt_prefix" >/dev/null
cmake --build "$build" --target tarnwick

app="$build/src/app/tarnwick.app"
# A fresh copy each time: macdeployqt skips what is already in the bundle, old or not.
rm -rf "$app/Contents/Frameworks" "$app/Contents/PlugIns" "$app/Contents/Resources/qml"
"$macdeployqt" "$app" -qmldir=src/ui -always-overwrite

# macdeployqt rewrites every library's load paths, which breaks their signatures; sign last.
# --deep reaches the copied frameworks and plugins.
sign=(codesign --force --deep --sign "$identity")
if [ "$identity" != - ]; then
    sign+=(--options runtime --timestamp)
fi
"${sign[@]}" "$app"
codesign --verify --deep --strict "$app"

echo "$app: $(lipo -archs "$app/Contents/MacOS/tarnwick"), signed by ${identity/#-/nobody (ad hoc)}"
