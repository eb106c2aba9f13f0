#pragma once

#include "diagnosis/SystemProfile.h"
#include "runners/AdoptiumAPI.h"
#include "runners/TemurinPackage.h"

#include <chrono>

/// Installs Eclipse Temurin without a package manager: looks the package up on Adoptium,
/// downloads it, checks its SHA-256 and runs Apple's installer with administrator rights.
class PKGInstaller {
public:
    struct Event {
        // finishing: a cancel came after root's installer began; the install is let finish and its
        // own outcome follows. Reported from the cancelling thread.
        enum class Kind { fetching, slowResponse, downloading, verifying, installing, finishing, completed, canceled, error };
        Kind kind = Kind::fetching;
        qint64 bytesReceived = 0;
        std::optional<qint64> totalBytes;
        QString message; // for error

        static Event of(Kind kind) { return {kind, 0, std::nullopt, {}}; }
        static Event downloading(qint64 received, std::optional<qint64> total) { return {Kind::downloading, received, total, {}}; }
        static Event error(QString message) { return {Kind::error, 0, std::nullopt, std::move(message)}; }
        [[nodiscard]] bool isTerminal() const { return kind == Kind::completed || kind == Kind::canceled || kind == Kind::error; }
        friend bool operator==(const Event &, const Event &) = default;
    };
    using EventHandler = std::function<void(const Event &)>;

    /// How long a phase may take before the user is told it is slow (the run goes on).
    struct Patience {
        std::chrono::milliseconds lookup {8000};
        std::chrono::milliseconds download {15000};
    };

    static constexpr const char *kPrompt = "Enter Mac password to install Temurin to /Library/Java/JavaVirtualMachines/";

    /// `architecture` is the Mac's, whose build is installed.
    PKGInstaller(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                 std::shared_ptr<FileSystemOperating> fs, AdoptiumAPI adoptium, Architecture architecture, Patience patience);
    PKGInstaller(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                 std::shared_ptr<FileSystemOperating> fs, AdoptiumAPI adoptium, Architecture architecture)
        : PKGInstaller(std::move(process), std::move(http), std::move(fs), std::move(adoptium), architecture, Patience {})
    {
    }

    /// Installs Temurin `version` (a major version). Progress goes to `onProgress` (possibly from
    /// a timer thread, never two at once); returns the one terminal event. The downloaded package
    /// is gone afterwards, whatever the outcome.
    Event install(int version, const QString &prompt, ProcessCancellation &cancellation, const EventHandler &onProgress) const;

private:
    AdoptiumAPI m_adoptium;
    Architecture m_architecture;
    TemurinPackage m_package;
    Patience m_patience;
};
