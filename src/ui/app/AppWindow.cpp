#include "ui/app/AppWindow.h"

#include "ui/app/TarnwickAppModel.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/QQmlExtensionPlugin>

// The module is linked statically: its plugin registers the types and the qmldir.
Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

bool loadAppWindow(QQmlApplicationEngine &engine, TarnwickAppModel &app)
{
    // Qt 6.4 does not look under the module's resource prefix by itself.
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.setInitialProperties({{QStringLiteral("app"), QVariant::fromValue(&app)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return false;
    // The start-up work (the Mac's profile, its probes side by side) waits for the first frame:
    // started as the window loaded, it took CPU the load needed (the first frame came 3 ms later
    // on an idle two-core machine, 15 ms on a busy one). frameSwapped may come from the render
    // thread, hence queued.
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().first());
    if (!window)
        return false;
    QObject::connect(window, &QQuickWindow::frameSwapped, &app, &TarnwickAppModel::start,
                     Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection));
    // A window that is not drawn (hidden at launch, or drawn before this connection) still gets
    // its profile; start() runs once.
    QTimer::singleShot(std::chrono::seconds(1), &app, &TarnwickAppModel::start);
    return true;
}
