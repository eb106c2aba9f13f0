// Renders every screen the app shows on a set of simulated Macs, in the light and the dark
// palette, at the smallest window and a large one, by walking each Mac through the real window as
// a person would: each step presses the button that leads on, and each new state is shot.
//
//   tarnwick_screens <output folder> [scenario,scenario,…]

#include "simulated/InMemoryKeyValueStore.h"
#include "simulated/SimulatedMac.h"
#include "telemetry/TelemetrySink.h"
#include "ui/app/AppWindow.h"
#include "ui/app/TarnwickAppModel.h"
#include "ui/common/BlockingWorkers.h"
#include "ui/common/ScreenContext.h"
#include "VisibleItem.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPalette>
#include <QPointer>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSet>
#include <QTest>
#include <QTextStream>

#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace {

const QStringList defaultScenarios = {
    QStringLiteral("developer-no-java"), QStringLiteral("java-home-unset"),        QStringLiteral("healthy"),
    QStringLiteral("new-mac"),           QStringLiteral("cursor-user-no-homebrew"), QStringLiteral("adoptium-offline"),
    QStringLiteral("password-declined"), QStringLiteral("broken-jvm-dir"),         QStringLiteral("installer-leaves-no-java"),
};
const QList<QSize> sizes = {QSize(640, 480), QSize(1280, 860)};

// The pages and sheets, most specific first: a sheet covers its page.
const QStringList sheets = {QStringLiteral("remediation-progress"), QStringLiteral("zprofile-diff-sheet")};
const QStringList pages = {
    QStringLiteral("consent-view"),       QStringLiteral("welcome-view"),        QStringLiteral("diagnose-progress"),
    QStringLiteral("diagnosis-detail"),   QStringLiteral("verify-result"),       QStringLiteral("diagnose-error"),
    QStringLiteral("diagnose-completed"), QStringLiteral("simplified-completion"), QStringLiteral("audit-final-report"),
    QStringLiteral("audit-stage-foundations"), QStringLiteral("audit-stage-terminal"),
};
// What leads on from a state, in the order a person would pick it. Back is last: it returns to
// a state already shot, which ends the walk.
const QStringList forward = {
    QStringLiteral("consent-continue"),       QStringLiteral("welcome-diagnose-button"), QStringLiteral("remediation-zshrc-apply"),
    QStringLiteral("remediation-end"),        QStringLiteral("zprofile-apply"),          QStringLiteral("zprofile-continue"),
    QStringLiteral("zprofile-close"),         QStringLiteral("verify-set-java-home"),    QStringLiteral("remediation-primary-button"),
    QStringLiteral("continue-to-audit"),      QStringLiteral("audit-stage-skip"),        QStringLiteral("audit-done"),
    QStringLiteral("completion-done"),        QStringLiteral("diagnose-back"),
};

// Holds the simulated Mac's programs and web requests at their next step while the atlas looks,
// so that a fix is pictured mid-run however quickly it would have gone on.
class Gate {
public:
    // The first lines still pass, so that a running fix shows some of its output.
    void hold()
    {
        const std::lock_guard lock(m_mutex);
        m_held = true;
        m_passing = 2;
    }
    void release()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_held = false;
        }
        m_opened.notify_all();
    }
    void pass(SimulatedMac::Step step)
    {
        std::unique_lock lock(m_mutex);
        if (m_held && step == SimulatedMac::Step::line && m_passing > 0) {
            --m_passing;
            return;
        }
        m_opened.wait(lock, [this] { return !m_held; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_held = false;
    int m_passing = 0;
};

/// A dark palette like the one macOS gives a window in dark mode, for looking at the screens in it.
QPalette darkPalette()
{
    QPalette dark;
    const QColor text(0xe6, 0xe6, 0xe6);
    dark.setColor(QPalette::Window, QColor(0x2b, 0x2b, 0x2b));
    dark.setColor(QPalette::WindowText, text);
    dark.setColor(QPalette::Base, QColor(0x1e, 0x1e, 0x1e));
    dark.setColor(QPalette::AlternateBase, QColor(0x33, 0x33, 0x33));
    dark.setColor(QPalette::Text, text);
    dark.setColor(QPalette::Button, QColor(0x3c, 0x3c, 0x3c));
    dark.setColor(QPalette::ButtonText, text);
    dark.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::Link, QColor(0x6e, 0xa8, 0xfe));
    dark.setColor(QPalette::PlaceholderText, QColor(0x8a, 0x8a, 0x8a));
    dark.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3a, 0x3a));
    dark.setColor(QPalette::ToolTipText, text);
    dark.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x80, 0x80, 0x80));
    dark.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x80, 0x80, 0x80));
    return dark;
}

// The pictures are what this tool makes; the events go nowhere.
class Unsent final : public TelemetrySink {
public:
    using TelemetrySink::track;
    void track(const QString &, const JSONObject &) override {}
};

class Atlas {
public:
    explicit Atlas(QString out) : m_out(std::move(out)) {}

    // Walks one simulated Mac from consent to the end; false when it stalled somewhere.
    bool walk(const QString &scenario)
    {
        SimulatedMac::Options options;
        options.linePause = std::chrono::milliseconds(15);
        const std::shared_ptr<SimulatedMac> mac =
            SimulatedMac::create(scenario, options, [this](SimulatedMac::Step step) { m_gate.pass(step); });
        if (!mac) {
            std::fprintf(stderr, "No simulated Mac called %s.\n", qPrintable(scenario));
            return false;
        }
        AppServices services = mac->services();
        services.store = std::make_shared<InMemoryKeyValueStore>(); // consent asked on every Mac
        Unsent unsent;
        BlockingWorkers workers;
        TarnwickAppModel app(ScreenContext{.services = services, .platform = mac->platform(), .telemetry = &unsent, .workers = &workers,
                                           .openLink = [](const QUrl &) {}, .site = MakerSite(QUrl(QStringLiteral("https://ferrowood.com")))},
                             QStringLiteral("Running on a simulated Mac (%1).").arg(scenario));
        QQmlApplicationEngine engine;
        if (!loadAppWindow(engine, app)) {
            std::fprintf(stderr, "The window did not load.\n");
            return false;
        }
        // Declared after the Mac, so it goes first: nothing may be left waiting at the gate.
        const struct Opener {
            Gate &gate;
            ~Opener() { gate.release(); }
        } opener {m_gate};
        m_window = qobject_cast<QQuickWindow *>(engine.rootObjects().first());
        if (!m_window || !QTest::qWaitForWindowExposed(m_window))
            return false;
        m_dir = m_out + u'/' + scenario;
        QDir().mkpath(m_dir);
        m_seen.clear();
        m_step = 0;

        for (;;) {
            const QString state = currentState();
            if (state.isEmpty()) {
                std::fprintf(stderr, "%s: no known page is showing.\n", qPrintable(scenario));
                return false;
            }
            if (m_seen.contains(stateKey())) {
                // Back where it has been (after a cancel, a refused password, a failure): shot
                // once more as it looks on the way back, and every state on this path is shot.
                shoot(state + QStringLiteral("-on-return"));
                return true;
            }
            m_seen.insert(stateKey());
            shoot(state);
            m_gate.release();
            if (QQuickItem *card = item(QStringLiteral("nps-card")); card && item(QStringLiteral("nps-score-9"))) {
                click(item(QStringLiteral("nps-score-9")));
                shoot(state + QStringLiteral("-card-scored"));
                click(item(QStringLiteral("nps-submit")));
                (void)QTest::qWaitFor([&] { return !item(QStringLiteral("nps-submit")); }, 5000);
                shoot(state + QStringLiteral("-card-sent"));
            }
            QQuickItem *next = nextAction();
            if (!next) {
                // A state on its way to another (a probe, a fix streaming, a profile) is shot
                // once; the walk waits for the button that leads on.
                if (!QTest::qWaitFor([&] { return nextAction() != nullptr; }, 30000)) {
                    std::fprintf(stderr, "%s: stalled at %s.\n", qPrintable(scenario), qPrintable(currentState()));
                    return false;
                }
                if (currentState() != state)
                    continue;
                next = nextAction();
            }
            const QString pressed = next->objectName();
            m_gate.hold();
            click(next);
            if (pressed == QLatin1String("audit-done") || pressed == QLatin1String("completion-done"))
                return true;
            QTest::qWait(150); // the next page or sheet comes up
        }
    }

private:
    QQuickItem *item(const QString &name) const { return visibleItem(m_window->contentItem(), name); }
    // The sheet over the page, if one is up: while it is, only its buttons lead on.
    QQuickItem *sheet() const
    {
        for (const QString &name : sheets)
            if (QQuickItem *shown = item(name))
                return shown;
        return nullptr;
    }

    QQuickItem *nextAction() const
    {
        QQuickItem *root = sheet() ? sheet() : m_window->contentItem();
        for (const QString &name : forward)
            if (QQuickItem *action = visibleItem(root, name); action && action->isEnabled())
                return action;
        return nullptr;
    }

    // The page or sheet showing and, where one page has several looks, which one.
    QString currentState() const
    {
        if (QQuickItem *shown = sheet()) {
            const QString name = shown->objectName();
            if (visibleItem(shown, QStringLiteral("remediation-zshrc-apply")))
                return name + QStringLiteral("-zshrc-offer");
            for (const char *action : {"remediation-cancel", "remediation-end", "zprofile-apply", "zprofile-continue", "zprofile-close"})
                if (visibleItem(shown, QString::fromLatin1(action)))
                    return name + u'-' + QString::fromLatin1(action).section(u'-', 1);
            return name + QStringLiteral("-loading");
        }
        for (const QString &page : pages) {
            if (!item(page))
                continue;
            if (page == QLatin1String("diagnosis-detail") && item(QStringLiteral("remediation-placeholder")))
                return page + QStringLiteral("-choosing");
            if (page == QLatin1String("verify-result"))
                return page + (item(QStringLiteral("verify-set-java-home")) ? QStringLiteral("-offer")
                               : item(QStringLiteral("continue-to-audit")) ? QStringLiteral("-pass") : QStringLiteral("-fail"));
            return page;
        }
        return item(QStringLiteral("audit-view")) ? QStringLiteral("audit-profiling") : QString();
    }

    // Two visits to one page with different titles (a diagnosis, then another) are two states.
    QString stateKey() const
    {
        QString title;
        for (const QString &page : pages)
            if (QQuickItem *shown = item(page))
                title = shown->property("title").toString();
        return currentState() + u'|' + title;
    }

    void click(QQuickItem *target)
    {
        QTest::mouseClick(m_window, Qt::LeftButton, {}, target->mapToScene(QPointF(target->width() / 2, target->height() / 2)).toPoint());
    }

    void shoot(const QString &state)
    {
        const QString name = QStringLiteral("%1-%2").arg(++m_step, 2, 10, QLatin1Char('0')).arg(state);
        const QPalette light = QGuiApplication::palette();
        for (const auto &[palette, colours] : {std::pair{QStringLiteral("light"), light}, std::pair{QStringLiteral("dark"), darkPalette()}}) {
            QGuiApplication::setPalette(colours);
            for (const QSize size : sizes) {
                m_window->resize(size);
                QTest::qWait(60); // the layouts settle at the new size
                const QString path = QStringLiteral("%1/%2-%3-%4x%5.png").arg(m_dir, name, palette).arg(size.width()).arg(size.height());
                if (!m_window->grabWindow().save(path))
                    std::fprintf(stderr, "Couldn't write %s.\n", qPrintable(path));
            }
        }
        // Once more, light and small, after one Tab: the focus ring shows where it went.
        QGuiApplication::setPalette(light);
        m_window->resize(sizes.first());
        QTest::qWait(60);
        QPointer<QQuickItem> focused = m_window->activeFocusItem();
        QTest::keyClick(m_window, Qt::Key_Tab);
        QTest::qWait(60);
        const QString path = QStringLiteral("%1/%2-focus-%3x%4.png").arg(m_dir, name).arg(sizes.first().width()).arg(sizes.first().height());
        if (!m_window->grabWindow().save(path))
            std::fprintf(stderr, "Couldn't write %s.\n", qPrintable(path));
        (focused ? focused.data() : m_window->contentItem())->forceActiveFocus(Qt::OtherFocusReason);
        std::printf("  %s\n", qPrintable(name));
    }

    QString m_out;
    QString m_dir;
    QQuickWindow *m_window = nullptr;
    QSet<QString> m_seen;
    int m_step = 0;
    Gate m_gate;
};

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 2) {
        std::fprintf(stderr, "Usage: %s <output folder> [scenario,scenario,…]\n", argv[0]);
        return 2;
    }
    const QStringList scenarios = arguments.size() > 2 ? arguments[2].split(u',', Qt::SkipEmptyParts) : defaultScenarios;
    Atlas atlas(arguments[1]);
    int stalled = 0;
    for (const QString &scenario : scenarios) {
        std::printf("%s\n", qPrintable(scenario));
        std::fflush(stdout);
        if (!atlas.walk(scenario))
            ++stalled;
    }
    return stalled == 0 ? 0 : 1;
}
