#pragma once

#include "diagnosis/LoginShell.h"
#include "diagnosis/ProbeBundle.h"
#include "services/FileSystemOperating.h"

#include <memory>

/// Gathers the raw facts about the Mac's Java installation. No probe fails outward: a probe that
/// cannot run gives the empty value of its field.
class Probes {
public:
    static constexpr const char *kJavaVirtualMachines = "/Library/Java/JavaVirtualMachines";

    Probes(ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs,
           std::chrono::milliseconds shellTimeLimit = LoginShell::kTimeLimit);

    /// The four probes, side by side (they are independent programs). Cancelling stops them all;
    /// the fields they had not found yet are then empty.
    [[nodiscard]] ProbeBundle run(ProcessCancellation *cancellation = nullptr) const;

    /// `which java` on the app's own path.
    [[nodiscard]] std::optional<QString> whichJava(ProcessCancellation *cancellation = nullptr) const;
    /// The JDKs `java_home -V` lists (it prints the list on stderr; both streams are read).
    [[nodiscard]] QList<JDKInfo> installedJDKs(ProcessCancellation *cancellation = nullptr) const;
    [[nodiscard]] QStringList jvmDirContents() const;
    /// JAVA_HOME in a fresh login shell (falling back to an interactive one, see LoginShell).
    [[nodiscard]] LoginShell::MarkedValue javaHomeInActiveShell(ProcessCancellation *cancellation = nullptr) const;

private:
    ProgramRunner m_shell;
    std::shared_ptr<FileSystemOperating> m_fs;
    LoginShell m_loginShell;
};
