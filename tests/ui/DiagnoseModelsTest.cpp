#include "UiTestSupport.h"

#include "LocalHTTPServer.h"
#include "services/LiveHTTPFetcher.h"
#include "ui/app/TarnwickAppModel.h"
#include "ui/common/NpsCardModel.h"
#include "ui/diagnose/DiagnoseViewModel.h"

#include <QPointer>
#include <QScopeGuard>
#include <QSignalSpy>

#include <functional>
#include <future>

using State = DiagnoseViewModel::State;
using Outcome = FixSequence::Outcome;

namespace {

// One diagnose screen over a simulated Mac, with the app's push of `audit` counted.
struct Screen : UiWorld {
    explicit Screen(const char *scenario, DiagnoseViewModel::Sheets sheets = DiagnoseViewModel::Sheets::external)
    {
        mac = SimulatedMac::create(QString::fromLatin1(scenario), SimulatedMac::Options{.linePause = std::chrono::milliseconds(0)});
        model = std::make_unique<DiagnoseViewModel>(context(), std::nullopt, [this] { ++auditPushes; }, nullptr, QUrl(), sheets);
    }
    bool settle() // waits for the worker the last transition started
    {
        QSignalSpy changed(model.get(), &DiagnoseViewModel::changed);
        while (model->busy())
            if (!changed.wait(10000))
                return false;
        return true;
    }
    bool diagnosed()
    {
        model->start();
        return settle() && model->state() == State::Diagnosed;
    }

    int auditPushes = 0;
    std::unique_ptr<DiagnoseViewModel> model;
};

} // namespace

// After a passing install without JAVA_HOME, the JAVA_HOME fix follows for the JDK the Mac now
// lists; with none listed the screen moves on (here to the short ending).
TEST(DiagnoseModel, JavaHomeOfferReprofilesTheMac)
{
    for (const bool jdkRemoved : {false, true}) {
        SCOPED_TRACE(jdkRemoved ? "no JDK listed" : "JDK listed");
        Screen screen("java-home-unset");
        ASSERT_TRUE(screen.diagnosed());
        screen.model->openLink();
        EXPECT_EQ(screen.opened, QList<QUrl>{QUrl(QStringLiteral("https://ferrowood.com/java/java-home"))});
        screen.model->remediate(Remediation::installViaPKG(21));
        screen.model->finish(Outcome::success(QStringLiteral("Temurin installed.")));
        ASSERT_TRUE(screen.settle() && screen.model->offersJavaHome());
        if (jdkRemoved)
            screen.mac->fileSystem()->removeItem(QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-21.jdk"));
        screen.model->setJavaHome();
        ASSERT_TRUE(screen.settle());
        EXPECT_EQ(screen.auditPushes, 0);
        EXPECT_EQ(screen.model->simplifiedCompletion() != nullptr, jdkRemoved) << "nothing but Java on this Mac: the short ending";
        EXPECT_EQ(screen.sink.names(), QStringList({"diagnosis_reached", "remediation_applied", "verify_passed", "verify_offered_r2"})
                                           + (jdkRemoved ? QStringList() : QStringList{"remediation_applied"}));
        if (jdkRemoved)
            continue;
        ASSERT_TRUE(screen.model->sheetIsZprofile());
        screen.model->finish(Outcome::canceled()); // back to the JAVA_HOME diagnosis it was offered from
        EXPECT_EQ(screen.model->title(), QStringLiteral("JAVA_HOME isn't set"));
        EXPECT_EQ(screen.model->shownDiagnosis()->d2Remediation, screen.model->remediation());
    }
}

// The card on a healthy Mac's diagnosis counts its showing and dismissal; scores off the scale
// are ignored and the score sent is the one picked last.
TEST(DiagnoseModel, NoErrorsCardCountsItsEventsAndKeepsToTheScale)
{
    Screen screen("healthy");
    ASSERT_TRUE(screen.diagnosed() && screen.model->showsNpsCard());
    screen.model->npsCard()->dismiss();
    EXPECT_FALSE(screen.model->showsNpsCard());
    EXPECT_EQ(screen.sink.names(), (QStringList{"diagnosis_reached", "nps_shown", "nps_dismissed"}));
    for (const auto &[score, accepted] : {std::pair{-1, false}, {0, true}, {10, true}, {11, false}}) {
        RecordingSink sink;
        NpsCardModel card(std::make_shared<InMemoryKeyValueStore>(), &sink);
        card.pick(5);
        card.pick(score);
        card.submit();
        EXPECT_EQ(sink.events().value(0), TelemetryEvents::npsSubmitted(accepted ? score : 5, QString())) << score;
    }
}

// "Diagnose Java" pressed while the look-up begun at Welcome is still out: the D1 diagnosis
// takes that look-up's answer; Adoptium is asked once.
TEST(DiagnoseModel, DiagnosisWaitsForTheLookUpInFlight)
{
    LocalHTTPServer adoptium;
    std::promise<void> release;
    adoptium.route("/v3/info/available_releases", [held = release.get_future().share()](const auto &) {
        held.wait();
        return LocalHTTPServer::Reply {200, {}, R"({"available_lts_releases": [17, 21, 23], "most_recent_lts": 23})"};
    });
    UiWorld world;
    world.store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), true);
    ScreenContext context = world.context();
    context.services.http = std::make_shared<LiveHTTPFetcher>();
    TarnwickAppModel app(context, {}, nullptr, adoptium.url(QString()));
    bool released = false;
    const auto releaseOnFailure = qScopeGuard([&] { if (!released) release.set_value(); }); // or the app's end waits for ever
    QSignalSpy profiled(&app, &TarnwickAppModel::profileChanged);
    app.start();
    ASSERT_TRUE(app.hasProfile() || profiled.wait(10000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return adoptium.requests().size() == 1; }, 10000));

    app.welcome()->diagnose();
    DiagnoseViewModel *model = app.diagnose();
    model->start();
    QTest::qWait(200); // time for a second request to arrive, if one were sent
    EXPECT_EQ(model->state(), State::Probing) << "the diagnosis waits for the look-up";
    released = true;
    release.set_value();
    ASSERT_TRUE(QTest::qWaitFor([&] { return model->state() == State::Diagnosed; }, 10000));
    EXPECT_EQ(model->shownDiagnosis()->remediation(), Remediation::installTemurinViaBrew(QStringLiteral("temurin@23")));
    EXPECT_EQ(adoptium.requests().size(), 1);
}

namespace {

// Takes the open sheet to its end as a person who accepts every offer would; false if it stalls.
bool acceptSheet(DiagnoseViewModel &model)
{
    // A sheet that ends on its own (a refused password) is let go by the flow while we wait.
    if (const QPointer<RemediationSheetModel> sheet = model.remediationSheet()) {
        const auto ended = [&sheet] { return !sheet || sheet->zshrcOfferPending() || sheet->state() != RemediationSheetModel::State::Running; };
        while (QTest::qWaitFor(ended, 20000) && sheet && sheet->zshrcOfferPending())
            sheet->applyZshrc();
        const bool done = ended();
        if (done && sheet)
            sheet->leave();
        return done;
    }
    ZprofileDiffSheetModel *sheet = model.zprofileSheet();
    using Z = ZprofileDiffSheetModel::State;
    if (!sheet || !QTest::qWaitFor([sheet] { return sheet->state() != Z::Loading; }, 20000))
        return false;
    if (sheet->state() == Z::Previewed) {
        sheet->apply();
        if (!QTest::qWaitFor([sheet] { return sheet->state() == Z::Applied; }, 20000))
            return false;
    }
    sheet->state() == Z::LoadFailed ? sheet->close() : sheet->continueToVerify();
    return true;
}

} // namespace

// Every simulated Mac, walked as a person who presses the diagnosis's fix and accepts every
// offer: diagnose, the fix in its sheet, the check, and the JAVA_HOME step when offered.
TEST(DiagnoseModel, EverySimulatedMacReachesItsEnd)
{
    const auto zprofileFor = [](int major) {
        return Remediation::writeJavaHomeToZprofile(QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-%1.jdk/Contents/Home").arg(major)).id();
    };
    const QString zprofile = zprofileFor(25);
    const QString configured = QStringLiteral("Java configured"), installed = QStringLiteral("Java installed");
    const struct {
        const char *scenario;
        QStringList fixes; // the fixes run, in order
        State end;
        QString title;
    } cases[] = {
        {"new-mac", {QStringLiteral("pkg:25"), zprofile}, State::Verified, configured},
        {"developer-no-java", {QStringLiteral("brew:temurin@25"), zprofile}, State::Verified, configured},
        {"java-home-unset", {zprofileFor(21)}, State::Verified, configured},
        {"healthy", {}, State::Diagnosed, QStringLiteral("Java is installed")},
        // The version managers set JAVA_HOME themselves: no JAVA_HOME step follows.
        {"sdkman", {QStringLiteral("sdkman:25-tem")}, State::Verified, installed},
        {"mise", {QStringLiteral("mise:temurin-25")}, State::Verified, installed},
        {"jenv", {QStringLiteral("pkg-jenv:25")}, State::Verified, installed},
        {"cursor-user-no-homebrew", {QStringLiteral("homebrew+brew:temurin@25"), zprofile}, State::Verified, configured},
        {"broken-jvm-dir", {}, State::Diagnosed, QStringLiteral("Couldn't auto-diagnose")},
        {"brew-sudo-bypass", {QStringLiteral("brew:temurin@25"), zprofile}, State::Verified, configured},
        // A declined password is the person's cancel: back to the diagnosis, its fix offered again.
        {"password-declined", {QStringLiteral("pkg:25")}, State::Diagnosed, QStringLiteral("Java is not installed")},
        {"adoptium-offline", {QStringLiteral("pkg:25")}, State::Error, QStringLiteral("Something went wrong")},
        {"installer-leaves-no-java", {QStringLiteral("pkg:25")}, State::Verified, QStringLiteral("Java install incomplete")},
    };
    QStringList listed;
    for (const auto &scenario : SimulatedMac::scenarios())
        listed.append(scenario.name);
    QStringList covered;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        covered.append(QString::fromLatin1(c.scenario));
        Screen screen(c.scenario, DiagnoseViewModel::Sheets::hosted);
        ASSERT_TRUE(screen.diagnosed());
        QStringList fixes;
        for (int step = 0; step < 4; ++step) {
            if (screen.model->state() == State::Diagnosed && !screen.model->primaryText().isEmpty() && fixes.isEmpty())
                screen.model->remediatePrimary();
            else if (screen.model->offersJavaHome())
                screen.model->setJavaHome();
            else
                break;
            ASSERT_TRUE(screen.settle());
            if (!screen.model->sheetOpen())
                break;
            fixes.append(screen.model->sheetRemediation()->id());
            ASSERT_TRUE(acceptSheet(*screen.model)) << "the sheet of " << fixes.last().toStdString() << " stalled";
            ASSERT_TRUE(QTest::qWaitFor([&] { return !screen.model->busy() && screen.model->state() != State::Verifying; }, 20000));
        }
        EXPECT_EQ(fixes, c.fixes);
        EXPECT_EQ(screen.model->state(), c.end);
        EXPECT_EQ(screen.model->title(), c.title);
        if (c.end == State::Verified) {
            EXPECT_EQ(screen.sink.names().last(), screen.model->passed() ? "verify_passed" : "verify_failed");
        }
        if (c.end == State::Error) { // shown as plain text, its link a control of its own
            screen.model->openMessageLink();
            EXPECT_EQ(screen.opened, QList<QUrl>{QUrl(QStringLiteral("https://ferrowood.com/java/unable-to-locate"))});
            EXPECT_FALSE(screen.model->detail().contains(u'[')) << screen.model->detail().toStdString();
        }
    }
    listed.removeAll(QStringLiteral("live"));
    EXPECT_EQ(covered, listed) << "every simulated Mac has a row";
}
