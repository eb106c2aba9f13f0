#include "runners/BrewRunner.h"

#include "diagnosis/Remediation.h"

#include <QScopeGuard>

namespace {

const QString kJavaVirtualMachines = QStringLiteral("/Library/Java/JavaVirtualMachines");

bool isTemurin(const QString &cask)
{
    return cask.startsWith(QLatin1String("temurin"));
}

} // namespace

BrewRunner::BrewRunner(QString brewPath, std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                       std::shared_ptr<FileSystemOperating> fs, AdoptiumAPI adoptium, Architecture architecture)
    : m_brewPath(std::move(brewPath))
    , m_process(process)
    , m_fs(fs)
    , m_executor(fs)
    , m_adoptium(std::move(adoptium))
    , m_architecture(architecture)
    , m_package(std::move(process), std::move(http), std::move(fs), QStringLiteral("BrewRunner.PKG"))
{
}

QString BrewRunner::caskMajor(const QString &cask)
{
    const qsizetype at = cask.indexOf(QLatin1Char('@'));
    return at < 0 ? QString() : cask.mid(at + 1);
}

BrewRunner::Event BrewRunner::run(const QString &cask, const QString &prompt, ProcessCancellation &cancellation,
                                  const EventHandler &onProgress) const
{
    PrivilegedExecutor::Prepared executor;
    try {
        executor = m_executor.prepare(prompt);
    } catch (const FileSystemError &error) {
        onProgress(Event::output(QStringLiteral("Failed to set up privileged executor: ") + error.message()));
        return Event::completed(-1);
    }
    // The private folder stays until this returns, whatever happens in between.
    const Environment environment = appEnvironmentWith(executor.environment);
    const BrewResult installed = runBrew(QStringLiteral("install"), cask, environment, cancellation, onProgress);

    Event outcome;
    if (!cancellation.isCanceled() && installed.status == 0 && isTemurin(cask) && installed.said.saysAlreadyInstalled()
        && !temurinJDKPresent(cask)) {
        onProgress(Event::output(QString()));
        onProgress(Event::output(QStringLiteral("Homebrew reports ") + cask
                                 + QStringLiteral(" is already installed, but the JDK is missing from /Library/Java/JavaVirtualMachines/. Retrying with `brew reinstall --cask ")
                                 + cask + QStringLiteral("`…")));
        const BrewResult reinstalled = runBrew(QStringLiteral("reinstall"), cask, environment, cancellation, onProgress);
        outcome = conclude(cask, reinstalled, prompt, cancellation, onProgress);
    } else {
        outcome = conclude(cask, installed, prompt, cancellation, onProgress);
    }
    return outcome;
}

BrewRunner::BrewResult BrewRunner::runBrew(const QString &verb, const QString &cask, const Environment &environment,
                                           ProcessCancellation &cancellation, const EventHandler &onProgress) const
{
    BrewResult result;
    const ProcessStreamEvent end = m_process->stream(m_brewPath, {verb, QStringLiteral("--cask"), cask}, environment, cancellation,
                                                     [&](const QString &line) {
                                                         onProgress(Event::output(line));
                                                         result.said.note(line);
                                                     });
    if (end.kind == ProcessStreamEvent::Kind::failedToStart) {
        onProgress(Event::output(QStringLiteral("Failed to start brew: ") + end.text));
        result.status = -1;
    } else {
        result.status = end.code;
    }
    return result;
}

BrewRunner::Event BrewRunner::conclude(const QString &cask, const BrewResult &result, const QString &prompt,
                                       ProcessCancellation &cancellation, const EventHandler &onProgress) const
{
    if (cancellation.isCanceled())
        return Event::canceled();
    if (result.status == 0)
        return Event::completed(0);
    // Tested first: with no terminal, sudo also says a password is required, which alone would
    // mean the user refused.
    if (isTemurin(cask) && result.said.saysSudoBypassedWrapper()) {
        onProgress(Event::output(QString()));
        onProgress(Event::output(QStringLiteral("Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…")));
        const QString major = caskMajor(cask);
        return fallBack(major.isEmpty() ? QString::number(kFallbackTemurinMajor) : major, prompt, cancellation, onProgress);
    }
    if (result.said.saysPasswordRefused())
        return Event::canceled();
    return Event::completed(result.status);
}

bool BrewRunner::temurinJDKPresent(const QString &cask) const
{
    const auto hasJava = [this](const QString &bundle) {
        return m_fs->isExecutableFile(kJavaVirtualMachines + QLatin1Char('/') + bundle + QStringLiteral("/Contents/Home/bin/java"));
    };
    const QString major = caskMajor(cask);
    if (!major.isEmpty())
        return hasJava(QStringLiteral("temurin-%1.jdk").arg(major));
    try {
        for (const QString &entry : m_fs->contentsOfDirectory(kJavaVirtualMachines)) {
            if (entry.startsWith(QLatin1String("temurin-")) && entry.endsWith(QLatin1String(".jdk")) && hasJava(entry))
                return true;
        }
    } catch (const FileSystemError &) {
        // Unreadable: missing.
    }
    return false;
}

BrewRunner::Event BrewRunner::fallBack(const QString &majorText, const QString &prompt, ProcessCancellation &cancellation,
                                       const EventHandler &onProgress) const
{
    const QString architecture = adoptiumArchitecture(m_architecture);
    onProgress(Event::output(QStringLiteral("Looking up Temurin %1 (%2) on Adoptium…").arg(majorText, architecture)));
    std::optional<QString> packagePath;
    const auto removePackage = qScopeGuard([&] {
        if (packagePath)
            m_package.remove(*packagePath);
    });
    Event outcome;
    try {
        bool isNumber = false;
        const int major = majorText.toInt(&isNumber, 10);
        if (!isNumber)
            throw PackageError(QStringLiteral("BrewRunner.PKG"), PackageError::badMajorVersion,
                               QStringLiteral("Bad Temurin major version: ") + majorText);
        const AdoptiumAPI::AssetMetadata asset = m_adoptium.latestAsset(major, architecture, &cancellation);
        packagePath = m_package.preparePath(major, asset.releaseName);
        const QString digest = m_package.download(asset.downloadURL, asset.size, *packagePath, cancellation,
                                                  [&](qint64 received, std::optional<qint64> total) { onProgress(Event::downloading(received, total)); });
        onProgress(Event::output(QStringLiteral("Verifying download checksum…")));
        m_package.verify(digest, asset.checksum);
        onProgress(Event::output(QStringLiteral("Running /usr/sbin/installer (macOS will ask for your password)…")));
        const TemurinPackage::InstallerOutcome installed = m_package.runInstaller(*packagePath, asset.checksum, prompt, cancellation);
        switch (installed.kind) {
        case TemurinPackage::InstallerOutcome::Kind::success:
            onProgress(Event::output(QStringLiteral("Installer completed.")));
            outcome = Event::completed(0);
            break;
        case TemurinPackage::InstallerOutcome::Kind::canceled: outcome = Event::canceled(); break;
        case TemurinPackage::InstallerOutcome::Kind::failure:
            onProgress(Event::output(QStringLiteral("Installer failed: ") + installed.message));
            outcome = Event::completed(1);
            break;
        }
    } catch (const HTTPError &error) {
        if (error.kind() == HTTPError::Kind::cancelled) {
            outcome = Event::canceled();
        } else if (error.kind() == HTTPError::Kind::timedOut) {
            onProgress(Event::output(QStringLiteral("Adoptium didn't respond in time. Try again in a moment, or use Other Java install methods.")));
            outcome = Event::completed(1);
        } else {
            onProgress(Event::output(QStringLiteral("Fallback failed: ") + error.message()));
            outcome = Event::completed(1);
        }
    } catch (const Error &error) { // Adoptium's answer, the package, the disk: each says what went wrong
        if (cancellation.isCanceled()) {
            outcome = Event::canceled();
        } else {
            onProgress(Event::output(QStringLiteral("Fallback failed: ") + error.message()));
            outcome = Event::completed(1);
        }
    }
    return outcome;
}
