#include "StandIns.h"
#include "runners/JEnvRunner.h"
#include "runners/MiseRunner.h"
#include "runners/SDKMANRunner.h"
#include "runners/TemurinPackage.h"
#include "simulated/InMemoryFileSystem.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Paths that must reach a program exactly as they are, and never run: `canary` must never appear.
QStringList hostilePaths(const QString &canary)
{
    return {u"/Library/Java/JavaVirtualMachines/a\"b.jdk/Contents/Home"_s, u"/Library/Java/JavaVirtualMachines/a\\b.jdk"_s,
            u"/Library/Java/JavaVirtualMachines/$(touch %1).jdk"_s.arg(canary), u"/Library/Java/JavaVirtualMachines/`touch %1`.jdk"_s.arg(canary),
            u"/Users/$HOME/${USER}.jdk"_s, u"/Library/Java/JavaVirtualMachines/Temurin 21 (copy).jdk/Contents/Home"_s,
            u"/Library/Java/JavaVirtualMachines/trailing\\"_s, u"/tmp/a'b;c|d&e>f"_s};
}

void write(const QString &path, const QByteArray &text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size()) << path.toStdString();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace

// A real login zsh with a throw-away HOME, and stand-ins: mise prints each argument on a line of its
// own; osascript decodes the AppleScript literal and hands it to /bin/sh, as the real one does, and
// the installer writes down the package path it was given: root's copy, under the package's own name.
TEST(VersionManagerRunners, HostilePathsReachMiseAndTheInstallerUnchangedAndNeverRun)
{
    QTemporaryDir home;
    const QString canary = home.filePath(u"canary"_s), received = home.filePath(u"received"_s), prompt = home.filePath(u"prompt"_s);
    StandIns mac;
    mac.map(u"/usr/bin/osascript"_s, QStringLiteral(STANDINS_DIR "/osascript"));
    mac.setEnvironment({{u"HOME"_s, home.path()}, {u"STANDIN_INSTALLER"_s, QStringLiteral(STANDINS_DIR "/installer")},
                        {u"STANDIN_INSTALLED_PKG"_s, received}, {u"STANDIN_PROMPT_FILE"_s, prompt}});
    write(home.filePath(u"mise"_s), "#!/bin/sh\nfor a in \"$@\"; do printf 'mise:%s\\n' \"$a\"; done\n");
    const JEnvRunner jenv(home.path(), mac.shell(), std::make_shared<InMemoryFileSystem>()); // runs <home>/bin/jenv
    const MiseRunner mise(home.filePath(u"mise"_s), mac.shell(), std::make_shared<InMemoryFileSystem>());
    const TemurinPackage package(mac.runner(), nullptr, std::make_shared<InMemoryFileSystem>(), u"Test"_s);
    const QString checksum = QString::fromLatin1(QCryptographicHash::hash("package", QCryptographicHash::Sha256).toHex());
    ProcessCancellation cancellation;
    const auto linesOf = [&cancellation](auto run) {
        QStringList output;
        const StreamEvent end = run(cancellation, [&output](const StreamEvent &event) { output.append(event.text); });
        return std::pair {output, end};
    };
    for (const QString &hostile : hostilePaths(canary)) {
        SCOPED_TRACE(hostile.toStdString());
        EXPECT_EQ(linesOf([&](auto &c, auto on) { return mise.select(hostile, c, on); }).first.value(2), "mise:java@"_L1 + hostile);
        const QString path = home.filePath(u"packages"_s) + hostile + ".pkg"_L1;
        write(path, "package");
        QFile::remove(received);
        const TemurinPackage::InstallerOutcome outcome = package.runInstaller(path, checksum, u"Say \"please\" \\ now"_s, cancellation);
        EXPECT_EQ(outcome.kind, TemurinPackage::InstallerOutcome::Kind::success) << outcome.message.toStdString();
        const QString copy = QString::fromUtf8(fileContents(received));
        EXPECT_EQ(QFileInfo(copy).fileName(), QFileInfo(path).fileName());
        EXPECT_NE(copy, path);
        EXPECT_FALSE(QFileInfo::exists(QFileInfo(copy).path())) << copy.toStdString(); // root's copy is gone afterwards
        EXPECT_FALSE(QFile::exists(canary));
    }
    EXPECT_EQ(fileContents(prompt), "Say \"please\" \\ now");
    EXPECT_EQ(SDKMANRunner::candidateArgument(u"21$(id)-tem"_s), u"\"21\\$(id)-tem\""_s);

    // The expected checksum goes into the command too: anything but 64 hex digits never gets there.
    QFile::remove(prompt);
    const QString hostileChecksum = (u"\"; touch %1; \""_s.arg(canary) + QString(64, u'0')).left(64);
    EXPECT_EQ(package.runInstaller(home.filePath(u"packages/x.pkg"_s), hostileChecksum, u"p"_s, cancellation).kind,
              TemurinPackage::InstallerOutcome::Kind::failure);
    EXPECT_FALSE(QFile::exists(prompt)); // osascript never ran
    EXPECT_FALSE(QFile::exists(canary));

    // `set -e`: a failing rehash stops the script before `jenv global`.
    write(home.filePath(u"bin/jenv"_s), "#!/bin/sh\n[ \"$1\" = rehash ] && { echo 'jenv: cannot rehash' >&2; exit 3; }\necho \"jenv:$1\"\n");
    const auto [stopped, stoppedEnd] = linesOf([&](auto &c, auto on) { return jenv.registerAndSelect(u"/opt/jdk"_s, 21, c, on); });
    EXPECT_EQ(stopped, (QStringList {"jenv:enable-plugin", "jenv:add", "jenv: cannot rehash"}));
    EXPECT_EQ(stoppedEnd, StreamEvent::completed(3));
}

TEST(VersionManagerRunners, FindTheHookLinesZshrcLacks)
{
    const QString mise = u"eval \"$(mise activate zsh)\""_s, jenvPath = u"export PATH=\"$HOME/.jenv/bin:$PATH\""_s, jenvInit = u"eval \"$(jenv init -)\""_s;
    const struct { const char *name; std::optional<QByteArray> zshrc; QStringList missingMise, missingJenv; } cases[] = {
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
            fs->addFile(fs->homeDirectory() + "/.zshrc"_L1, *c.zshrc);
        const ProgramRunner shell(std::make_shared<LiveProcessRunner>());
        EXPECT_EQ(MiseRunner(QString(), shell, fs).missingHookLines(), c.missingMise) << c.name;
        EXPECT_EQ(JEnvRunner(QString(), shell, fs).missingHookLines(), c.missingJenv) << c.name;
    }
}
