#pragma once

#include "services/FileSystemOperating.h"
#include "services/ProcessRunning.h"

#include <functional>
#include <memory>

/// Lets a long, non-interactive run such as Homebrew's call `sudo`: writes an askpass script that
/// asks for the password in a macOS dialog, and a `sudo` wrapper that makes every plain `sudo`
/// use it, into a private folder of their own. The password goes from the dialog straight to
/// sudo; this code never sees it.
class PrivilegedExecutor {
public:
    struct Prepared {
        /// PATH (the private folder first) and SUDO_ASKPASS; lay them over the app's environment.
        Environment environment;
        /// Removes the private folder. Run it once the child has ended; running it again is harmless.
        std::function<void()> cleanup;
    };

    explicit PrivilegedExecutor(std::shared_ptr<const FileSystemOperating> fs) : m_fs(std::move(fs)) {}

    /// `prompt` is the sentence the password dialog shows. Throws FileSystemError (callers say
    /// "Failed to set up privileged executor: " and the message).
    [[nodiscard]] Prepared prepare(const QString &prompt) const;

    [[nodiscard]] static QString askpassScript(const QString &prompt);
    [[nodiscard]] static QString sudoWrapper();

private:
    std::shared_ptr<const FileSystemOperating> m_fs;
};

/// The app's environment with `overlay` laid over it (its keys win).
[[nodiscard]] Environment appEnvironmentWith(const Environment &overlay);
