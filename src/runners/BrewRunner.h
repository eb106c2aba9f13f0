#pragma once

#include "diagnosis/SystemProfile.h"
#include "runners/AdoptiumAPI.h"
#include "runners/OutputPhrases.h"
#include "runners/PrivilegedExecutor.h"
#include "runners/TemurinPackage.h"

/// Installs a Homebrew cask and streams Homebrew's output, with Homebrew's `sudo` routed through
/// the privileged executor. For Temurin it repairs two known failures by itself: Homebrew saying
/// the cask is installed while the JDK is missing (it reinstalls), and Homebrew calling `sudo`
/// past our wrapper (it installs Adoptium's package directly instead).
class BrewRunner {
public:
    struct Event {
        enum class Kind { output, downloading, completed, canceled };
        Kind kind = Kind::output;
        QString text;                  // output
        qint64 bytesReceived = 0;      // downloading, during the fall-back
        std::optional<qint64> totalBytes;
        std::int32_t exitCode = 0;     // completed

        static Event output(QString text) { return {Kind::output, std::move(text), 0, std::nullopt, 0}; }
        static Event downloading(qint64 received, std::optional<qint64> total) { return {Kind::downloading, {}, received, total, 0}; }
        static Event completed(std::int32_t exitCode) { return {Kind::completed, {}, 0, std::nullopt, exitCode}; }
        static Event canceled() { return {Kind::canceled, {}, 0, std::nullopt, 0}; }
        friend bool operator==(const Event &, const Event &) = default;
    };
    using EventHandler = std::function<void(const Event &)>;

    /// `architecture` is the Mac's: the package the fall-back installs is built for it.
    BrewRunner(QString brewPath, std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
               std::shared_ptr<FileSystemOperating> fs, AdoptiumAPI adoptium, Architecture architecture);

    /// `brew install --cask <cask>`; returns `completed` or `canceled`, after progress through
    /// `onProgress`.
    Event run(const QString &cask, const QString &prompt, ProcessCancellation &cancellation, const EventHandler &onProgress) const;

    /// The version after "@" in a cask name ("temurin@21" gives "21"); empty when there is none.
    [[nodiscard]] static QString caskMajor(const QString &cask);

private:
    struct BrewResult {
        std::int32_t status = 0;
        OutputPhrases said;
    };
    BrewResult runBrew(const QString &verb, const QString &cask, const Environment &environment,
                       ProcessCancellation &cancellation, const EventHandler &onProgress) const;
    Event conclude(const QString &cask, const BrewResult &result, const QString &prompt, ProcessCancellation &cancellation,
                   const EventHandler &onProgress) const;
    [[nodiscard]] bool temurinJDKPresent(const QString &cask) const;
    Event fallBack(const QString &majorText, const QString &prompt, ProcessCancellation &cancellation,
                   const EventHandler &onProgress) const;

    QString m_brewPath;
    std::shared_ptr<const ProcessRunning> m_process;
    std::shared_ptr<FileSystemOperating> m_fs;
    PrivilegedExecutor m_executor;
    AdoptiumAPI m_adoptium;
    Architecture m_architecture;
    TemurinPackage m_package;
};
