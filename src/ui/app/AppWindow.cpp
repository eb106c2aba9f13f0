#include "ui/app/AppWindow.h"

#include "ui/app/TarnwickAppModel.h"

#include <QQmlApplicationEngine>
#include <QtQml/QQmlExtensionPlugin>

// The module is linked statically: its plugin registers the types and the qmldir.
Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

bool loadAppWindow(QQmlApplicationEngine &engine, TarnwickAppModel &app)
{
    // Qt 6.4 does not look under the module's resource prefix by itself.
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.setInitialProperties({{QStringLiteral("app"), QVariant::fromValue(&app)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/Main.qml")));
    return !engine.rootObjects().isEmpty();
}
