#pragma once

#include <QString>

class QQmlApplicationEngine;

/// Saves the app's first window as a PNG once it has been drawn, then quits. Lets a headless
/// machine (and the tests) see what the app shows.
class WindowCapture {
public:
    /// Returns false when the engine has no window to capture.
    static bool captureAndQuit(QQmlApplicationEngine &engine, const QString &pngPath);
};
