#include "simulated/SimulatedMac.h"
#include "runners/DiagnoseFlow.h"
#include "runners/FixSequence.h"

#include <gtest/gtest.h>

namespace {

// Pinned, so that a TARNWICK_ADOPTIUM_URL in the environment cannot send the tests elsewhere.
const QUrl kAdoptium(QStringLiteral("https://api.adoptium.net"));
const QUrl kLatestLTS(QStringLiteral("https://api.adoptium.net/v3/info/available_releases"));
const QString kTemurin21 = QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home");
const QString kTemurin25 = QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-25.jdk/Contents/Home");

std::shared_ptr<SimulatedMac> simulated(const char *scenario)
{
    return SimulatedMac::create(QString::fromLatin1(scenario), SimulatedMac::Options {std::chrono::milliseconds(0)});
}

DiagnoseFlow flowOn(const SimulatedMac &mac)
{
    return DiagnoseFlow(mac.services(), mac.platform(), kAdoptium);
}

QString idOf(const std::optional<Remediation> &remediation)
{
    return remediation ? remediation->id() : QString();
}

// A user who accepts every change the fix proposes.
class AcceptingFrontEnd final : public FixSequence::FrontEnd {
public:
    void line(const QString &) override {}
    void progress(const QString &) override {}
    bool confirmZshrcAppend(const FileAppendWriter::DiffPreview &) override { return true; }
    bool confirmZprofileWrite(const FileAppendWriter::DiffPreview &) override { return true; }
    bool confirmShellenvAppend(const FileAppendWriter::DiffPreview &) override { return true; }
};

} // namespace

TEST(DiagnoseFlow, DiagnosesEachSimulatedMacAndChoosesItsFix)
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
        {"new-mac", std::nullopt, Kind::D1_NoJDK, QStringLiteral("pkg:25"), {}},
        {"new-mac", names21, Kind::D1_NoJDK, QStringLiteral("pkg:21"), {}},
        {"developer-no-java", std::nullopt, Kind::D1_NoJDK, QStringLiteral("brew:temurin@25"), {}},
        {"developer-no-java", names21, Kind::D1_NoJDK, QStringLiteral("brew:temurin@21"), {}},
        {"developer-no-java", unavailable, Kind::D1_NoJDK, QStringLiteral("brew:temurin@25"), {}},
        {"adoptium-offline", std::nullopt, Kind::D1_NoJDK, QStringLiteral("pkg:25"), {}},
        {"java-home-unset", names21, Kind::D2_HomeUnset, {}, QStringLiteral("zprofile:") + kTemurin21},
        {"healthy", names21, Kind::noErrorsFound, {}, {}},
        {"sdkman", names21, Kind::D1_NoJDK, QStringLiteral("sdkman:21-tem"), {}},
        {"mise", std::nullopt, Kind::D1_NoJDK, QStringLiteral("mise:temurin-25"), {}},
        {"jenv", std::nullopt, Kind::D1_NoJDK, QStringLiteral("pkg-jenv:25"), {}},
        {"cursor-user-no-homebrew", std::nullopt, Kind::D1_NoJDK, QStringLiteral("homebrew+brew:temurin@25"), {}},
        {"broken-jvm-dir", std::nullopt, Kind::unknown, {}, {}},
        {"brew-sudo-bypass", std::nullopt, Kind::D1_NoJDK, QStringLiteral("brew:temurin@25"), {}},
        {"password-declined", std::nullopt, Kind::D1_NoJDK, QStringLiteral("pkg:25"), {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        const std::shared_ptr<SimulatedMac> mac = simulated(c.scenario);
        ASSERT_TRUE(mac);
        if (c.latestLTS)
            mac->http()->respond(kLatestLTS, *c.latestLTS);
        const DiagnoseFlow flow = flowOn(*mac);
        const DiagnoseFlow::Diagnosed diagnosed = flow.diagnose(flow.profile());
        EXPECT_EQ(diagnosed.diagnosis.kind(), c.diagnosis) << diagnosed.diagnosis.explanation().toStdString();
        EXPECT_EQ(idOf(diagnosed.d1Remediation), c.d1);
        EXPECT_EQ(idOf(diagnosed.d2Remediation), c.d2);
        // Only a missing JDK is worth a question to Adoptium.
        const QList<HTTPRequest> requests = mac->http()->requests();
        const bool askedAdoptium = std::any_of(requests.cbegin(), requests.cend(), [](const HTTPRequest &r) { return r.url == kLatestLTS; });
        EXPECT_EQ(askedAdoptium, c.diagnosis == Kind::D1_NoJDK);
    }
}

TEST(DiagnoseFlow, JavaHomeFollowUpPointsAtTheFirstJDKListedAfterTheInstall)
{
    const struct {
        const char *scenario;
        std::optional<Remediation> install; // run before the follow-up
        QString fix;                        // empty: nothing to point JAVA_HOME at
    } cases[] = {
        {"developer-no-java", Remediation::installTemurinViaBrew(QStringLiteral("temurin@25")), QStringLiteral("zprofile:") + kTemurin25},
        {"jenv", Remediation::installViaPKGThenJEnv(25), QStringLiteral("jenv-home:25:") + kTemurin25},
        // SDKMAN's Java lives under ~/.sdkman, which java_home does not list.
        {"sdkman", Remediation::installViaSDKMAN(QStringLiteral("25-tem")), {}},
        // java_home lists the newer JDK first: the one just installed, not the one already there.
        {"java-home-unset", Remediation::installViaPKG(25), QStringLiteral("zprofile:") + kTemurin25},
        {"java-home-unset", std::nullopt, QStringLiteral("zprofile:") + kTemurin21},
        {"new-mac", std::nullopt, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        const std::shared_ptr<SimulatedMac> mac = simulated(c.scenario);
        ASSERT_TRUE(mac);
        const DiagnoseFlow flow = flowOn(*mac);
        if (c.install) {
            ProcessCancellation cancellation;
            AcceptingFrontEnd frontEnd;
            const FixSequence sequence(mac->services(), {kAdoptium, QUrl(QStringLiteral("https://brew.test/install.sh")), QUrl()}, nullptr);
            ASSERT_EQ(sequence.run(*c.install, cancellation, frontEnd).kind, FixSequence::Outcome::Kind::success);
        }

        const DiagnoseFlow::JavaHomeFollowUp followUp = flow.javaHomeFollowUp();
        EXPECT_EQ(followUp.fix ? idOf(followUp.fix->d2Remediation) : QString(), c.fix);
        if (!followUp.fix)
            continue;
        const QList<JDKInfo> &listed = followUp.profile.javaState.installedJDKs;
        ASSERT_FALSE(listed.isEmpty());
        EXPECT_TRUE(followUp.fix->diagnosis == Diagnosis::D2_HomeUnset(listed.first())) << followUp.fix->diagnosis.explanation().toStdString();
        EXPECT_FALSE(followUp.fix->d1Remediation);
    }
}
