// The unmodified doctor with live services inside a Mac-shaped root: real absolute paths, a real
// login zsh reading real dotfiles, real child processes and real HTTP from servers on 127.0.0.1.

#include "DoctorOnAMac.h"

#include <QCryptographicHash>
#include <QDate>
#include <QFileInfo>
#include <QJsonArray>

#include <gtest/gtest.h>

TEST_F(DoctorOnAMac, HomebrewInstallsTheCaskThenJavaHomeGoesInZprofile)
{
    for (const MacRoot::Chip chip : {MacRoot::Chip::appleSilicon, MacRoot::Chip::intel}) {
        const bool intel = chip == MacRoot::Chip::intel;
        SCOPED_TRACE(intel ? "Intel" : "Apple silicon");
        MacRoot mac(chip);
        mac.installHomebrew();
        MacRoot::JDK jdk;
        jdk.arch = intel ? QStringLiteral("x86_64") : QStringLiteral("arm64");
        serveAdoptium(mac, jdk);
        serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));
        mac.setEnvironment(QStringLiteral("STANDIN_PROMPT_FILE"), QStringLiteral("/private/tmp/dialog-prompt"));
        const QByteArray zprofileBefore = mac.readFile(kHome + QStringLiteral("/.zprofile"));

        const MacRoot::Run run = fix(mac);
        ASSERT_EQ(run.exitCode, 0) << show(run);
        const QJsonObject profile = run.json.value("profile").toObject();
        EXPECT_EQ(profile.value("architecture").toString(), intel ? QStringLiteral("intel") : QStringLiteral("appleSilicon"));
        EXPECT_EQ(profile.value("homebrewPrefix").toString(), mac.brewPath());
        EXPECT_EQ(profile.value("macosVersion").toObject(), (QJsonObject {{"major", 15}, {"minor", 1}, {"patch", 0}}));
        EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QStringLiteral("brew:temurin@21"));

        const QJsonObject install = run.json.value("fix").toObject();
        EXPECT_EQ(install.value("outcome").toString(), QStringLiteral("success"));
        EXPECT_TRUE(linesOf(install).contains(QStringLiteral("🍺  temurin@21 was successfully installed!"))) << show(run);
        const QJsonObject verify = install.value("verify").toObject();
        EXPECT_TRUE(verify.value("passed").toBool()) << show(run);
        EXPECT_TRUE(verify.value("offersJavaHome").toBool());
        EXPECT_TRUE(verify.value("javaVersionOutput").toString().startsWith(QStringLiteral("openjdk version \"21.0.5\" 2024-10-15 LTS")));

        // Homebrew's sudo asked through the app's dialog, with the app's sentence.
        EXPECT_EQ(mac.readFile(QStringLiteral("/tmp/dialog-prompt")), QByteArray("Enter Mac password to install Temurin to /Library/Java/JavaVirtualMachines/"));
        EXPECT_TRUE(QFileInfo(mac.hostPath(kTemurin21Home + QStringLiteral("/bin/java"))).isExecutable());
        EXPECT_EQ(mac.entries(QFileInfo(mac.brewPath()).path() + QStringLiteral("/../Caskroom")), QStringList {"temurin@21"});

        // The JAVA_HOME step, accepted with --yes, verified in a fresh login shell.
        const QJsonObject javaHome = lastStep(install);
        EXPECT_EQ(javaHome.value("outcome").toString(), QStringLiteral("success"));
        EXPECT_EQ(javaHome.value("verify").toObject().value("javaHomeValue").toString(), kTemurin21Home);
        EXPECT_EQ(mac.readFile(kHome + QStringLiteral("/.zprofile.bak")), zprofileBefore);
        EXPECT_TRUE(mac.readFile(kHome + QStringLiteral("/.zprofile")).endsWith("export JAVA_HOME=$(/usr/libexec/java_home)\nexport PATH=\"$JAVA_HOME/bin:$PATH\"\n"));
        expectTidy(mac, run);
    }
}

TEST_F(DoctorOnAMac, WhenHomebrewBypassesSudoThePackageIsCheckedAndInstalledInstead)
{
    const struct {
        const char *name;
        bool checksumMatches;
    } cases[] = {{"published checksum", true}, {"tampered package", false}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac;
        mac.installHomebrew();
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk, c.checksumMatches ? QByteArray() : QByteArray("the package Adoptium published"));
        serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));
        mac.setEnvironment(QStringLiteral("STANDIN_BREW_SUDO"), QStringLiteral("bypass"));
        mac.setEnvironment(QStringLiteral("STANDIN_INSTALLED_PKG"), QStringLiteral("/private/tmp/installed-package"));

        const MacRoot::Run run = fix(mac);
        const QJsonObject install = run.json.value("fix").toObject();
        const QStringList lines = linesOf(install);
        EXPECT_TRUE(lines.contains(QStringLiteral("Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…"))) << show(run);
        EXPECT_TRUE(lines.contains(QStringLiteral("Looking up Temurin 21 (aarch64) on Adoptium…")));
        EXPECT_TRUE(lines.contains(QStringLiteral("Verifying download checksum…")));
        if (c.checksumMatches) {
            EXPECT_EQ(run.exitCode, 0) << show(run);
            EXPECT_TRUE(lines.contains(QStringLiteral("Installer completed.")));
            EXPECT_TRUE(install.value("verify").toObject().value("passed").toBool()) << show(run);
            // The installer ran through osascript on root's own copy of the downloaded package.
            const QByteArray installed = mac.readFile(QStringLiteral("/tmp/installed-package"));
            EXPECT_TRUE(installed.startsWith("/tmp/tarnwick-install.") && installed.endsWith("/temurin-21-jdk-21.0.5+11.pkg")) << installed.toStdString();
            EXPECT_TRUE(QFileInfo(mac.hostPath(kTemurin21Home + QStringLiteral("/bin/java"))).isExecutable());
        } else {
            EXPECT_EQ(run.exitCode, 1) << show(run);
            EXPECT_EQ(install.value("outcome").toString(), QStringLiteral("failure"));
            EXPECT_EQ(lines.filter(QStringLiteral("Fallback failed: Checksum mismatch (expected ")).size(), 1) << show(run);
            EXPECT_TRUE(mac.find(QStringLiteral("installed-package")).isEmpty()); // the installer never ran
            EXPECT_EQ(mac.entries(kJVMs), QStringList());
        }
        EXPECT_EQ(mac.entries(kPackageCache), QStringList()); // the package is gone either way
        expectTidy(mac, run);
    }
}

TEST_F(DoctorOnAMac, ADeclinedPasswordCancelsAndLeavesNothingBehind)
{
    const struct {
        const char *name;
        bool homebrew;
        const char *remediation;
    } cases[] = {{"Homebrew's sudo", true, "brew:temurin@21"}, {"the package installer", false, "pkg:21"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac;
        if (c.homebrew)
            mac.installHomebrew();
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk);
        serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));
        mac.setEnvironment(QStringLiteral("STANDIN_OSASCRIPT_SAYS"), QString::fromUtf8(kUserCanceled));

        const MacRoot::Run run = fix(mac);
        EXPECT_EQ(run.exitCode, 130) << show(run);
        EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QLatin1String(c.remediation));
        const QJsonObject install = run.json.value("fix").toObject();
        EXPECT_EQ(install.value("outcome").toString(), QStringLiteral("canceled")) << show(run);
        EXPECT_TRUE(install.value("verify").isNull());
        EXPECT_EQ(mac.entries(kJVMs), QStringList());
        EXPECT_EQ(mac.entries(kPackageCache), QStringList());
        expectTidy(mac, run);
    }
}

TEST_F(DoctorOnAMac, AnUnsetJavaHomeIsWrittenToZprofileWithABackup)
{
    const QByteArray before = "alias ll='ls -l'"; // no final newline
    const struct {
        const char *name;
        QString bundle;
        bool symlinked; // ~/.zprofile is a link into a dotfiles folder
    } cases[] = {
        {"a plain file", QStringLiteral("temurin-21.jdk"), false},
        {"a symlinked file", QStringLiteral("temurin-21.jdk"), true},
        {"a JDK folder whose name runs a command", QStringLiteral("temurin-`touch canary2`.jdk"), false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac;
        MacRoot::JDK jdk;
        jdk.bundle = c.bundle;
        mac.installJDK(jdk);
        const QString zprofile = kHome + QStringLiteral("/.zprofile");
        const QString dotfile = kHome + QStringLiteral("/dotfiles/zprofile");
        if (c.symlinked) {
            mac.writeFile(dotfile, before);
            mac.symlink(zprofile, QStringLiteral("dotfiles/zprofile"));
        } else {
            mac.writeFile(zprofile, before);
        }

        const MacRoot::Run run = fix(mac);
        EXPECT_EQ(mac.find(QStringLiteral("canary2")), QStringList());
        ASSERT_EQ(run.exitCode, 0) << show(run);
        const QString home = kJVMs + QLatin1Char('/') + c.bundle + QStringLiteral("/Contents/Home");
        EXPECT_EQ(run.json.value("diagnosis").toObject().value("code").toString(), QStringLiteral("D2_HomeUnset"));
        EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QStringLiteral("zprofile:") + home);
        const QJsonObject verify = run.json.value("fix").toObject().value("verify").toObject();
        EXPECT_TRUE(verify.value("passed").toBool()) << show(run);
        EXPECT_EQ(verify.value("javaHomeValue").toString(), home);

        const QByteArray expected = before + "\n\n# " + QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")).toUtf8()
            + " Tarnwick — Java configuration\nexport JAVA_HOME=$(/usr/libexec/java_home)\nexport PATH=\"$JAVA_HOME/bin:$PATH\"\n";
        EXPECT_EQ(mac.readFile(zprofile), expected);
        EXPECT_EQ(mac.readFile(zprofile + QStringLiteral(".bak")), before);
        EXPECT_EQ(QFileInfo(mac.hostPath(zprofile)).isSymLink(), c.symlinked);
        if (c.symlinked) {
            EXPECT_EQ(mac.readFile(dotfile), expected);
        }

        // A second look, in new shells, finds nothing wrong.
        const MacRoot::Run again = mac.runDoctor({QStringLiteral("--json")});
        EXPECT_EQ(again.exitCode, 0) << show(again);
        EXPECT_EQ(again.json.value("diagnosis").toObject().value("code").toString(), QStringLiteral("no_errors_found"));
        expectTidy(mac, run);
    }
}

// The version managers set JAVA_HOME themselves, so no JAVA_HOME step follows; Mise and jEnv get
// their hooks in ~/.zshrc. Only ~/.zshrc loads SDKMAN, so its answer comes from the interactive
// login shell.
TEST_F(DoctorOnAMac, VersionManagersInstallAndGetTheirHooksInZshrc)
{
    enum class Manager { sdkman, mise, jEnv };
    const struct {
        Manager manager;
        const char *remediation;
        QString javaHome;
        QByteArray hooks; // appended to ~/.zshrc; none: it is left as it was
    } cases[] = {
        {Manager::sdkman, "sdkman:21-tem", kHome + QStringLiteral("/.sdkman/candidates/java/current"), {}},
        {Manager::mise, "mise:temurin-21", kHome + QStringLiteral("/.local/share/mise/installs/java/temurin-21"), "eval \"$(mise activate zsh)\"\n"},
        {Manager::jEnv, "pkg-jenv:21", kTemurin21Home, "export PATH=\"$HOME/.jenv/bin:$PATH\"\neval \"$(jenv init -)\"\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.remediation);
        MacRoot mac;
        const QString zshrc = kHome + QStringLiteral("/.zshrc");
        mac.writeFile(zshrc, "setopt autocd\n");
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk);
        const QByteArray tarball = MacRoot::tarball(MacRoot::jdkHome(jdk));
        switch (c.manager) {
        case Manager::sdkman: mac.installSDKMAN(); serveDownload(mac, "/sdkman/java/21-tem/darwinarm64", tarball); break;
        case Manager::mise: mac.installMise(); serveDownload(mac, "/mise/java/temurin-21.tar.gz", tarball); break;
        case Manager::jEnv: mac.installJEnv(false); break;
        }
        const QByteArray zshrcBefore = mac.readFile(zshrc);

        const MacRoot::Run run = fix(mac);
        ASSERT_EQ(run.exitCode, 0) << show(run);
        EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QLatin1String(c.remediation));
        const QJsonObject install = run.json.value("fix").toObject();
        EXPECT_EQ(install.value("outcome").toString(), QStringLiteral("success")) << show(run);
        if (c.manager == Manager::sdkman) {
            EXPECT_TRUE(linesOf(install).contains(QStringLiteral("Installing: java 21-tem"))) << show(run);
            EXPECT_EQ(mac.readFile(zshrc), zshrcBefore);
        } else {
            EXPECT_TRUE(mac.readFile(zshrc).startsWith("setopt autocd\n\n# ")) << mac.readFile(zshrc).toStdString();
            EXPECT_TRUE(mac.readFile(zshrc).endsWith(c.hooks)) << mac.readFile(zshrc).toStdString();
            EXPECT_EQ(mac.readFile(zshrc + QStringLiteral(".bak")), QByteArray("setopt autocd\n"));
        }
        const QJsonObject verify = install.value("verify").toObject();
        EXPECT_TRUE(verify.value("passed").toBool()) << show(run);
        EXPECT_EQ(verify.value("javaHomeValue").toString(), c.javaHome) << show(run);
        EXPECT_FALSE(verify.value("offersJavaHome").toBool());
        EXPECT_TRUE(install.value("followUp").isNull());
        expectTidy(mac, run);
    }
}

TEST_F(DoctorOnAMac, WithoutMisesHookJavaStaysOutOfReachAndTheCheckSaysSo)
{
    MacRoot mac;
    mac.installMise();
    const MacRoot::JDK jdk;
    serveAdoptium(mac, jdk);
    serveDownload(mac, "/mise/java/temurin-21.tar.gz", MacRoot::tarball(MacRoot::jdkHome(jdk)));

    // No --yes and no terminal: the ~/.zshrc offer is declined, the install itself goes ahead.
    const MacRoot::Run run = mac.runDoctor({QStringLiteral("--json"), QStringLiteral("--fix")});
    EXPECT_EQ(run.exitCode, 1) << show(run);
    EXPECT_EQ(run.json.value("profile").toObject().value("javaState").toObject().value("whichJava").toString(), QStringLiteral("/usr/bin/java"));
    const QJsonObject install = run.json.value("fix").toObject();
    EXPECT_EQ(install.value("outcome").toString(), QStringLiteral("success")) << show(run);
    EXPECT_TRUE(linesOf(install).contains(
        QStringLiteral("Skipped ~/.zshrc edit. JAVA_HOME may stay unset in fresh shells until you add the line manually.")));
    const QJsonObject verify = install.value("verify").toObject();
    EXPECT_FALSE(verify.value("passed").toBool());
    // What macOS's java stub says in a new shell that has no Java.
    EXPECT_EQ(verify.value("javaVersionOutput").toString(),
              QStringLiteral("The operation couldn’t be completed. Unable to locate a Java Runtime.\n"
                             "Please visit http://www.java.com for information on installing Java.\n"));
    EXPECT_EQ(verify.value("javaVersionExitCode").toInt(), 1);
    EXPECT_FALSE(QFileInfo::exists(mac.hostPath(kHome + QStringLiteral("/.zshrc"))));
    expectTidy(mac, run);
}

TEST_F(DoctorOnAMac, JEnvGetsHostileJDKPathsAsDataNotCode)
{
    const struct {
        QString bundle;
        QString canary; // the file the name would create if it ran
    } cases[] = {
        {QStringLiteral("temurin-$(touch canary).jdk"), QStringLiteral("canary")},
        {QStringLiteral("temurin-`touch canary2`.jdk"), QStringLiteral("canary2")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.bundle.toStdString());
        MacRoot mac;
        mac.installJEnv(true);
        MacRoot::JDK jdk;
        jdk.bundle = c.bundle;
        mac.installJDK(jdk);
        const QString home = kJVMs + QLatin1Char('/') + c.bundle + QStringLiteral("/Contents/Home");

        const MacRoot::Run run = fix(mac);
        EXPECT_EQ(mac.find(c.canary), QStringList());
        EXPECT_EQ(run.exitCode, 0) << show(run);
        EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QStringLiteral("jenv-home:21:") + home);
        const QJsonObject verify = run.json.value("fix").toObject().value("verify").toObject();
        EXPECT_TRUE(verify.value("passed").toBool()) << show(run);
        EXPECT_EQ(verify.value("javaHomeValue").toString(), home);
        EXPECT_EQ(mac.entries(kHome + QStringLiteral("/.jenv/versions")), (QStringList {"21", "21.0", "21.0.5", "openjdk64-21.0.5"}));
        expectTidy(mac, run);
    }
}

// Without --yes and with no terminal, Homebrew's shellenv line is asked for and declined.
TEST_F(DoctorOnAMac, HomebrewIsInstalledFirstThenTemurin)
{
    for (const bool yes : {true, false}) {
        SCOPED_TRACE(yes ? "--yes" : "no terminal");
        MacRoot mac;
        mac.installApplication(QStringLiteral("Cursor.app")); // a developer, but no Homebrew yet
        const QString zprofilePath = kHome + QStringLiteral("/.zprofile");
        mac.writeFile(zprofilePath, "export EDITOR=vim\n");
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk);
        serveDownload(mac, "/install.sh", MacRoot::standIn(QStringLiteral("homebrew-install.sh")));
        serveDownload(mac, "/brew", MacRoot::standIn(QStringLiteral("brew")));
        serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));

        const MacRoot::Run run = yes ? fix(mac) : mac.runDoctor({QStringLiteral("--json"), QStringLiteral("--fix")});
        const QJsonObject install = run.json.value("fix").toObject();
        const QStringList lines = linesOf(install);
        EXPECT_TRUE(lines.contains(QStringLiteral("Homebrew installed. Now installing Temurin via Homebrew…"))) << show(run);
        expectTidy(mac, run);
        if (!yes) {
            EXPECT_TRUE(lines.contains(QStringLiteral("Skipped the brew shellenv append; ~/.zprofile is unchanged. For brew in new shells, add this "
                                                      "line to ~/.zprofile: eval \"$(/opt/homebrew/bin/brew shellenv)\"")));
            EXPECT_TRUE(run.err.contains("Append brew shellenv to ~/.zprofile? no: there is no terminal to answer on, so nothing is written."));
            EXPECT_EQ(mac.readFile(zprofilePath), QByteArray("export EDITOR=vim\n"));
            EXPECT_EQ(mac.entries(kHome).filter(QStringLiteral(".zprofile")), QStringList {".zprofile"});
            continue;
        }
        ASSERT_EQ(run.exitCode, 0) << show(run);
        EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QStringLiteral("homebrew+brew:temurin@21"));
        EXPECT_TRUE(lines.contains(QStringLiteral("🍺  temurin@21 was successfully installed!")));
        EXPECT_TRUE(install.value("verify").toObject().value("passed").toBool()) << show(run);
        EXPECT_TRUE(QFileInfo(mac.hostPath(QStringLiteral("/opt/homebrew/bin/brew"))).isExecutable());
        EXPECT_TRUE(QFileInfo(mac.hostPath(QStringLiteral("/Library/Developer/CommandLineTools/usr/bin"))).isDir());
        const QByteArray zprofile = mac.readFile(zprofilePath);
        EXPECT_TRUE(zprofile.contains("Tarnwick — Homebrew shellenv\neval \"$(/opt/homebrew/bin/brew shellenv)\"\n")) << zprofile.toStdString();
        EXPECT_TRUE(zprofile.contains("export JAVA_HOME=$(/usr/libexec/java_home)\n")) << zprofile.toStdString();

        // The next look sees the Homebrew the fix installed.
        const MacRoot::Run again = mac.runDoctor({QStringLiteral("--json")});
        EXPECT_EQ(again.json.value("profile").toObject().value("homebrewPrefix").toString(), QStringLiteral("/opt/homebrew/bin/brew")) << show(again);
        EXPECT_EQ(again.json.value("diagnosis").toObject().value("code").toString(), QStringLiteral("no_errors_found"));
    }
}

TEST_F(DoctorOnAMac, ProcessesLeftBehindAreNoticed)
{
    // The harness's own check, shown able to fail: an `sdk` that leaves a detached child running.
    MacRoot mac;
    mac.installSDKMAN();
    mac.writeFile(kHome + QStringLiteral("/.sdkman/bin/sdkman-init.sh"),
                  "sdk() { setsid sleep 300 </dev/null >/dev/null 2>&1 & echo \"Installing: java $3\"; }\n");
    serveAdoptium(mac, MacRoot::JDK {});

    const MacRoot::Run run = fix(mac);
    EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QStringLiteral("sdkman:21-tem")) << show(run);
    EXPECT_EQ(run.leftoverProcesses, QStringList {"sleep 300"});
}
