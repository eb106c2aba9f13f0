#pragma once

#include "services/ProcessRunning.h"

/// The real ProcessRunning: posix_spawn, pipes and process groups.
class LiveProcessRunner final : public ProcessRunning {
public:
    /// What `run` keeps of each of stdout and stderr; the rest is read and dropped, so a child
    /// that prints without end neither blocks nor fills our memory.
    static constexpr qsizetype kKeptOutputBytes = 4 << 20;

    using ProcessRunning::run;
    [[nodiscard]] ProcessResult run(const QString &executable, const QStringList &arguments,
                                    const std::optional<Environment> &environment,
                                    ProcessCancellation *cancellation) const override;
    [[nodiscard]] ProcessStreamEvent stream(const QString &executable, const QStringList &arguments,
                                            const std::optional<Environment> &environment,
                                            ProcessCancellation &cancellation,
                                            const LineHandler &onLine) const override;
};
