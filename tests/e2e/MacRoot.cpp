#include "MacRoot.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QStandardPaths>
#include <QUuid>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include <unistd.h>

namespace {

// The writable parts of the Mac and the folders of this machine's disk that hold them.
struct Area {
    const char *macPath;
    const char *folder;
};
constexpr Area kAreas[] = {
    {"/Library", "Library"}, {"/Applications", "Applications"}, {"/opt", "opt"},
    {"/usr/local", "usr-local"}, {"/Users", "Users"},           {"/private", "private"},
};

// The Mac's own tools, stood in for by tests/support/standins.
struct Tool {
    const char *standIn;
    const char *macPath;
};
constexpr Tool kTools[] = {
    {"java_home", "/usr/libexec/java_home"}, {"java", "/usr/bin/java"},     {"xcode-select", "/usr/bin/xcode-select"},
    {"uname", "/usr/bin/uname"},             {"osascript", "/usr/bin/osascript"}, {"sudo", "/usr/bin/sudo"},
    {"installer", "/usr/sbin/installer"},    {"sysctl", "/usr/sbin/sysctl"},
};

const QString kDoctorMacPath = QStringLiteral("/Applications/Tarnwick.app/Contents/MacOS/tarnwick-doctor");

// Debian's programs go under /usr/.debian read-only; /usr/bin and /usr/sbin become folders of
// links to them, so that stand-ins can sit beside them at names Debian doesn't have (a
// read-only bind of the whole folder would leave no room for /usr/bin/osascript).
QStringList debianProgramLinks()
{
    static const QStringList links = [] {
        QStringList arguments;
        for (const QString &folder : {QStringLiteral("bin"), QStringLiteral("sbin")}) {
            const QString usrFolder = QStringLiteral("/usr/") + folder;
            arguments << QStringLiteral("--ro-bind") << usrFolder << QStringLiteral("/usr/.debian/") + folder;
            arguments << QStringLiteral("--dir") << usrFolder;
            const QFileInfoList entries = QDir(usrFolder).entryInfoList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
            for (const QFileInfo &entry : entries) {
                const QString macPath = usrFolder + QLatin1Char('/') + entry.fileName();
                const bool stoodIn = std::any_of(std::begin(kTools), std::end(kTools), [&](const Tool &tool) { return macPath == QLatin1String(tool.macPath); });
                if (stoodIn)
                    continue;
                // A link keeps its own text (relative, or through /etc/alternatives).
                QString text = QStringLiteral("/usr/.debian/") + folder + QLatin1Char('/') + entry.fileName();
                if (entry.isSymLink()) {
                    char buffer[4096];
                    const ssize_t length = ::readlink(QFile::encodeName(entry.filePath()).constData(), buffer, sizeof buffer);
                    if (length <= 0)
                        continue;
                    text = QFile::decodeName(QByteArray(buffer, static_cast<int>(length)));
                }
                arguments << QStringLiteral("--symlink") << text << macPath;
            }
        }
        return arguments;
    }();
    return links;
}

// Writes `contents` at a path of this machine, its folder made first; false when it could not.
bool writeHostFile(const QString &path, const QByteArray &contents, bool executable)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        return false;
    file.close();
    return file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther
                               | (executable ? QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther : QFile::Permissions()));
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

std::optional<QString> MacRoot::unavailableReason()
{
#if !defined(Q_OS_LINUX)
    return QStringLiteral("the Mac-shaped root is built with bubblewrap, which runs on Linux only");
#else
    const QString bwrap = QStandardPaths::findExecutable(QStringLiteral("bwrap"));
    if (bwrap.isEmpty()) {
        ADD_FAILURE() << "bwrap is not installed; scripts/setup.sh installs the bubblewrap package";
        return QStringLiteral("bwrap is missing");
    }
    QProcess probe;
    probe.start(bwrap, {QStringLiteral("--ro-bind"), QStringLiteral("/"), QStringLiteral("/"), QStringLiteral("--unshare-ipc"),
                        QStringLiteral("--unshare-uts"), QStringLiteral("/bin/true")});
    if (!probe.waitForFinished(30000) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0) {
        return QStringLiteral("bubblewrap cannot create namespaces on this machine: %1")
            .arg(QString::fromLocal8Bit(probe.readAllStandardError()).trimmed());
    }
    return std::nullopt;
#endif
}

MacRoot::MacRoot(Chip chip) : m_chip(chip)
{
    EXPECT_TRUE(m_disk.isValid());
    for (const Area &area : kAreas)
        QDir(m_disk.path()).mkpath(QLatin1String(area.folder));
    for (const char *folder : {"/Library/Java/JavaVirtualMachines", "/private/tmp", kTemporaryFolder, kHome, "/usr/local/bin"})
        QDir().mkpath(hostPath(QLatin1String(folder)));
    // What a Mac's /etc/zprofile does through path_helper: the system folders first.
    EXPECT_TRUE(writeHostFile(m_disk.filePath(QStringLiteral("etc-zsh/zprofile")),
                              "typeset -U path\npath=(/usr/local/bin /usr/bin /bin /usr/sbin /sbin $path)\n", false));
    // Qt reads the system's version from os-release off a Mac; this root says it is macOS 15.1.
    EXPECT_TRUE(writeHostFile(m_disk.filePath(QStringLiteral("os-release")),
                              "NAME=\"macOS\"\nID=macos\nVERSION_ID=\"15.1\"\nPRETTY_NAME=\"macOS 15.1\"\n", false));
    // The doctor's binary is bound over this placeholder, read-only.
    writeFile(kDoctorMacPath, QByteArray(), true);
    m_environment.insert(QStringLiteral("STANDIN_MACHINE"), chip == Chip::intel ? QStringLiteral("x86_64") : QStringLiteral("arm64"));
}

QString MacRoot::brewPath() const
{
    return m_chip == Chip::intel ? QStringLiteral("/usr/local/bin/brew") : QStringLiteral("/opt/homebrew/bin/brew");
}

QString MacRoot::hostPath(const QString &macPath) const
{
    QString path = macPath;
    if (path == QLatin1String("/tmp") || path.startsWith(QLatin1String("/tmp/")) || path.startsWith(QLatin1String("/var/")))
        path.prepend(QLatin1String("/private"));
    for (const Area &area : kAreas) {
        const QLatin1String prefix(area.macPath);
        if (path == prefix || (path.startsWith(prefix) && path.at(prefix.size()) == QLatin1Char('/')))
            return m_disk.filePath(QLatin1String(area.folder)) + path.mid(prefix.size());
    }
    ADD_FAILURE() << macPath.toStdString() << " is not in a writable part of the Mac";
    return m_disk.filePath(QStringLiteral("elsewhere")) + path;
}

void MacRoot::writeFile(const QString &macPath, const QByteArray &contents, bool executable) const
{
    EXPECT_TRUE(writeHostFile(hostPath(macPath), contents, executable)) << macPath.toStdString();
}

QByteArray MacRoot::readFile(const QString &macPath) const
{
    return readAll(hostPath(macPath));
}

void MacRoot::symlink(const QString &macPath, const QString &target) const
{
    const QString path = hostPath(macPath);
    QDir().mkpath(QFileInfo(path).path());
    ASSERT_EQ(::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()), 0) << path.toStdString();
}

QByteArray MacRoot::standIn(const QString &name)
{
    const QString path = QStringLiteral(STANDINS_DIR "/") + name;
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

void MacRoot::installStandIn(const QString &name, const QString &macPath) const
{
    writeFile(macPath, standIn(name), true);
}

QMap<QString, QByteArray> MacRoot::jdkHome(const JDK &jdk)
{
    const QString major = jdk.version.section(QLatin1Char('.'), 0, 0);
    const bool lts = QStringList {"8", "11", "17", "21", "25"}.contains(major);
    const QString runtime = jdk.version + QLatin1Char('+') + jdk.build + (lts ? QStringLiteral("-LTS") : QString());
    const QString release = QStringLiteral("IMPLEMENTOR=\"%1\"\nIMPLEMENTOR_VERSION=\"Temurin-%2+%3\"\nJAVA_RUNTIME_VERSION=\"%4\"\n"
                                           "JAVA_VERSION=\"%2\"\nJAVA_VERSION_DATE=\"2024-10-15\"\n")
                                .arg(jdk.vendor, jdk.version, jdk.build, runtime);
    return {{QStringLiteral("bin/java"), standIn(QStringLiteral("jdk-java"))}, {QStringLiteral("release"), release.toUtf8()}};
}

QByteArray MacRoot::infoPlist(const JDK &jdk)
{
    const QString major = jdk.version.section(QLatin1Char('.'), 0, 0);
    return QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                          "<plist version=\"1.0\">\n<dict>\n"
                          "\t<key>CFBundleIdentifier</key>\n\t<string>net.temurin.%1.jdk</string>\n"
                          "\t<key>JavaVM</key>\n\t<dict>\n"
                          "\t\t<key>JVMArch</key>\n\t\t<string>%2</string>\n"
                          "\t\t<key>JVMName</key>\n\t\t<string>OpenJDK %3</string>\n"
                          "\t\t<key>JVMVendor</key>\n\t\t<string>%4</string>\n"
                          "\t\t<key>JVMVersion</key>\n\t\t<string>%3</string>\n"
                          "\t</dict>\n</dict>\n</plist>\n")
        .arg(major, jdk.arch, jdk.version, jdk.vendor)
        .toUtf8();
}

QByteArray MacRoot::tarball(const QMap<QString, QByteArray> &files)
{
    QTemporaryDir folder;
    QStringList tops;
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        const bool program = it.key().startsWith(QLatin1String("bin/")) || it.key().contains(QLatin1String("/bin/"));
        EXPECT_TRUE(writeHostFile(folder.filePath(it.key()), it.value(), program)) << it.key().toStdString();
        const QString top = it.key().section(QLatin1Char('/'), 0, 0);
        if (!tops.contains(top))
            tops.append(top);
    }
    QProcess tar;
    tar.setWorkingDirectory(folder.path());
    tar.start(QStringLiteral("tar"), QStringList {QStringLiteral("--owner=0"), QStringLiteral("--group=0"), QStringLiteral("-czf"), QStringLiteral("-")} + tops);
    EXPECT_TRUE(tar.waitForFinished(30000));
    EXPECT_EQ(tar.exitCode(), 0) << tar.readAllStandardError().toStdString();
    return tar.readAllStandardOutput();
}

namespace {

// A JDK bundle's files, relative to /.
QMap<QString, QByteArray> bundleFiles(const MacRoot::JDK &jdk)
{
    const QString contents = QStringLiteral("Library/Java/JavaVirtualMachines/") + jdk.bundle + QStringLiteral("/Contents/");
    QMap<QString, QByteArray> files {{contents + QStringLiteral("Info.plist"), MacRoot::infoPlist(jdk)}};
    const QMap<QString, QByteArray> home = MacRoot::jdkHome(jdk);
    for (auto it = home.cbegin(); it != home.cend(); ++it)
        files.insert(contents + QStringLiteral("Home/") + it.key(), it.value());
    return files;
}

void append(const MacRoot &mac, const QString &macPath, const QByteArray &text)
{
    mac.writeFile(macPath, mac.readFile(macPath) + text);
}

} // namespace

QByteArray MacRoot::temurinPackage(const JDK &jdk)
{
    return tarball(bundleFiles(jdk));
}

void MacRoot::installJDK(const JDK &jdk) const
{
    const QMap<QString, QByteArray> files = bundleFiles(jdk);
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        writeFile(QLatin1Char('/') + it.key(), it.value(), it.key().contains(QLatin1String("/Home/bin/")));
}

void MacRoot::installHomebrew() const
{
    installStandIn(QStringLiteral("brew"), brewPath());
    if (m_chip == Chip::appleSilicon) // what Homebrew's installer tells Apple-silicon users to add
        append(*this, QString::fromLatin1(kHome) + QStringLiteral("/.zprofile"), "\neval \"$(/opt/homebrew/bin/brew shellenv)\"\n");
}

void MacRoot::installSDKMAN() const
{
    const QString root = QString::fromLatin1(kHome) + QStringLiteral("/.sdkman");
    installStandIn(QStringLiteral("sdkman-init.sh"), root + QStringLiteral("/bin/sdkman-init.sh"));
    QDir().mkpath(hostPath(root + QStringLiteral("/candidates")));
    append(*this, QString::fromLatin1(kHome) + QStringLiteral("/.zshrc"),
           "\n#THIS MUST BE AT THE END OF THE FILE FOR SDKMAN TO WORK!!!\nexport SDKMAN_DIR=\"$HOME/.sdkman\"\n"
           "[[ -s \"$HOME/.sdkman/bin/sdkman-init.sh\" ]] && source \"$HOME/.sdkman/bin/sdkman-init.sh\"\n");
}

void MacRoot::installMise() const
{
    installStandIn(QStringLiteral("mise"), QString::fromLatin1(kHome) + QStringLiteral("/.local/bin/mise"));
    append(*this, QString::fromLatin1(kHome) + QStringLiteral("/.zprofile"), "export PATH=\"$HOME/.local/bin:$PATH\"\n");
}

void MacRoot::installJEnv(bool hooked) const
{
    installStandIn(QStringLiteral("jenv"), QString::fromLatin1(kHome) + QStringLiteral("/.jenv/bin/jenv"));
    QDir().mkpath(hostPath(QString::fromLatin1(kHome) + QStringLiteral("/.jenv/versions")));
    if (hooked)
        append(*this, QString::fromLatin1(kHome) + QStringLiteral("/.zshrc"), "export PATH=\"$HOME/.jenv/bin:$PATH\"\neval \"$(jenv init -)\"\n");
}

void MacRoot::installApplication(const QString &bundleName) const
{
    writeFile(QStringLiteral("/Applications/") + bundleName + QStringLiteral("/Contents/Info.plist"), "<plist version=\"1.0\"><dict/></plist>\n");
}

QStringList MacRoot::sandboxArguments(const QString &runToken) const
{
    QStringList arguments {
        QStringLiteral("--die-with-parent"), QStringLiteral("--unshare-ipc"), QStringLiteral("--unshare-uts"),
        // An ordinary user, as on a real Mac: root would ignore every permission bit.
        QStringLiteral("--unshare-user"),    QStringLiteral("--uid"), QStringLiteral("501"), QStringLiteral("--gid"), QStringLiteral("20"),
        QStringLiteral("--hostname"),        QStringLiteral("Testers-MacBook-Pro"),
        QStringLiteral("--tmpfs"),           QStringLiteral("/usr"),
    };
    for (const QString &folder : {QStringLiteral("/usr/lib"), QStringLiteral("/usr/lib64"), QStringLiteral("/usr/share")}) {
        if (QFileInfo::exists(folder))
            arguments << QStringLiteral("--ro-bind") << folder << folder;
    }
    arguments << debianProgramLinks() << QStringLiteral("--dir") << QStringLiteral("/usr/libexec");
    for (const Tool &tool : kTools)
        arguments << QStringLiteral("--ro-bind") << QStringLiteral(STANDINS_DIR "/") + QLatin1String(tool.standIn) << QLatin1String(tool.macPath);
    for (const char *link : {"bin", "sbin", "lib", "lib64"}) {
        if (QFileInfo::exists(QStringLiteral("/usr/") + QLatin1String(link)))
            arguments << QStringLiteral("--symlink") << QStringLiteral("usr/") + QLatin1String(link) << QLatin1Char('/') + QLatin1String(link);
    }
    arguments << QStringLiteral("--proc") << QStringLiteral("/proc") << QStringLiteral("--dev") << QStringLiteral("/dev");
    arguments << QStringLiteral("--ro-bind") << QStringLiteral("/etc") << QStringLiteral("/etc");
    arguments << QStringLiteral("--ro-bind") << m_disk.filePath(QStringLiteral("etc-zsh")) << QStringLiteral("/etc/zsh");
    arguments << QStringLiteral("--ro-bind") << m_disk.filePath(QStringLiteral("os-release")) << QStringLiteral("/etc/os-release");
    for (const Area &area : kAreas)
        arguments << QStringLiteral("--bind") << m_disk.filePath(QLatin1String(area.folder)) << QLatin1String(area.macPath);
    arguments << QStringLiteral("--symlink") << QStringLiteral("private/tmp") << QStringLiteral("/tmp");
    arguments << QStringLiteral("--symlink") << QStringLiteral("private/var") << QStringLiteral("/var");
    arguments << QStringLiteral("--ro-bind") << QStringLiteral(DOCTOR_PATH) << kDoctorMacPath;

    // What an app started from the Finder has, and where Qt should put its caches and temporary
    // files on a Mac.
    const QString home = QString::fromLatin1(kHome);
    QMap<QString, QString> environment {
        {QStringLiteral("HOME"), home},
        {QStringLiteral("USER"), QString::fromLatin1(kUser)},
        {QStringLiteral("LOGNAME"), QString::fromLatin1(kUser)},
        {QStringLiteral("SHELL"), QStringLiteral("/bin/zsh")},
        {QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin:/usr/sbin:/sbin")},
        {QStringLiteral("TMPDIR"), QString::fromLatin1(kTemporaryFolder) + QLatin1Char('/')},
        {QStringLiteral("LANG"), QStringLiteral("C.UTF-8")},
        {QStringLiteral("XDG_CACHE_HOME"), home + QStringLiteral("/Library/Caches")},
        {QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/Library/Application Support")},
        {QStringLiteral("TARNWICK_FIXTURE"), QStringLiteral("live")},
        {QStringLiteral("TWK_E2E_RUN"), runToken},
    };
    // A sanitizer build's settings reach the doctor inside too.
    for (const char *name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (qEnvironmentVariableIsSet(name))
            environment.insert(QLatin1String(name), qEnvironmentVariable(name));
    }
    for (auto it = m_environment.cbegin(); it != m_environment.cend(); ++it)
        environment.insert(it.key(), it.value());
    arguments << QStringLiteral("--clearenv");
    for (auto it = environment.cbegin(); it != environment.cend(); ++it)
        arguments << QStringLiteral("--setenv") << it.key() << it.value();
    arguments << QStringLiteral("--chdir") << home;
    return arguments;
}

namespace {

// The processes that carry the run's token in their environment: the doctor and its children.
QList<std::pair<int, QString>> processesCarrying(const QString &runToken)
{
    const QByteArray marker = "TWK_E2E_RUN=" + runToken.toUtf8();
    QList<std::pair<int, QString>> found;
    const QStringList pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &pid : pids) {
        bool isNumber = false;
        const int id = pid.toInt(&isNumber);
        if (!isNumber || !readAll(QStringLiteral("/proc/%1/environ").arg(pid)).split('\0').contains(marker))
            continue;
        found.append({id, QString::fromLocal8Bit(readAll(QStringLiteral("/proc/%1/cmdline").arg(pid)).replace('\0', ' ')).trimmed()});
    }
    return found;
}

// Whether the process has stopped itself (SIGSTOP): the state after the command's parentheses.
bool isStopped(int pid)
{
    const QByteArray stat = readAll(QStringLiteral("/proc/%1/stat").arg(pid));
    const qsizetype close = stat.lastIndexOf(')');
    return close > 0 && stat.mid(close + 2, 1) == "T";
}

} // namespace

MacRoot::Run MacRoot::runDoctor(const QStringList &arguments, const Signal &signal) const
{
    const QString token = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice()); // nobody at a terminal
    process.start(QStringLiteral("bwrap"), sandboxArguments(token) + QStringList {kDoctorMacPath} + arguments);
    QDeadlineTimer deadline(std::chrono::minutes(4));
    bool signalled = signal.onceExists.isEmpty() && !signal.onceStopped;
    while (!process.waitForFinished(signalled ? 1000 : 20) && !deadline.hasExpired()) {
        if (signalled)
            continue;
        for (const auto &[pid, commandLine] : processesCarrying(token)) {
            if (!commandLine.startsWith(kDoctorMacPath))
                continue;
            const bool due = signal.onceStopped ? isStopped(pid) : QFileInfo::exists(hostPath(signal.onceExists));
            if (!due)
                continue;
            ::kill(pid, signal.number);
            if (signal.onceStopped && signal.number != SIGKILL)
                ::kill(pid, SIGCONT);
            signalled = true;
        }
    }
    Run run;
    if (process.state() != QProcess::NotRunning) {
        ADD_FAILURE() << "the doctor did not finish within four minutes";
        process.kill();
        process.waitForFinished();
    } else if (process.exitStatus() == QProcess::NormalExit) {
        run.exitCode = process.exitCode();
    }
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    run.json = QJsonDocument::fromJson(run.out).object();
    // Whatever still runs was left behind; it goes, so that it can't disturb the next case.
    for (const auto &[pid, commandLine] : processesCarrying(token)) {
        run.leftoverProcesses.append(commandLine);
        ::kill(pid, SIGKILL);
    }
    return run;
}

QStringList MacRoot::find(const QString &name) const
{
    QStringList found;
    QDirIterator it(m_disk.path(), QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        if (it.fileName() == name)
            found.append(it.filePath().mid(m_disk.path().size()));
    }
    return found;
}

QStringList MacRoot::entries(const QString &macFolder) const
{
    QStringList names = QDir(hostPath(macFolder)).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    names.sort();
    return names;
}
