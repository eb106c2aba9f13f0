#pragma once

#include "services/FileSystemOperating.h"
#include "services/HTTPFetching.h"
#include "services/ProcessRunning.h"

#include <memory>
#include <optional>

/// A failure of a direct package install, with the domain of the runner that raised it.
class PackageError : public Error {
public:
    enum Code { downloadStatus = 2, checksumMismatch = 6, badMajorVersion = 7, downloadTooLarge = 8, downloadTooSlow = 9 };
    PackageError(QString domain, Code code, const QString &message) : Error(message), m_domain(std::move(domain)), m_code(code) {}
    [[nodiscard]] QString domain() const { return m_domain; }
    [[nodiscard]] Code code() const { return m_code; }

private:
    QString m_domain;
    Code m_code;
};

/// The steps of installing a Temurin package without a package manager: where it goes, the
/// download, the checksum, and Apple's installer run with administrator rights through osascript.
/// Shared by PKGInstaller and BrewRunner's fall-back, which word their progress differently.
class TemurinPackage {
public:
    struct InstallerOutcome {
        enum class Kind { success, canceled, failure };
        Kind kind = Kind::failure;
        QString message; // for a failure
        bool outlivedCancel = false; // a cancel came once root's installer had begun; this is how it ended
    };

    TemurinPackage(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                   std::shared_ptr<FileSystemOperating> fs, QString errorDomain);

    /// <caches>/Tarnwick/<fresh private folder>/temurin-<major>-<release name>.pkg. The folder is
    /// new for every run and only this user may enter it, so nothing left at a known path (a
    /// dangling link, say) decides where the download lands. Removes first what runs that crashed
    /// or were killed left there hours ago (whole packages, partial downloads). Throws
    /// FileSystemError.
    [[nodiscard]] QString preparePath(int major, const QString &releaseName) const;
    /// Streams the package to `path`, reporting progress at most about four times a second while
    /// it arrives, then once more with the size on disk. Stops past the listed size (with a small
    /// margin) or when the transfer takes far longer than that size warrants. Returns the SHA-256
    /// of the bytes written. Throws HTTPError, FileSystemError, and PackageError: "Adoptium
    /// download HTTP error" for a status outside 200-299, and one for each of the two limits.
    [[nodiscard]] QString download(const QUrl &url, std::optional<qint64> listedSize, const QString &path,
                                   ProcessCancellation &cancellation, const HTTPFetching::ProgressHandler &onProgress) const;
    /// Throws PackageError "Checksum mismatch (expected …, got …)".
    void verify(const QString &digest, const QString &expectedChecksum) const;
    /// Runs /usr/sbin/installer through `osascript … with administrator privileges` on a copy of
    /// the package that root makes in a folder only root can write, after checking that copy's
    /// SHA-256 against `expectedChecksum`: what was checked here is what gets installed, even if
    /// the file in the caches folder is replaced while the password dialog is up. A dismissed
    /// password dialog, or a cancel, is `canceled`; except that once root's installer has begun,
    /// a cancel does not stop it (it cannot be stopped safely): `onFinishing` is called, from the
    /// cancelling thread, and the install's own outcome is returned, marked `outlivedCancel`.
    [[nodiscard]] InstallerOutcome runInstaller(const QString &path, const QString &expectedChecksum, const QString &prompt,
                                                ProcessCancellation &cancellation,
                                                const std::function<void()> &onFinishing = {}) const;
    /// Removes the package and the private folder `preparePath` made for it, ignoring errors.
    void remove(const QString &path) const;

    /// The AppleScript that copies, checks and installs the package as root: every value escaped
    /// for the shell, then the whole for the AppleScript literal. `expectedChecksum` must be 64
    /// lower-case hex digits.
    [[nodiscard]] static QString installerCommand(const QString &path, const QString &expectedChecksum, const QString &prompt);
    /// What the root side prints before the SHA-256 it found when its copy does not match.
    static constexpr const char *kRootMismatchMarker = "Tarnwick: checksum mismatch: ";

private:
    void removeStaleDownloads(const QString &parent) const;
    [[nodiscard]] bool installHasBegun(const QString &path) const;
    [[nodiscard]] static InstallerOutcome outcomeOf(const ProcessStreamEvent &end, const QString &transcript,
                                                    const QString &expectedChecksum);

    std::shared_ptr<const ProcessRunning> m_process;
    std::shared_ptr<const HTTPFetching> m_http;
    std::shared_ptr<FileSystemOperating> m_fs;
    QString m_errorDomain;
};
