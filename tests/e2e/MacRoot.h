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
        double seconds = 0; // how long it took
        QByteArray out, err;
        QJsonObject json; // stdout parsed, when it was JSON
    };

    /// When the doctor gets a signal: once a Mac path exists, or once it stopped at its pause point.
    struct Signal { QString onceExists; bool onceStopped = false; int number = SIGINT; };

    static constexpr const char *kHome = "/Users/tester";
    static constexpr const char *kTemporaryFolder = "/private/var/folders/tw/tester/T";

    /// Why this machine cannot run the sandbox; a missing bwrap on Linux fails instead.
    static std::optional<QString> unavailableReason();

    explicit MacRoot(Chip chip = Chip::appleSilicon);

    [[nodiscard]] QString brewPath() const;
    /// Where a path of the Mac lives on this machine's disk.
    [[nodiscard]] QString hostPath(const QString &macPath) const;
    void writeFile(const QString &macPath, const QByteArray &contents, bool executable = false) const;
    [[nodiscard]] QByteArray readFile(const QString &macPath) const;
    void installStandIn(const QString &name, const QString &macPath) const;
    void setEnvironment(const QString &name, const QString &value) { m_environment.insert(name, value); }

    void installJDK(const JDK &jdk) const;
    void installHomebrew() const;
    void installSDKMAN() const; // hooks in ~/.zshrc, as its installer leaves them
    void installMise() const; // in ~/.local/bin, which ~/.zprofile puts on PATH
    void installJEnv(bool hooked) const;

    /// A JDK's home folder (bin/java, release), relative to it.
    static QMap<QString, QByteArray> jdkHome(const JDK &jdk);
    /// A gzip-compressed tar of `files` (relative path → contents; names under bin/ are executable).
    static QByteArray tarball(const QMap<QString, QByteArray> &files);
    /// A package as the installer stand-in takes it: the JDK bundle, relative to /.
    static QByteArray temurinPackage(const JDK &jdk);
    [[nodiscard]] static QByteArray standIn(const QString &name);

    /// Runs tarnwick-doctor inside the sandbox as the ordinary user `tester` (uid 501, gid 20:
    /// permission bits apply), with no terminal on stdin, and sends it `signal`. A process of the
    /// run's still running after it, or a password helper folder left, fails the test.
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
