#include "UiTestSupport.h"

#include "ui/app/AppWindow.h"
#include "ui/app/TarnwickAppModel.h"

#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

QStringList g_warnings;
QtMessageHandler g_previousHandler = nullptr;

void recordWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        g_warnings.append(message);
    g_previousHandler(type, context, message);
}

// The real window over a simulated Mac; any QML warning while it lives fails the test.
class AppWindowTest : public ::testing::Test {
protected:
    void SetUp() override { g_warnings.clear(); g_previousHandler = qInstallMessageHandler(recordWarnings); }
    void TearDown() override
    {
        m_engine.reset();
        m_app.reset();
        qInstallMessageHandler(g_previousHandler);
        EXPECT_EQ(g_warnings, QStringList()) << "QML warned";
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

    // Walks the visual tree: findChild misses what Repeaters and Loaders create.
    static QQuickItem *item(QQuickItem *root, const QString &name)
    {
        if (root->objectName() == name && root->isVisible())
            return root;
        for (QQuickItem *child : root->childItems())
            if (QQuickItem *found = item(child, name))
                return found;
        return nullptr;
    }
    QQuickItem *item(QQuickWindow *window, const QString &name) { return item(window->contentItem(), name); }

    static void click(QQuickWindow *window, QQuickItem *target)
    {
        QTest::mouseClick(window, Qt::LeftButton, {}, target->mapToScene(QPointF(target->width() / 2, target->height() / 2)).toPoint());
    }

    void render(QQuickWindow *window, const QString &name)
    {
        // As opened first: a layout that only settles on a resize shows here.
        for (const QSize size : {window->size(), window->minimumSize(), QSize(1280, 900)}) {
            window->resize(size);
            QTest::qWait(50); // let the layouts settle at the new size
            const QString path = QStringLiteral(UI_SCREENSHOT_DIR "/%1-%2x%3.png").arg(name).arg(size.width()).arg(size.height());
            EXPECT_TRUE(window->grabWindow().save(path)) << path.toStdString();
        }
    }

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
    ASSERT_TRUE(item(window, QStringLiteral("unbuilt-screen-view")));
    click(window, item(window, QStringLiteral("unbuilt-screen-back")));
    EXPECT_TRUE(item(window, QStringLiteral("welcome-view")));
    EXPECT_EQ(m_world.sink.names(), (QStringList{QStringLiteral("app_launched"), QStringLiteral("consent_given")}));
}

TEST_F(AppWindowTest, ReturnPressesContinue)
{
    QQuickWindow *window = open();
    ASSERT_TRUE(window);
    QTest::keyClick(window, Qt::Key_Return);
    EXPECT_TRUE(item(window, QStringLiteral("welcome-view")));
    EXPECT_TRUE(m_app->hasConsented());
}
