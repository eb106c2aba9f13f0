#include "UiTestSupport.h"

#include "ui/app/AppWindow.h"
#include "ui/app/ConsentViewModel.h"
#include "ui/app/TarnwickAppModel.h"
#include "ui/app/WelcomeViewModel.h"
#include "ui/audit/AuditStageModel.h"
#include "ui/audit/StagedAuditFlowModel.h"
#include "ui/common/NpsCardModel.h"
#include "ui/diagnose/DiagnoseViewModel.h"

#include <QAccessible>
#include <QElapsedTimer>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using Outcome = FixSequence::Outcome;
using Page = TarnwickAppModel::Page;

namespace {

// The real window over a simulated Mac; any QML warning while it lives fails the test.
class AppWindowTest : public ::testing::Test {
protected:
    void SetUp() override { m_warnings.emplace(); }
    void TearDown() override
    {
        m_engine.reset();
        m_app.reset();
        EXPECT_EQ(WarningRecorder::warnings(), QStringList()) << "QML warned";
        m_warnings.reset();
    }

    QQuickWindow *open()
    {
        m_app = std::make_unique<TarnwickAppModel>(m_world.context(), QStringLiteral("Running on a simulated Mac."));
        m_engine = std::make_unique<QQmlApplicationEngine>();
        if (!loadAppWindow(*m_engine, *m_app))
            return nullptr;
        auto *window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().first());
        return window && QTest::qWaitForWindowExposed(window) ? window : nullptr;
    }

    static QQuickItem *item(QQuickWindow *window, const QString &name) { return visibleItem(window->contentItem(), name); }

    static void click(QQuickWindow *window, QQuickItem *target) { clickItem(window, target); }

    void render(QQuickWindow *window, const QString &name)
    {
        // As opened first: a layout that only settles on a resize shows there.
        const QSize smallest = window->minimumSize();
        EXPECT_EQ(saveShots(window, QStringLiteral(UI_SCREENSHOT_DIR "/") + name, {window->size(), smallest, QSize(1280, 900)}, smallest),
                  QStringList());
    }

    std::optional<WarningRecorder> m_warnings;
    UiWorld m_world;
    std::unique_ptr<TarnwickAppModel> m_app;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
};

} // namespace

TEST_F(AppWindowTest, ContinueLeadsToWelcomeAndDiagnoseToItsPage)
{
    QQuickWindow *window = open();
    ASSERT_TRUE(window);
    for (const char *name : {"consent-view", "consent-privacy-link", "consent-continue", "fixture-notice"})
        EXPECT_TRUE(item(window, QString::fromLatin1(name))) << name;
    render(window, QStringLiteral("consent"));

    click(window, item(window, QStringLiteral("consent-privacy-link")));
    EXPECT_EQ(m_world.opened, QList<QUrl>{m_app->consent()->privacyURL()});
    click(window, item(window, QStringLiteral("consent-continue")));
    ASSERT_TRUE(item(window, QStringLiteral("welcome-view")));
    EXPECT_FALSE(item(window, QStringLiteral("consent-view")));
    QSignalSpy profiled(m_app.get(), &TarnwickAppModel::profileChanged);
    ASSERT_TRUE(m_app->hasProfile() || profiled.wait(10000)) << "the window starts the start-up work";
    render(window, QStringLiteral("welcome"));

    click(window, item(window, QStringLiteral("welcome-diagnose-button")));
    ASSERT_TRUE(item(window, QStringLiteral("diagnose-view")));
    m_app->pop();
    EXPECT_TRUE(item(window, QStringLiteral("welcome-view")));
    // The diagnosis runs on a worker: whether it was reached before Back depends on timing.
    QStringList names = m_world.sink.names();
    names.removeAll(QStringLiteral("diagnosis_reached"));
    EXPECT_EQ(names, (QStringList{QStringLiteral("app_launched"), QStringLiteral("consent_given")}));
}

TEST_F(AppWindowTest, ReturnPressesContinue)
{
    QQuickWindow *window = open();
    ASSERT_TRUE(window);
    QTest::keyClick(window, Qt::Key_Return);
    EXPECT_TRUE(item(window, QStringLiteral("welcome-view")));
    EXPECT_TRUE(m_app->hasConsented());
}

// The diagnose screen in the real window, state by state, over the Macs that lead to each page.
TEST_F(AppWindowTest, DiagnoseScreenShowsEachStateWithItsIdentifiers)
{
    using State = DiagnoseViewModel::State;
    struct Case {
        const char *scenario;
        const char *shot;
        QStringList identifiers;
    };
    const Case cases[] = {
        {"developer-no-java", "diagnose-d1", {"diagnose-headline", "diagnose-detail", "remediation-primary-button", "remediation-secondary-link"}},
        {"cursor-user-no-homebrew", "diagnose-d1-direct", {"remediation-primary-button", "remediation-secondary-link"}},
        {"java-home-unset", "diagnose-d2", {"diagnose-headline", "remediation-primary-button", "java-home-article-link"}},
        {"healthy", "diagnose-no-errors", {"continue-to-audit", "nps-card", "nps-submit", "nps-dismiss", "nps-score-10"}},
        {"broken-jvm-dir", "diagnose-broken-jvm-dir", {"diagnose-headline", "diagnose-detail"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.scenario);
        m_world.opened.clear();
        m_world.store = std::make_shared<InMemoryKeyValueStore>();
        m_world.mac = SimulatedMac::create(QString::fromLatin1(c.scenario));
        m_world.store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), true);
        m_engine.reset();
        QQuickWindow *window = open();
        ASSERT_TRUE(window);
        click(window, item(window, QStringLiteral("welcome-diagnose-button")));
        ASSERT_TRUE(item(window, QStringLiteral("diagnose-view")));
        DiagnoseViewModel *model = m_app->diagnose();
        ASSERT_TRUE(model);
        if (c.scenario == std::string("developer-no-java")) {
            EXPECT_TRUE(item(window, QStringLiteral("diagnose-detail")));
            EXPECT_TRUE(window->grabWindow().save(QStringLiteral(UI_SCREENSHOT_DIR "/diagnose-probing.png")));
        }
        QSignalSpy changed(model, &DiagnoseViewModel::changed);
        while (model->state() == State::Probing)
            ASSERT_TRUE(changed.wait(10000));
        for (const QString &name : c.identifiers)
            EXPECT_TRUE(item(window, name)) << name.toStdString();
        render(window, QString::fromLatin1(c.shot));
        if (c.scenario == std::string("healthy")) {
            click(window, item(window, QStringLiteral("continue-to-audit")));
            EXPECT_EQ(m_app->page(), TarnwickAppModel::Page::Audit);
            continue;
        }
        if (c.scenario == std::string("developer-no-java")) {
            // A failed fix, back, then a fix whose check fails.
            click(window, item(window, QStringLiteral("remediation-primary-button")));
            ASSERT_TRUE(model->sheetOpen());
            model->finish(FixSequence::Outcome::failure(QStringLiteral("Install failed (exit code 3). The article at [Ferrowood](https://ferrowood.com/java/unable-to-locate) may help.")));
            ASSERT_TRUE(item(window, QStringLiteral("diagnose-error")));
            render(window, QStringLiteral("diagnose-error"));
            click(window, item(window, QStringLiteral("scaffold-article-link")));
            click(window, item(window, QStringLiteral("diagnose-message-link")));
            EXPECT_EQ(m_world.opened, QList<QUrl>(2, QUrl(QStringLiteral("https://ferrowood.com/java/unable-to-locate"))));
            click(window, item(window, QStringLiteral("diagnose-back")));
            ASSERT_EQ(model->state(), State::Diagnosed);
            click(window, item(window, QStringLiteral("remediation-primary-button")));
            model->finish(FixSequence::Outcome::success(QStringLiteral("Temurin installed.")));
            ASSERT_TRUE(item(window, QStringLiteral("diagnose-progress")));
            EXPECT_TRUE(window->grabWindow().save(QStringLiteral(UI_SCREENSHOT_DIR "/diagnose-verifying.png")));
            while (model->state() == State::Verifying)
                ASSERT_TRUE(changed.wait(10000));
            ASSERT_TRUE(item(window, QStringLiteral("verify-result-fail")));
            render(window, QStringLiteral("diagnose-verified-fail"));
        }
        if (c.scenario == std::string("java-home-unset")) {
            model->remediate(Remediation::installViaPKG(21));
            model->finish(FixSequence::Outcome::success(QStringLiteral("Temurin installed.")));
            while (model->state() == State::Verifying)
                ASSERT_TRUE(changed.wait(10000));
            for (const char *name : {"verify-result-pass", "verify-output", "verify-offer-heading", "verify-set-java-home", "continue-to-audit"})
                EXPECT_TRUE(item(window, QString::fromLatin1(name))) << name;
            render(window, QStringLiteral("diagnose-verified-r2"));
        }
        if (c.scenario == std::string("cursor-user-no-homebrew")) {
            model->remediate(Remediation::installHomebrew());
            model->finish(FixSequence::Outcome::success(QStringLiteral("Homebrew installed.")));
            ASSERT_TRUE(item(window, QStringLiteral("diagnose-completed")));
            render(window, QStringLiteral("diagnose-completed"));
            click(window, item(window, QStringLiteral("continue-to-audit")));
            EXPECT_EQ(m_app->page(), TarnwickAppModel::Page::Audit);
        }
    }
}

// The whole diagnose flow through the real window, its sheets included, as a person clicks it:
// the Homebrew fix streams in its sheet, the check offers JAVA_HOME, the ~/.zprofile sheet writes
// it on Apply, and the second check passes.
TEST_F(AppWindowTest, AFixRunsInItsSheetAndTheJavaHomeStepPassesTheCheck)
{
    using State = DiagnoseViewModel::State;
    qputenv("TARNWICK_FIXTURE_LINE_PAUSE_MS", "1");
    m_world.mac = SimulatedMac::create(QStringLiteral("developer-no-java"));
    m_world.store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), true);
    QQuickWindow *window = open();
    ASSERT_TRUE(window);
    click(window, item(window, QStringLiteral("welcome-diagnose-button")));
    DiagnoseViewModel *model = m_app->diagnose();
    ASSERT_TRUE(model);
    const auto waitWhile = [&](const std::function<bool()> &busy) {
        QElapsedTimer timer;
        timer.start();
        while (busy() && timer.elapsed() < 20000)
            QTest::qWait(20);
        return !busy();
    };
    ASSERT_TRUE(waitWhile([&] { return model->state() == State::Probing; }));

    click(window, item(window, QStringLiteral("remediation-primary-button")));
    ASSERT_TRUE(item(window, QStringLiteral("remediation-progress"))) << "the sheet is up";
    RemediationSheetModel *sheet = model->remediationSheet();
    ASSERT_TRUE(sheet);
    ASSERT_TRUE(waitWhile([&] { return sheet->state() == RemediationSheetModel::State::Running; }));
    ASSERT_EQ(sheet->state(), RemediationSheetModel::State::Succeeded);
    QTest::qWait(50); // the last batch of lines
    EXPECT_TRUE(window->grabWindow().save(QStringLiteral(UI_SCREENSHOT_DIR "/flow-sheet-succeeded.png")));
    click(window, item(window, QStringLiteral("remediation-end")));

    ASSERT_TRUE(waitWhile([&] { return model->state() == State::Verifying; }));
    ASSERT_TRUE(item(window, QStringLiteral("verify-set-java-home"))) << "installed, JAVA_HOME unset: the offer";
    click(window, item(window, QStringLiteral("verify-set-java-home")));
    ASSERT_TRUE(waitWhile([&] { return !model->zprofileSheet(); }));
    ASSERT_TRUE(waitWhile([&] { return !item(window, QStringLiteral("zprofile-apply")); }));
    EXPECT_TRUE(window->grabWindow().save(QStringLiteral(UI_SCREENSHOT_DIR "/flow-zprofile-sheet.png")));
    const QString zprofile = m_world.mac->services().fs->homeDirectory() + QStringLiteral("/.zprofile");
    const QByteArray before = m_world.mac->services().fs->fileExists(zprofile) ? m_world.mac->services().fs->readData(zprofile) : QByteArray();
    click(window, item(window, QStringLiteral("zprofile-apply")));
    ASSERT_TRUE(waitWhile([&] { return !item(window, QStringLiteral("zprofile-continue")); }));
    EXPECT_TRUE(m_world.mac->services().fs->readData(zprofile).startsWith(before));
    EXPECT_TRUE(m_world.mac->services().fs->readData(zprofile).endsWith("export JAVA_HOME=$(/usr/libexec/java_home)\nexport PATH=\"$JAVA_HOME/bin:$PATH\"\n"));
    click(window, item(window, QStringLiteral("zprofile-continue")));

    ASSERT_TRUE(waitWhile([&] { return model->state() != State::Verified; }));
    EXPECT_TRUE(model->passed());
    EXPECT_FALSE(model->offersJavaHome());
    EXPECT_FALSE(item(window, QStringLiteral("zprofile-diff-sheet"))) << "the sheet is closed";
    render(window, QStringLiteral("flow-verified-pass"));
    click(window, item(window, QStringLiteral("continue-to-audit")));
    ASSERT_EQ(m_app->page(), TarnwickAppModel::Page::Audit);

    // The audit looks at the Mac afresh (a fix ran), then each page it shows is passed by.
    ASSERT_TRUE(waitWhile([&] { return !item(window, QStringLiteral("audit-stage-skip")) && !item(window, QStringLiteral("audit-final-report")); }));
    for (int pages = 0; QQuickItem *skip = item(window, QStringLiteral("audit-stage-skip")); ++pages) {
        ASSERT_LT(pages, 2);
        render(window, QStringLiteral("flow-audit-stage-%1").arg(pages + 1));
        click(window, skip);
    }
    ASSERT_TRUE(item(window, QStringLiteral("audit-final-report")));
    ASSERT_TRUE(waitWhile([&] { return !item(window, QStringLiteral("nps-card")); }));
    render(window, QStringLiteral("flow-audit-report"));
    click(window, item(window, QStringLiteral("audit-done")));
    EXPECT_TRUE(item(window, QStringLiteral("welcome-view")));
    EXPECT_TRUE(m_app->path().isEmpty());
    const QStringList names = m_world.sink.names();
    for (const char *event : {"remediation_applied", "remediation_completed", "verify_offered_r2", "verify_passed", "audit_reached",
                              "audit_gated", "audit_stage_outcome", "nps_shown", "nps_dismissed"})
        EXPECT_TRUE(names.contains(QLatin1String(event))) << event << " in " << names.join(u' ').toStdString();
}

// Return presses each page's default action; Escape cancels a sheet that has Cancel. Each row
// brings the real window to its page through the model, then sends the key.
TEST_F(AppWindowTest, KeysPressEachPagesDefaultAction)
{
    using State = DiagnoseViewModel::State;
    using Z = ZprofileDiffSheetModel::State;
    const Outcome installed = Outcome::success(QStringLiteral("Temurin installed."));
    AuditStageModel *firstStage = nullptr;
    const struct Case {
        const char *name;
        const char *scenario;
        std::function<bool(DiagnoseViewModel &)> reach; // from the diagnosis to the page
        Qt::Key key;
        std::function<bool(TarnwickAppModel &)> pressed;
    } cases[] = {
        {"welcome: Diagnose Java", "developer-no-java", nullptr, Qt::Key_Return,
         [](TarnwickAppModel &app) { return app.page() == Page::Diagnose; }},
        {"diagnosis: its fix", "developer-no-java", [](DiagnoseViewModel &) { return true; }, Qt::Key_Return,
         [](TarnwickAppModel &app) { return app.diagnose()->remediationSheet() != nullptr; }},
        {"no errors: Continue", "healthy", [](DiagnoseViewModel &) { return true; }, Qt::Key_Enter,
         [](TarnwickAppModel &app) { return app.page() == Page::Audit; }},
        {"running sheet: Escape cancels", "developer-no-java", [](DiagnoseViewModel &m) { m.remediatePrimary(); return m.remediationSheet(); },
         Qt::Key_Escape, [](TarnwickAppModel &app) { return app.diagnose()->state() == State::Diagnosed; }},
        {"ended sheet: Continue to verify", "developer-no-java",
         [](DiagnoseViewModel &m) {
             m.remediatePrimary();
             return QTest::qWaitFor([&] { return m.remediationSheet() && m.remediationSheet()->showsContinue(); }, 20000);
         },
         Qt::Key_Return, [](TarnwickAppModel &app) { return app.diagnose()->state() >= State::Verifying; }},
        {"JAVA_HOME sheet: Apply", "java-home-unset",
         [](DiagnoseViewModel &m) { m.remediatePrimary(); return QTest::qWaitFor([&] { return m.zprofileSheet()->state() == Z::Previewed; }, 10000); },
         Qt::Key_Return, [](TarnwickAppModel &app) { return app.diagnose()->zprofileSheet()->state() == Z::Applied; }},
        {"JAVA_HOME sheet: Escape cancels", "java-home-unset",
         [](DiagnoseViewModel &m) { m.remediatePrimary(); return QTest::qWaitFor([&] { return m.zprofileSheet()->state() == Z::Previewed; }, 10000); },
         Qt::Key_Escape, [](TarnwickAppModel &app) { return app.diagnose()->state() == State::Diagnosed; }},
        {"check offers JAVA_HOME: set it", "java-home-unset",
         [installed](DiagnoseViewModel &m) {
             m.remediate(Remediation::installViaPKG(21));
             m.finish(installed);
             return QTest::qWaitFor([&] { return m.state() == State::Verified; }, 10000);
         },
         Qt::Key_Return, [](TarnwickAppModel &app) { return app.diagnose()->zprofileSheet() != nullptr; }},
        {"check failed: Back", "developer-no-java",
         [installed](DiagnoseViewModel &m) { m.remediatePrimary(); m.finish(installed); return QTest::qWaitFor([&] { return m.state() == State::Verified; }, 10000); },
         Qt::Key_Return, [](TarnwickAppModel &app) { return app.diagnose()->state() == State::Diagnosed; }},
        {"error: Back", "developer-no-java",
         [](DiagnoseViewModel &m) { m.remediatePrimary(); m.finish(Outcome::failure(QStringLiteral("Install failed (exit code 1)."))); return true; },
         Qt::Key_Return, [](TarnwickAppModel &app) { return app.diagnose()->state() == State::Diagnosed; }},
        {"completed: Continue", "new-mac",
         [](DiagnoseViewModel &m) { m.remediate(Remediation::installHomebrew()); m.finish(Outcome::success(QStringLiteral("Homebrew installed."))); return true; },
         Qt::Key_Return, [](TarnwickAppModel &app) { return app.page() == Page::Audit; }},
        {"audit stage: Skip", "new-mac",
         [&](DiagnoseViewModel &m) {
             m.remediate(Remediation::installHomebrew());
             m.finish(Outcome::success(QStringLiteral("Homebrew installed.")));
             m.continueToAudit();
             return QTest::qWaitFor([&] { return (firstStage = m_app->audit() ? m_app->audit()->stage() : nullptr); }, 10000);
         },
         Qt::Key_Return, [&](TarnwickAppModel &app) { return app.audit()->stage() != firstStage; }},
        {"final report: Done", "healthy",
         [&](DiagnoseViewModel &m) {
             m.continueToAudit();
             return QTest::qWaitFor([&] {
                 if (m_app->audit() && m_app->audit()->stage())
                     m_app->audit()->stage()->skip();
                 return m_app->audit() && m_app->audit()->report();
             }, 10000);
         },
         Qt::Key_Return, [](TarnwickAppModel &app) { return app.page() == Page::Welcome; }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        m_engine.reset();
        m_world.mac = SimulatedMac::create(QString::fromLatin1(c.scenario));
        m_world.store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), true);
        QQuickWindow *window = open();
        ASSERT_TRUE(window);
        if (c.reach) {
            m_app->push(TarnwickAppModel::Screen::diagnose);
            ASSERT_TRUE(QTest::qWaitFor([&] { return m_app->diagnose()->state() == State::Diagnosed; }, 10000));
            ASSERT_TRUE(c.reach(*m_app->diagnose()));
            QTest::qWait(50); // the page or sheet comes up
        }
        QTest::keyClick(window, c.key);
        EXPECT_TRUE(QTest::qWaitFor([&] { return c.pressed(*m_app); }, 5000));
    }
}

// Tab walks each page's controls in reading order, from the top, and comes round to the first.
TEST_F(AppWindowTest, TabVisitsEachPagesControlsInReadingOrder)
{
    const struct Case {
        const char *name;
        const char *scenario;
        std::function<QStringList(TarnwickAppModel &)> reach; // brings the page up, says its controls in order
    } cases[] = {
        {"consent", "developer-no-java",
         [](TarnwickAppModel &app) { return QStringList{app.consent()->privacyLinkText(), app.consent()->continueText()}; }},
        {"welcome", "developer-no-java",
         [](TarnwickAppModel &app) {
             app.consent()->accept();
             return QStringList{app.welcome()->diagnoseText(), app.welcome()->articleLinkText()};
         }},
        {"diagnosis", "developer-no-java",
         [](TarnwickAppModel &app) {
             app.consent()->accept();
             app.push(TarnwickAppModel::Screen::diagnose);
             DiagnoseViewModel *m = app.diagnose();
             if (!QTest::qWaitFor([&] { return m->state() == DiagnoseViewModel::State::Diagnosed; }, 10000))
                 return QStringList();
             QStringList order{m->primaryText(), m->secondaryButtonText(), m->linkText()};
             order.removeAll(QString()); // a diagnosis without a second way or a link
             return order;
         }},
        {"no errors, with the card", "healthy",
         [](TarnwickAppModel &app) {
             app.consent()->accept();
             app.push(TarnwickAppModel::Screen::diagnose);
             DiagnoseViewModel *m = app.diagnose();
             if (!QTest::qWaitFor([&] { return m->state() == DiagnoseViewModel::State::Diagnosed && m->showsNpsCard(); }, 10000))
                 return QStringList();
             QStringList order;
             if (!m->linkText().isEmpty())
                 order.append(m->linkText());
             order.append(m->continueText());
             for (int score = 0; score <= 10; ++score)
                 order.append(QString::number(score));
             // Send stays disabled until a score is picked, so Tab passes it by.
             order << m->npsCard()->reasonPrompt() << m->npsCard()->dismissText();
             return order;
         }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        m_engine.reset();
        m_world.store = std::make_shared<InMemoryKeyValueStore>();
        m_world.mac = SimulatedMac::create(QString::fromLatin1(c.scenario));
        QQuickWindow *window = open();
        ASSERT_TRUE(window);
        const QStringList order = c.reach(*m_app);
        ASSERT_FALSE(order.isEmpty());
        QTest::qWait(50); // the page comes up
        QStringList visited;
        for (qsizetype press = 0; press <= order.size(); ++press) {
            QTest::keyClick(window, Qt::Key_Tab);
            QQuickItem *focused = window->activeFocusItem();
            QAccessibleInterface *accessible = focused ? QAccessible::queryAccessibleInterface(focused) : nullptr;
            visited.append(accessible ? accessible->text(QAccessible::Name) : QStringLiteral("(nothing named)"));
        }
        EXPECT_EQ(visited, order + QStringList{order.first()});
    }
}
