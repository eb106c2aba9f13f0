#pragma once

#include "diagnosis/LoginShell.h"
#include "diagnosis/SystemProfile.h"
#include "services/FileSystemOperating.h"
#include "services/ProgramRunner.h"

#include <chrono>
#include <functional>
#include <memory>

/// Takes one snapshot of the Mac's developer setup. Never fails: each field that cannot be
/// found out falls back to its empty value.
class SystemProfiler {
public:
    using OSVersionSource = std::function<MacOSVersion()>;

    /// What the profile reads from the running system rather than through the services: the
    /// OS version and the user's SHELL. A simulated Mac supplies its own.
    struct Platform {
        OSVersionSource osVersion = &platformOSVersion;
        std::function<std::optional<QString>()> shellPath = &environmentShell;
    };

    SystemProfiler(ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs,
                   std::chrono::milliseconds shellTimeLimit = LoginShell::kTimeLimit,
                   OSVersionSource osVersion = &platformOSVersion);
    SystemProfiler(ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs, Platform platform,
                   std::chrono::milliseconds shellTimeLimit = LoginShell::kTimeLimit);

    /// Every probe is an independent program or file check; they run side by side, so a profile
    /// takes about as long as its slowest probe. Cancelling stops every probe still running; the
    /// profile is then incomplete and only good for throwing away.
    [[nodiscard]] SystemProfile profile(ProcessCancellation *cancellation = nullptr) const;

    /// The running system's version as the platform reports it (on Linux, the distribution's).
    static MacOSVersion platformOSVersion();
    /// This process's SHELL; nothing when unset.
    static std::optional<QString> environmentShell();
    /// The shell named by a SHELL value such as "/opt/homebrew/bin/fish"; unset is "unknown".
    static Shell shellFromPath(const std::optional<QString> &shellPath);
    /// Where Homebrew's `brew` is: /opt/homebrew/bin (Apple silicon), else /usr/local/bin (Intel).
    [[nodiscard]] static std::optional<QString> findBrew(const FileSystemOperating &fs);
    /// Where `mise` is: the usual places in order, else what `which mise` names (an executable).
    [[nodiscard]] static std::optional<QString> findMise(const ProgramRunner &shell, const FileSystemOperating &fs);
    /// What `uname -m` printed, as an architecture.
    static Architecture architectureFromMachine(const QString &machine);
    /// The Mac's processor: `uname -m`, and when that says x86_64, `sysctl -n hw.optional.arm64`,
    /// since a process under Rosetta is told x86_64 on Apple silicon too.
    [[nodiscard]] static Architecture machineArchitecture(const ProgramRunner &shell, ProcessCancellation *cancellation = nullptr);
    /// The release a reported version stands for: an SDK older than macOS 26's reads 26 as 16.
    [[nodiscard]] static MacOSVersion releaseVersion(MacOSVersion reported);

private:
    [[nodiscard]] std::optional<QString> firstExecutable(const QStringList &paths) const;
    [[nodiscard]] std::optional<QString> directoryIfPresent(const QString &path) const;
    [[nodiscard]] bool applicationInstalled(const QString &bundleName) const;
    /// `which name`, kept only when it names an executable file.
    [[nodiscard]] std::optional<QString> lookUpTool(const QString &name, ProcessCancellation *cancellation) const;

    ProgramRunner m_shell;
    std::shared_ptr<FileSystemOperating> m_fs;
    std::chrono::milliseconds m_shellTimeLimit;
    Platform m_platform;
};
