#pragma once

#include "services/AppServices.h"
#include "services/SerialWorker.h"
#include "telemetry/TelemetrySink.h"

#include <QUrl>
#include <QUuid>

#include <memory>
#include <mutex>

/// Sends anonymous usage events to the telemetry endpoint in batches, oldest first, with a short
/// retry. Every event is queued in memory and mirrored to pending-events.json, so nothing is lost
/// when the Mac is offline or the app quits; the queue keeps the newest kQueueLimit events. All
/// the work happens on a worker thread of its own: `track` returns at once and no telemetry
/// failure ever reaches the user.
class TelemetryService final : public TelemetrySink {
public:
    struct Configuration {
        /// The insert endpoint; empty turns telemetry off (nothing is queued, read or written).
        QUrl endpointURL;
        QString anonKey;
        /// Sent with every event, e.g. "1.4 (27)".
        QString appVersion;
        std::shared_ptr<const HTTPFetching> http;
        std::shared_ptr<KeyValueStoring> kvStore;
        std::shared_ptr<FileSystemOperating> fs;
        QString pendingFilePath;
        /// Where diagnostics go; the system log unless a test listens.
        std::function<void(const QString &line)> log;

        /// The build's endpoint and key (TARNWICK_TELEMETRY_URL and TARNWICK_TELEMETRY_KEY in the
        /// environment win), the app's version, and the queue file in Application Support.
        [[nodiscard]] static Configuration makeDefault(const AppServices &services);
    };

    /// One queued event, as it is kept in pending-events.json.
    struct Event {
        QUuid sessionID;
        QString clientTimestamp;
        QString appVersion;
        QString eventName;
        JSONObject eventData;

        friend bool operator==(const Event &, const Event &) = default;
    };

    /// Events per request; the queue file is rewritten once per batch.
    static constexpr qsizetype kBatchSize = 100;
    /// Past this many queued events the oldest go (one log line says how many).
    static constexpr qsizetype kQueueLimit = 1000;

    explicit TelemetryService(Configuration configuration);
    ~TelemetryService() override;

    /// Makes the one instance the app's emitters use, from the services this run works on (so a
    /// simulated Mac keeps its queue on its own disk). The app's main() calls it once, before
    /// anything tracks; a later call changes nothing and returns the first instance.
    static TelemetryService &installShared(Configuration configuration);
    /// The installed instance; before installShared (and in the doctor, which installs none) an
    /// instance that is off: nothing is queued, written or sent.
    static TelemetryService &shared();
    /// "<short version> (<build>)" of this build.
    static QString appVersion();
    /// Application Support/Tarnwick/pending-events.json, or the same under the temporary folder.
    static QString defaultPendingFilePath(const FileSystemOperating &fs);

    using TelemetrySink::track;
    void track(const QString &eventName, const JSONObject &data) override;

    [[nodiscard]] bool isEnabled() const { return m_worker != nullptr; }
    /// Returns when nothing is left to do for now: the queue is delivered, or the loop has given
    /// up until the next event. For tests, and for tools that exit right after their last event.
    void waitUntilIdle() const;

private:
    void loadPending();
    void flush();
    void startFlushLocked();
    void capLocked();
    [[nodiscard]] qsizetype deliver(const QList<Event> &batch);
    enum class Answer { accepted, refused, failed };
    [[nodiscard]] Answer send(const QList<Event> &events, int *status);
    void persist(const QList<Event> &events) const;

    Configuration m_configuration;
    QUuid m_sessionID;
    mutable std::mutex m_mutex;
    QList<Event> m_pending;
    bool m_isFlushing = false;
    qsizetype m_inFlight = 0;  // events at the head of m_pending that a request is carrying
    qsizetype m_dropped = 0;   // dropped by the cap, not yet logged
    ProcessCancellation m_shutdown; // stops a request in flight when the service goes away
    std::unique_ptr<SerialWorker> m_worker;
};
