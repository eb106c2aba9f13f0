#pragma once

#include "profile_edit/FileAppendWriter.h"
#include "runners/PrivilegedExecutor.h"
#include "services/StreamEvent.h"

#include <QUrl>

/// Installs Homebrew with its official install script, non-interactively, with `sudo` routed
/// through the privileged executor, then makes `brew` available in new login shells by appending
/// Homebrew's shellenv line to ~/.zprofile.
class HomebrewInstaller {
public:
    using OutputHandler = std::function<void(const StreamEvent &output)>;
    /// Whether the shellenv line may be appended as the preview shows; none: appended unasked.
    using ShellenvConsent = std::function<bool(const FileAppendWriter::DiffPreview &preview)>;

    static constexpr const char *kPrompt = "Enter Mac password to install Homebrew (and Xcode Command Line Tools, if missing).";

    /// Homebrew's install script, or TARNWICK_HOMEBREW_INSTALL_URL when set.
    [[nodiscard]] static QUrl defaultScriptURL();

    HomebrewInstaller(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<FileSystemOperating> fs,
                      QUrl scriptURL = defaultScriptURL(), ShellenvConsent shellenvConsent = {});

    /// Output lines go to `onOutput`; returns `completed` or `canceled`.
    StreamEvent install(ProcessCancellation &cancellation, const OutputHandler &onOutput) const;

    /// `/bin/bash -c "$(curl -fsSL <url>)"`; nothing when the address is not one we can put in a
    /// command line safely.
    [[nodiscard]] static std::optional<QString> commandLine(const QUrl &scriptURL);

private:
    void appendShellenv(const OutputHandler &onOutput) const;

    std::shared_ptr<const ProcessRunning> m_process;
    std::shared_ptr<FileSystemOperating> m_fs;
    PrivilegedExecutor m_executor;
    QUrl m_scriptURL;
    ShellenvConsent m_shellenvConsent;
};
