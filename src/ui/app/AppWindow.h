#pragma once

class QQmlApplicationEngine;
class TarnwickAppModel;

/// Loads the app's window (Main.qml of the Tarnwick module) for `app`. Used by main() and by the
/// tests that load the real views; returns false when the QML does not load. The app's start-up
/// work starts once the window's first frame is shown.
[[nodiscard]] bool loadAppWindow(QQmlApplicationEngine &engine, TarnwickAppModel &app);
