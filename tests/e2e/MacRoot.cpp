#include "MacRoot.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QUuid>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The writable parts of the Mac and the folders of this machine's disk that hold them.
constexpr struct { const char *macPath, *folder; } kAreas[] = {{"/Library", "Library"}, {"/Applications", "Applications"}, {"/opt", "opt"},
                                                               {"/usr/local", "usr-local"}, {"/Users", "Users"}, {"/private", "private"}};

// The Mac's own tools, stood in for by tests/support/standins.
constexpr struct { const char *standIn, *macPath; } kTools[] = {
    {"java_home", "/usr/libexec/java_home"}, {"java", "/usr/bin/java"}, {"xcode-select", "/usr/bin/xcode-select"}, {"uname", "/usr/bin/uname"},
    {"osascript", "/usr/bin/osascript"}, {"sudo", "/usr/bin/sudo"}, {"installer", "/usr/sbin/installer"}, {"sysctl", "/usr/sbin/sysctl"}};

const QString kUserHome = QString::fromLatin1(MacRoot::kHome);
const QString kDoctorMacPath = u"/Applications/Tarnwick.app/Contents/MacOS/tarnwick-doctor"_s;

// Debian's programs go under /usr/.debian read-only; /usr/bin and /usr/sbin become folders of
// links to them, so that stand-ins can sit beside them at names Debian doesn't have (a
// read-only bind of the whole folder would leave no room for /usr/bin/osascript).
QStringList debianProgramLinks()
{
    QStringList arguments;
    for (const QString &folder : {u"bin"_s, u"sbin"_s}) {
        const QString usrFolder = "/usr/"_L1 + folder;
        arguments << u"--ro-bind"_s << usrFolder << "/usr/.debian/"_L1 + folder << u"--dir"_s << usrFolder;
        for (const QFileInfo &entry : QDir(usrFolder).entryInfoList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot)) {
            const QString macPath = usrFolder + u'/' + entry.fileName();
            if (std::any_of(std::begin(kTools), std::end(kTools), [&](const auto &tool) { return macPath == QLatin1String(tool.macPath); }))
                continue;
            // A link keeps its own text (relative, or through /etc/alternatives).
            const QString text = entry.isSymLink() ? QString::fromStdString(std::filesystem::read_symlink(entry.filePath().toStdString()))
                                                   : "/usr/.debian/"_L1 + folder + u'/' + entry.fileName();
            arguments << u"--symlink"_s << text << macPath;
        }
    }
    return arguments;
}

// Writes `contents` at a path of this machine, its folder made first; false when it could not.
bool writeHostFile(const QString &path, const QByteArray &contents, bool executable)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size()
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther
                               | (executable ? QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther : QFile::Permissions()));
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A JDK bundle's files, relative to /.
QMap<QString, QByteArray> bundleFiles(const MacRoot::JDK &jdk)
{
    const QString contents = "Library/Java/JavaVirtualMachines/"_L1 + jdk.bundle + "/Contents/"_L1;
    const QString plist = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                          "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n<dict>\n"
                          "\t<key>CFBundleIdentifier</key>\n\t<string>net.temurin.%1.jdk</string>\n\t<key>JavaVM</key>\n\t<dict>\n"
                          "\t\t<key>JVMArch</key>\n\t\t<string>%2</string>\n\t\t<key>JVMName</key>\n\t\t<string>OpenJDK %3</string>\n"
                          "\t\t<key>JVMVendor</key>\n\t\t<string>%4</string>\n\t\t<key>JVMVersion</key>\n\t\t<string>%3</string>\n"
                          "\t</dict>\n</dict>\n</plist>\n"_s;
    QMap<QString, QByteArray> files {
        {contents + "Info.plist"_L1, plist.arg(jdk.version.section(u'.', 0, 0), jdk.arch, jdk.version, jdk.vendor).toUtf8()}};
    const QMap<QString, QByteArray> home = MacRoot::jdkHome(jdk);
    for (auto it = home.cbegin(); it != home.cend(); ++it)
        files.insert(contents + "Home/"_L1 + it.key(), it.value());
    return files;
}

void append(const MacRoot &mac, const QString &macPath, const QByteArray &text) { mac.writeFile(macPath, mac.readFile(macPath) + text); }

// Whether the process has stopped itself (SIGSTOP): the state after the command's parentheses.
bool isStopped(int pid)
{
    const QByteArray stat = readAll(u"/proc/%1/stat"_s.arg(pid));
    const qsizetype close = stat.lastIndexOf(')');
    return close > 0 && stat.mid(close + 2, 1) == "T";
}

// The processes that carry the run's token in their environment: the doctor and its children.
QList<std::pair<int, QString>> processesCarrying(const QString &runToken)
{
    const QByteArray marker = "TWK_E2E_RUN=" + runToken.toUtf8();
    QList<std::pair<int, QString>> found;
    for (const QString &pid : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (pid.toInt() > 0 && readAll(u"/proc/%1/environ"_s.arg(pid)).split('\0').contains(marker))
            found.append({pid.toInt(), QString::fromLocal8Bit(readAll(u"/proc/%1/cmdline"_s.arg(pid)).replace('\0', ' ')).trimmed()});
    }
    return found;
}

} // namespace

std::optional<QString> MacRoot::unavailableReason()
{
    QProcess probe;
    probe.start(u"bwrap"_s, {u"--ro-bind"_s, u"/"_s, u"/"_s, u"--unshare-ipc"_s, u"--unshare-uts"_s, u"/bin/true"_s});
    if (!probe.waitForStarted()) {
        ADD_FAILURE() << "bwrap is not installed; scripts/setup.sh installs the bubblewrap package";
        return u"bwrap is missing"_s;
    }
    if (!probe.waitForFinished(30000) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
        return u"bubblewrap cannot create namespaces on this machine: %1"_s.arg(QString::fromLocal8Bit(probe.readAllStandardError()).trimmed());
    return std::nullopt;
}

MacRoot::MacRoot(Chip chip) : m_chip(chip)
{
    EXPECT_TRUE(m_disk.isValid());
    for (const char *folder : {"/Library/Java/JavaVirtualMachines", "/private/tmp", kTemporaryFolder, kHome, "/usr/local/bin", "/Applications", "/opt"})
        QDir().mkpath(hostPath(QLatin1String(folder)));
    // What a Mac's /etc/zprofile does through path_helper: the system folders first.
    EXPECT_TRUE(writeHostFile(m_disk.filePath(u"etc-zsh/zprofile"_s), "typeset -U path\npath=(/usr/local/bin /usr/bin /bin /usr/sbin /sbin $path)\n", false));
    // Qt reads the system's version from os-release off a Mac; this root says it is macOS 15.1.
    EXPECT_TRUE(writeHostFile(m_disk.filePath(u"os-release"_s), "NAME=\"macOS\"\nID=macos\nVERSION_ID=\"15.1\"\nPRETTY_NAME=\"macOS 15.1\"\n", false));
    writeFile(kDoctorMacPath, QByteArray(), true); // the doctor's binary is bound over this, read-only
    m_environment.insert(u"STANDIN_MACHINE"_s, chip == Chip::intel ? u"x86_64"_s : u"arm64"_s);
}

QString MacRoot::brewPath() const { return m_chip == Chip::intel ? u"/usr/local/bin/brew"_s : u"/opt/homebrew/bin/brew"_s; }

QString MacRoot::hostPath(const QString &macPath) const
{
    QString path = macPath;
    if (path == "/tmp"_L1 || path.startsWith("/tmp/"_L1) || path.startsWith("/var/"_L1))
        path.prepend("/private"_L1);
    for (const auto &area : kAreas) {
        const QLatin1String prefix(area.macPath);
        if (path == prefix || (path.startsWith(prefix) && path.at(prefix.size()) == u'/'))
            return m_disk.filePath(QLatin1String(area.folder)) + path.mid(prefix.size());
    }
    ADD_FAILURE() << macPath.toStdString() << " is not in a writable part of the Mac";
    return m_disk.filePath(u"elsewhere"_s) + path;
}

void MacRoot::writeFile(const QString &macPath, const QByteArray &contents, bool executable) const
{
    EXPECT_TRUE(writeHostFile(hostPath(macPath), contents, executable)) << macPath.toStdString();
}

QByteArray MacRoot::readFile(const QString &macPath) const { return readAll(hostPath(macPath)); }

QByteArray MacRoot::standIn(const QString &name)
{
    const QByteArray contents = readAll(QStringLiteral(STANDINS_DIR "/") + name);
    EXPECT_FALSE(contents.isEmpty()) << name.toStdString();
    return contents;
}

void MacRoot::installStandIn(const QString &name, const QString &macPath) const { writeFile(macPath, standIn(name), true); }

QMap<QString, QByteArray> MacRoot::jdkHome(const JDK &jdk)
{
    const bool lts = QStringList {"8", "11", "17", "21", "25"}.contains(jdk.version.section(u'.', 0, 0));
    const QString runtime = jdk.version + u'+' + jdk.build + (lts ? u"-LTS"_s : QString());
    const QString release = u"IMPLEMENTOR=\"%1\"\nIMPLEMENTOR_VERSION=\"Temurin-%2+%3\"\nJAVA_RUNTIME_VERSION=\"%4\"\n"
                            "JAVA_VERSION=\"%2\"\nJAVA_VERSION_DATE=\"2024-10-15\"\n"_s.arg(jdk.vendor, jdk.version, jdk.build, runtime);
    return {{u"bin/java"_s, standIn(u"jdk-java"_s)}, {u"release"_s, release.toUtf8()}};
}

QByteArray MacRoot::tarball(const QMap<QString, QByteArray> &files)
{
    QTemporaryDir folder;
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        const bool program = it.key().startsWith("bin/"_L1) || it.key().contains("/bin/"_L1);
        EXPECT_TRUE(writeHostFile(folder.filePath(it.key()), it.value(), program)) << it.key().toStdString();
    }
    QProcess tar;
    tar.start(u"tar"_s, QStringList {u"-C"_s, folder.path(), u"--owner=0"_s, u"--group=0"_s, u"-czf"_s, u"-"_s}
                            + QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot));
    EXPECT_TRUE(tar.waitForFinished(30000));
    EXPECT_EQ(tar.exitCode(), 0) << tar.readAllStandardError().toStdString();
    return tar.readAllStandardOutput();
}

QByteArray MacRoot::temurinPackage(const JDK &jdk) { return tarball(bundleFiles(jdk)); }

void MacRoot::installJDK(const JDK &jdk) const
{
    const QMap<QString, QByteArray> files = bundleFiles(jdk);
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        writeFile(u'/' + it.key(), it.value(), it.key().contains("/Home/bin/"_L1));
}

void MacRoot::installHomebrew() const
{
    installStandIn(u"brew"_s, brewPath());
    if (m_chip == Chip::appleSilicon) // what Homebrew's installer tells Apple-silicon users to add
        append(*this, kUserHome + "/.zprofile"_L1, "\neval \"$(/opt/homebrew/bin/brew shellenv)\"\n");
}

void MacRoot::installSDKMAN() const
{
    installStandIn(u"sdkman-init.sh"_s, kUserHome + "/.sdkman/bin/sdkman-init.sh"_L1);
    QDir().mkpath(hostPath(kUserHome + "/.sdkman/candidates"_L1));
    append(*this, kUserHome + "/.zshrc"_L1, "\n#THIS MUST BE AT THE END OF THE FILE FOR SDKMAN TO WORK!!!\nexport SDKMAN_DIR=\"$HOME/.sdkman\"\n"
                                        "[[ -s \"$HOME/.sdkman/bin/sdkman-init.sh\" ]] && source \"$HOME/.sdkman/bin/sdkman-init.sh\"\n");
}

void MacRoot::installMise() const
{
    installStandIn(u"mise"_s, kUserHome + "/.local/bin/mise"_L1);
    append(*this, kUserHome + "/.zprofile"_L1, "export PATH=\"$HOME/.local/bin:$PATH\"\n");
}

void MacRoot::installJEnv(bool hooked) const
{
    installStandIn(u"jenv"_s, kUserHome + "/.jenv/bin/jenv"_L1);
    QDir().mkpath(hostPath(kUserHome + "/.jenv/versions"_L1));
    if (hooked)
        append(*this, kUserHome + "/.zshrc"_L1, "export PATH=\"$HOME/.jenv/bin:$PATH\"\neval \"$(jenv init -)\"\n");
}

QStringList MacRoot::sandboxArguments(const QString &runToken) const
{
    // An ordinary user, as on a real Mac: root would ignore every permission bit.
    QStringList arguments {u"--die-with-parent"_s, u"--unshare-ipc"_s, u"--unshare-uts"_s, u"--unshare-user"_s, u"--uid"_s, u"501"_s,
                           u"--gid"_s, u"20"_s, u"--hostname"_s, u"Testers-MacBook-Pro"_s, u"--tmpfs"_s, u"/usr"_s};
    for (const QString &folder : {u"/usr/lib"_s, u"/usr/lib64"_s, u"/usr/share"_s})
        arguments << u"--ro-bind-try"_s << folder << folder;
    arguments << debianProgramLinks() << u"--dir"_s << u"/usr/libexec"_s;
    for (const auto &tool : kTools)
        arguments << u"--ro-bind"_s << QStringLiteral(STANDINS_DIR "/") + QLatin1String(tool.standIn) << QLatin1String(tool.macPath);
    for (const QString &link : {u"bin"_s, u"sbin"_s, u"lib"_s, u"lib64"_s}) {
        if (QFileInfo::exists("/usr/"_L1 + link))
            arguments << u"--symlink"_s << "usr/"_L1 + link << u'/' + link;
    }
    arguments << u"--proc"_s << u"/proc"_s << u"--dev"_s << u"/dev"_s << u"--ro-bind"_s << u"/etc"_s << u"/etc"_s << u"--ro-bind"_s
              << m_disk.filePath(u"etc-zsh"_s) << u"/etc/zsh"_s << u"--ro-bind"_s << m_disk.filePath(u"os-release"_s) << u"/etc/os-release"_s;
    for (const auto &area : kAreas)
        arguments << u"--bind"_s << m_disk.filePath(QLatin1String(area.folder)) << QLatin1String(area.macPath);
    arguments << u"--symlink"_s << u"private/tmp"_s << u"/tmp"_s << u"--symlink"_s << u"private/var"_s << u"/var"_s;
    arguments << u"--ro-bind"_s << QStringLiteral(DOCTOR_PATH) << kDoctorMacPath;

    // What an app started from the Finder has, and where Qt puts its caches and temporary files on a Mac.
    const QString home = QLatin1String(kHome);
    QMap<QString, QString> environment {
        {u"HOME"_s, home}, {u"USER"_s, u"tester"_s}, {u"LOGNAME"_s, u"tester"_s}, {u"SHELL"_s, u"/bin/zsh"_s},
        {u"PATH"_s, u"/usr/bin:/bin:/usr/sbin:/sbin"_s}, {u"TMPDIR"_s, QLatin1String(kTemporaryFolder) + u'/'}, {u"LANG"_s, u"C.UTF-8"_s},
        {u"XDG_CACHE_HOME"_s, home + "/Library/Caches"_L1}, {u"XDG_DATA_HOME"_s, home + "/Library/Application Support"_L1},
        {u"TARNWICK_FIXTURE"_s, u"live"_s}, {u"TWK_E2E_RUN"_s, runToken}};
    for (const char *name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) // a sanitizer build's settings reach inside
        if (qEnvironmentVariableIsSet(name))
            environment.insert(QLatin1String(name), qEnvironmentVariable(name));
    environment.insert(m_environment);
    arguments << u"--clearenv"_s;
    for (auto it = environment.cbegin(); it != environment.cend(); ++it)
        arguments << u"--setenv"_s << it.key() << it.value();
    return arguments << u"--chdir"_s << home;
}

MacRoot::Run MacRoot::runDoctor(const QStringList &arguments, const Signal &signal) const
{
    const QString token = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice()); // nobody at a terminal
    process.start(u"bwrap"_s, sandboxArguments(token) + QStringList {kDoctorMacPath} + arguments);
    QDeadlineTimer deadline(std::chrono::minutes(4));
    bool signalled = signal.onceExists.isEmpty() && !signal.onceStopped;
    while (!process.waitForFinished(signalled ? 1000 : 20) && !deadline.hasExpired()) {
        for (const auto &[pid, commandLine] : signalled ? QList<std::pair<int, QString>>() : processesCarrying(token)) {
            if (!commandLine.startsWith(kDoctorMacPath) || !(signal.onceStopped ? isStopped(pid) : QFileInfo::exists(hostPath(signal.onceExists))))
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
    run.seconds = std::chrono::duration<double>(std::chrono::minutes(4) - deadline.remainingTimeAsDuration()).count();
    run.out = process.readAllStandardOutput(), run.err = process.readAllStandardError();
    run.json = QJsonDocument::fromJson(run.out).object();
    // Every run must end with nothing of its own left running and no password helper folder left.
    QStringList leftovers;
    for (const auto &[pid, commandLine] : processesCarrying(token)) {
        leftovers.append(commandLine);
        ::kill(pid, SIGKILL); // so that it can't disturb the next case
    }
    EXPECT_EQ(leftovers, QStringList()) << "processes left behind by tarnwick-doctor " << arguments.join(u' ').toStdString();
    EXPECT_EQ(entries(QLatin1String(kTemporaryFolder)).filter("twk-priv-"_L1), QStringList());
    return run;
}

QStringList MacRoot::find(const QString &name) const
{
    QStringList found;
    for (QDirIterator it(m_disk.path(), {name}, QDir::AllEntries | QDir::System | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();)
        found.append(it.next().mid(m_disk.path().size()));
    return found;
}

QStringList MacRoot::entries(const QString &macFolder) const
{
    return QDir(hostPath(macFolder)).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}
