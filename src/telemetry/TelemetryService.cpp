#include "telemetry/TelemetryService.h"

#include "BuildConfig.h"
#include "services/JSONDecoding.h"
#include "telemetry/Logging.h"
#include "telemetry/SessionID.h"

#include <QDateTime>
#include <QFileInfo>

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace {

void systemLog(const QString &line)
{
    qCWarning(lcTelemetry).noquote() << line;
}

QString eventsToJson(const QList<TelemetryService::Event> &events)
{
    QJsonArray array;
    for (const TelemetryService::Event &event : events) {
        array.append(QJsonObject {
            {QStringLiteral("sessionID"), SessionID::canonicalText(event.sessionID)},
            {QStringLiteral("clientTimestamp"), event.clientTimestamp},
            {QStringLiteral("appVersion"), event.appVersion},
            {QStringLiteral("eventName"), event.eventName},
            {QStringLiteral("eventData"), toJson(event.eventData)},
        });
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

TelemetryService::Event eventFromJson(const QJsonValue &value)
{
    const QJsonObject object = json::object(value, QStringLiteral("event"));
    const std::optional<QUuid> sessionID = SessionID::parse(json::string(object, QStringLiteral("sessionID")));
    if (!sessionID)
        throw DecodingError(QStringLiteral("The data couldn't be read because “sessionID” isn't a UUID."));
    const JSONValue data = JSONValue::fromJson(object.value(QStringLiteral("eventData")));
    if (data.kind() != JSONValue::Kind::object)
        throw DecodingError(QStringLiteral("The data couldn't be read because “eventData” isn't an object."));
    return TelemetryService::Event {*sessionID, json::string(object, QStringLiteral("clientTimestamp")),
                                    json::string(object, QStringLiteral("appVersion")),
                                    json::string(object, QStringLiteral("eventName")), data.toObject()};
}

// The wire form: an array of records.
QByteArray payload(const QList<TelemetryService::Event> &events)
{
    QJsonArray records;
    for (const TelemetryService::Event &event : events) {
        records.append(QJsonObject {
            {QStringLiteral("session_id"), SessionID::canonicalText(event.sessionID).toLower()},
            {QStringLiteral("client_timestamp"), event.clientTimestamp},
            {QStringLiteral("app_version"), event.appVersion},
            {QStringLiteral("app_id"), QStringLiteral("java")},
            {QStringLiteral("event_name"), event.eventName},
            {QStringLiteral("event_data"), toJson(event.eventData)},
        });
    }
    return QJsonDocument(records).toJson(QJsonDocument::Compact);
}

QString configured(const char *environmentVariable, const char *builtIn)
{
    const QString value = qEnvironmentVariable(environmentVariable);
    return value.isEmpty() ? QString::fromUtf8(builtIn) : value;
}

} // namespace

TelemetryService::Configuration TelemetryService::Configuration::makeDefault(const AppServices &services)
{
    Configuration configuration;
    configuration.endpointURL = QUrl(configured("TARNWICK_TELEMETRY_URL", tarnwick::kTelemetryURL));
    configuration.anonKey = configured("TARNWICK_TELEMETRY_KEY", tarnwick::kTelemetryKey);
    configuration.appVersion = TelemetryService::appVersion();
    configuration.http = services.http;
    configuration.kvStore = services.store;
    configuration.fs = services.fs;
    configuration.pendingFilePath = defaultPendingFilePath(*services.fs);
    configuration.log = &systemLog;
    return configuration;
}

QString TelemetryService::appVersion()
{
    const QString shortVersion = QString::fromLatin1(tarnwick::kShortVersion);
    const QString build = QString::fromLatin1(tarnwick::kBuildNumber);
    return QStringLiteral("%1 (%2)").arg(shortVersion.isEmpty() ? QStringLiteral("0.0") : shortVersion,
                                         build.isEmpty() ? QStringLiteral("0") : build);
}

QString TelemetryService::defaultPendingFilePath(const FileSystemOperating &fs)
{
    QString base = fs.applicationSupportDirectory();
    if (base.isEmpty())
        base = fs.temporaryDirectory();
    return base + QStringLiteral("/Tarnwick/pending-events.json");
}

namespace {

std::mutex sharedMutex;
std::unique_ptr<TelemetryService> sharedInstance; // goes at exit, keeping its queue on disk

} // namespace

TelemetryService &TelemetryService::installShared(Configuration configuration)
{
    std::lock_guard lock(sharedMutex);
    if (sharedInstance == nullptr)
        sharedInstance = std::make_unique<TelemetryService>(std::move(configuration));
    return *sharedInstance;
}

TelemetryService &TelemetryService::shared()
{
    {
        std::lock_guard lock(sharedMutex);
        if (sharedInstance != nullptr)
            return *sharedInstance;
    }
    static TelemetryService off {Configuration {}};
    return off;
}

TelemetryService::TelemetryService(Configuration configuration) : m_configuration(std::move(configuration))
{
    if (!m_configuration.log)
        m_configuration.log = &systemLog;
    if (m_configuration.endpointURL.isEmpty()) {
        m_configuration.log(QStringLiteral("Telemetry: off (no endpoint configured)"));
        return;
    }
    m_sessionID = SessionID(m_configuration.kvStore).identity();
    m_worker = std::make_unique<SerialWorker>();
    m_worker->post([this] { loadPending(); });
}

TelemetryService::~TelemetryService()
{
    m_shutdown.cancel();
    m_worker.reset(); // waits for a task under way; its last persist keeps the queue
}

void TelemetryService::track(const QString &eventName, const JSONObject &data)
{
    if (!isEnabled())
        return;
    Event event {m_sessionID, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs), m_configuration.appVersion,
                 eventName, data};
    std::lock_guard lock(m_mutex);
    m_pending.append(std::move(event));
    capLocked();
    startFlushLocked();
}

void TelemetryService::capLocked()
{
    const qsizetype excess = m_pending.size() - kQueueLimit;
    if (excess <= 0)
        return;
    // The oldest that no request is carrying: the flush removes what it sent from the head.
    m_pending.remove(m_inFlight, excess);
    m_dropped += excess;
}

void TelemetryService::waitUntilIdle() const
{
    if (m_worker)
        m_worker->waitUntilIdle();
}

void TelemetryService::startFlushLocked()
{
    // One loop at a time: a running loop reaches new events at the tail by itself.
    if (m_isFlushing)
        return;
    m_isFlushing = true;
    m_worker->post([this] { flush(); });
}

void TelemetryService::loadPending()
{
    const QString &path = m_configuration.pendingFilePath;
    if (!m_configuration.fs->fileExists(path))
        return;
    const QString prefix = QStringLiteral("Telemetry: couldn't load pending events: ");
    QList<Event> loaded;
    qsizetype skipped = 0;
    try {
        const QJsonDocument document = json::parse(m_configuration.fs->readString(path).toUtf8());
        if (!document.isArray())
            throw DecodingError(QStringLiteral("The data couldn't be read because it isn't an array of events."));
        const QJsonArray entries = document.array();
        // Only the newest can stay; don't decode what the cap would drop anyway.
        const qsizetype first = std::max<qsizetype>(0, entries.size() - kQueueLimit);
        skipped = first;
        // An entry we cannot read must not cost the others.
        for (qsizetype i = first; i < entries.size(); ++i) {
            try {
                loaded.append(eventFromJson(entries.at(i)));
            } catch (const DecodingError &error) {
                m_configuration.log(prefix + QStringLiteral("entry %1 skipped: %2").arg(i + 1).arg(error.message()));
            }
        }
    } catch (const Error &error) { // unreadable, or not JSON events
        m_configuration.log(prefix + error.message());
        return;
    }
    std::lock_guard lock(m_mutex);
    m_pending = loaded + m_pending;
    m_dropped += skipped;
    capLocked();
    startFlushLocked();
}

void TelemetryService::flush()
{
    for (;;) {
        QList<Event> batch;
        {
            std::lock_guard lock(m_mutex);
            if (m_pending.isEmpty()) {
                m_isFlushing = false;
                return;
            }
            batch = m_pending.first(std::min(m_pending.size(), kBatchSize));
            m_inFlight = batch.size();
        }
        const qsizetype settled = deliver(batch);
        QList<Event> snapshot;
        qsizetype dropped = 0;
        {
            std::lock_guard lock(m_mutex);
            m_pending.remove(0, std::min(settled, m_pending.size()));
            m_inFlight = 0;
            snapshot = m_pending;
            dropped = std::exchange(m_dropped, 0);
            if (settled < batch.size())
                m_isFlushing = false; // the next event, or the next start, tries again
        }
        if (dropped > 0)
            m_configuration.log(QStringLiteral("Telemetry: queue full, dropped the %1 oldest events (at most %2 are kept)")
                                    .arg(dropped)
                                    .arg(kQueueLimit));
        persist(snapshot);
        if (settled < batch.size())
            return;
    }
}

qsizetype TelemetryService::deliver(const QList<Event> &batch)
{
    int status = 0;
    Answer answer = send(batch, &status);
    if (answer == Answer::failed)
        return 0;
    if (answer == Answer::accepted)
        return batch.size();
    // The server refuses the whole batch for one record it will never take; find that one by
    // sending each alone, so the others still arrive.
    for (qsizetype i = 0; i < batch.size(); ++i) {
        if (batch.size() > 1)
            answer = send({batch.at(i)}, &status);
        if (answer == Answer::failed)
            return i;
        if (answer == Answer::refused)
            m_configuration.log(QStringLiteral("Telemetry: dropping event after %1 (likely event_name or schema mismatch)").arg(status));
    }
    return batch.size();
}

TelemetryService::Answer TelemetryService::send(const QList<Event> &events, int *status)
{
    HTTPRequest request;
    request.url = m_configuration.endpointURL;
    request.method = "POST";
    request.headers = {{"Content-Type", "application/json"},
                       {"Authorization", "Bearer " + m_configuration.anonKey.toUtf8()}};
    request.body = payload(events);
    request.timeLimit = 30s;
    for (int attempt = 0;; ++attempt) {
        try {
            const HTTPResponse response = m_configuration.http->fetch(request, &m_shutdown);
            *status = response.status;
            if (response.status >= 200 && response.status < 300)
                return Answer::accepted;
            // The server will never take this; keeping it would block the queue.
            if (response.status >= 400 && response.status < 500)
                return Answer::refused;
        } catch (const HTTPError &) {
            // Offline, timed out, or shutting down: retried like a 5xx.
        }
        if (attempt >= 2 || m_shutdown.isCanceled())
            return Answer::failed;
        // 0.5 s after the first attempt, 1 s after the second.
        if (!m_worker->pause(std::chrono::milliseconds(250 << (attempt + 1))))
            return Answer::failed;
    }
}

void TelemetryService::persist(const QList<Event> &events) const
{
    const QString &path = m_configuration.pendingFilePath;
    try {
        m_configuration.fs->createDirectory(QFileInfo(path).absolutePath(), Parents::create);
        if (events.isEmpty()) {
            if (m_configuration.fs->fileExists(path)) {
                try {
                    m_configuration.fs->removeItem(path);
                } catch (const FileSystemError &) {
                    // A queue file we cannot remove is harmless: it is only read at start.
                }
            }
            return;
        }
        m_configuration.fs->writeString(path, eventsToJson(events));
    } catch (const FileSystemError &error) {
        m_configuration.log(QStringLiteral("Telemetry: couldn't persist pending events: ") + error.message());
    }
}
