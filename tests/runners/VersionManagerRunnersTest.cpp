#include "runners/JEnvRunner.h"
#include "runners/MiseRunner.h"
#include "runners/SDKMANRunner.h"
#include "runners/TemurinPackage.h"
#include "simulated/InMemoryFileSystem.h"
#include "MappedProcessRunner.h"
#include "services/LiveProcessRunner.h"
#include "StandIns.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// Paths that must reach a program exactly as they are, and never run: `canary` is a file that
// must never appear.
QStringList hostilePaths(const QString &canary)
{
    return {
        QStringLiteral("/Library/Java/JavaVirtualMachines/a\"b.jdk/Contents/Home"),
        QStringLiteral("/Library/Java/JavaVirtualMachines/a\\b.jdk"),
        QStringLiteral("/Library/Java/JavaVirtualMachines/$(touch %1).jdk").arg(canary),
        QStringLiteral("/Library/Java/JavaVirtualMachines/`touch %1`.jdk").arg(canary),
        QStringLiteral("/Users/$HOME/${USER}.jdk"),
        QStringLiteral("/Library/Java/JavaVirtualMachines/Temurin 21 (copy).jdk/Contents/Home"),
        QStringLiteral("/Library/Java/JavaVirtualMachines/trailing\\"),
        QStringLiteral("/tmp/a'b;c|d&e>f"),
    };
}

// A home folder for a real login zsh, with stand-in `sdk`, `mise` and `jenv` that print each
// argument they get on a line of its own.
class ToolHome {
public:
    ToolHome()
    {
        write(QStringLiteral(".sdkman/bin/sdkman-init.sh"), "sdk() { for a in \"$@\"; do printf 'sdk:%s\\n' \"$a\"; done; }\n", false);
        for (const char *tool : {"mise/bin/mise", ".jenv/bin/jenv"})
            write(QString::fromLatin1(tool), "#!/bin/sh\nfor a in \"$@\"; do printf '" + QFileInfo(QString::fromLatin1(tool)).fileName().toLatin1() + ":%s\\n' \"$a\"; done\n", true);
        mac.setEnvironment({{QStringLiteral("HOME"), dir.path()}});
    }
    void write(const QString &name, const QByteArray &text, bool executable) const
    {
        QDir(dir.path()).mkpath(QFileInfo(name).path());
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | (executable ? QFile::ExeOwner : QFile::Permissions()));
    }
    template <typename Run>
    std::pair<QStringList, StreamEvent> lines(Run run) const
    {
        QStringList output;
        ProcessCancellation cancellation;
        const StreamEvent end = run(cancellation, [&output](const StreamEvent &event) { output.append(event.text); });
        return {output, end};
    }
    QTemporaryDir dir;
    StandIns mac;
};

} // namespace

TEST(VersionManagerRunners, RunTheirToolsInARealLoginShell)
{
    ToolHome home;
    const ProgramRunner shell = home.mac.shell();
    const SDKMANRunner sdkman(home.dir.filePath(QStringLiteral(".sdkman")), shell);
    auto [sdkOutput, sdkEnd] = home.lines([&](auto &c, auto on) { return sdkman.install(QStringLiteral("21-tem"), c, on); });
    EXPECT_EQ(sdkOutput, (QStringList {"sdk:install", "sdk:java", "sdk:21-tem"}));
    EXPECT_EQ(sdkEnd, StreamEvent::completed(0));

    const MiseRunner mise(home.dir.filePath(QStringLiteral("mise/bin/mise")), shell, std::make_shared<InMemoryFileSystem>());
    auto [miseOutput, miseEnd] = home.lines([&](auto &c, auto on) { return mise.install(QStringLiteral("temurin-21"), c, on); });
    EXPECT_EQ(miseOutput, (QStringList {"mise:install", "mise:java@temurin-21", "mise:use", "mise:-g", "mise:java@temurin-21"}));
    EXPECT_EQ(miseEnd, StreamEvent::completed(0));

    const JEnvRunner jenv(home.dir.filePath(QStringLiteral(".jenv")), shell, std::make_shared<InMemoryFileSystem>());
    auto [jenvOutput, jenvEnd] = home.lines([&](auto &c, auto on) { return jenv.registerAndSelect(QStringLiteral("/opt/jdk"), 21, c, on); });
    EXPECT_EQ(jenvOutput, (QStringList {"jenv:enable-plugin", "jenv:export", "jenv:add", "jenv:/opt/jdk", "jenv:rehash", "jenv:global", "jenv:21"}));
    EXPECT_EQ(jenvEnd, StreamEvent::completed(0));

    // `set -e`: a failing rehash stops the script before `jenv global`.
    home.write(QStringLiteral(".jenv/bin/jenv"), "#!/bin/sh\n[ \"$1\" = rehash ] && { echo 'jenv: cannot rehash' >&2; exit 3; }\necho \"jenv:$1\"\n", true);
    auto [stopped, stoppedEnd] = home.lines([&](auto &c, auto on) { return jenv.registerAndSelect(QStringLiteral("/opt/jdk"), 21, c, on); });
    EXPECT_EQ(stopped, (QStringList {"jenv:enable-plugin", "jenv:add", "jenv: cannot rehash"}));
    EXPECT_EQ(stoppedEnd, StreamEvent::completed(3));
}

TEST(VersionManagerRunners, HostilePathsReachTheToolUnchangedAndNeverRun)
{
    ToolHome home;
    const QString canary = home.dir.filePath(QStringLiteral("canary"));
    const ProgramRunner shell = home.mac.shell();
    const JEnvRunner jenv(home.dir.filePath(QStringLiteral(".jenv")), shell, std::make_shared<InMemoryFileSystem>());
    const MiseRunner mise(home.dir.filePath(QStringLiteral("mise/bin/mise")), shell, std::make_shared<InMemoryFileSystem>());
    for (const QString &path : hostilePaths(canary)) {
        auto [output, end] = home.lines([&](auto &c, auto on) { return jenv.registerAndSelect(path, 21, c, on); });
        EXPECT_EQ(output.value(3), QStringLiteral("jenv:") + path) << path.toStdString();
        auto [miseOutput, miseEnd] = home.lines([&](auto &c, auto on) { return mise.select(path, c, on); });
        EXPECT_EQ(miseOutput.value(2), QStringLiteral("mise:java@") + path) << path.toStdString();
        EXPECT_FALSE(QFile::exists(canary)) << path.toStdString();
    }
    EXPECT_EQ(SDKMANRunner::candidateArgument(QStringLiteral("21$(id)-tem")), QStringLiteral("\"21\\$(id)-tem\""));
}

TEST(VersionManagerRunners, TheInstallerCommandSurvivesHostilePackagePaths)
{
    // The stand-in osascript decodes the AppleScript literal and hands it to /bin/sh, as the real
    // one does; the stand-in installer writes down the package path it was given, which is root's
    // copy of the package, under the package's own name.
    QTemporaryDir dir;
    const QString canary = dir.filePath(QStringLiteral("canary"));
    const QString received = dir.filePath(QStringLiteral("received"));
    StandIns mac;
    mac.map(QStringLiteral("/usr/bin/osascript"), QStringLiteral(STANDINS_DIR "/osascript"));
    mac.setEnvironment({{QStringLiteral("STANDIN_INSTALLER"), QStringLiteral(STANDINS_DIR "/installer")},
                        {QStringLiteral("STANDIN_INSTALLED_PKG"), received},
                        {QStringLiteral("STANDIN_PROMPT_FILE"), dir.filePath(QStringLiteral("prompt"))}});
    const TemurinPackage package(mac.runner(), nullptr, std::make_shared<InMemoryFileSystem>(), QStringLiteral("Test"));
    const QByteArray contents = "package";
    const QString checksum = QString::fromLatin1(QCryptographicHash::hash(contents, QCryptographicHash::Sha256).toHex());
    for (const QString &hostile : hostilePaths(canary)) {
        const QString path = dir.filePath(QStringLiteral("packages")) + hostile + QStringLiteral(".pkg");
        ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path())) << path.toStdString();
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size()) << path.toStdString();
        file.close();
        QFile::remove(received);
        ProcessCancellation cancellation;
        const TemurinPackage::InstallerOutcome outcome =
            package.runInstaller(path, checksum, QStringLiteral("Say \"please\" \\ now"), cancellation);
        EXPECT_EQ(outcome.kind, TemurinPackage::InstallerOutcome::Kind::success) << path.toStdString() << outcome.message.toStdString();
        QFile record(received);
        ASSERT_TRUE(record.open(QIODevice::ReadOnly)) << path.toStdString();
        const QString copy = QString::fromUtf8(record.readAll());
        EXPECT_EQ(QFileInfo(copy).fileName(), QFileInfo(path).fileName());
        EXPECT_NE(copy, path);
        EXPECT_FALSE(QFileInfo::exists(QFileInfo(copy).path())) << copy.toStdString(); // root's copy is gone afterwards
        EXPECT_FALSE(QFile::exists(canary)) << path.toStdString();
    }
    QFile prompt(dir.filePath(QStringLiteral("prompt")));
    ASSERT_TRUE(prompt.open(QIODevice::ReadOnly));
    EXPECT_EQ(prompt.readAll(), QByteArray("Say \"please\" \\ now"));

    // The expected checksum goes into the command too: anything but 64 hex digits never gets there.
    QFile::remove(dir.filePath(QStringLiteral("prompt")));
    ProcessCancellation cancellation;
    const QString hostileChecksum = (QStringLiteral("\"; touch %1; \"").arg(canary) + QString(64, u'0')).left(64);
    EXPECT_EQ(package.runInstaller(dir.filePath(QStringLiteral("packages/x.pkg")), hostileChecksum, QStringLiteral("p"), cancellation).kind,
              TemurinPackage::InstallerOutcome::Kind::failure);
    EXPECT_FALSE(QFile::exists(dir.filePath(QStringLiteral("prompt")))); // osascript never ran
    EXPECT_FALSE(QFile::exists(canary));
}

TEST(VersionManagerRunners, FindTheHookLinesZshrcLacks)
{
    const QString mise = QStringLiteral("eval \"$(mise activate zsh)\"");
    const QString jenvPath = QStringLiteral("export PATH=\"$HOME/.jenv/bin:$PATH\"");
    const QString jenvInit = QStringLiteral("eval \"$(jenv init -)\"");
    const struct {
        const char *name;
        std::optional<QByteArray> zshrc;
        QStringList missingMise;
        QStringList missingJenv;
    } cases[] = {
        {"no ~/.zshrc", std::nullopt, {mise}, {jenvPath, jenvInit}},
        {"only a commented jEnv hook", "# eval \"$(jenv init -)\"\n", {mise}, {jenvPath, jenvInit}},
        {"both jEnv lines, indented", "  export PATH=\"$HOME/.jenv/bin:$PATH\"\n\teval \"$(jenv init -)\"\n", {mise}, {}},
        {"mise inside a longer line", "[ -x /opt/homebrew/bin/mise ] && eval \"$(mise activate zsh)\"\n", {}, {jenvPath, jenvInit}},
        {"jEnv init only", "eval \"$(jenv init -)\"\r\n", {mise}, {jenvPath}},
        {"mise's hook after a line that is not UTF-8", "export NAME=Jos\xe9\neval \"$(mise activate zsh)\"\n", {}, {jenvPath, jenvInit}},
    };
    for (const auto &c : cases) {
        auto fs = std::make_shared<InMemoryFileSystem>();
        if (c.zshrc)
            fs->addFile(fs->homeDirectory() + QStringLiteral("/.zshrc"), *c.zshrc);
        const ProgramRunner shell(std::make_shared<LiveProcessRunner>());
        EXPECT_EQ(MiseRunner(QString(), shell, fs).missingHookLines(), c.missingMise) << c.name;
        EXPECT_EQ(JEnvRunner(QString(), shell, fs).missingHookLines(), c.missingJenv) << c.name;
    }
}
