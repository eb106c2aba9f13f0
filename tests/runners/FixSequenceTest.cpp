#include "diagnosis/AuditStages.h"
#include "diagnosis/VerifyVerdict.h"
#include "FixtureServices.h"
#include "runners/FixSequence.h"

#include <QCryptographicHash>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

// A front end that writes down everything and answers as told.
class RecordingFrontEnd final : public FixSequence::FrontEnd {
public:
    void line(const QString &text) override { lines.append(text); }
    void progress(const QString &text) override { progress_.append(text); }
    bool confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview) override { return ask(preview.path); }
    bool confirmZprofileWrite(const FileAppendWriter::DiffPreview &preview) override { return ask(preview.path); }
    bool confirmShellenvAppend(const FileAppendWriter::DiffPreview &preview) override { return ask(QStringLiteral("shellenv ") + preview.path); }
    bool ask(const QString &what)
    {
        asked.append(what);
        return answer;
    }
    QStringList lines, progress_, asked;
    bool answer = true;
};

class RecordingSink final : public TelemetrySink {
public:
    using TelemetrySink::track;
    void track(const QString &name, const JSONObject &) override { names.append(name); }
    QStringList names;
};

struct Harness {
    FixtureServices fixture;
    RecordingFrontEnd frontEnd;
    RecordingSink sink;
    ProcessCancellation cancellation;

    FixSequence::Outcome run(const Remediation &remediation)
    {
        const FixSequence sequence(fixture.services(),
                                   {QUrl(QStringLiteral("https://api.adoptium.test")), QUrl(QStringLiteral("https://brew.test/install.sh")),
                                    QUrl(QStringLiteral("https://ferrowood.test/java/unable-to-locate"))},
                                   &sink);
        return sequence.run(remediation, cancellation, frontEnd);
    }
    // Adoptium lists `package` for Java 25 and serves it.
    void servesPackage(const QByteArray &package)
    {
        fixture.http->respond(QUrl(QStringLiteral("https://api.adoptium.test/v3/assets/latest/25/hotspot?architecture=aarch64&image_type=jdk&os=mac")),
                              HTTPResponse {200, {}, "[{\"binary\": {\"installer\": {\"link\": \"https://downloads.test/t.pkg\", \"checksum\": \""
                                                         + QCryptographicHash::hash(package, QCryptographicHash::Sha256).toHex()
                                                         + "\", \"name\": \"t.pkg\"}}, \"release_name\": \"jdk-25.0.1+8\"}]"});
        fixture.http->respond(QUrl(QStringLiteral("https://downloads.test/t.pkg")), HTTPResponse {200, {}, package});
    }
    void brewAnswers(int status, const QString &output = QStringLiteral("==> Installing"))
    {
        fixture.fs->addFile(QStringLiteral("/opt/homebrew/bin/brew"), "", 0755);
        fixture.processRunner->script(QStringLiteral("/opt/homebrew/bin/brew"), [status, output](const QStringList &, const auto &) {
            return ProcessResult {status, output, {}};
        });
    }
};

const QString kFailure = QStringLiteral("Install failed (exit code %1). The article at [Ferrowood](https://ferrowood.test/java/unable-to-locate) may help.");

} // namespace

TEST(FixSequence, ReportsMissingToolsWithTheirOwnExitCodes)
{
    const struct {
        Remediation remediation;
        QString line;
        int exitCode;
    } cases[] = {
        {Remediation::installTemurinViaBrew(QStringLiteral("temurin@25")), QStringLiteral("Homebrew not found in /opt/homebrew/bin or /usr/local/bin."), -1},
        {Remediation::installWarpViaBrew(QStringLiteral("warp")), QStringLiteral("Homebrew not found in /opt/homebrew/bin or /usr/local/bin."), -1},
        {Remediation::installViaSDKMAN(QStringLiteral("25-tem")), QStringLiteral("SDKMAN init script not found at ~/.sdkman/bin/sdkman-init.sh."), -1},
        {Remediation::setJavaHomeViaSDKMAN(QStringLiteral("21-tem")), QStringLiteral("SDKMAN init script not found at ~/.sdkman/bin/sdkman-init.sh."), -1},
    };
    for (const auto &c : cases) {
        Harness harness;
        EXPECT_EQ(harness.run(c.remediation), FixSequence::Outcome::failure(kFailure.arg(c.exitCode))) << c.remediation.id().toStdString();
        EXPECT_EQ(harness.frontEnd.lines, QStringList {c.line});
        EXPECT_EQ(harness.sink.names, QStringList {"remediation_failed"});
    }
}

TEST(FixSequence, HomebrewThenTemurinStopsWhenHomebrewFails)
{
    Harness failed;
    failed.fixture.processRunner->script(QStringLiteral("/bin/bash"), [](const QStringList &, const auto &) {
        return ProcessResult {1, QStringLiteral("==> Checking for `sudo` access\nFailed during: /usr/bin/sudo"), {}};
    });
    EXPECT_EQ(failed.run(Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@25"))), FixSequence::Outcome::failure(kFailure.arg(1)));
    EXPECT_EQ(failed.frontEnd.lines.first(), QStringLiteral("Running: /bin/bash -c \"$(curl -fsSL https://brew.test/install.sh)\""));
    EXPECT_FALSE(failed.frontEnd.lines.contains(QStringLiteral("Homebrew installed. Now installing Temurin via Homebrew…")));

    Harness succeeded;
    succeeded.brewAnswers(0, QStringLiteral("🍺  temurin@25 was successfully installed!"));
    succeeded.fixture.processRunner->script(QStringLiteral("/bin/bash"), [](const QStringList &, const auto &) {
        return ProcessResult {0, QStringLiteral("==> Installation successful!"), {}};
    });
    EXPECT_EQ(succeeded.run(Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@25"))),
              FixSequence::Outcome::success(QStringLiteral("Homebrew + Temurin installed.")));
    EXPECT_TRUE(succeeded.frontEnd.lines.contains(QStringLiteral("Homebrew installed. Now installing Temurin via Homebrew…")));
    EXPECT_EQ(succeeded.frontEnd.lines.last(), QStringLiteral("🍺  temurin@25 was successfully installed!"));
    EXPECT_EQ(succeeded.sink.names, QStringList {"remediation_completed"});
}

TEST(FixSequence, MapsThePackageInstallToLines)
{
    const QByteArray package(3 * 1048576 + 104858, 'p'); // 3.1 MB
    Harness harness;
    harness.servesPackage(package);
    harness.fixture.processRunner->script(QStringLiteral("/usr/bin/osascript"), [](const QStringList &, const auto &) {
        return ProcessResult {0, QStringLiteral("installer: The install was successful."), {}};
    });
    EXPECT_EQ(harness.run(Remediation::installViaPKG(25)), FixSequence::Outcome::success(QStringLiteral("Temurin installed.")));
    EXPECT_EQ(harness.frontEnd.lines, (QStringList {"Looking up Temurin 25 on Adoptium…", "Verifying SHA256 checksum…",
                                                    "Running /usr/sbin/installer (macOS will ask for your password)…", "Installer completed."}));
    EXPECT_EQ(harness.frontEnd.progress_.last(), QStringLiteral("Downloaded 3.1 MB of 3.1 MB"));
    EXPECT_EQ(FixSequence::downloadedText(1572864, std::nullopt), QStringLiteral("Downloaded 1.5 MB"));
    EXPECT_EQ(FixSequence::downloadedText(1572864, 0), QStringLiteral("Downloaded 1.5 MB"));

    // jEnv afterwards, but no JDK to be found: its own exit code 1.
    Harness jenv;
    jenv.servesPackage(package);
    jenv.fixture.processRunner->script(QStringLiteral("/usr/bin/osascript"), [](const QStringList &, const auto &) { return ProcessResult {0, {}, {}}; });
    EXPECT_EQ(jenv.run(Remediation::installViaPKGThenJEnv(25)), FixSequence::Outcome::failure(kFailure.arg(1)));
    EXPECT_EQ(jenv.frontEnd.lines.mid(4), (QStringList {"Locating installed Temurin…",
                                                        "Installed Temurin but couldn't locate a Java installation to register with jEnv. You can "
                                                        "run `jenv add /path/to/java` manually."}));

    // A cancel once root has opened its checked copy to install it: the install ends as it ends.
    Harness finishing;
    finishing.servesPackage(package);
    finishing.fixture.processRunner->script(QStringLiteral("/usr/bin/osascript"), [&finishing](const QStringList &arguments, const auto &) {
        static const QRegularExpression rootFolder(QStringLiteral("/tmp/tarnwick-install\\.run-[0-9a-z]+\\."));
        const QString folder = rootFolder.match(arguments.value(1)).captured() + QStringLiteral("Ab12Cd");
        finishing.fixture.fs->createDirectory(folder, Parents::create);
        finishing.fixture.fs->setPosixPermissions(folder, 0711);
        finishing.cancellation.cancel();
        return ProcessResult {0, {}, {}};
    });
    EXPECT_EQ(finishing.run(Remediation::installViaPKG(25)), FixSequence::Outcome::success(QStringLiteral("Temurin installed.")));
    EXPECT_EQ(finishing.frontEnd.lines.mid(3), (QStringList {FixSequence::kFinishingInstallLine, "Installer completed."}));
}

TEST(FixSequence, WritesTheZprofileOnlyWhenAllowed)
{
    const Remediation zprofile = Remediation::writeJavaHomeToZprofile(QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"));
    Harness declined;
    declined.frontEnd.answer = false;
    EXPECT_EQ(declined.run(zprofile), FixSequence::Outcome::canceled());
    EXPECT_FALSE(declined.fixture.fs->fileExists(QStringLiteral("/Users/tester/.zprofile")));
    EXPECT_EQ(declined.sink.names, QStringList {"remediation_canceled"});

    Harness accepted;
    EXPECT_EQ(accepted.run(zprofile), FixSequence::Outcome::success(QStringLiteral("JAVA_HOME set in ~/.zprofile.")));
    EXPECT_TRUE(accepted.fixture.fs->readString(QStringLiteral("/Users/tester/.zprofile")).contains(QStringLiteral("export JAVA_HOME=$(/usr/libexec/java_home)")));
    EXPECT_EQ(accepted.frontEnd.asked, QStringList {"/Users/tester/.zprofile"});

    // A profile we cannot read is never taken for an empty one.
    Harness unreadable;
    unreadable.fixture.fs->addFile(QStringLiteral("/Users/tester/.zprofile"), "export TOKEN=secret\n", 0200);
    const QString readError = QStringLiteral("Couldn't read ~/.zprofile: Permission denied");
    EXPECT_EQ(unreadable.run(zprofile), FixSequence::Outcome::failure(readError));
    EXPECT_EQ(unreadable.frontEnd.lines, QStringList {readError});
    EXPECT_TRUE(unreadable.frontEnd.asked.isEmpty());
    EXPECT_FALSE(unreadable.fixture.fs->fileExists(QStringLiteral("/Users/tester/.zprofile.bak")));

    Harness alreadySet;
    alreadySet.fixture.fs->addFile(QStringLiteral("/Users/tester/.zprofile"), "export JAVA_HOME=/opt/jdk\n");
    EXPECT_EQ(alreadySet.run(zprofile), FixSequence::Outcome::success(QStringLiteral("JAVA_HOME already set in ~/.zprofile.")));
    EXPECT_TRUE(alreadySet.frontEnd.asked.isEmpty());
}

TEST(FixSequence, OffersTheZshrcHookAfterMise)
{
    const struct {
        const char *name;
        bool accept;
        unsigned zshrcMode; // 0: no ~/.zshrc yet
        QString lastLine;
    } cases[] = {
        {"accepted", true, 0, QStringLiteral("Updated /Users/tester/.zshrc. Backup at /Users/tester/.zshrc.bak.")},
        {"declined", false, 0, QStringLiteral("Skipped ~/.zshrc edit. JAVA_HOME may stay unset in fresh shells until you add the line manually.")},
        {"unreadable ~/.zshrc", true, 0200,
         QStringLiteral("Couldn't read ~/.zshrc: Permission denied")},
    };
    for (const auto &c : cases) {
        Harness harness;
        harness.frontEnd.answer = c.accept;
        harness.fixture.fs->addFile(QStringLiteral("/opt/homebrew/bin/mise"), "", 0755);
        if (c.zshrcMode)
            harness.fixture.fs->addFile(QStringLiteral("/Users/tester/.zshrc"), "export TOKEN=secret\n", c.zshrcMode);
        harness.fixture.processRunner->script(QStringLiteral("/bin/zsh"), [](const QStringList &, const auto &) {
            return ProcessResult {0, QStringLiteral("mise java@temurin-25 ✓ installed"), {}};
        });
        EXPECT_EQ(harness.run(Remediation::installViaMise(QStringLiteral("temurin-25"))),
                  FixSequence::Outcome::success(QStringLiteral("Installed Temurin via Mise."))) << c.name;
        EXPECT_EQ(harness.frontEnd.lines.first(), QStringLiteral("Running: mise install java@temurin-25 && mise use -g java@temurin-25"));
        EXPECT_EQ(harness.frontEnd.asked, c.zshrcMode ? QStringList() : QStringList {"/Users/tester/.zshrc"}) << c.name;
        EXPECT_EQ(harness.fixture.fs->fileExists(QStringLiteral("/Users/tester/.zshrc.bak")), c.accept && !c.zshrcMode) << c.name;
        EXPECT_EQ(harness.frontEnd.lines.last(), c.lastLine) << c.name;
    }
}

TEST(FixSequence, AsksBeforeAppendingHomebrewsShellenv)
{
    for (const bool accept : {true, false}) {
        Harness harness;
        harness.frontEnd.answer = accept;
        harness.brewAnswers(0);
        harness.fixture.fs->addFile(QStringLiteral("/Users/tester/.zprofile"), "export NAME=Jos\xe9\n");
        harness.fixture.processRunner->script(QStringLiteral("/bin/bash"), [](const QStringList &, const auto &) {
            return ProcessResult {0, QStringLiteral("==> Installation successful!"), {}};
        });
        // Declining leaves Homebrew installed: the fix still succeeds, and says what it skipped.
        EXPECT_EQ(harness.run(Remediation::installHomebrew()), FixSequence::Outcome::success(QStringLiteral("Homebrew installed.")));
        EXPECT_EQ(harness.frontEnd.asked, QStringList {"shellenv /Users/tester/.zprofile"});
        const QByteArray zprofile = harness.fixture.fs->readData(QStringLiteral("/Users/tester/.zprofile"));
        EXPECT_EQ(zprofile.startsWith("export NAME=Jos\xe9\n\n# "), accept) << zprofile.constData();
        EXPECT_EQ(zprofile.endsWith("eval \"$(/opt/homebrew/bin/brew shellenv)\"\n"), accept) << zprofile.constData();
        EXPECT_EQ(harness.frontEnd.lines.last(),
                  accept ? QStringLiteral("Appended. Backup at /Users/tester/.zprofile.bak.")
                         : QStringLiteral("Skipped the brew shellenv append; ~/.zprofile is unchanged. For brew in new shells, add this line "
                                          "to ~/.zprofile: eval \"$(/opt/homebrew/bin/brew shellenv)\""));
    }
}

TEST(VerifyVerdict, PassesAndOffersTheJavaHomeStep)
{
    const Remediation install = Remediation::installTemurinViaBrew(QStringLiteral("temurin@25"));
    const Remediation setHome = Remediation::writeJavaHomeToZprofile(QStringLiteral("/x"));
    const QString banner = QStringLiteral("openjdk version \"25.0.1\" 2025-10-21 LTS");
    const struct {
        const char *name;
        Remediation remediation;
        Verifier::Result result;
        bool passed;
        std::optional<bool> offers;
        const char *headline;
    } cases[] = {
        {"install, JAVA_HOME unset: pass with the offer", install, {banner, 0, std::nullopt}, true, true, "Java installed"},
        {"install, JAVA_HOME set", install, {banner, 0, QStringLiteral("/x")}, true, false, "Java installed"},
        {"Version in capitals", install, {QStringLiteral("Java Version 25"), 0, std::nullopt}, true, true, "Java installed"},
        {"JAVA_HOME fix with it set", setHome, {banner, 0, QStringLiteral("/x")}, true, false, "Java configured"},
        {"JAVA_HOME fix, java works, JAVA_HOME empty", setHome, {banner, 0, QString()}, false, std::nullopt, "Java configuration incomplete"},
        {"exit 0 without output", install, {QString(), 0, std::nullopt}, false, std::nullopt, "Java install incomplete"},
        {"java fails", install, {banner, 1, QStringLiteral("/x")}, false, std::nullopt, "Java install incomplete"},
    };
    for (const auto &c : cases) {
        const VerifyVerdict verdict = VerifyVerdict::judge(c.remediation, c.result);
        EXPECT_EQ(verdict.passed, c.passed) << c.name;
        EXPECT_EQ(verdict.offersJavaHome, c.offers) << c.name;
        EXPECT_EQ(verdict.headline, QString::fromUtf8(c.headline)) << c.name;
    }
    EXPECT_EQ(VerifyVerdict::shownOutput(QString()), QStringLiteral("(no output)"));
}

TEST(AuditStages, ReadyTestsAndRows)
{
    const auto mac = [](Architecture architecture, int macOS, bool brew, bool tools, bool warp) {
        SystemProfile profile;
        profile.architecture = architecture;
        profile.macosVersion = {macOS, 0, 0};
        if (brew)
            profile.brewExecutable = QStringLiteral("/opt/homebrew/bin/brew");
        if (tools)
            profile.xcodeCommandLineToolsPath = QStringLiteral("/Library/Developer/CommandLineTools");
        profile.terminals.warp = warp;
        return profile;
    };
    using Mark = AuditRow::Mark;
    const struct {
        const char *name;
        SystemProfile profile;
        bool stage1Ok;
        QList<AuditRow> findings;
    } cases[] = {
        {"Apple silicon on 14 with everything", mac(Architecture::appleSilicon, 14, true, true, false), false,
         {{Mark::suggestion, "Your macOS is several versions behind the current release."}}},
        {"Apple silicon on 15", mac(Architecture::appleSilicon, 15, true, true, false), true, {}},
        {"Intel on 13: the version is not judged", mac(Architecture::intel, 13, true, true, false), true, {}},
        {"no Homebrew hides the tools row", mac(Architecture::appleSilicon, 26, false, false, false), false, {{Mark::missing, "Homebrew missing."}}},
        {"Homebrew without the tools", mac(Architecture::intel, 14, true, false, false), false, {{Mark::missing, "Xcode Command Line Tools missing."}}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(Stage1Foundations::isAlreadyOk(c.profile), c.stage1Ok) << c.name;
        EXPECT_EQ(Stage1Foundations::findings(c.profile), c.findings) << c.name;
    }
    EXPECT_TRUE(Stage2Terminal::isAlreadyOk(mac(Architecture::intel, 14, false, false, true)));
    EXPECT_EQ(finalReportRows(mac(Architecture::intel, 14, false, true, true)),
              (QList<AuditRow> {{Mark::good, "Xcode Command Line Tools installed"}, {Mark::missing, "Homebrew missing"}, {Mark::good, "Warp installed"}}));
    EXPECT_EQ(finalReportRows(mac(Architecture::intel, 14, true, false, false)).last(), (AuditRow {Mark::suggestion, "Try Warp — we recommend it"}));
}
