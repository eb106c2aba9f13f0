#pragma once

#include "services/FileSystemOperating.h"
#include "services/HTTPFetching.h"
#include "services/ProcessRunning.h"

#include <memory>

/// A failure of a direct package install, with the domain of the runner that raised it.
class PackageError : public Error {
public:
    enum Code { downloadStatus = 2, checksumMismatch = 6, badMajorVersion = 7 };
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
    };

    TemurinPackage(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<const HTTPFetching> http,
                   std::shared_ptr<const FileSystemOperating> fs, QString errorDomain);

    /// <caches>/Tarnwick/temurin-<major>-<release name>.pkg, its folder created and any old file
    /// there removed. Throws FileSystemError.
    [[nodiscard]] QString preparePath(int major, const QString &releaseName) const;
    /// Streams the package to `path`, reporting progress at most about four times a second while
    /// it arrives, then once more with the size on disk. Throws HTTPError, FileSystemError, and
    /// PackageError ("Adoptium download HTTP error") for a status outside 200-299.
    void download(const QUrl &url, const QString &path, ProcessCancellation &cancellation,
                  const HTTPFetching::ProgressHandler &onProgress) const;
    /// Throws PackageError "Checksum mismatch (expected …, got …)".
    void verify(const QString &path, const QString &expectedChecksum) const;
    /// Runs /usr/sbin/installer on the package through `osascript … with administrator privileges`.
    /// A dismissed password dialog, or a cancel, is `canceled`.
    [[nodiscard]] InstallerOutcome runInstaller(const QString &path, const QString &prompt,
                                                LiveProcessCancellation &cancellation) const;
    /// Removes the package, ignoring errors.
    void remove(const QString &path) const;

    /// The AppleScript that runs the installer: the path escaped for the shell inside, then the
    /// whole for the AppleScript literal.
    [[nodiscard]] static QString installerCommand(const QString &path, const QString &prompt);

private:
    std::shared_ptr<const ProcessRunning> m_process;
    std::shared_ptr<const HTTPFetching> m_http;
    std::shared_ptr<const FileSystemOperating> m_fs;
    QString m_errorDomain;
};
