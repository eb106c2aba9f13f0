#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>

#include <csignal>

/// A throw-away Mac for end-to-end runs of the unmodified doctor. A folder on this machine holds
/// the writable parts of a Mac's disk (/Library, /Applications, /opt, /usr/local, /Users and
/// /private); bubblewrap makes them the root of a sandbox with Debian's programs read-only under
/// /usr and the stand-ins from tests/support/standins at the paths of the Mac's own tools. The
/// sandbox shares the network, so HTTP servers the test starts on 127.0.0.1 are reachable inside.
class MacRoot {
public:
    enum class Chip { appleSilicon, intel };

    /// A JDK as a Temurin package lays it out; `bundle` is its folder in JavaVirtualMachines.
    struct JDK {
        QString bundle = QStringLiteral("temurin-21.jdk"), version = QStringLiteral("21.0.5"), build = QStringLiteral("11");
        QString arch = QStringLiteral("arm64"), vendor = QStringLiteral("Eclipse Adoptium");
    };

    struct Run {
        int exitCode = -1; // -1: crashed or never finished
        QByteArray out, err;
        QJsonObject json; // stdout parsed, when it was JSON
        QStringList leftoverProcesses; // command lines of processes still running after the doctor ended
    };

    static constexpr const char *kUser = "tester";
    static constexpr const char *kHome = "/Users/tester";
    static constexpr const char *kTemporaryFolder = "/private/var/folders/tw/tester/T";

    /// Why this machine cannot run the sandbox, or nothing when it can. A missing bwrap on Linux
    /// is a broken set-up, not a reason to skip.
    static std::optional<QString> unavailableReason();

    explicit MacRoot(Chip chip = Chip::appleSilicon);

    [[nodiscard]] QString brewPath() const;
    /// Where a path of the Mac lives on this machine's disk.
    [[nodiscard]] QString hostPath(const QString &macPath) const;
    void writeFile(const QString &macPath, const QByteArray &contents, bool executable = false) const;
    [[nodiscard]] QByteArray readFile(const QString &macPath) const;
    void symlink(const QString &macPath, const QString &target) const;
    /// A copy of tests/support/standins/`name` at `macPath`.
    void installStandIn(const QString &name, const QString &macPath) const;

    void installJDK(const JDK &jdk) const;
    void installHomebrew() const;
    /// SDKMAN as its installer leaves it, hooks in ~/.zshrc included.
    void installSDKMAN() const;
    /// mise in ~/.local/bin, with ~/.zprofile putting that folder on PATH.
    void installMise() const;
    /// jEnv cloned into ~/.jenv; `hooked`: ~/.zshrc already has its two lines.
    void installJEnv(bool hooked) const;
    void installApplication(const QString &bundleName) const;

    /// The files of a JDK's home folder (bin/java, release), relative to it.
    static QMap<QString, QByteArray> jdkHome(const JDK &jdk);
    /// A gzip-compressed tar of `files` (relative path → contents; names under bin/ are executable).
    static QByteArray tarball(const QMap<QString, QByteArray> &files);
    /// A package as the installer stand-in takes it: the JDK bundle, relative to /.
    static QByteArray temurinPackage(const JDK &jdk);
    [[nodiscard]] static QByteArray standIn(const QString &name);

    /// Every child in the sandbox sees this variable.
    void setEnvironment(const QString &name, const QString &value) { m_environment.insert(name, value); }

    /// When the doctor gets a signal during a run, and which one.
    struct Signal {
        QString onceExists;       // a Mac path: as soon as that file appears
        bool onceStopped = false; // as soon as the doctor has stopped itself at its pause point
        int number = SIGINT;
    };

    /// Runs tarnwick-doctor with `arguments` inside the sandbox as the ordinary user `tester`
    /// (uid 501, gid 20: permission bits apply), with no terminal on stdin, and sends it `signal`.
    Run runDoctor(const QStringList &arguments, const Signal &signal) const;
    Run runDoctor(const QStringList &arguments) const { return runDoctor(arguments, Signal {}); }

    /// Mac paths of everything in the root named `name`.
    [[nodiscard]] QStringList find(const QString &name) const;
    /// The names in a folder, sorted; empty when it does not exist.
    [[nodiscard]] QStringList entries(const QString &macFolder) const;

private:
    [[nodiscard]] QStringList sandboxArguments(const QString &runToken) const;

    Chip m_chip;
    QTemporaryDir m_disk;
    QMap<QString, QString> m_environment;
};
