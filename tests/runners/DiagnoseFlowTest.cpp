#include "runners/DiagnoseFlow.h"
#include "runners/FixSequence.h"
#include "simulated/SimulatedMac.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Pinned, so that a TARNWICK_ADOPTIUM_URL in the environment cannot send the tests elsewhere.
const QUrl kAdoptium(u"https://api.adoptium.net"_s);
const QUrl kLatestLTS(u"https://api.adoptium.net/v3/info/available_releases"_s);
const QString kTemurin21 = u"/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"_s;
const QString kTemurin25 = u"/Library/Java/JavaVirtualMachines/temurin-25.jdk/Contents/Home"_s;

QString idOf(const std::optional<Remediation> &remediation)
{
    return remediation ? remediation->id() : QString();
}

// A user who accepts every change the fix proposes.
struct AcceptingFrontEnd final : public FixSequence::FrontEnd {
    void line(const QString &) override {}
    void progress(const QString &) override {}
    bool confirmZshrcAppend(const FileAppendWriter::DiffPreview &) override { return true; }
    bool confirmZprofileWrite(const FileAppendWriter::DiffPreview &) override { return true; }
    bool confirmShellenvAppend(const FileAppendWriter::DiffPreview &) override { return true; }
};

} // namespace

// The doctor's own tests walk every simulated Mac; these tell Adoptium's answer from the fall-back.
TEST(DiagnoseFlow, AsksAdoptiumOnlyForAMissingJDKAndFallsBackWhenItCannotSay)
{
    using Kind = Diagnosis::Kind;
    // The simulated Adoptium names 25, the same as the fall-back: these make the two tell apart.
    const HTTPResponse names21 {200, {{"Content-Type", "application/json"}}, R"({"available_lts_releases":[17,21],"most_recent_lts":21})"};
    const HTTPResponse unavailable {503, {}, "busy"};
    const struct {
        const char *scenario;
        std::optional<HTTPResponse> latestLTS; // replaces the simulated answer
        Kind diagnosis;
        QString d1, d2; // empty: none
    } cases[] = {
        {"new-mac", names21, Kind::D1_NoJDK, u"pkg:21"_s, {}},
        {"developer-no-java", names21, Kind::D1_NoJDK, u"brew:temurin@21"_s, {}},
        {"developer-no-java", unavailable, Kind::D1_NoJDK, u"brew:temurin@25"_s, {}},
        {"java-home-unset", names21, Kind::D2_HomeUnset, {}, "zprofile:"_L1 + kTemurin21},
        {"healthy", names21, Kind::noErrorsFound, {}, {}},
        {"sdkman", names21, Kind::D1_NoJDK, u"sdkman:21-tem"_s, {}},
        {"broken-jvm-dir", std::nullopt, Kind::unknown, {}, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        const std::shared_ptr<SimulatedMac> mac = SimulatedMac::create(QLatin1String(c.scenario), {std::chrono::milliseconds(0)});
        ASSERT_TRUE(mac);
        if (c.latestLTS)
            mac->http()->respond(kLatestLTS, *c.latestLTS);
        const DiagnoseFlow flow(mac->services(), mac->platform(), kAdoptium);
        const DiagnoseFlow::Diagnosed diagnosed = flow.diagnose(flow.profile());
        EXPECT_EQ(diagnosed.diagnosis.kind(), c.diagnosis) << diagnosed.diagnosis.explanation().toStdString();
        EXPECT_EQ(idOf(diagnosed.d1Remediation), c.d1);
        EXPECT_EQ(idOf(diagnosed.d2Remediation), c.d2);
        // Only a missing JDK is worth a question to Adoptium.
        const QList<HTTPRequest> requests = mac->http()->requests();
        EXPECT_EQ(std::any_of(requests.cbegin(), requests.cend(), [](const HTTPRequest &r) { return r.url == kLatestLTS; }), c.diagnosis == Kind::D1_NoJDK);
    }
}

TEST(DiagnoseFlow, JavaHomeFollowUpPointsAtTheFirstJDKListedAfterTheInstall)
{
    const struct {
        const char *scenario;
        std::optional<Remediation> install; // run before the follow-up
        QString fix;                        // empty: nothing to point JAVA_HOME at
    } cases[] = {
        {"developer-no-java", Remediation::installTemurinViaBrew(u"temurin@25"_s), "zprofile:"_L1 + kTemurin25},
        {"jenv", Remediation::installViaPKGThenJEnv(25), "jenv-home:25:"_L1 + kTemurin25},
        {"sdkman", Remediation::installViaSDKMAN(u"25-tem"_s), {}}, // SDKMAN's Java lives under ~/.sdkman, which java_home does not list
        // java_home lists the newer JDK first: the one just installed, not the one already there.
        {"java-home-unset", Remediation::installViaPKG(25), "zprofile:"_L1 + kTemurin25},
        {"java-home-unset", std::nullopt, "zprofile:"_L1 + kTemurin21},
        {"new-mac", std::nullopt, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        const std::shared_ptr<SimulatedMac> mac = SimulatedMac::create(QLatin1String(c.scenario), {std::chrono::milliseconds(0)});
        ASSERT_TRUE(mac);
        if (c.install) {
            ProcessCancellation cancellation;
            AcceptingFrontEnd frontEnd;
            const FixSequence sequence(mac->services(), {kAdoptium, QUrl(u"https://brew.test/install.sh"_s), QUrl()}, nullptr);
            ASSERT_EQ(sequence.run(*c.install, cancellation, frontEnd).kind, FixSequence::Outcome::Kind::success);
        }
        const DiagnoseFlow::JavaHomeFollowUp followUp = DiagnoseFlow(mac->services(), mac->platform(), kAdoptium).javaHomeFollowUp();
        EXPECT_EQ(followUp.fix ? idOf(followUp.fix->d2Remediation) : QString(), c.fix);
        if (!followUp.fix)
            continue;
        ASSERT_FALSE(followUp.profile.javaState.installedJDKs.isEmpty());
        EXPECT_TRUE(followUp.fix->diagnosis == Diagnosis::D2_HomeUnset(followUp.profile.javaState.installedJDKs.first()));
        EXPECT_FALSE(followUp.fix->d1Remediation);
    }
}
