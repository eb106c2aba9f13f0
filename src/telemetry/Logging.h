#pragma once

#include <QLoggingCategory>

/// The telemetry layer's messages: QT_LOGGING_RULES="tarnwick.telemetry.warning=false" silences them.
Q_DECLARE_LOGGING_CATEGORY(lcTelemetry)
