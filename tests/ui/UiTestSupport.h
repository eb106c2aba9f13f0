#pragma once

#include "fixtures/InMemoryKeyValueStore.h"
#include "fixtures/SimulatedMac.h"
#include "telemetry/TelemetrySink.h"
#include "ui/common/ScreenContext.h"

#include <QList>
#include <QStringList>
#include <QtGlobal>
#include <QUrl>

#include <memory>
#include <optional>
#include <mutex>

/// Keeps what the models sent; the start-up work tracks from a worker thread.
class RecordingSink final : public TelemetrySink {
public:
    using TelemetrySink::track;
    void track(const QString &eventName, const JSONObject &) override
    {
        std::lock_guard lock(m_mutex);
        m_names.append(eventName);
    }
    QStringList names() const
    {
        std::lock_guard lock(m_mutex);
        return m_names;
    }

private:
    mutable std::mutex m_mutex;
    QStringList m_names;
};

/// A simulated Mac whose settings live in `store`, so a second launch can share the first one's.
struct UiWorld {
    std::shared_ptr<SimulatedMac> mac = SimulatedMac::create(QStringLiteral("developer-no-java"));
    std::shared_ptr<InMemoryKeyValueStore> store = std::make_shared<InMemoryKeyValueStore>();
    RecordingSink sink;
    QList<QUrl> opened;

    ScreenContext context(QUrl site = QUrl(QStringLiteral("https://ferrowood.com")))
    {
        AppServices services = mac->services();
        services.store = store;
        return ScreenContext{.services = services,
                             .platform = mac->platform(),
                             .telemetry = &sink,
                             .openLink = [this](const QUrl &url) { opened.append(url); },
                             .site = MakerSite(std::move(site))};
    }
};

/// While it lives, every warning Qt logs (QML's included) is kept, and still passed on.
class WarningRecorder {
public:
    WarningRecorder()
    {
        s_warnings.clear();
        s_next = qInstallMessageHandler(&record);
    }
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
