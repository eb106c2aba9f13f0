#include "runners/TemurinPackage.h"

#include "runners/Quoting.h"

#include <QElapsedTimer>

namespace {

// Progress lines are for people: a few updates a second are plenty.
constexpr qint64 kProgressIntervalMilliseconds = 250;

} // namespace

TemurinPackage::TemurinPackage(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                               std::shared_ptr<const FileSystemOperating> fs, QString errorDomain)
    : m_process(std::move(process)), m_http(std::move(http)), m_fs(std::move(fs)), m_errorDomain(std::move(errorDomain))
{
}

QString TemurinPackage::preparePath(int major, const QString &releaseName) const
{
    const QString folder = m_fs->cachesDirectory() + QStringLiteral("/Tarnwick");
    m_fs->createDirectory(folder, true);
    const QString path = folder + QStringLiteral("/temurin-%1-%2.pkg").arg(major).arg(releaseName);
    remove(path);
    return path;
}

void TemurinPackage::download(const QUrl &url, const QString &path, ProcessCancellation &cancellation,
                              const HTTPFetching::ProgressHandler &onProgress) const
{
    QElapsedTimer sinceLastReport;
    sinceLastReport.start();
    bool reportedAny = false;
    const HTTPResponse response = m_http->download(
        HTTPRequest::get(url), path,
        [&](qint64 received, std::optional<qint64> total) {
            if (reportedAny && sinceLastReport.elapsed() < kProgressIntervalMilliseconds)
                return;
            reportedAny = true;
            sinceLastReport.restart();
            onProgress(received, total);
        },
        &cancellation);
    if (response.status < 200 || response.status > 299)
        throw PackageError(m_errorDomain, PackageError::downloadStatus, QStringLiteral("Adoptium download HTTP error"));
    qint64 size = 0;
    try {
        size = m_fs->attributesOfItem(path).size;
    } catch (const FileSystemError &) {
        // Unknown size: reported as 0, the install goes on.
    }
    onProgress(size, size);
}

void TemurinPackage::verify(const QString &path, const QString &expectedChecksum) const
{
    const QString actual = m_fs->sha256Hex(path);
    if (actual != expectedChecksum)
        throw PackageError(m_errorDomain, PackageError::checksumMismatch,
                           QStringLiteral("Checksum mismatch (expected %1, got %2)").arg(expectedChecksum, actual));
}

QString TemurinPackage::installerCommand(const QString &path, const QString &prompt)
{
    // `do shell script` hands the decoded text to /bin/sh, where the path sits in double quotes.
    const QString pathForShell = Quoting::escapedForDoubleQuotes(path);
    return QStringLiteral("do shell script \"/usr/sbin/installer -pkg \\\"") + Quoting::escapedForAppleScript(pathForShell)
        + QStringLiteral("\\\" -target /\" with administrator privileges with prompt \"") + Quoting::escapedForAppleScript(prompt)
        + QLatin1Char('"');
}

TemurinPackage::InstallerOutcome TemurinPackage::runInstaller(const QString &path, const QString &prompt,
                                                              LiveProcessCancellation &cancellation) const
{
    using Kind = InstallerOutcome::Kind;
    if (cancellation.isCanceled())
        return {Kind::canceled, {}};
    QString transcript;
    const ProcessStreamEvent end = m_process->stream(QStringLiteral("/usr/bin/osascript"),
                                                     {QStringLiteral("-e"), installerCommand(path, prompt)}, std::nullopt,
                                                     cancellation, [&](const QString &line) { transcript += line + QLatin1Char('\n'); });
    if (cancellation.isCanceled())
        return {Kind::canceled, {}};
    if (end.kind == ProcessStreamEvent::Kind::failedToStart)
        return {Kind::failure, QStringLiteral("Failed to start osascript: ") + end.text};
    if (end.code == 0)
        return {Kind::success, {}};
    const QString trimmed = transcript.trimmed();
    if (trimmed.contains(QLatin1String("(-128)")) || trimmed.toLower().contains(QLatin1String("user canceled")))
        return {Kind::canceled, {}}; // the password dialog was dismissed
    if (!trimmed.isEmpty())
        return {Kind::failure, trimmed};
    return {Kind::failure, QStringLiteral("osascript exited %1").arg(end.code)};
}

void TemurinPackage::remove(const QString &path) const
{
    try {
        if (m_fs->fileExists(path))
            m_fs->removeItem(path);
    } catch (const FileSystemError &) {
        // A package left in the caches folder is harmless.
    }
}
