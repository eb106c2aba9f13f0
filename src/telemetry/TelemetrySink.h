#pragma once

#include "telemetry/JSONValue.h"

/// One usage event: a name from the catalogue and its data.
struct TelemetryEvent {
    QString name;
    JSONObject data;

    friend bool operator==(const TelemetryEvent &, const TelemetryEvent &) = default;
};

/// Where code that emits usage events sends them. Fire and forget: `track` returns at once,
/// never fails and never waits for delivery.
class TelemetrySink {
public:
    virtual ~TelemetrySink() = default;
    virtual void track(const QString &eventName, const JSONObject &data) = 0;
    void track(const TelemetryEvent &event) { track(event.name, event.data); }
};
