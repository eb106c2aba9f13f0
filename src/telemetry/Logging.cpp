#include "telemetry/Logging.h"

Q_LOGGING_CATEGORY(lcTelemetry, "tarnwick.telemetry")
