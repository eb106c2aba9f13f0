// The app's two felt delays, offscreen, over a simulated Mac:
//  1. "Diagnose Java" to the first frame that shows the diagnosis, with the launch profile and
//     the LTS already in, against a fresh profile and look-up (the path taken when they are not).
//  2. A fix that prints 200,000 lines of ~80 characters from a real child process, through the
//     remediation sheet's model into its list view: the longest stall of the UI thread (a 5 ms
//     timer's longest gap) and how much the process grew.
// Run by hand: QT_QPA_PLATFORM=offscreen build/default/bench/ui_bench

#include "simulated/InMemoryKeyValueStore.h"
#include "simulated/SimulatedMac.h"
#include "services/LiveProcessRunner.h"
#include "telemetry/TelemetrySink.h"
#include "ui/app/AppWindow.h"
#include "ui/app/TarnwickAppModel.h"
#include "ui/diagnose/RemediationSheetModel.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlEngine>
#include <QQuickView>
#include <QQuickWindow>
#include <QTest>
#include <QTimer>

#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

class NoTelemetry final : public TelemetrySink {
public:
    using TelemetrySink::track;
    void track(const QString &, const JSONObject &) override {}
};

ScreenContext contextFor(const std::shared_ptr<SimulatedMac> &mac, NoTelemetry &sink, bool consented, QThreadPool &workers)
{
    AppServices services = mac->services();
    auto store = std::make_shared<InMemoryKeyValueStore>();
    store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), consented);
    services.store = store;
    return ScreenContext{.services = services, .platform = mac->platform(), .telemetry = &sink, .workers = &workers,
                         .openLink = [](const QUrl &) {}, .site = MakerSite(QUrl(QStringLiteral("https://ferrowood.com")))};
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Milliseconds from the push to the first frame swapped after the diagnosis is set. `warm`:
// the window is up with the profile and LTS in; otherwise the push comes as the window loads,
// before the start-up profile is in, so the screen profiles and looks up for itself.
double diagnoseToFrame(const char *scenario, bool warm)
{
    NoTelemetry sink;
    BlockingWorkers workers;
    const auto mac = SimulatedMac::create(QString::fromLatin1(scenario));
    TarnwickAppModel app(contextFor(mac, sink, true, workers), {});
    QQmlApplicationEngine engine;
    if (!loadAppWindow(engine, app))
        qFatal("the app window did not load");
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().first());
    QElapsedTimer clock;
    if (warm) {
        if (!QTest::qWaitForWindowExposed(window) || !QTest::qWaitFor([&] { return app.hasProfile() && app.ltsMajor(); }, 10000))
            qFatal("no profile or LTS");
        QTest::qWait(50);
    }
    // The frame may be swapped on the render thread.
    std::atomic<bool> diagnosed = false;
    std::atomic<double> shown = -1;
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [&] {
        if (diagnosed && shown < 0)
            shown = double(clock.nsecsElapsed()) / 1e6;
    }, Qt::DirectConnection);
    clock.start();
    app.welcome()->diagnose();
    const auto seen = [&] { return app.diagnose()->state() == DiagnoseViewModel::State::Diagnosed; };
    diagnosed = seen();
    QObject::connect(app.diagnose(), &DiagnoseViewModel::changed, window, [&] { if (seen()) diagnosed = true; });
    if (!QTest::qWaitFor([&] { return shown >= 0; }, 10000))
        qFatal("the diagnosis never reached the screen");
    return shown;
}

// Streams the first program a fix runs from a real child that prints `lines` lines instead;
// the rest goes to the simulated Mac.
class LoudRunner final : public ProcessRunning {
public:
    LoudRunner(std::shared_ptr<const ProcessRunning> inner, int lines) : m_inner(std::move(inner)), m_lines(lines) {}
    using ProcessRunning::run;
    ProcessResult run(const QString &executable, const QStringList &arguments, const std::optional<Environment> &environment,
                      ProcessCancellation *cancellation) const override
    {
        return m_inner->run(executable, arguments, environment, cancellation);
    }
    ProcessStreamEvent stream(const QString &executable, const QStringList &arguments, const std::optional<Environment> &environment,
                              ProcessCancellation &cancellation, const LineHandler &onLine) const override
    {
        if (m_used.exchange(true))
            return m_inner->stream(executable, arguments, environment, cancellation, onLine);
        const QString script = QStringLiteral("i=0; while [ $i -lt %1 ]; do printf '==> Pouring temurin-25.0.1 bottle, step %08d of the install, please wait ...\\n' $i; i=$((i+1)); done")
                                   .arg(m_lines);
        return LiveProcessRunner().stream(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), script}, std::nullopt, cancellation, onLine);
    }

private:
    std::shared_ptr<const ProcessRunning> m_inner;
    int m_lines;
    mutable std::atomic<bool> m_used = false;
};

// The calling thread's CPU time: a gap's share of it is work the UI thread did, the rest is
// time the machine gave to others (the child, the worker, whatever else runs).
qint64 threadCpuNs()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

long rssKiB()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stol(line.substr(6));
    return -1;
}

void streamLines()
{
    constexpr int kLines = 200000;
    constexpr qint64 kLineBytes = 81; // what the script prints per line, newline included
    NoTelemetry sink;
    BlockingWorkers workers;
    const auto mac = SimulatedMac::create(QStringLiteral("developer-no-java"));
    ScreenContext context = contextFor(mac, sink, true, workers);
    context.services.processRunner = std::make_shared<LoudRunner>(context.services.processRunner, kLines);

    auto owned = std::make_unique<QQuickView>();
    QQuickView &view = *owned;
    view.engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.resize(640, 480);
    QTest::qWait(100);
    const long before = rssKiB();

    QElapsedTimer clock;
    clock.start();
    RemediationSheetModel sheet(context, Remediation::installTemurinViaBrew(QStringLiteral("temurin@25")));
    view.setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(static_cast<QObject *>(&sheet))}});
    view.setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/RemediationSheet.qml")));
    view.show();
    if (!view.rootObject())
        qFatal("the sheet did not load");

    qint64 last = clock.nsecsElapsed(), longest = 0, lastCpu = threadCpuNs(), longestCpu = 0, longestCpuOfLongest = 0;
    QTimer tick;
    tick.setInterval(5);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed(), cpu = threadCpuNs();
        if (now - last > longest) {
            longest = now - last;
            longestCpuOfLongest = cpu - lastCpu;
        }
        longestCpu = std::max(longestCpu, cpu - lastCpu);
        last = now;
        lastCpu = cpu;
    });
    tick.start();
    if (!QTest::qWaitFor([&] { return sheet.lines()->rowCount() >= kLines; }, 300000))
        qFatal("only %d lines arrived", sheet.lines()->rowCount());
    QTest::qWait(100);
    tick.stop();
    const long after = rssKiB();
    const double textMiB = double(kLines * kLineBytes) / (1 << 20);
    std::printf("stream %d lines: %.0f ms, longest UI gap %.1f ms (target <= 50; %.1f ms of it on the UI thread's CPU), "
                "most UI-thread CPU in one gap %.1f ms, rows %d\n",
                kLines, clock.nsecsElapsed() / 1e6, longest / 1e6, longestCpuOfLongest / 1e6, longestCpu / 1e6, sheet.lines()->rowCount());
    std::printf("  RSS %.1f -> %.1f MiB: grew %.1f MiB for %.1f MiB of text = %.2fx (target <= 2x)\n", before / 1024.0, after / 1024.0,
                (after - before) / 1024.0, textMiB, (after - before) / 1024.0 / textMiB);
    sheet.cancel();
    if (!QTest::qWaitFor([&] { return sheet.state() != RemediationSheetModel::State::Running; }, 10000))
        std::printf("  the sheet did not end after cancel\n");
    owned.reset(); // before the model it shows
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    constexpr int kRounds = 9;
    for (const char *scenario : {"developer-no-java", "java-home-unset"}) {
        std::vector<double> warm, fresh;
        // Interleaved, so both see the same machine load.
        for (int round = 0; round < kRounds; ++round) {
            warm.push_back(diagnoseToFrame(scenario, true));
            fresh.push_back(diagnoseToFrame(scenario, false));
        }
        std::printf("diagnose %-18s push -> diagnosed frame, median of %d: ready %.1f ms (target <= 50), fresh %.1f ms, fresh/ready %.1fx\n",
                    scenario, kRounds, median(warm), median(fresh), median(fresh) / median(warm));
    }
    streamLines();
    return 0;
}
