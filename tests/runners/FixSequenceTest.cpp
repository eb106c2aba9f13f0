#include "FixtureServices.h"
#include "diagnosis/VerifyVerdict.h"
#include "runners/DiagnoseFlow.h"
#include "runners/FixSequence.h"
#include "simulated/SimulatedMac.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A front end and a telemetry sink that write down everything; the front end says yes.
struct Harness final : public FixSequence::FrontEnd, public TelemetrySink {
    void line(const QString &text) override { lines.append(text); }
    void progress(const QString &) override {}
    bool confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview) override { return ask(preview.path); }
    bool confirmZprofileWrite(const FileAppendWriter::DiffPreview &preview) override { return ask(preview.path); }
    bool confirmShellenvAppend(const FileAppendWriter::DiffPreview &preview) override { return ask("shellenv "_L1 + preview.path); }
    using TelemetrySink::track;
    void track(const QString &name, const JSONObject &) override { events.append(name); }
    bool ask(const QString &what) { asked.append(what); return true; }

    FixSequence::Outcome run(const Remediation &remediation)
    {
        const FixSequence sequence(fixture.services(), {QUrl(u"https://api.adoptium.test"_s), QUrl(u"https://brew.test/install.sh"_s),
                                                        QUrl(u"https://ferrowood.test/java/unable-to-locate"_s)}, this);
        return sequence.run(remediation, cancellation, *this);
    }
    // `program` prints `output` and exits with `status`, whatever it is asked.
    void answers(const QString &program, int status, const QString &output)
    {
        fixture.processRunner->script(program, [=](const auto &, const auto &) { return ProcessResult {status, output, {}}; });
    }

    FixtureServices fixture;
    ProcessCancellation cancellation;
    QStringList lines, asked, events;
};

const QString kFailure = u"Install failed (exit code %1). The article at [Ferrowood](https://ferrowood.test/java/unable-to-locate) may help."_s;

} // namespace

TEST(FixSequence, SaysWhatItRanAndHowItEnded)
{
    const QString noBrew = u"Homebrew not found in /opt/homebrew/bin or /usr/local/bin."_s;
    const QString noSDKMAN = u"SDKMAN init script not found at ~/.sdkman/bin/sdkman-init.sh."_s;
    // lines: the first ones, and the last one when it starts with "…"
    const struct { const char *name; Remediation remediation; std::function<void(Harness &)> arrange; FixSequence::Outcome outcome; QStringList lines; const char *event; } cases[] = {
        {"no brew", Remediation::installTemurinViaBrew(u"temurin@25"_s), {}, FixSequence::Outcome::failure(kFailure.arg(-1)), {noBrew}, "remediation_failed"},
        {"no SDKMAN to set", Remediation::setJavaHomeViaSDKMAN(u"21-tem"_s), {}, FixSequence::Outcome::failure(kFailure.arg(-1)), {noSDKMAN}, "remediation_failed"},
        // The package install itself is the sheet's to show; here jEnv follows it but finds no JDK.
        {"jEnv after the package", Remediation::installViaPKGThenJEnv(25),
         [](Harness &h) {
             h.fixture.http->respond(QUrl(u"https://api.adoptium.test/v3/assets/latest/25/hotspot?architecture=aarch64&image_type=jdk&os=mac"_s),
                                     {200, {}, R"([{"binary": {"installer": {"link": "https://downloads.test/t.pkg", "checksum": ")"
                                                   + QCryptographicHash::hash("p", QCryptographicHash::Sha256).toHex() + R"(", "name": "t.pkg"}}, "release_name": "jdk-25"}])"});
             h.fixture.http->respond(QUrl(u"https://downloads.test/t.pkg"_s), {200, {}, "p"});
             h.answers(u"/usr/bin/osascript"_s, 0, {});
         },
         FixSequence::Outcome::failure(kFailure.arg(1)),
         {"…Installed Temurin but couldn't locate a Java installation to register with jEnv. You can run `jenv add /path/to/java` manually."}, "remediation_failed"},
        {"mise with an unreadable ~/.zshrc", Remediation::installViaMise(u"temurin-25"_s),
         [](Harness &h) {
             h.fixture.fs->addFile(u"/opt/homebrew/bin/mise"_s, "", 0755);
             h.fixture.fs->addFile(u"/Users/tester/.zshrc"_s, "export TOKEN=secret\n", 0200);
             h.answers(u"/bin/zsh"_s, 0, u"mise java@temurin-25 ✓ installed"_s);
         },
         FixSequence::Outcome::success(u"Installed Temurin via Mise."_s),
         {"Running: mise install java@temurin-25 && mise use -g java@temurin-25", "mise java@temurin-25 ✓ installed", "…Couldn't read ~/.zshrc: Permission denied"},
         "remediation_completed"},
        {"JAVA_HOME already set", Remediation::writeJavaHomeToZprofile(u"/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"_s),
         [](Harness &h) { h.fixture.fs->addFile(u"/Users/tester/.zprofile"_s, "export JAVA_HOME=/opt/jdk\n"); },
         FixSequence::Outcome::success(u"JAVA_HOME already set in ~/.zprofile."_s), {}, "remediation_completed"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        Harness harness;
        if (c.arrange)
            c.arrange(harness);
        EXPECT_EQ(harness.run(c.remediation), c.outcome);
        for (qsizetype i = 0; i < c.lines.size(); ++i) {
            const bool last = c.lines[i].startsWith(u'…');
            EXPECT_EQ(harness.lines.value(last ? harness.lines.size() - 1 : i), last ? c.lines[i].mid(1) : c.lines[i]);
        }
        EXPECT_EQ(harness.events, QStringList {QLatin1String(c.event)});
        EXPECT_EQ(harness.asked, QStringList()); // an unreadable ~/.zshrc is never offered an edit
    }
}

// The doctor's and the screens' cases walk every simulated Mac; these are what they cannot tell.
TEST(DiagnoseFlow, AsksAdoptiumOnlyForAMissingJDKAndFollowsUpWithTheNewestJDK)
{
    const QUrl adoptium(u"https://api.adoptium.net"_s), latestLTS(u"https://api.adoptium.net/v3/info/available_releases"_s);
    const QString jdks = u"/Library/Java/JavaVirtualMachines/temurin-%1.jdk/Contents/Home"_s;
    // install: run before the follow-up; followUp: its fix, or none when not looked at
    const struct { const char *scenario; std::optional<Remediation> install; bool asksAdoptium; std::optional<QString> followUp; } cases[] = {
        {"new-mac", std::nullopt, true, QString()},
        {"healthy", std::nullopt, false, std::nullopt},
        {"broken-jvm-dir", std::nullopt, false, std::nullopt},
        // java_home lists the newer JDK first: the one just installed, not the one already there.
        {"java-home-unset", Remediation::installViaPKG(25), false, "zprofile:"_L1 + jdks.arg(25)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        const std::shared_ptr<SimulatedMac> mac = SimulatedMac::create(QLatin1String(c.scenario), {std::chrono::milliseconds(0)});
        ASSERT_TRUE(mac);
        const DiagnoseFlow flow(mac->services(), mac->platform(), adoptium);
        (void)flow.diagnose(flow.profile());
        const QList<HTTPRequest> requests = mac->http()->requests();
        EXPECT_EQ(std::any_of(requests.cbegin(), requests.cend(), [&](const HTTPRequest &r) { return r.url == latestLTS; }), c.asksAdoptium);
        if (c.install) {
            Harness frontEnd;
            ASSERT_EQ(FixSequence(mac->services(), {adoptium, QUrl(), QUrl()}, nullptr).run(*c.install, frontEnd.cancellation, frontEnd).kind,
                      FixSequence::Outcome::Kind::success);
        }
        if (!c.followUp)
            continue;
        const DiagnoseFlow::JavaHomeFollowUp followUp = flow.javaHomeFollowUp();
        EXPECT_EQ(followUp.fix && followUp.fix->d2Remediation ? followUp.fix->d2Remediation->id() : QString(), *c.followUp);
    }
}

// What counts as Java running and JAVA_HOME set; the screens' cases show the headlines.
TEST(VerifyVerdict, PassesOnlyWhenJavaRunsAndJAVA_HOMEIsSetWhereTheFixSetsIt)
{
    const Remediation install = Remediation::installTemurinViaBrew(u"temurin@25"_s), setHome = Remediation::writeJavaHomeToZprofile(u"/x"_s);
    const struct { const char *name; Remediation remediation; Verifier::Result result; bool passed; } cases[] = {
        {"Version in capitals", install, {u"Java Version 25"_s, 0, std::nullopt}, true},
        {"exit 0 without output", install, {QString(), 0, std::nullopt}, false},
        {"java fails", install, {u"openjdk version \"25\""_s, 1, u"/x"_s}, false},
        {"java works, JAVA_HOME empty", setHome, {u"openjdk version \"25\""_s, 0, QString()}, false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(VerifyVerdict::judge(c.remediation, c.result).passed, c.passed) << c.name;
}
