#include "UiTestSupport.h"

#include "runners/HomebrewInstaller.h"
#include "ui/audit/SimplifiedCompletionModel.h"
#include "ui/audit/StagedAuditFlowModel.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace TE = TelemetryEvents;

namespace {

enum Has { brew = 1, tools = 2, warp = 4, cursor = 8 };

SystemProfile mac(Architecture architecture, int major, int has)
{
    SystemProfile profile;
    profile.architecture = architecture;
    profile.macosVersion = {major, 0, 0};
    if (has & brew)
        profile.brewExecutable = QStringLiteral("/opt/homebrew/bin/brew");
    if (has & tools)
        profile.xcodeCommandLineToolsPath = QStringLiteral("/Library/Developer/CommandLineTools");
    profile.terminals.warp = profile.aiTooling.warpApp = (has & warp) != 0;
    profile.aiTooling.cursor = (has & cursor) != 0;
    return profile;
}

// Readable in a failure message: "audit_stage_outcome {"outcome":"rendered",…}".
QStringList described(const QList<TelemetryEvent> &events)
{
    QStringList lines;
    for (const TelemetryEvent &event : events)
        lines.append(event.name + u' ' + QString::fromUtf8(QJsonDocument(toJson(event.data)).toJson(QJsonDocument::Compact)));
    return lines;
}

QStringList texts(const QVariantList &rows, const char *key = "text")
{
    QStringList all;
    for (const QVariant &row : rows)
        all.append(row.toMap().value(QString::fromLatin1(key)).toString());
    return all;
}

const QString s1 = QString::fromLatin1(Stage1Foundations::kId);
const QString s2 = QString::fromLatin1(Stage2Terminal::kId);

} // namespace

// The flow over Macs that reach each outcome, pressing each page's way on.
TEST(AuditFlow, StagesAreSkippedOrShownAsTheMacNeeds)
{
    const struct {
        const char *name;
        SystemProfile profile;
        QList<TelemetryEvent> events; // after audit_reached and audit_gated
    } cases[] = {
        {"all fine", mac(Architecture::appleSilicon, 26, brew | tools | warp),
         {TE::auditStageOutcome(s1, StageOutcome::skippedAlreadyOk), TE::auditStageOutcome(s2, StageOutcome::skippedAlreadyOk)}},
        {"intel on 13", mac(Architecture::intel, 13, brew | tools),
         {TE::auditStageOutcome(s1, StageOutcome::skippedAlreadyOk), TE::auditStageOutcome(s2, StageOutcome::rendered),
          TE::auditStageSkippedByUser(s2)}},
        {"no homebrew", mac(Architecture::appleSilicon, 26, tools | cursor),
         {TE::auditStageOutcome(s1, StageOutcome::rendered), TE::auditStageSkippedByUser(s1),
          TE::auditStageOutcome(s2, StageOutcome::rendered), TE::auditStageSkippedByUser(s2)}},
        {"warp, no homebrew", mac(Architecture::appleSilicon, 26, warp),
         {TE::auditStageOutcome(s1, StageOutcome::rendered), TE::auditStageSkippedByUser(s1),
          TE::auditStageOutcome(s2, StageOutcome::skippedAlreadyOk)}},
        {"nothing at all", mac(Architecture::appleSilicon, 26, 0),
         {TE::auditStageOutcome(s1, StageOutcome::rendered), TE::auditStageSkippedByUser(s1),
          TE::auditStageOutcome(s2, StageOutcome::skippedMissingBlocked)}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        UiWorld world;
        int homes = 0;
        StagedAuditFlowModel flow(world.context(), c.profile, [&] { ++homes; });
        flow.start();
        flow.start(); // a redraw: the visit's events still go out once
        int lastIndex = flow.currentIndex();
        while (AuditStageModel *stage = flow.stage()) {
            stage->skip();
            EXPECT_GT(flow.currentIndex(), lastIndex);
            lastIndex = flow.currentIndex();
        }
        ASSERT_TRUE(flow.report());
        EXPECT_EQ(flow.currentIndex(), StagedAuditFlowModel::kStageCount);
        EXPECT_EQ(described(world.sink.events()),
                  described(QList<TelemetryEvent>{TE::auditReached(c.profile), TE::auditGated(c.profile)} + c.events));
        flow.report()->done();
        EXPECT_EQ(homes, 1);
    }
}

// What each page offers, from the profile it shows, and its real view shows only that.
TEST_F(QmlViewTest, AuditPagesOfferOnlyWhatTheMacLacks)
{
    using Stage = AuditStageModel::Stage;
    const QString command = *HomebrewInstaller::commandLine(HomebrewInstaller::defaultScriptURL());
    const QString behind = QStringLiteral("Your macOS is several versions behind the current release.");
    const struct {
        const char *name;
        Stage stage;
        SystemProfile profile;
        QStringList rows, blocks; // the findings, and what the page adds under each
        QString install;
        bool disclosed;
    } cases[] = {
        {"apple silicon, behind", Stage::Foundations, mac(Architecture::appleSilicon, 14, brew | tools), {behind}, {"macos"}, {}, false},
        {"no homebrew, no tools", Stage::Foundations, mac(Architecture::appleSilicon, 26, 0), {"Homebrew missing."}, {"homebrew"},
         QStringLiteral("Install Homebrew (recommended)"), false},
        {"no tools", Stage::Foundations, mac(Architecture::appleSilicon, 26, brew), {"Xcode Command Line Tools missing."}, {"tools"}, {}, false},
        {"intel, old, no tools", Stage::Foundations, mac(Architecture::intel, 12, brew), {"Xcode Command Line Tools missing."}, {"tools"}, {}, false},
        {"terminal without homebrew", Stage::Terminal, mac(Architecture::appleSilicon, 26, tools), {}, {}, {}, false},
        {"terminal with homebrew", Stage::Terminal, mac(Architecture::appleSilicon, 26, brew), {}, {}, QStringLiteral("Install Warp (recommended)"), true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        UiWorld world;
        AuditStageModel page(world.context(), c.stage, c.profile);
        EXPECT_EQ(texts(page.rows()), c.rows);
        EXPECT_EQ(texts(page.rows(), "block"), c.blocks);
        EXPECT_EQ(page.installText(), c.install);
        EXPECT_EQ(!page.disclosure().isEmpty(), c.disclosed);
        const bool homebrewBlock = c.blocks.contains(QStringLiteral("homebrew"));
        EXPECT_EQ(texts(page.rows(), "command").contains(command), homebrewBlock) << "the installer's own command line";
        ASSERT_TRUE(show("AuditStageView.qml", &page, QSize(760, 620)));
        const auto shown = [this](const QString &name) { return item(qPrintable(name)) != nullptr; };
        EXPECT_EQ(shown(QStringLiteral("audit-homebrew-command")), homebrewBlock);
        EXPECT_EQ(shown(QStringLiteral("audit-stage-install")), !c.install.isEmpty());
        EXPECT_EQ(shown(QStringLiteral("audit-warp-disclosure")), c.disclosed);
        EXPECT_EQ(shown(QStringLiteral("audit-warp-link")), c.stage == Stage::Terminal);
        for (const QString &block : {QStringLiteral("tools"), QStringLiteral("macos")})
            EXPECT_EQ(shown(QStringLiteral("audit-%1-link").arg(block)), c.blocks.contains(block)) << block.toStdString();
        page.install();
        EXPECT_EQ(page.remediationSheet() != nullptr, !c.install.isEmpty());
        EXPECT_TRUE(!page.remediationSheet() || world.sink.events().value(0) == TE::remediationApplied(*page.offeredFix()));
        m_view.reset(); // before the model it shows
    }
}

// Every outbound link opens through the opener and is counted with the address it opened.
TEST(AuditStage, OutboundLinksAreCountedWithTheirAddress)
{
    const char *const query = "/mac-terminal?utm_source=ferrowood&utm_medium=app&utm_campaign=ferrowood_20260516&utm_content=tarnwick_audit";
    const struct {
        const char *warpHost, *warpURL; // TARNWICK_WARP_URL (null: unset), the address it gives
    } hosts[] = {{nullptr, "https://www.warp.dev"}, {"http://127.0.0.1:8123/ignored?x=1", "http://127.0.0.1:8123"}, {"ftp://example.com", "https://www.warp.dev"}};
    for (const auto &host : hosts) {
        SCOPED_TRACE(host.warpHost ? host.warpHost : "unset");
        if (host.warpHost)
            qputenv("TARNWICK_WARP_URL", host.warpHost);
        else
            qunsetenv("TARNWICK_WARP_URL");
        UiWorld world;
        AuditStageModel foundations(world.context(), AuditStageModel::Stage::Foundations, mac(Architecture::appleSilicon, 14, brew));
        AuditStageModel terminal(world.context(), AuditStageModel::Stage::Terminal, mac(Architecture::appleSilicon, 26, brew));
        FinalReportModel report(world.context(), mac(Architecture::appleSilicon, 26, brew), {});
        foundations.openRowLink(QStringLiteral("tools"));
        foundations.openRowLink(QStringLiteral("macos"));
        terminal.openWarp();
        report.openWarp();
        const QString warp = QString::fromLatin1(host.warpURL) + QString::fromLatin1(query);
        const QStringList urls {QStringLiteral("https://ferrowood.com/commandlinetools"), QStringLiteral("https://ferrowood.com/macos/upgrade"), warp, warp};
        QStringList opened;
        for (const QUrl &url : world.opened)
            opened.append(url.toString());
        EXPECT_EQ(opened, urls);
        EXPECT_EQ(described(world.sink.events()),
                  described({TE::auditOutboundClicked(QStringLiteral("Xcode CLT install guide"), urls[0]),
                             TE::auditOutboundClicked(QStringLiteral("macOS upgrade guide"), urls[1]),
                             TE::auditOutboundClicked(QStringLiteral("Warp"), warp), TE::auditOutboundClicked(QStringLiteral("Warp"), warp)}));
    }
    qunsetenv("TARNWICK_WARP_URL");
}

// Both closing screens: the card once per visit, unless a score was ever sent, and the
// dismissal counted once however the person leaves it.
TEST(AuditClosing, CardIsOfferedOnceAndLeavingCountsOneDismissal)
{
    enum class Leave { done, submitThenDone, dismissThenDone };
    const QString shown = QStringLiteral("nps_shown"), dismissed = QStringLiteral("nps_dismissed");
    const struct {
        bool submittedBefore;
        Leave leave;
        QStringList events;
    } cases[] = {{true, Leave::done, {}}, {false, Leave::done, {shown, dismissed}}, {false, Leave::dismissThenDone, {shown, dismissed}},
                 {false, Leave::submitThenDone, {shown, QStringLiteral("nps_submitted")}}};
    for (const bool report : {true, false}) {
        for (const auto &c : cases) {
            SCOPED_TRACE(std::string(report ? "report, " : "simplified, ") + (c.submittedBefore ? "submitted before" : "first time"));
            UiWorld world;
            world.store->setBool(QString::fromLatin1(NpsCardModel::kSubmittedKey), c.submittedBefore);
            int homes = 0;
            const auto leave = [&](auto &model) {
                EXPECT_EQ(model.showsNpsCard(), !c.submittedBefore);
                if (c.leave == Leave::submitThenDone) {
                    model.npsCard()->pick(9);
                    model.npsCard()->submit();
                }
                if (c.leave == Leave::dismissThenDone)
                    model.npsCard()->dismiss();
                if (c.leave != Leave::done) {
                    EXPECT_EQ(model.showsNpsCard(), c.leave == Leave::submitThenDone) << "a sent card stays to say thanks";
                }
                model.done();
                EXPECT_EQ(homes, 1);
                EXPECT_EQ(world.sink.names(), c.events);
            };
            if (!report) {
                SimplifiedCompletionModel model(world.context(), [&] { ++homes; });
                model.start();
                model.start();
                leave(model);
                continue;
            }
            // The audit began before the Command Line Tools and Warp were in; the report sees them.
            world.mac->fileSystem()->addDirectory(QStringLiteral("/Applications/Warp.app"));
            FinalReportModel model(world.context(), mac(Architecture::appleSilicon, 15, brew), [&] { ++homes; });
            EXPECT_EQ(texts(model.rows()).value(0), QStringLiteral("Xcode Command Line Tools missing"));
            model.start();
            model.start();
            ASSERT_TRUE(QTest::qWaitFor([&] { return !model.busy(); }, 20000));
            EXPECT_EQ(texts(model.rows()),
                      (QStringList{"Xcode Command Line Tools installed", "Homebrew installed", "Warp installed"}));
            EXPECT_EQ(texts(model.rows(), "block"), QStringList(3)) << "no Warp link once Warp is there";
            leave(model);
        }
    }
}
