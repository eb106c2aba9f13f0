#include "UiTestSupport.h"

#include "diagnosis/SystemProfiler.h"
#include "runners/AdoptiumAPI.h"
#include "services/ProgramRunner.h"
#include "ui/app/TarnwickAppModel.h"

#include <QSignalSpy>
#include <QScopeGuard>
#include <QThread>
#include <QThreadPool>

#include <array>
#include <future>

using Page = TarnwickAppModel::Page;
using Screen = TarnwickAppModel::Screen;

TEST(AppModels, LinksOpenUnderTheConfiguredSite)
{
    const std::array<const char *, 3> cases[] = { // base, the privacy link's text, the root the pages open under
        {"https://ferrowood.com", "ferrowood.com/tarnwick/privacy", "https://ferrowood.com/"},
        {"http://127.0.0.1:8123/help/", "127.0.0.1:8123/help/tarnwick/privacy", "http://127.0.0.1:8123/help/"}};
    for (const auto &[base, text, root] : cases) {
        UiWorld world;
        TarnwickAppModel app(world.context(QUrl(QString::fromLatin1(base))), {});
        EXPECT_EQ(app.consent()->privacyLinkText(), QString::fromLatin1(text));
        app.consent()->openPrivacyLink();
        app.welcome()->openArticle();
        EXPECT_EQ(world.opened, (QList<QUrl>{QUrl(root + QString("tarnwick/privacy")), QUrl(root + QString("java/unable-to-locate"))})) << base;
    }
    // The site from the environment, when usable.
    for (const auto &[value, expected] : {std::pair{"", "https://ferrowood.com/x"}, {"http://127.0.0.1:9/", "http://127.0.0.1:9/x"},
                                          {"not a url", "https://ferrowood.com/x"}, {"file:///etc", "https://ferrowood.com/x"},
                                          {"ftp://example.com/", "https://ferrowood.com/x"}}) {
        qputenv("TARNWICK_ARTICLES_URL", value);
        EXPECT_EQ(MakerSite::fromEnvironment().page(QStringLiteral("/x")), QUrl(QString::fromLatin1(expected))) << value;
    }
    qunsetenv("TARNWICK_ARTICLES_URL");
}

namespace {

// Holds every program the profiler starts until the test opens the gate, and notes the threads.
struct GatedRunner final : ProcessRunning {
    GatedRunner(std::shared_ptr<const ProcessRunning> inner, std::shared_future<void> gate) : inner(std::move(inner)), gate(std::move(gate)) {}
    using ProcessRunning::run;
    ProcessResult run(const QString &executable, const QStringList &arguments, const std::optional<Environment> &environment,
                      ProcessCancellation *cancellation) const override
    {
        hold();
        return inner->run(executable, arguments, environment, cancellation);
    }
    ProcessStreamEvent stream(const QString &executable, const QStringList &arguments, const std::optional<Environment> &environment,
                              ProcessCancellation &cancellation, const LineHandler &onLine) const override
    {
        hold();
        return inner->stream(executable, arguments, environment, cancellation, onLine);
    }
    void hold() const
    {
        ranOnMainThread = ranOnMainThread || QThread::currentThread() == qApp->thread();
        gate.wait();
    }

    std::shared_ptr<const ProcessRunning> inner;
    std::shared_future<void> gate;
    mutable std::atomic<bool> ranOnMainThread = false;
};

} // namespace

// The launch: profiled once, off the UI thread; consent asked on the first launch only; the
// diagnosis at once when its inputs are in; Back with nothing pushed stays home.
TEST(AppModels, StartUpProfilesOffTheUIThreadOnceAndAsksConsentOnce)
{
    UiWorld world;
    std::promise<void> open;
    ScreenContext context = world.context();
    auto gated = std::make_shared<GatedRunner>(context.services.processRunner, open.get_future().share());
    context.services.processRunner = gated;
    TarnwickAppModel app(context, {});
    QSignalSpy profiled(&app, &TarnwickAppModel::profileChanged);
    // Qt draws with its global pool and waits for it: with every thread of that pool busy, the
    // screens' work must still run (and must not be what keeps that pool busy).
    std::promise<void> release;
    const std::shared_future<void> held = release.get_future().share();
    for (int i = 0; i < QThreadPool::globalInstance()->maxThreadCount(); ++i)
        QThreadPool::globalInstance()->start([held] { held.wait(); });
    const auto freePool = qScopeGuard([&] { release.set_value(); QThreadPool::globalInstance()->waitForDone(); });

    app.start();
    app.start();
    QTest::qWait(100);
    EXPECT_FALSE(app.hasProfile()) << "the profile cannot be in while its programs are held";

    open.set_value();
    ASSERT_TRUE(profiled.wait(10000));
    ASSERT_TRUE(app.hasProfile());
    EXPECT_FALSE(gated->ranOnMainThread);
    ASSERT_EQ(app.page(), Page::Consent);
    app.consent()->accept();
    EXPECT_EQ(app.page(), Page::Welcome);
    EXPECT_EQ(TarnwickAppModel(world.context(), {}).page(), Page::Welcome) << "consent asked again on the next launch";
    EXPECT_EQ(world.sink.names(), (QStringList{"app_launched", "consent_given"}));
    const SystemProfile direct = SystemProfiler(ProgramRunner(world.mac->services().processRunner), context.services.fs,
                                                context.platform).profile();
    EXPECT_TRUE(*app.profile() == direct) << "the profile shown is the one of the Mac's services";

    // With the profile and the LTS in, "Diagnose Java" waits for nothing: the diagnosis is there
    // as the screen starts, with no turn of the event loop in between.
    QSignalSpy looked(&app, &TarnwickAppModel::ltsMajorChanged);
    ASSERT_TRUE(app.ltsMajor() || looked.wait(10000));
    app.welcome()->diagnose();
    app.diagnose()->start();
    ASSERT_EQ(app.diagnose()->state(), DiagnoseViewModel::State::Diagnosed);
    const DiagnoseFlow flow(context.services, context.platform, AdoptiumAPI::defaultBaseURL());
    EXPECT_EQ(*app.diagnose()->shownDiagnosis(), flow.diagnose(direct)) << "the same fix as the full look-up";

    app.push(Screen::audit);
    app.pop();
    EXPECT_EQ(app.path(), QList<Screen>{Screen::diagnose});
    EXPECT_FALSE(app.audit()) << "a popped screen's model is let go";
    app.pop();
    app.pop();
    EXPECT_EQ(app.page(), Page::Welcome);
}
