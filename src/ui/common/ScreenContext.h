#pragma once

#include "diagnosis/SystemProfiler.h"
#include "services/AppServices.h"
#include "telemetry/TelemetrySink.h"
#include "ui/common/BlockingWorkers.h"
#include "ui/common/LinkOpener.h"
#include "ui/common/MakerSite.h"

/// What every presentation model may use, built once in main() and handed from parent model to
/// child model.
struct ScreenContext {
    AppServices services;
    SystemProfiler::Platform platform;
    TelemetrySink *telemetry = nullptr;
    /// Where the models run what blocks (a `BlockingWorkers`); like `telemetry`, it must outlive them.
    QThreadPool *workers = nullptr;
    LinkOpener openLink;
    MakerSite site{QUrl(QStringLiteral("https://ferrowood.com"))};
};
