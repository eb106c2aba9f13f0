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
#include <QPalette>
#include <QQmlApplicationEngine>

using Outcome = FixSequence::Outcome;
using Page = TarnwickAppModel::Page;
using State = DiagnoseViewModel::State;

namespace {

// The real window over a simulated Mac.
class AppWindowTest : public QmlViewTest {
protected:
    void closeViews() override { m_engine.reset(); m_app.reset(); }
    QQuickWindow *window() override { return qobject_cast<QQuickWindow *>(m_engine->rootObjects().value(0)); }

    QQuickWindow *open(const char *scenario)
    {
        m_engine.reset();
        m_world.mac = SimulatedMac::create(QString::fromLatin1(scenario));
        m_app = std::make_unique<TarnwickAppModel>(m_world.context(), QStringLiteral("Running on a simulated Mac."));
        m_engine = std::make_unique<QQmlApplicationEngine>();
        return loadAppWindow(*m_engine, *m_app) && window() && QTest::qWaitForWindowExposed(window()) ? window() : nullptr;
    }

    UiWorld m_world;
    std::unique_ptr<TarnwickAppModel> m_app;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
};

bool diagnosed(TarnwickAppModel &app)
{
    app.push(TarnwickAppModel::Screen::diagnose);
    return QTest::qWaitFor([&] { return app.diagnose()->state() == State::Diagnosed; }, 10000);
}

// From the diagnosis through the audit, skipping each stage, to the report once it has looked.
FinalReportModel *reportOf(TarnwickAppModel &app)
{
    app.diagnose()->continueToAudit();
    FinalReportModel *report = nullptr;
    (void)QTest::qWaitFor([&] {
        if (app.audit() && app.audit()->stage())
            app.audit()->stage()->skip();
        return (report = app.audit() ? app.audit()->report() : nullptr) && !report->busy();
    }, 10000);
    return report;
}

} // namespace

// Return presses each page's default action; Escape cancels a sheet that has Cancel. Each row
// brings the real window to its page through the model, then sends the key.
TEST_F(AppWindowTest, KeysPressEachPagesDefaultAction)
{
    using Z = ZprofileDiffSheetModel::State;
    const Outcome installed = Outcome::success(QStringLiteral("Temurin installed.")), homebrew = Outcome::success(QStringLiteral("Homebrew installed."));
    const auto on = [](Page page) { return [page](TarnwickAppModel &app) { return app.page() == page; }; };
    const auto backAtDiagnosis = [](TarnwickAppModel &app) { return app.diagnose()->state() == State::Diagnosed; };
    const auto ran = [](std::optional<Remediation> fix, Outcome outcome) {
        return [fix, outcome](DiagnoseViewModel &m) {
            fix ? m.remediate(*fix) : m.remediatePrimary();
            m.finish(outcome);
            return QTest::qWaitFor([&] { return !m.busy(); }, 10000);
        };
    };
    const auto previewed = [](DiagnoseViewModel &m) {
        m.remediatePrimary();
        return QTest::qWaitFor([&] { return m.zprofileSheet()->state() == Z::Previewed; }, 10000);
    };
    AuditStageModel *firstStage = nullptr;
    const struct Case {
        const char *name, *scenario;
        std::function<bool(DiagnoseViewModel &)> reach; // from the diagnosis to the page; none: Welcome
        Qt::Key key;
        std::function<bool(TarnwickAppModel &)> pressed;
    } cases[] = {
        {"welcome: Diagnose Java", "developer-no-java", nullptr, Qt::Key_Return, on(Page::Diagnose)},
        {"diagnosis: its fix", "developer-no-java", [](auto &) { return true; }, Qt::Key_Return, [](auto &app) { return app.diagnose()->remediationSheet(); }},
        {"no errors: Continue", "healthy", [](auto &) { return true; }, Qt::Key_Enter, on(Page::Audit)},
        {"running sheet: Escape cancels", "developer-no-java", [](auto &m) { m.remediatePrimary(); return m.remediationSheet(); }, Qt::Key_Escape, backAtDiagnosis},
        {"ended sheet: Continue to verify", "developer-no-java",
         [](DiagnoseViewModel &m) { m.remediatePrimary(); return QTest::qWaitFor([&] { return m.remediationSheet()->showsContinue(); }, 20000); },
         Qt::Key_Return, [](auto &app) { return app.diagnose()->state() >= State::Verifying; }},
        {"JAVA_HOME sheet: Apply", "java-home-unset", previewed, Qt::Key_Return, [](auto &app) { return app.diagnose()->zprofileSheet()->state() == Z::Applied; }},
        {"JAVA_HOME sheet: Escape cancels", "java-home-unset", previewed, Qt::Key_Escape, backAtDiagnosis},
        {"check offers JAVA_HOME: set it", "java-home-unset", ran(Remediation::installViaPKG(21), installed), Qt::Key_Return,
         [](auto &app) { return app.diagnose()->zprofileSheet(); }},
        {"check failed: Back", "developer-no-java", ran({}, installed), Qt::Key_Return, backAtDiagnosis},
        {"error: Back", "developer-no-java", // its link is no web page, so it opens nothing
         [&](DiagnoseViewModel &m) {
             const bool ended = ran({}, Outcome::failure(QStringLiteral("Install failed. See [the log](file:///etc/passwd).")))(m);
             m.openMessageLink();
             return ended;
         },
         Qt::Key_Return, backAtDiagnosis},
        {"completed: Continue", "new-mac", ran(Remediation::installHomebrew(), homebrew), Qt::Key_Return, on(Page::Audit)},
        {"audit stage: Skip", "new-mac",
         [&](DiagnoseViewModel &m) {
             ran(Remediation::installHomebrew(), homebrew)(m);
             m.continueToAudit();
             return QTest::qWaitFor([&] { return (firstStage = m_app->audit() ? m_app->audit()->stage() : nullptr); }, 10000);
         },
         Qt::Key_Return, [&](auto &app) { return app.audit()->stage() != firstStage; }},
        {"final report: Done", "healthy", [&](auto &) { return reportOf(*m_app) != nullptr; }, Qt::Key_Return, on(Page::Welcome)},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        m_world.store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), true);
        QQuickWindow *window = open(c.scenario);
        ASSERT_TRUE(window);
        if (c.reach) {
            ASSERT_TRUE(diagnosed(*m_app) && c.reach(*m_app->diagnose()));
            QTest::qWait(50); // the page or sheet comes up
        }
        QTest::keyClick(window, c.key);
        EXPECT_TRUE(QTest::qWaitFor([&] { return c.pressed(*m_app); }, 5000));
    }
    EXPECT_EQ(m_world.opened, QList<QUrl>());
}

// Dark mode turned on while a sheet is open recolours the sheet too, not only the page under it.
TEST_F(AppWindowTest, AnOpenSheetFollowsAPaletteChange)
{
    m_world.store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), true);
    QQuickWindow *window = open("developer-no-java");
    ASSERT_TRUE(window && diagnosed(*m_app));
    m_app->diagnose()->remediatePrimary();
    QQuickItem *sheet = nullptr;
    ASSERT_TRUE(QTest::qWaitFor([&] { return (sheet = visibleItem(window->contentItem(), QStringLiteral("remediation-progress"))); }, 5000));
    const QPalette light = QGuiApplication::palette();
    QPalette dark = light;
    dark.setColor(QPalette::Window, QColor(0x2b, 0x2b, 0x2b));
    QGuiApplication::setPalette(dark);
    const auto shown = [sheet] { return sheet->property("background").value<QQuickItem *>()->property("color").value<QColor>(); };
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == QColor(0x2b, 0x2b, 0x2b); }, 2000)) << shown().name().toStdString();
    QGuiApplication::setPalette(light);
}

// Tab walks each page's controls in reading order, from the top, and comes round to the first;
// at the smallest window size each control it lands on is in view, not under the page's buttons.
TEST_F(AppWindowTest, TabVisitsEachPagesControlsInReadingOrder)
{
    const auto scores = [] {
        QStringList all;
        for (int score = 0; score <= 10; ++score)
            all.append(QString::number(score));
        return all;
    };
    const struct Case {
        const char *name, *scenario;
        std::function<QStringList(TarnwickAppModel &)> reach; // brings the page up, says its controls in order
    } cases[] = {
        {"consent", "developer-no-java", [](auto &app) { return QStringList{app.consent()->privacyLinkText(), app.consent()->continueText()}; }},
        {"welcome", "developer-no-java",
         [](auto &app) { app.consent()->accept(); return QStringList{app.welcome()->diagnoseText(), app.welcome()->articleLinkText()}; }},
        {"diagnosis", "developer-no-java",
         [](TarnwickAppModel &app) {
             app.consent()->accept();
             if (!diagnosed(app))
                 return QStringList();
             DiagnoseViewModel *m = app.diagnose();
             QStringList order{m->primaryText(), m->secondaryButtonText(), m->linkText()};
             order.removeAll(QString()); // a diagnosis without a second way or a link
             return order;
         }},
        {"no errors, with the card", "healthy",
         [&](TarnwickAppModel &app) {
             app.consent()->accept();
             DiagnoseViewModel *m = diagnosed(app) ? app.diagnose() : nullptr;
             if (!m || !m->showsNpsCard())
                 return QStringList();
             QStringList order = QStringList{m->linkText(), m->continueText()} + scores();
             order.removeAll(QString());
             // Send stays disabled until a score is picked, so Tab passes it by.
             return order << m->npsCard()->reasonPrompt() << m->npsCard()->dismissText();
         }},
        {"report, with the card", "healthy",
         [&](TarnwickAppModel &app) {
             app.consent()->accept();
             FinalReportModel *report = diagnosed(app) ? reportOf(app) : nullptr;
             return !report ? QStringList() : QStringList{"Try Warp — we recommend it"} + scores() + QStringList{report->npsCard()->reasonPrompt(),
                    report->npsCard()->dismissText(), report->articleLinkText(), report->doneText()};
         }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        m_world.store = std::make_shared<InMemoryKeyValueStore>();
        QQuickWindow *window = open(c.scenario);
        ASSERT_TRUE(window);
        window->resize(window->minimumSize()); // where a page is taller than the window
        const QStringList order = c.reach(*m_app);
        ASSERT_FALSE(order.isEmpty());
        QTest::qWait(50); // the page comes up
        QStringList visited;
        for (qsizetype press = 0; press <= order.size(); ++press) {
            QTest::keyClick(window, Qt::Key_Tab);
            QQuickItem *focused = window->activeFocusItem();
            QAccessibleInterface *accessible = focused ? QAccessible::queryAccessibleInterface(focused) : nullptr;
            visited.append(accessible ? accessible->text(QAccessible::Name) : QStringLiteral("(nothing named)"));
            const QRectF place = focused ? focused->mapRectToScene(focused->boundingRect()) : QRectF();
            const QQuickItem *footer = item("scaffold-footer");
            EXPECT_TRUE(QRectF(QPointF(), window->size()).contains(place)
                        && (!footer || footer->isAncestorOf(focused) || !footer->mapRectToScene(footer->boundingRect()).intersects(place)))
                << qPrintable(visited.last());
        }
        EXPECT_EQ(visited, order + QStringList{order.first()});
    }
}
