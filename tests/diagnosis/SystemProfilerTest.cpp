#include "StandIns.h"
#include "diagnosis/AuditStages.h"
#include "diagnosis/Remediation.h"
#include "diagnosis/SystemProfiler.h"
#include "simulated/InMemoryFileSystem.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

const QString kHome = QStringLiteral("/Users/ada");
const QString kZulu = QStringLiteral("/Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home");

// The programs every profile asks, answering as the Mac described.
void addTools(StandIns &mac, const QByteArray &machine, const QByteArray &whichAnswers)
{
    mac.add(QStringLiteral("/usr/bin/uname"), "[ \"$1\" = -m ] && echo " + machine);
    mac.add(QStringLiteral("/usr/bin/xcode-select"), "echo /Library/Developer/CommandLineTools");
    mac.add(QStringLiteral("/usr/bin/which"), "case \"$1\" in\n" + whichAnswers + "\n*) exit 1;;\nesac");
    mac.add(QStringLiteral("/usr/libexec/java_home"), "echo '    17.0.10 (x86_64) \"Azul Systems, Inc.\" - \"Zulu 17\" " + kZulu.toUtf8() + "' >&2");
    mac.add(QStringLiteral("/bin/zsh"), "echo '__TWK_JAVA_HOME__:" + kZulu.toUtf8() + "'");
}

MacOSVersion sequoia()
{
    return {15, 2, 1};
}

// Profiles are read as a fish user's app would read them, whatever shell runs the tests.
class SystemProfilerTest : public testing::Test {
protected:
    void SetUp() override { qputenv("SHELL", "/opt/homebrew/bin/fish"); }
    void TearDown() override { qputenv("SHELL", m_shell); }
    const QByteArray m_shell = qgetenv("SHELL");
};

} // namespace

TEST_F(SystemProfilerTest, ReadsADevelopersMac)
{
    StandIns mac;
    addTools(mac, "arm64", "claude) echo /Users/ada/.local/bin/claude;;\ncodex) echo /nowhere/codex;;\nmise) echo /Users/ada/bin/mise;;");
    auto fs = std::make_shared<InMemoryFileSystem>(kHome);
    for (const QString &program : {QStringLiteral("/opt/homebrew/bin/brew"), kHome + QStringLiteral("/bin/mise"), kHome + QStringLiteral("/.local/bin/claude"),
                                   QStringLiteral("/usr/local/bin/aider")}) // aider: where `which` on launchd's PATH never looks
        fs->addFile(program, "", 0755);
    fs->addFile(kHome + QStringLiteral("/.sdkman/bin/sdkman-init.sh"), "");
    fs->addDirectory(kHome + QStringLiteral("/.jenv"));
    fs->addDirectory(kHome + QStringLiteral("/.asdf"));
    fs->addDirectory(QStringLiteral("/Library/Java/JavaVirtualMachines/zulu-17.jdk"));
    for (const char *app : {"/Applications/Cursor.app", "/Applications/Warp.app", "/Applications/IntelliJ IDEA CE.app",
                            "/Users/ada/Applications/iTerm.app", "/Users/ada/Applications/kitty.app"})
        fs->addDirectory(QString::fromUtf8(app));
    fs->addFile(QStringLiteral("/Applications/Zed.app"), "not a bundle"); // a file is not an app

    SystemProfile expected;
    expected.architecture = Architecture::appleSilicon;
    expected.macosVersion = sequoia();
    expected.shell = Shell::fish();
    expected.brewExecutable = QStringLiteral("/opt/homebrew/bin/brew");
    expected.sdkmanRoot = kHome + QStringLiteral("/.sdkman");
    expected.miseExecutable = kHome + QStringLiteral("/bin/mise"); // found through `which`
    expected.jenvRoot = kHome + QStringLiteral("/.jenv");
    expected.asdfRoot = kHome + QStringLiteral("/.asdf");
    expected.xcodeCommandLineToolsPath = QStringLiteral("/Library/Developer/CommandLineTools");
    expected.javaState.installedJDKs = {{"17.0.10", "Azul Systems, Inc.", "x86_64", kZulu}};
    expected.javaState.jvmDirContents = {QStringLiteral("zulu-17.jdk")};
    expected.javaState.javaHomeInActiveShell = kZulu;
    expected.aiTooling.cursor = expected.aiTooling.warpApp = expected.aiTooling.intellij = expected.aiTooling.claudeCodeCLI = expected.aiTooling.aider = true;
    expected.terminals.warp = expected.terminals.iterm = expected.terminals.kitty = true;
    EXPECT_EQ(SystemProfiler(mac.shell(), fs, 1s, &sequoia).profile(), expected);

    fs->removeItem(kHome + QStringLiteral("/.sdkman/bin/sdkman-init.sh")); // without its init script it is not SDKMAN
    EXPECT_EQ(SystemProfiler(mac.shell(), fs, 1s, &sequoia).profile().sdkmanRoot, std::nullopt);
}

// What a real Mac tells us, and what follows from it: which build Adoptium is asked for, which
// fix installs Java, whether stage 1 calls macOS several releases behind, and whether it reports
// an Intel Homebrew that is there but not used.
TEST_F(SystemProfilerTest, ChipHomebrewAndMacOSReleaseAsARealMacReportsThem)
{
    const QString intelBrew = QStringLiteral("/usr/local/bin/brew");
    const QString armBrew = QStringLiteral("/opt/homebrew/bin/brew");
    const Remediation viaBrew = Remediation::installTemurinViaBrew(QStringLiteral("temurin@25"));
    const struct {
        const char *name;
        QByteArray uname;                 // what `uname -m` prints
        std::optional<QByteArray> sysctl; // `sysctl -n hw.optional.arm64`; nothing: no such key
        QStringList brews;
        MacOSVersion reported;
        QString adoptium;
        Remediation fix;
        bool behind;
        bool intelBrewUnused;
    } cases[] = {
        {"Intel, no such key", "x86_64", std::nullopt, {intelBrew}, {15, 2, 0}, "x64", viaBrew, false, false},
        {"Intel saying 0, on an old macOS that is never judged", "x86_64", "0", {intelBrew}, {12, 7, 0}, "x64", viaBrew, false, false},
        {"Rosetta on 14, two releases behind", "x86_64", "1", {armBrew, intelBrew}, {14, 6, 0}, "aarch64", viaBrew, true, false},
        {"Apple silicon with only an Intel Homebrew, on 15", "arm64", std::nullopt, {intelBrew}, {15, 1, 0}, "aarch64",
         Remediation::installViaPKG(25), false, true},
        {"Apple silicon on 26 read as 16.0", "arm64", std::nullopt, {armBrew}, {16, 0, 0}, "aarch64", viaBrew, false, false},
        {"Apple silicon on 26 beside an old Intel Homebrew", "arm64", std::nullopt, {armBrew, intelBrew}, {26, 1, 0}, "aarch64", viaBrew, false, false},
        {"Apple silicon on 13 without Homebrew", "arm64", std::nullopt, {}, {13, 0, 0}, "aarch64",
         Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@25")), true, false},
        {"an unknown processor", "ppc", std::nullopt, {intelBrew}, {10, 15, 0}, "aarch64", viaBrew, false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        StandIns mac;
        addTools(mac, c.uname, {});
        if (c.sysctl)
            mac.add(QStringLiteral("/usr/sbin/sysctl"), "[ \"$1 $2\" = '-n hw.optional.arm64' ] && echo " + *c.sysctl);
        else
            mac.add(QStringLiteral("/usr/sbin/sysctl"), "echo \"sysctl: unknown oid '$2'\" >&2; exit 1");
        auto fs = std::make_shared<InMemoryFileSystem>(kHome);
        for (const QString &brew : c.brews)
            fs->addFile(brew, "#!/bin/bash\n", 0755);
        const MacOSVersion reported = c.reported;
        const SystemProfile profile = SystemProfiler(mac.shell(), fs, 1s, [reported] { return reported; }).profile();

        EXPECT_EQ(adoptiumArchitecture(profile.architecture), c.adoptium);
        EXPECT_EQ(remediationForMissingJDK(25, profile), c.fix);
        EXPECT_EQ(Stage1Foundations::macOSIsBehind(profile), c.behind);
        EXPECT_EQ(profile.intelHomebrewOnAppleSilicon, c.intelBrewUnused ? std::optional(intelBrew) : std::nullopt);
        const QList<AuditRow> rows = Stage1Foundations::findings(profile);
        EXPECT_EQ(rows.contains(AuditRow {AuditRow::Mark::suggestion, Stage1Foundations::intelHomebrewText(intelBrew)}), c.intelBrewUnused);
        EXPECT_EQ(rows.contains(AuditRow {AuditRow::Mark::missing, QStringLiteral("Homebrew missing.")}), !profile.brewExecutable);
    }
}

TEST_F(SystemProfilerTest, AFailingProbeNeverFailsTheProfile)
{
    StandIns mac;
    for (const char *tool : {"/usr/bin/uname", "/usr/bin/xcode-select", "/bin/zsh"})
        mac.remove(QString::fromLatin1(tool));
    mac.add(QStringLiteral("/usr/bin/which"), "exit 1"); // runs, finds nothing
    mac.add(QStringLiteral("/usr/libexec/java_home"), "echo 'The operation couldn’t be completed. Unable to locate a Java Runtime.' >&2; exit 1");
    const SystemProfile profile = SystemProfiler(mac.shell(), std::make_shared<InMemoryFileSystem>(kHome), 1s, &sequoia).profile();

    SystemProfile empty;
    empty.macosVersion = sequoia();
    empty.shell = Shell::fish();
    EXPECT_EQ(profile, empty);
    EXPECT_FALSE(profile.likelyDeveloper());
}

TEST(SystemProfilerParts, NamesShells)
{
    const std::pair<std::optional<QString>, Shell> shells[] = {
        {QStringLiteral("/bin/zsh"), Shell::zsh()}, {QStringLiteral("/bin/bash"), Shell::bash()}, {QStringLiteral("/opt/homebrew/bin/fish"), Shell::fish()},
        {QStringLiteral("/bin/tcsh"), Shell::other(QStringLiteral("tcsh"))}, {std::nullopt, Shell::other(QStringLiteral("unknown"))}};
    for (const auto &[path, expected] : shells)
        EXPECT_EQ(SystemProfiler::shellFromPath(path), expected) << path.value_or(QStringLiteral("(unset)")).toStdString();
}
