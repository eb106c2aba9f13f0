#include "runners/Logging.h"

Q_LOGGING_CATEGORY(lcRunners, "tarnwick.runners")
