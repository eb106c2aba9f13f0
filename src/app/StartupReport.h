#pragma once

class QQuickWindow;

/// Start-up timings on stdout, for measuring how long the app takes to show itself. Turned on by
/// TARNWICK_REPORT_FIRST_FRAME=1 (see reportFirstFrame); off, the app behaves exactly the same.
namespace StartupReport {

[[nodiscard]] bool isRequested();

/// Milliseconds since this process started (as the system counts it, so the time the loader and
/// static initialisers took is included); negative where the system does not say.
[[nodiscard]] double millisecondsSinceProcessStart();

/// Prints "<event> <milliseconds since process start>" on stdout, at once.
void print(const char *event);

/// Prints "first-frame …" once `window`'s first frame has been swapped to the screen.
void reportFirstFrame(QQuickWindow *window);

} // namespace StartupReport
