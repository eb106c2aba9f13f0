#pragma once

#include "services/FileSystemOperating.h"
#include "services/ProcessRunning.h"

#include <memory>
#include <utility>

/// Lets a long, non-interactive run such as Homebrew's call `sudo`: writes an askpass script that
/// asks for the password in a macOS dialog, and a `sudo` wrapper that makes every plain `sudo`
/// use it, into a private folder of their own. The password goes from the dialog straight to
/// sudo; this code never sees it.
class PrivilegedExecutor {
public:
    /// Owns the private folder: removes it, scripts and all, when it goes out of scope. Holders
    /// keep it until the child that uses the scripts has ended.
    class PrivateFolder {
    public:
        PrivateFolder() = default;
        PrivateFolder(std::shared_ptr<FileSystemOperating> fs, QString path) : m_fs(std::move(fs)), m_path(std::move(path)) {}
        PrivateFolder(PrivateFolder &&other) noexcept : m_fs(std::move(other.m_fs)), m_path(std::exchange(other.m_path, QString())) {}
        PrivateFolder &operator=(PrivateFolder &&other) noexcept;
        PrivateFolder(const PrivateFolder &) = delete;
        PrivateFolder &operator=(const PrivateFolder &) = delete;
        ~PrivateFolder() { remove(); }

        /// Removes it now rather than at scope exit; a folder already gone is fine.
        void remove() noexcept;
        [[nodiscard]] const QString &path() const { return m_path; }

    private:
        std::shared_ptr<FileSystemOperating> m_fs;
        QString m_path;
    };

    struct Prepared {
        /// PATH (the private folder first) and SUDO_ASKPASS; lay them over the app's environment.
        Environment environment;
        PrivateFolder folder;
    };

    explicit PrivilegedExecutor(std::shared_ptr<FileSystemOperating> fs) : m_fs(std::move(fs)) {}

    /// `prompt` is the sentence the password dialog shows. Throws FileSystemError (callers say
    /// "Failed to set up privileged executor: " and the message).
    [[nodiscard]] Prepared prepare(const QString &prompt) const;

    [[nodiscard]] static QString askpassScript(const QString &prompt);
    [[nodiscard]] static QString sudoWrapper();

private:
    std::shared_ptr<FileSystemOperating> m_fs;
};
