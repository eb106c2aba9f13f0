#pragma once

#include "services/FileSystemOperating.h"
#include "services/HTTPFetching.h"
#include "services/KeyValueStoring.h"
#include "services/ProcessRunning.h"

#include <memory>

/// Every side effect of the app goes through these four services. main() builds one value and
/// hands it down; logic types take the single service they need as a constructor argument.
struct AppServices {
    std::shared_ptr<const ProcessRunning> processRunner;
    std::shared_ptr<const HTTPFetching> http;
    std::shared_ptr<FileSystemOperating> fs;
    std::shared_ptr<KeyValueStoring> store;
    /// True when the services are doubles (a simulated Mac). For display only: no logic may
    /// branch on it.
    bool isFixtureMode = false;

    /// The real services of this machine.
    [[nodiscard]] static AppServices live();
};
