#pragma once

#include "services/ProgramRunner.h"

/// Finds the Xcode Command Line Tools through `xcode-select -p`.
class XcodeCLTProbe {
public:
    explicit XcodeCLTProbe(ProgramRunner shell) : m_shell(std::move(shell)) {}

    /// The tools' folder; absent when xcode-select fails, says nothing, or cannot be started.
    [[nodiscard]] std::optional<QString> probe(ProcessCancellation *cancellation = nullptr) const;

private:
    ProgramRunner m_shell;
};
