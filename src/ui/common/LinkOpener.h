#pragma once

#include <QUrl>

#include <functional>

/// Opens an outbound link in the user's browser. The app's is QDesktopServices::openUrl; tests
/// pass one that records the address. Every link of every screen goes through the one a model
/// was given, never through QDesktopServices directly.
using LinkOpener = std::function<void(const QUrl &url)>;
