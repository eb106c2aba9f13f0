// The baseline of startup_bench: the least a Qt Quick app does to show a window with one label,
// reporting its first frame as the app does.
#include "StartupReport.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/StartupBare/BareWindow.qml")));
    if (engine.rootObjects().isEmpty())
        return 1;
    StartupReport::reportFirstFrame(qobject_cast<QQuickWindow *>(engine.rootObjects().first()));
    return app.exec();
}
