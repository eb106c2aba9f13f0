#include "runners/TemurinPackage.h"

#include "runners/Quoting.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <algorithm>
#include <deque>

using namespace std::chrono_literals;

namespace {

// Progress lines are for people: a few updates a second are plenty.
constexpr qint64 kProgressIntervalMilliseconds = 250;
// What osascript may say that we keep: the end of it is what explains a failure.
constexpr qsizetype kTranscriptLimit = 64 * 1024;
// Temurin packages are about 200 MB; a listing without a size still gets a ceiling.
constexpr qint64 kUnlistedSizeLimit = 1024LL * 1024 * 1024;
// A slow line still gets a package through: two minutes plus the size at 100 KB/s.
constexpr qint64 kSlowestBytesPerSecond = 100 * 1024;

const QString kPrivateFolderPrefix = QStringLiteral("run-");
// A download left by a run that is still going is never this old: the longest transfer allowed
// for a package is well under an hour. Older ones were left by a crash or a kill.
constexpr qint64 kStaleAfterSeconds = 6 * 3600;

QString cachesFolder(const FileSystemOperating &fs)
{
    return fs.cachesDirectory() + QStringLiteral("/Tarnwick");
}

bool isRunFolderName(const QString &name)
{
    static const QRegularExpression run(QRegularExpression::anchoredPattern(kPrivateFolderPrefix + QStringLiteral("[0-9a-z]+")));
    return run.match(name).hasMatch();
}

// temurin-<major>-<release>.pkg, or the partial download beside it that QSaveFile leaves on macOS
// when the app dies mid-download (<name>.XXXXXX).
bool isPackageName(const QString &name)
{
    static const QRegularExpression package(
        QRegularExpression::anchoredPattern(QStringLiteral("temurin-[0-9]+-[A-Za-z0-9._+-]+\\.pkg(\\.[A-Za-z0-9]{6})?")));
    return package.match(name).hasMatch();
}

QString runFolderName(const QString &packagePath)
{
    const QString name = QFileInfo(QFileInfo(packagePath).path()).fileName();
    return isRunFolderName(name) ? name : QString();
}

// Root's folder for its copy: /tmp/tarnwick-install.<our run folder>.XXXXXX, so that this run can
// tell its own from another's.
QString installFolderPrefix(const QString &packagePath)
{
    const QString run = runFolderName(packagePath);
    return QStringLiteral("/tmp/tarnwick-install.") + (run.isEmpty() ? QString() : run + QLatin1Char('.'));
}

bool isLowerHexDigest(const QString &text)
{
    static const QRegularExpression hex(QRegularExpression::anchoredPattern(QStringLiteral("[0-9a-f]{64}")));
    return hex.match(text).hasMatch();
}

// The last lines of a transcript, at most kTranscriptLimit characters of them.
class TranscriptTail {
public:
    void append(const QString &line)
    {
        m_lines.push_back(line.left(kTranscriptLimit));
        m_size += m_lines.back().size() + 1;
        while (m_size > kTranscriptLimit) {
            m_size -= m_lines.front().size() + 1;
            m_lines.pop_front();
        }
    }
    [[nodiscard]] QString text() const
    {
        QString joined;
        joined.reserve(m_size);
        for (const QString &line : m_lines)
            joined += line + QLatin1Char('\n');
        return joined;
    }

private:
    std::deque<QString> m_lines;
    qsizetype m_size = 0;
};

} // namespace

TemurinPackage::TemurinPackage(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                               std::shared_ptr<FileSystemOperating> fs, QString errorDomain)
    : m_process(std::move(process)), m_http(std::move(http)), m_fs(std::move(fs)), m_errorDomain(std::move(errorDomain))
{
}

QString TemurinPackage::preparePath(int major, const QString &releaseName) const
{
    const QString parent = cachesFolder(*m_fs);
    m_fs->createDirectory(parent, Parents::create);
    removeStaleDownloads(parent);
    // Created without intermediates, so a name that is already taken (by anything, a link
    // included) fails instead of being reused.
    QString folder;
    for (int attempt = 0;; ++attempt) {
        folder = parent + QLatin1Char('/') + kPrivateFolderPrefix + QString::number(QRandomGenerator::system()->generate64(), 36);
        try {
            m_fs->createDirectory(folder, Parents::mustExist);
            break;
        } catch (const FileSystemError &) {
            if (attempt == 3)
                throw;
        }
    }
    try {
        m_fs->setPosixPermissions(folder, 0700);
    } catch (const FileSystemError &) {
        m_fs->removeItem(folder);
        throw;
    }
    return folder + QStringLiteral("/temurin-%1-%2.pkg").arg(major).arg(releaseName);
}

QString TemurinPackage::download(const QUrl &url, std::optional<qint64> listedSize, const QString &path,
                                 ProcessCancellation &cancellation, const HTTPFetching::ProgressHandler &onProgress) const
{
    HTTPRequest request = HTTPRequest::get(url);
    const qint64 expected = listedSize.value_or(kUnlistedSizeLimit);
    request.bodyLimit = listedSize ? expected + expected / 100 + 64 * 1024 : expected;
    request.overallLimit = 2min + std::chrono::seconds(expected / kSlowestBytesPerSecond);

    QElapsedTimer sinceLastReport;
    sinceLastReport.start();
    bool reportedAny = false;
    HTTPResponse response;
    try {
        response = m_http->download(
            request, path,
            [&](qint64 received, std::optional<qint64> total) {
                if (reportedAny && sinceLastReport.elapsed() < kProgressIntervalMilliseconds)
                    return;
                reportedAny = true;
                sinceLastReport.restart();
                onProgress(received, total);
            },
            &cancellation);
    } catch (const HTTPError &error) {
        if (error.kind() == HTTPError::Kind::tooLarge)
            throw PackageError(m_errorDomain, PackageError::downloadTooLarge,
                               listedSize ? QStringLiteral("The package is larger than the %1 bytes Adoptium listed; the download was stopped").arg(*listedSize)
                                          : QStringLiteral("The package is larger than %1 MB; the download was stopped").arg(expected / (1024 * 1024)));
        if (error.kind() == HTTPError::Kind::tooSlow)
            throw PackageError(m_errorDomain, PackageError::downloadTooSlow,
                               QStringLiteral("The package download was still going after %1 minutes; it was stopped. Try again on a faster connection")
                                   .arg(std::chrono::duration_cast<std::chrono::minutes>(*request.overallLimit).count()));
        throw;
    }
    if (response.status < 200 || response.status > 299)
        throw PackageError(m_errorDomain, PackageError::downloadStatus, QStringLiteral("Adoptium download HTTP error"));
    qint64 size = 0;
    try {
        size = m_fs->attributesOfItem(path).size;
    } catch (const FileSystemError &) {
        // Unknown size: reported as 0, the install goes on.
    }
    onProgress(size, size);
    return response.bodySHA256;
}

void TemurinPackage::verify(const QString &digest, const QString &expectedChecksum) const
{
    if (digest != expectedChecksum)
        throw PackageError(m_errorDomain, PackageError::checksumMismatch,
                           QStringLiteral("Checksum mismatch (expected %1, got %2)").arg(expectedChecksum, digest));
}

QString TemurinPackage::installerCommand(const QString &path, const QString &expectedChecksum, const QString &prompt)
{
    // Run by /bin/sh as root. The package in the caches folder belongs to the user, who could
    // replace it at any moment; root copies it into a folder of its own (mktemp -d: 0700, owned
    // by root), checks that copy, and installs only that copy. shasum reads standard input: given
    // a name with a backslash in it, it would put one before the digest. Opening root's folder to
    // be entered (711) is how this side learns the install proper has begun: from then on a
    // cancel would reach osascript but not root's installer, so it is let finish.
    const QString source = Quoting::shellQuoted(path);
    const QString copy = QStringLiteral("\"$d\"/") + Quoting::shellQuoted(QFileInfo(path).fileName());
    const QString script = QStringLiteral("d=$(/usr/bin/mktemp -d %5XXXXXX) || exit 1; "
                                          "trap '/bin/rm -rf \"$d\"' EXIT; "
                                          "/bin/cp %1 %2 || exit 1; "
                                          "s=$(/usr/bin/shasum -a 256 < %2) || exit 1; "
                                          "if [ \"${s%% *}\" != %3 ]; then echo \"%4${s%% *}\" >&2; exit 1; fi; "
                                          "/bin/chmod 711 \"$d\" || exit 1; "
                                          "/usr/sbin/installer -pkg %2 -target /")
                               .arg(source, copy, Quoting::shellQuoted(expectedChecksum), QLatin1String(kRootMismatchMarker),
                                    Quoting::shellQuoted(installFolderPrefix(path)));
    return QStringLiteral("do shell script \"") + Quoting::escapedForAppleScript(script)
        + QStringLiteral("\" with administrator privileges with prompt \"") + Quoting::escapedForAppleScript(prompt) + QLatin1Char('"');
}

TemurinPackage::InstallerOutcome TemurinPackage::runInstaller(const QString &path, const QString &expectedChecksum,
                                                              const QString &prompt, ProcessCancellation &cancellation,
                                                              const std::function<void()> &onFinishing) const
{
    using Kind = InstallerOutcome::Kind;
    if (cancellation.isCanceled())
        return {Kind::canceled, {}};
    // It came from Adoptium through our own check, but it ends up in a command run as root.
    if (!isLowerHexDigest(expectedChecksum))
        return {Kind::failure, QStringLiteral("Unexpected checksum format from Adoptium (%1 chars)").arg(expectedChecksum.size())};
    // A cancel stops osascript only until root's installer has begun; after that it is let finish
    // and its real outcome is reported.
    ProcessCancellation osascriptStop;
    bool finishing = false;
    if (!cancellation.arm([&] {
            if (installHasBegun(path)) {
                finishing = true;
                if (onFinishing)
                    onFinishing();
            } else {
                osascriptStop.cancel();
            }
        }))
        return {Kind::canceled, {}};
    TranscriptTail transcript;
    const ProcessStreamEvent end = m_process->stream(QStringLiteral("/usr/bin/osascript"),
                                                     {QStringLiteral("-e"), installerCommand(path, expectedChecksum, prompt)},
                                                     std::nullopt, osascriptStop, [&](const QString &line) { transcript.append(line); });
    cancellation.disarm();
    InstallerOutcome outcome = outcomeOf(end, transcript.text().trimmed(), expectedChecksum);
    if (osascriptStop.isCanceled())
        outcome = {Kind::canceled, {}};
    outcome.outlivedCancel = finishing;
    return outcome;
}

bool TemurinPackage::installHasBegun(const QString &path) const
{
    if (runFolderName(path).isEmpty())
        return false; // not downloaded by us: root's folder could be anyone's
    const QString prefix = installFolderPrefix(path);
    const QString folder = QFileInfo(prefix).path();
    try {
        for (const QString &name : m_fs->contentsOfDirectory(folder)) {
            const QString candidate = folder + QLatin1Char('/') + name;
            if (candidate.startsWith(prefix)) {
                const FileAttributes attributes = m_fs->attributesOfItem(candidate);
                if (attributes.type == FileType::directory && (attributes.posixPermissions & 0011) == 0011)
                    return true;
            }
        }
    } catch (const FileSystemError &) {
        // Nothing to tell: treated as not begun, so the cancel goes ahead as before.
    }
    return false;
}

TemurinPackage::InstallerOutcome TemurinPackage::outcomeOf(const ProcessStreamEvent &end, const QString &trimmed,
                                                           const QString &expectedChecksum)
{
    using Kind = InstallerOutcome::Kind;
    if (end.kind == ProcessStreamEvent::Kind::failedToStart)
        return {Kind::failure, QStringLiteral("Failed to start osascript: ") + end.text};
    if (end.code == 0)
        return {Kind::success, {}};
    static const QRegularExpression rootMismatch(QRegularExpression::escape(QLatin1String(kRootMismatchMarker)) + QStringLiteral("([0-9a-f]*)"));
    if (const QRegularExpressionMatch mismatch = rootMismatch.match(trimmed); mismatch.hasMatch()) {
        const QString found = mismatch.captured(1).isEmpty() ? QStringLiteral("nothing readable") : mismatch.captured(1);
        return {Kind::failure, QStringLiteral("Checksum mismatch (expected %1, got %2): the package changed after it was checked, "
                                              "so nothing was installed.")
                                   .arg(expectedChecksum, found)};
    }
    if (trimmed.contains(QLatin1String("(-128)")) || trimmed.toLower().contains(QLatin1String("user canceled")))
        return {Kind::canceled, {}}; // the password dialog was dismissed
    if (!trimmed.isEmpty())
        return {Kind::failure, trimmed};
    return {Kind::failure, QStringLiteral("osascript exited %1").arg(end.code)};
}

void TemurinPackage::removeStaleDownloads(const QString &parent) const
{
    // Only names we make, of the type we make them, untouched for long: a run folder whose every
    // entry is a package of ours, and packages straight in the caches folder (where earlier
    // builds downloaded them). Anything else there is someone else's and stays.
    const QDateTime cutoff = QDateTime::currentDateTimeUtc().addSecs(-kStaleAfterSeconds);
    const auto isStale = [&](const QString &path, FileType type) {
        const FileAttributes attributes = m_fs->attributesOfItem(path);
        return attributes.type == type && attributes.modificationDate < cutoff;
    };
    QStringList names;
    try {
        names = m_fs->contentsOfDirectory(parent);
    } catch (const FileSystemError &) {
        return; // the download itself will say what is wrong with the folder
    }
    for (const QString &name : names) {
        const QString path = parent + QLatin1Char('/') + name;
        try {
            if (isPackageName(name)) {
                if (isStale(path, FileType::regular))
                    m_fs->removeItem(path);
            } else if (isRunFolderName(name) && isStale(path, FileType::directory)) {
                const QStringList entries = m_fs->contentsOfDirectory(path);
                if (std::all_of(entries.cbegin(), entries.cend(), [&](const QString &entry) {
                        return isPackageName(entry) && isStale(path + QLatin1Char('/') + entry, FileType::regular);
                    }))
                    m_fs->removeItem(path);
            }
        } catch (const FileSystemError &) {
            // Gone meanwhile, or not ours to read: left as it is.
        }
    }
}

void TemurinPackage::remove(const QString &path) const
{
    // Only ever a folder preparePath made: a direct child of our caches folder with our prefix.
    const QFileInfo package(path);
    const QString folder = package.path();
    const QFileInfo folderInfo(folder);
    const bool ours = folderInfo.path() == cachesFolder(*m_fs) && folderInfo.fileName().startsWith(kPrivateFolderPrefix);
    try {
        if (ours)
            m_fs->removeItem(folder);
        else if (m_fs->fileExists(path))
            m_fs->removeItem(path);
    } catch (const FileSystemError &) {
        // A package left in the caches folder is harmless.
    }
}
