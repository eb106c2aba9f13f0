#include "runners/PKGInstaller.h"

#include "services/Watchdog.h"

#include <QScopeGuard>

#include <mutex>

PKGInstaller::PKGInstaller(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                           std::shared_ptr<FileSystemOperating> fs, AdoptiumAPI adoptium, Architecture architecture,
                           Patience patience)
    : m_adoptium(std::move(adoptium))
    , m_architecture(architecture)
    , m_package(std::move(process), std::move(http), std::move(fs), QStringLiteral("PKGInstaller"))
    , m_patience(patience)
{
}

PKGInstaller::Event PKGInstaller::install(int version, const QString &prompt, ProcessCancellation &cancellation,
                                          const EventHandler &onProgress) const
{
    // The watchdogs report from their own threads; one event at a time, in order.
    std::mutex emitting;
    const auto report = [&](const Event &event) {
        std::lock_guard lock(emitting);
        onProgress(event);
    };
    const auto slow = [&] { report(Event::of(Event::Kind::slowResponse)); };

    std::optional<QString> packagePath;
    const auto removePackage = qScopeGuard([&] {
        if (packagePath)
            m_package.remove(*packagePath);
    });
    const auto failure = [&](const QString &description) {
        return Event::error(description + QStringLiteral(" (pkg: ") + packagePath.value_or(QStringLiteral("n.a")) + QLatin1Char(')'));
    };
    Event outcome;
    bool outlivedCancel = false;
    try {
        report(Event::of(Event::Kind::fetching));
        AdoptiumAPI::AssetMetadata asset;
        QString digest;
        {
            const Watchdog patience(m_patience.lookup, slow);
            asset = m_adoptium.latestAsset(version, adoptiumArchitecture(m_architecture), &cancellation);
        }
        {
            const Watchdog patience(m_patience.download, slow);
            packagePath = m_package.preparePath(version, asset.releaseName);
            digest = m_package.download(asset.downloadURL, asset.size, *packagePath, cancellation,
                                        [&](qint64 received, std::optional<qint64> total) { report(Event::downloading(received, total)); });
        }
        report(Event::of(Event::Kind::verifying));
        m_package.verify(digest, asset.checksum);
        report(Event::of(Event::Kind::installing));
        const TemurinPackage::InstallerOutcome installed
            = m_package.runInstaller(*packagePath, asset.checksum, prompt, cancellation, [&] { report(Event::of(Event::Kind::finishing)); });
        outlivedCancel = installed.outlivedCancel;
        switch (installed.kind) {
        case TemurinPackage::InstallerOutcome::Kind::success: outcome = Event::of(Event::Kind::completed); break;
        case TemurinPackage::InstallerOutcome::Kind::canceled: outcome = Event::of(Event::Kind::canceled); break;
        case TemurinPackage::InstallerOutcome::Kind::failure: outcome = Event::error(installed.message); break;
        }
    } catch (const HTTPError &error) {
        if (error.kind() == HTTPError::Kind::cancelled)
            outcome = Event::of(Event::Kind::canceled);
        else if (error.kind() == HTTPError::Kind::timedOut)
            outcome = Event::error(QStringLiteral("Adoptium didn't respond within 20 seconds. Try again in a moment, or use Other Java install methods."));
        else
            outcome = failure(error.message());
    } catch (const Error &error) { // Adoptium's answer, the package, the disk: each says what went wrong
        outcome = failure(error.message());
    }
    // A cancel is never reported as a failure, unless the install had begun and ran to its end.
    if (cancellation.isCanceled() && outcome.kind != Event::Kind::completed && !outlivedCancel)
        outcome = Event::of(Event::Kind::canceled);
    return outcome;
}
