#pragma once

#include "diagnosis/SystemProfiler.h"
#include "services/AppServices.h"
#include "telemetry/TelemetrySink.h"
#include "ui/common/LinkOpener.h"
#include "ui/common/MakerSite.h"

/// What every presentation model may use, built once in main() and handed from parent model to
/// child model. `telemetry` must outlive every model (and their worker threads).
struct ScreenContext {
    AppServices services;
    SystemProfiler::Platform platform;
    TelemetrySink *telemetry = nullptr;
    LinkOpener openLink;
    MakerSite site{QUrl(QStringLiteral("https://ferrowood.com"))};
};
