#include "WindowCapture.h"

#include <QGuiApplication>
#include <QImage>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTextStream>

bool WindowCapture::captureAndQuit(QQmlApplicationEngine &engine, const QString &pngPath)
{
    const auto roots = engine.rootObjects();
    auto *window = roots.isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(roots.first());
    if (!window)
        return false;
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [window, pngPath] {
        const QImage image = window->grabWindow();
        const bool saved = !image.isNull() && image.save(pngPath);
        QTextStream(stderr) << (saved ? "Saved the window to " : "Couldn't save the window to ") << pngPath << '\n';
        QGuiApplication::exit(saved ? 0 : 1);
    }, Qt::SingleShotConnection);
    return true;
}
