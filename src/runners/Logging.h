#pragma once

#include <QLoggingCategory>

/// The runners layer's messages: QT_LOGGING_RULES="tarnwick.runners.warning=false" silences them.
Q_DECLARE_LOGGING_CATEGORY(lcRunners)
