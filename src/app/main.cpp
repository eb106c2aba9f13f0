#include "FontDatabaseWarmup.h"
#include "StartupReport.h"
#include "WindowCapture.h"

#include "BuildConfig.h"
#include "simulated/ServiceSelection.h"
#include "services/BlockingCallGuard.h"
#include "services/LiveKeyValueStore.h"
#include "telemetry/TelemetryService.h"
#include "ui/app/AppWindow.h"
#include "ui/app/TarnwickAppModel.h"
#include "ui/common/MakerSite.h"

#include <QCommandLineParser>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setOrganizationName(QStringLiteral("Ferrowood"));
    QGuiApplication::setOrganizationDomain(QStringLiteral("ferrowood.com"));
    QGuiApplication::setApplicationName(QStringLiteral("Tarnwick"));
    QGuiApplication::setApplicationVersion(QString::fromLatin1(tarnwick::kShortVersion));

    QCommandLineParser options;
    QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                  QStringLiteral("Save the window as a PNG once drawn, then quit."),
                                  QStringLiteral("png"));
    screenshot.setFlags(QCommandLineOption::HiddenFromHelp);
    options.addOption(screenshot);
    options.addVersionOption();
    options.process(app);
    const FontDatabaseWarmup fonts;

    // The one set of services of this run.
    auto selected = ServiceSelection::fromEnvironment();
    if (const QString *problem = std::get_if<QString>(&selected)) {
        qCritical("%s", qUtf8Printable(*problem));
        return 2;
    }
    ServiceSelection &selection = std::get<ServiceSelection>(selected);
    // The app's own settings (consent, the anonymous session) belong to the app, not to the Mac it
    // looks at: a simulated Mac keeps them in the real settings store too, so consent is asked once.
    selection.services.store = std::make_shared<LiveKeyValueStore>();
    forbidBlockingCallsOn(app.thread()); // services run on workers; the window never waits
    TelemetrySink &telemetry = TelemetryService::installShared(TelemetryService::Configuration::makeDefault(selection.services));

    BlockingWorkers workers; // outlives the models, which wait for their work as they go
    TarnwickAppModel root(ScreenContext{.services = selection.services,
                                        .platform = selection.platform,
                                        .telemetry = &telemetry,
                                        .workers = &workers,
                                        .openLink = [](const QUrl &url) { QDesktopServices::openUrl(url); },
                                        .site = MakerSite::fromEnvironment()},
                          selection.notice);
    QQmlApplicationEngine engine;
    if (StartupReport::isRequested()) {
        QObject::connect(&root, &TarnwickAppModel::profileChanged, &root, [] { StartupReport::print("profile"); },
                         Qt::SingleShotConnection);
    }
    if (!loadAppWindow(engine, root))
        return 1;
    if (StartupReport::isRequested())
        StartupReport::reportFirstFrame(qobject_cast<QQuickWindow *>(engine.rootObjects().first()));
    if (options.isSet(screenshot) && !WindowCapture::captureAndQuit(engine, options.value(screenshot)))
        return 1;
    return app.exec();
}
