// The unmodified doctor with live services inside a Mac-shaped root: real absolute paths, a real
// login zsh reading real dotfiles, real child processes and real HTTP from servers on 127.0.0.1.

#include "DoctorOnAMac.h"

#include <gtest/gtest-spi.h>

#include <unistd.h>

TEST_F(DoctorOnAMac, HomebrewInstallsTheCaskThenJavaHomeGoesInZprofile)
{
    for (const MacRoot::Chip chip : {MacRoot::Chip::appleSilicon, MacRoot::Chip::intel}) {
        const bool intel = chip == MacRoot::Chip::intel;
        SCOPED_TRACE(intel ? "Intel" : "Apple silicon");
        MacRoot mac(chip);
        mac.installHomebrew();
        MacRoot::JDK jdk;
        jdk.arch = intel ? u"x86_64"_s : u"arm64"_s;
        serveAdoptium(mac, jdk);
        serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));
        mac.setEnvironment(u"STANDIN_PROMPT_FILE"_s, u"/private/tmp/dialog-prompt"_s);
        const QByteArray zprofileBefore = mac.readFile(kHome + "/.zprofile"_L1);

        const MacRoot::Run run = mac.runDoctor(kFix);
        ASSERT_EQ(run.exitCode, 0) << show(run);
        // The JAVA_HOME step follows the install, accepted with --yes and verified in a fresh login shell.
        expectAt(run, {{"profile.architecture", intel ? "intel" : "appleSilicon"}, {"profile.homebrewPrefix", mac.brewPath()},
                       {"profile.macosVersion", QJsonObject {{"major", 15}, {"minor", 1}, {"patch", 0}}}, {"remediation.id", "brew:temurin@21"},
                       {"fix.outcome", "success"}, {"fix.verify.passed", true}, {"fix.verify.offersJavaHome", true},
                       {"fix.followUp.outcome", "success"}, {"fix.followUp.verify.javaHomeValue", kTemurin21Home}});
        EXPECT_TRUE(linesOf(run).contains(u"🍺  temurin@21 was successfully installed!"_s)) << show(run);
        EXPECT_TRUE(at(run.json, u"fix.verify.javaVersionOutput"_s).toString().startsWith(u"openjdk version \"21.0.5\" 2024-10-15 LTS"_s));
        // Homebrew's sudo asked through the app's dialog, with the app's sentence.
        EXPECT_EQ(mac.readFile(u"/tmp/dialog-prompt"_s), "Enter Mac password to install Temurin to /Library/Java/JavaVirtualMachines/");
        EXPECT_TRUE(QFileInfo(mac.hostPath(kTemurin21Home + "/bin/java"_L1)).isExecutable());
        EXPECT_EQ(mac.entries(QFileInfo(mac.brewPath()).path() + "/../Caskroom"_L1), QStringList {"temurin@21"});
        EXPECT_EQ(mac.readFile(kHome + "/.zprofile.bak"_L1), zprofileBefore);
        EXPECT_TRUE(mac.readFile(kHome + "/.zprofile"_L1).endsWith(javaHomeBlock().mid(1)));
    }
}

// Homebrew's cask, when Homebrew bypasses our sudo wrapper, falls back to the checked package;
// a declined password cancels either way and leaves nothing behind.
TEST_F(DoctorOnAMac, HomebrewsFallBackAndADeclinedPassword)
{
    enum class Case { checksumMatches, tampered, declinedAtBrew, declinedAtInstaller };
    for (const Case c : {Case::checksumMatches, Case::tampered, Case::declinedAtBrew, Case::declinedAtInstaller}) {
        SCOPED_TRACE(int(c));
        const bool declined = c == Case::declinedAtBrew || c == Case::declinedAtInstaller, installed = c == Case::checksumMatches;
        MacRoot mac;
        if (c != Case::declinedAtInstaller)
            mac.installHomebrew();
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk, c == Case::tampered ? QByteArray("the package Adoptium published") : QByteArray());
        serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));
        mac.setEnvironment(u"STANDIN_INSTALLED_PKG"_s, u"/private/tmp/installed-package"_s);
        if (declined)
            mac.setEnvironment(u"STANDIN_OSASCRIPT_SAYS"_s, u"0:75: execution error: User canceled. (-128)"_s);
        else
            mac.setEnvironment(u"STANDIN_BREW_SUDO"_s, u"bypass"_s);

        const MacRoot::Run run = mac.runDoctor(kFix);
        const QStringList lines = linesOf(run);
        EXPECT_EQ(run.exitCode, declined ? 130 : installed ? 0 : 1) << show(run);
        expectAt(run, {{"fix.outcome", declined ? "canceled" : installed ? "success" : "failure"},
                       {"remediation.id", c == Case::declinedAtInstaller ? "pkg:21" : "brew:temurin@21"},
                       {installed ? "fix.verify.passed" : "fix.verify", installed ? QJsonValue(true) : QJsonValue(QJsonValue::Null)}});
        for (const QString &line : {u"Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…"_s,
                                    u"Looking up Temurin 21 (aarch64) on Adoptium…"_s, u"Verifying download checksum…"_s})
            EXPECT_EQ(lines.contains(line), !declined) << line.toStdString() << show(run);
        EXPECT_EQ(lines.filter(u"Fallback failed: Checksum mismatch (expected "_s).size(), c == Case::tampered ? 1 : 0) << show(run);
        // The installer ran, through osascript, on root's own copy of the downloaded package.
        const QByteArray package = mac.readFile(u"/tmp/installed-package"_s);
        EXPECT_EQ(package.startsWith("/tmp/tarnwick-install.") && package.endsWith("/temurin-21-jdk-21.0.5+11.pkg"), installed) << package.toStdString();
        EXPECT_EQ(mac.entries(kJVMs), installed ? QStringList {"temurin-21.jdk"} : QStringList());
        EXPECT_EQ(mac.entries(kPackageCache), QStringList()); // the package is gone either way
    }
}

// An unset JAVA_HOME goes in ~/.zprofile, through a link to it too, or to jEnv when jEnv is hooked;
// a JDK folder's name is data, never code, on either way.
TEST_F(DoctorOnAMac, AnUnsetJavaHomeGoesInZprofileWithABackupOrToJEnv)
{
    const QByteArray before = "alias ll='ls -l'"; // no final newline
    const QByteArray expected = before + "\n" + javaHomeBlock();
    const QString zprofile = kHome + "/.zprofile"_L1, dotfile = kHome + "/dotfiles/zprofile"_L1;
    const struct {
        const char *name;
        QString bundle;
        bool symlinked, jEnv; // symlinked: ~/.zprofile is a link into a dotfiles folder
    } cases[] = {{"a plain file", u"temurin-21.jdk"_s, false, false}, {"a symlinked file", u"temurin-21.jdk"_s, true, false},
                 {"a JDK folder whose name runs a command", u"temurin-`touch canary`.jdk"_s, false, false},
                 {"jEnv, $()", u"temurin-$(touch canary).jdk"_s, false, true}, {"jEnv, backticks", u"temurin-`touch canary`.jdk"_s, false, true}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac;
        MacRoot::JDK jdk;
        jdk.bundle = c.bundle;
        mac.installJDK(jdk);
        if (c.jEnv)
            mac.installJEnv(true);
        mac.writeFile(c.symlinked ? dotfile : zprofile, before);
        ASSERT_TRUE(!c.symlinked || ::symlink("dotfiles/zprofile", qPrintable(mac.hostPath(zprofile))) == 0);

        const MacRoot::Run run = mac.runDoctor(kFix);
        EXPECT_EQ(mac.find(u"canary"_s), QStringList());
        ASSERT_EQ(run.exitCode, 0) << show(run);
        const QString home = kJVMs + u'/' + c.bundle + "/Contents/Home"_L1;
        expectAt(run, {{"diagnosis.code", "D2_HomeUnset"}, {"remediation.id", (c.jEnv ? "jenv-home:21:"_L1 : "zprofile:"_L1) + home},
                       {"fix.verify.passed", true}, {"fix.verify.javaHomeValue", home}});
        EXPECT_EQ(mac.readFile(zprofile), c.jEnv ? before : expected);
        EXPECT_EQ(mac.readFile(zprofile + ".bak"_L1), c.jEnv ? QByteArray() : before);
        EXPECT_EQ(QFileInfo(mac.hostPath(zprofile)).isSymLink(), c.symlinked);
        EXPECT_EQ(mac.readFile(dotfile), c.symlinked ? expected : QByteArray());
        EXPECT_EQ(mac.entries(kHome + "/.jenv/versions"_L1), (c.jEnv ? QStringList {"21", "21.0", "21.0.5", "openjdk64-21.0.5"} : QStringList()));

        // A second look, in new shells, finds nothing wrong.
        const MacRoot::Run again = mac.runDoctor({u"--json"_s});
        EXPECT_EQ(again.exitCode, 0) << show(again);
        expectAt(again, {{"diagnosis.code", "no_errors_found"}});
    }
}

// The version managers set JAVA_HOME themselves, so no JAVA_HOME step follows; Mise and jEnv get
// their hooks in ~/.zshrc (unless nobody can say yes). Only ~/.zshrc loads SDKMAN, so its answer
// comes from the interactive login shell.
TEST_F(DoctorOnAMac, VersionManagersInstallAndGetTheirHooksInZshrc)
{
    enum class Manager { sdkman, mise, jEnv, miseUnanswered };
    const struct {
        Manager manager;
        const char *remediation;
        QString javaHome;
        QByteArray hooks; // appended to ~/.zshrc; none: it is left as it was
    } cases[] = {
        {Manager::sdkman, "sdkman:21-tem", kHome + "/.sdkman/candidates/java/current"_L1, {}},
        {Manager::mise, "mise:temurin-21", kHome + "/.local/share/mise/installs/java/temurin-21"_L1, "eval \"$(mise activate zsh)\"\n"},
        {Manager::jEnv, "pkg-jenv:21", kTemurin21Home, "export PATH=\"$HOME/.jenv/bin:$PATH\"\neval \"$(jenv init -)\"\n"},
        {Manager::miseUnanswered, "mise:temurin-21", {}, {}}, // no hook: no java, and the java stub says so
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(int(c.manager));
        MacRoot mac;
        const QString zshrc = kHome + "/.zshrc"_L1;
        mac.writeFile(zshrc, "setopt autocd\n");
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk);
        const QByteArray tarball = MacRoot::tarball(MacRoot::jdkHome(jdk));
        switch (c.manager) {
        case Manager::sdkman: mac.installSDKMAN(); serveDownload(mac, "/sdkman/java/21-tem/darwinarm64", tarball); break;
        case Manager::mise: case Manager::miseUnanswered: mac.installMise(); serveDownload(mac, "/mise/java/temurin-21.tar.gz", tarball); break;
        case Manager::jEnv: mac.installJEnv(false); break;
        }
        const QByteArray zshrcBefore = mac.readFile(zshrc);
        const bool unanswered = c.manager == Manager::miseUnanswered;

        const MacRoot::Run run = mac.runDoctor(unanswered ? kFixWithNobodyToAsk : kFix);
        const QStringList lines = linesOf(run);
        EXPECT_EQ(run.exitCode, unanswered ? 1 : 0) << show(run);
        expectAt(run, {{"remediation.id", c.remediation}, {"fix.outcome", "success"}, {"fix.verify.passed", !unanswered},
                       {"fix.verify.javaHomeValue", unanswered ? QJsonValue() : c.javaHome}, {"fix.verify.offersJavaHome", unanswered ? QJsonValue() : false},
                       {"fix.followUp", QJsonValue()}});
        EXPECT_EQ(lines.contains(u"Installing: java 21-tem"_s), c.manager == Manager::sdkman) << show(run);
        if (c.hooks.isEmpty()) {
            EXPECT_EQ(mac.readFile(zshrc), zshrcBefore);
        } else {
            EXPECT_TRUE(mac.readFile(zshrc).startsWith("setopt autocd\n\n# ")) << mac.readFile(zshrc).toStdString();
            EXPECT_TRUE(mac.readFile(zshrc).endsWith(c.hooks)) << mac.readFile(zshrc).toStdString();
            EXPECT_EQ(mac.readFile(zshrc + ".bak"_L1), "setopt autocd\n");
        }
        if (!unanswered)
            continue;
        // Without the hook java stays out of reach, and the check says so in macOS's java stub's words.
        EXPECT_TRUE(lines.contains(u"Skipped ~/.zshrc edit. JAVA_HOME may stay unset in fresh shells until you add the line manually."_s));
        expectAt(run, {{"profile.javaState.whichJava", "/usr/bin/java"}, {"fix.verify.javaVersionExitCode", 1},
                       {"fix.verify.javaVersionOutput", "The operation couldn’t be completed. Unable to locate a Java Runtime.\n"
                                                        "Please visit http://www.java.com for information on installing Java.\n"}});
    }
}

// Without --yes and with no terminal, Homebrew's shellenv line is asked for and declined.
TEST_F(DoctorOnAMac, HomebrewIsInstalledFirstThenTemurin)
{
    for (const bool yes : {true, false}) {
        SCOPED_TRACE(yes ? "--yes" : "no terminal");
        MacRoot mac;
        mac.writeFile(u"/Applications/Cursor.app/Contents/Info.plist"_s, "<plist version=\"1.0\"><dict/></plist>\n"); // a developer, no Homebrew
        const QString zprofilePath = kHome + "/.zprofile"_L1;
        mac.writeFile(zprofilePath, "export EDITOR=vim\n");
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk);
        serveDownload(mac, "/install.sh", MacRoot::standIn(u"homebrew-install.sh"_s));
        serveDownload(mac, "/brew", MacRoot::standIn(u"brew"_s));
        serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));

        const MacRoot::Run run = mac.runDoctor(yes ? kFix : kFixWithNobodyToAsk);
        const QStringList lines = linesOf(run);
        EXPECT_TRUE(lines.contains(u"Homebrew installed. Now installing Temurin via Homebrew…"_s)) << show(run);
        if (!yes) {
            EXPECT_TRUE(lines.contains(u"Skipped the brew shellenv append; ~/.zprofile is unchanged. For brew in new shells, add this "
                                       "line to ~/.zprofile: eval \"$(/opt/homebrew/bin/brew shellenv)\""_s));
            EXPECT_TRUE(run.err.contains("Append brew shellenv to ~/.zprofile? no: there is no terminal to answer on, so nothing is written."));
            EXPECT_EQ(mac.readFile(zprofilePath), "export EDITOR=vim\n");
            EXPECT_EQ(mac.entries(kHome).filter(".zprofile"_L1), QStringList {".zprofile"});
            continue;
        }
        ASSERT_EQ(run.exitCode, 0) << show(run);
        expectAt(run, {{"remediation.id", "homebrew+brew:temurin@21"}, {"fix.verify.passed", true}});
        EXPECT_TRUE(lines.contains(u"🍺  temurin@21 was successfully installed!"_s));
        EXPECT_TRUE(QFileInfo(mac.hostPath(u"/opt/homebrew/bin/brew"_s)).isExecutable());
        EXPECT_TRUE(QFileInfo(mac.hostPath(u"/Library/Developer/CommandLineTools/usr/bin"_s)).isDir());
        const QByteArray zprofile = mac.readFile(zprofilePath);
        EXPECT_TRUE(zprofile.contains("Tarnwick — Homebrew shellenv\neval \"$(/opt/homebrew/bin/brew shellenv)\"\n")) << zprofile.toStdString();
        EXPECT_TRUE(zprofile.contains("export JAVA_HOME=$(/usr/libexec/java_home)\n")) << zprofile.toStdString();

        // The next look sees the Homebrew the fix installed.
        expectAt(mac.runDoctor({u"--json"_s}), {{"profile.homebrewPrefix", "/opt/homebrew/bin/brew"}, {"diagnosis.code", "no_errors_found"}});
    }
}

TEST_F(DoctorOnAMac, ProcessesLeftBehindAreNoticed)
{
    // The harness's own check, shown able to fail: an `sdk` that leaves a detached child running.
    MacRoot mac;
    mac.installSDKMAN();
    mac.writeFile(kHome + "/.sdkman/bin/sdkman-init.sh"_L1, "sdk() { setsid sleep 300 </dev/null >/dev/null 2>&1 & echo \"Installing: java $3\"; }\n");
    serveAdoptium(mac, MacRoot::JDK {});

    ::testing::TestPartResultArray failures;
    {
        const ::testing::ScopedFakeTestPartResultReporter reporter(::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
        expectAt(mac.runDoctor(kFix), {{"remediation.id", "sdkman:21-tem"}});
    }
    ASSERT_EQ(failures.size(), 1);
    const QByteArray message = failures.GetTestPartResult(0).message();
    EXPECT_TRUE(message.contains("[\"sleep 300\"]")) << message.toStdString();
}
