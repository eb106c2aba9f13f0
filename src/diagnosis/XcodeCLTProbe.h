#pragma once

#include "services/ShellRunner.h"

/// Finds the Xcode Command Line Tools through `xcode-select -p`.
class XcodeCLTProbe {
public:
    explicit XcodeCLTProbe(ShellRunner shell) : m_shell(std::move(shell)) {}

    /// The tools' folder; absent when xcode-select fails, says nothing, or cannot be started.
    [[nodiscard]] std::optional<QString> probe(ProcessCancellation *cancellation = nullptr) const;

private:
    ShellRunner m_shell;
};
