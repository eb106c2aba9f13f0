#pragma once

#include "VisibleItem.h"
#include "simulated/InMemoryKeyValueStore.h"
#include "simulated/SimulatedMac.h"
#include "telemetry/TelemetrySink.h"
#include "ui/common/ScreenContext.h"

#include <QGuiApplication>
#include <QList>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QStringList>
#include <QTest>
#include <QUrl>

#include <memory>
#include <mutex>
#include <optional>

#include <gtest/gtest.h>

/// Keeps what the models sent; the start-up work tracks from a worker thread.
class RecordingSink final : public TelemetrySink {
public:
    using TelemetrySink::track;
    void track(const QString &eventName, const JSONObject &data) override { std::lock_guard lock(m_mutex); m_events.append({eventName, data}); }
    QList<TelemetryEvent> events() const { std::lock_guard lock(m_mutex); return m_events; }
    QStringList names() const
    {
        QStringList names;
        for (const TelemetryEvent &event : events())
            names.append(event.name);
        return names;
    }

private:
    mutable std::mutex m_mutex;
    QList<TelemetryEvent> m_events;
};

/// A simulated Mac whose settings live in `store`, so a second launch can share the first one's.
struct UiWorld {
    std::shared_ptr<SimulatedMac> mac = SimulatedMac::create(QStringLiteral("developer-no-java"));
    std::shared_ptr<InMemoryKeyValueStore> store = std::make_shared<InMemoryKeyValueStore>();
    RecordingSink sink;
    QList<QUrl> opened;
    BlockingWorkers workers;

    ScreenContext context(QUrl site = QUrl(QStringLiteral("https://ferrowood.com")))
    {
        AppServices services = mac->services();
        services.store = store;
        return ScreenContext{.services = services, .platform = mac->platform(), .telemetry = &sink, .workers = &workers,
                             .openLink = [this](const QUrl &url) { opened.append(url); }, .site = MakerSite(std::move(site))};
    }
};

/// While it lives, every warning Qt logs (QML's included) is kept, and still passed on.
class WarningRecorder {
public:
    WarningRecorder() { s_warnings.clear(); s_next = qInstallMessageHandler(&record); }
    ~WarningRecorder() { qInstallMessageHandler(s_next); }
    WarningRecorder(const WarningRecorder &) = delete;
    WarningRecorder &operator=(const WarningRecorder &) = delete;
    [[nodiscard]] static const QStringList &warnings() { return s_warnings; }

private:
    static void record(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        if (type != QtDebugMsg && type != QtInfoMsg)
            s_warnings.append(message);
        s_next(type, context, message);
    }
    inline static QStringList s_warnings;
    inline static QtMessageHandler s_next = nullptr;
};

/// Real QML views, offscreen; any QML warning while the test runs fails it.
class QmlViewTest : public ::testing::Test {
protected:
    void SetUp() override { m_warnings.emplace(); }
    void TearDown() override
    {
        closeViews();
        EXPECT_EQ(WarningRecorder::warnings(), QStringList()) << "QML warned";
        m_warnings.reset();
    }
    virtual void closeViews() { m_view.reset(); }
    virtual QQuickWindow *window() { return m_view.get(); }

    // One QML file's view over `model`.
    bool show(const char *file, QObject *model, QSize size)
    {
        m_view = std::make_unique<QQuickView>();
        m_view->engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
        m_view->setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(model)}});
        m_view->setResizeMode(QQuickView::SizeRootObjectToView);
        m_view->resize(size);
        m_view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/") + QLatin1String(file)));
        m_view->show();
        return m_view->rootObject() && QTest::qWaitForWindowExposed(m_view.get());
    }
    // From the content item: sheets live in the window's overlay, beside the page.
    QQuickItem *item(const char *name) { return visibleItem(window()->contentItem(), QString::fromLatin1(name)); }
    bool click(const char *name) // false when it is not shown
    {
        QQuickItem *target = item(name);
        if (target)
            QTest::mouseClick(window(), Qt::LeftButton, {}, target->mapToScene(QPointF(target->width() / 2, target->height() / 2)).toPoint());
        return target;
    }

    std::optional<WarningRecorder> m_warnings;
    std::unique_ptr<QQuickView> m_view;
};
