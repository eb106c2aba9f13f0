#include "LocalHTTPServer.h"
#include "simulated/InMemoryKeyValueStore.h"
#include "simulated/SimulatedMac.h"
#include "services/JSONDecoding.h"
#include "services/LiveFileSystem.h"
#include "services/LiveHTTPFetcher.h"
#include "telemetry/TelemetryService.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <future>

namespace {

const QString kSession = QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF");

// One event as an earlier run left it in the queue file.
QByteArray queued(const QByteArray &name)
{
    return R"json({"sessionID":"6F9619FF-8B86-D011-B42D-00C04FC964FF","clientTimestamp":"2026-11-15T19:54:48.123Z","appVersion":"1.3 (20)","eventName":")json"
        + name + R"json(","eventData":{}})json";
}

// A telemetry service wired to a local endpoint, real files and a log the test can read.
struct Harness {
    Harness()
    {
        server.route("/api/database/records/tarnwick_events", [this](const LocalHTTPServer::Request &request) {
            return answer ? answer(request) : LocalHTTPServer::Reply {201, {}, {}};
        });
        store->setString(QStringLiteral("ferrowood.tarnwick.session_id"), kSession);
    }
    std::unique_ptr<TelemetryService> start(bool withEndpoint = true)
    {
        TelemetryService::Configuration configuration;
        if (withEndpoint) {
            configuration.endpointURL = server.url(QStringLiteral("/api/database/records/tarnwick_events"));
            configuration.anonKey = QStringLiteral("anon.key.jwt");
            configuration.appVersion = QStringLiteral("1.4 (27)");
            configuration.http = std::make_shared<LiveHTTPFetcher>();
        }
        configuration.kvStore = store;
        configuration.fs = std::make_shared<LiveFileSystem>();
        configuration.pendingFilePath = queueFile();
        configuration.log = [this](const QString &line) {
            std::lock_guard lock(logMutex);
            logLines.append(line);
        };
        return std::make_unique<TelemetryService>(configuration);
    }
    QString queueFile() const { return dir.filePath(QStringLiteral("Tarnwick/pending-events.json")); }
    void writeQueueFile(const QByteArray &text) const
    {
        QDir(dir.path()).mkpath(QStringLiteral("Tarnwick"));
        QFile file(queueFile());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    QByteArray queueFileText() const
    {
        QFile file(queueFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
    }
    // The records the server received, in order, whatever the batches.
    QList<QJsonObject> records() const
    {
        QList<QJsonObject> records;
        for (const auto &request : server.requests())
            for (const QJsonValue &record : json::parse(request.body).array())
                records.append(record.toObject());
        return records;
    }
    QStringList received() const
    {
        QStringList names;
        for (const QJsonObject &record : records())
            names.append(record.value(QStringLiteral("event_name")).toString());
        return names;
    }
    QStringList log() const
    {
        std::lock_guard lock(logMutex);
        return logLines;
    }

    LocalHTTPServer server;
    std::function<LocalHTTPServer::Reply(const LocalHTTPServer::Request &)> answer;
    std::shared_ptr<InMemoryKeyValueStore> store = std::make_shared<InMemoryKeyValueStore>();
    QTemporaryDir dir;
    mutable std::mutex logMutex;
    QStringList logLines;
};

} // namespace

TEST(TelemetryService, DeliversOneRecordPerRequestInTheWireForm)
{
    Harness harness;
    auto telemetry = harness.start();
    telemetry->track(QStringLiteral("remediation_completed"),
                     {{"remediation_id", "brew:temurin@21"}, {"exit_code", 0}, {"nested", JSONArray {JSONValue::null(), 2.5}}});
    telemetry->waitUntilIdle();

    const auto requests = harness.server.requests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests[0].method, QByteArray("POST"));
    QMap<QByteArray, QByteArray> headers;
    for (const auto &[name, value] : requests[0].headers)
        headers.insert(name.toLower(), value);
    EXPECT_EQ(headers.value("content-type"), QByteArray("application/json"));
    EXPECT_EQ(headers.value("authorization"), QByteArray("Bearer anon.key.jwt"));
    ASSERT_EQ(harness.records().size(), 1);
    const QJsonObject record = harness.records().at(0);
    EXPECT_EQ(record.keys(), (QStringList {"app_id", "app_version", "client_timestamp", "event_data", "event_name", "session_id"}));
    EXPECT_EQ(record.value("session_id").toString(), kSession.toLower());
    EXPECT_EQ(record.value("app_id").toString(), QStringLiteral("java"));
    EXPECT_EQ(record.value("app_version").toString(), QStringLiteral("1.4 (27)"));
    EXPECT_EQ(record.value("event_name").toString(), QStringLiteral("remediation_completed"));
    EXPECT_TRUE(QRegularExpression(QStringLiteral(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$)"))
                    .match(record.value("client_timestamp").toString())
                    .hasMatch())
        << record.value("client_timestamp").toString().toStdString();
    EXPECT_EQ(JSONValue::fromJson(record.value("event_data")),
              JSONValue(JSONObject {{"remediation_id", "brew:temurin@21"}, {"exit_code", 0}, {"nested", JSONArray {JSONValue::null(), 2.5}}}));
    EXPECT_FALSE(QFile::exists(harness.queueFile())); // delivered: no queue left
}

TEST(TelemetryService, DropsWhatTheServerRefusesAfterOneAttemptAndDeliversTheRest)
{
    for (int status : {404, 422}) {
        Harness harness;
        harness.answer = [status](const LocalHTTPServer::Request &request) {
            return request.body.contains("nps_shown") ? LocalHTTPServer::Reply {status, {}, "{\"message\":\"unknown column\"}"}
                                                      : LocalHTTPServer::Reply {201, {}, {}};
        };
        // One batch of two, refused for one of them: each is then tried alone. Both wait in the
        // queue from the start, so they always travel together.
        harness.writeQueueFile("[" + queued("app_launched") + "," + queued("nps_shown") + "]");
        auto telemetry = harness.start();
        telemetry->waitUntilIdle();
        EXPECT_EQ(harness.received(), (QStringList {"app_launched", "nps_shown", "app_launched", "nps_shown"})) << status;
        EXPECT_EQ(harness.log(), QStringList {QStringLiteral("Telemetry: dropping event after %1 (likely event_name or schema mismatch)").arg(status)});
        EXPECT_FALSE(QFile::exists(harness.queueFile()));
    }
}

TEST(TelemetryService, DeliversALongQueueInBatchesKeepingTheNewest)
{
    Harness harness;
    QByteArrayList events;
    for (int i = 0; i < 2500; ++i)
        events.append(queued("e" + QByteArray::number(i)));
    harness.writeQueueFile("[" + events.join(',') + "]");
    auto telemetry = harness.start();
    telemetry->waitUntilIdle();

    QStringList newest;
    for (int i = 1500; i < 2500; ++i)
        newest.append(QStringLiteral("e%1").arg(i));
    EXPECT_EQ(harness.received(), newest);
    EXPECT_EQ(harness.server.requests().size(), 10);
    EXPECT_EQ(harness.log(), QStringList {"Telemetry: queue full, dropped the 1500 oldest events (at most 1000 are kept)"});
    EXPECT_FALSE(QFile::exists(harness.queueFile()));
}

TEST(TelemetryService, RetriesTwiceThenKeepsTheEventForTheNextRun)
{
    const JSONObject data {{"diagnosis", "D1_NoJDK"}, {"flags", JSONArray {true, JSONValue::null(), 7}}};
    for (int status : {500, 302}) {
        Harness earlier;
        earlier.answer = [status](const auto &) { return LocalHTTPServer::Reply {status, {}, "try later"}; };
        {
            auto telemetry = earlier.start();
            QElapsedTimer timer;
            timer.start();
            telemetry->track(QStringLiteral("diagnosis_reached"), data);
            telemetry->waitUntilIdle();
            EXPECT_EQ(earlier.received(), (QStringList {"diagnosis_reached", "diagnosis_reached", "diagnosis_reached"})) << status;
            EXPECT_GE(timer.elapsed(), 1400) << "pauses of 0.5 s and 1 s";
        }
        const QJsonArray queued = json::parse(earlier.queueFileText()).array();
        ASSERT_EQ(queued.size(), 1) << status;
        EXPECT_EQ(queued.at(0).toObject().value("sessionID").toString(), kSession);

        Harness now;
        now.writeQueueFile(earlier.queueFileText());
        auto telemetry = now.start();
        telemetry->track(QStringLiteral("consent_given"), {});
        telemetry->waitUntilIdle();
        EXPECT_EQ(now.received(), (QStringList {"diagnosis_reached", "consent_given"}));
        EXPECT_EQ(JSONValue::fromJson(now.records().value(0).value("event_data")), JSONValue(data));
        EXPECT_FALSE(QFile::exists(now.queueFile()));
    }
}

TEST(TelemetryService, ARunningFlushDeliversWhatIsTrackedMeanwhile)
{
    Harness harness;
    std::promise<void> secondTracked;
    std::shared_future<void> release = secondTracked.get_future().share();
    std::promise<void> firstArrived;
    std::atomic<int> calls {0};
    harness.answer = [&, release](const LocalHTTPServer::Request &) {
        if (calls++ == 0) {
            firstArrived.set_value();
            release.wait(); // hold the first answer until the second event is queued
        }
        return LocalHTTPServer::Reply {200, {}, {}};
    };
    auto telemetry = harness.start();
    telemetry->track(QStringLiteral("consent_given"), {});
    firstArrived.get_future().wait();
    telemetry->track(QStringLiteral("app_launched"), {});
    secondTracked.set_value();
    telemetry->waitUntilIdle();
    // A second loop would have sent the first event again.
    EXPECT_EQ(harness.received(), (QStringList {"consent_given", "app_launched"}));
}

TEST(TelemetryService, SurvivesQueueFilesItCannotRead)
{
    const QByteArray valid = queued("nps_shown");
    const struct {
        const char *name;
        QByteArray file;
        QStringList delivered;
        int logLines;
    } cases[] = {
        {"empty array", "[]", {"app_launched"}, 0},
        {"not JSON", "{{{ corrupt", {"app_launched"}, 1},
        {"truncated", "[" + valid.left(40), {"app_launched"}, 1},
        {"an object, not an array", valid, {"app_launched"}, 1},
        {"one bad entry among good ones", "[" + valid + ", {\"eventName\": 3}, " + valid + "]", {"nps_shown", "nps_shown", "app_launched"}, 1},
    };
    for (const auto &c : cases) {
        Harness harness;
        harness.writeQueueFile(c.file);
        auto telemetry = harness.start();
        telemetry->track(QStringLiteral("app_launched"), {});
        telemetry->waitUntilIdle();
        EXPECT_EQ(harness.received(), c.delivered) << c.name;
        EXPECT_EQ(harness.log().size(), c.logLines) << c.name << ": " << harness.log().join(u'|').toStdString();
        for (const QString &line : harness.log())
            EXPECT_TRUE(line.startsWith(QStringLiteral("Telemetry: couldn't load pending events: "))) << line.toStdString();
    }
}

TEST(TelemetryService, WithoutAnEndpointNothingIsQueuedOrWritten)
{
    Harness harness;
    auto telemetry = harness.start(false);
    telemetry->track(QStringLiteral("app_launched"), {});
    telemetry->waitUntilIdle();
    EXPECT_FALSE(telemetry->isEnabled());
    EXPECT_EQ(harness.log(), QStringList {"Telemetry: off (no endpoint configured)"});
    EXPECT_FALSE(QFile::exists(harness.queueFile()));
    EXPECT_TRUE(harness.server.requests().isEmpty());
}

// The app installs the shared instance from the services it selected: on a simulated Mac the
// event goes to the simulated network and waits in a queue on the simulated disk.
TEST(TelemetryService, TheSharedInstanceWorksOnTheInstalledServices)
{
    EXPECT_FALSE(TelemetryService::shared().isEnabled()); // nothing installed, as in the doctor
    const std::shared_ptr<SimulatedMac> mac = SimulatedMac::create(QStringLiteral("developer-no-java"));
    auto configuration = TelemetryService::Configuration::makeDefault(mac->services());
    configuration.endpointURL = QUrl(QStringLiteral("https://telemetry.invalid/api/database/records/tarnwick_events"));
    TelemetryService &installed = TelemetryService::installShared(configuration);
    EXPECT_EQ(&TelemetryService::installShared(TelemetryService::Configuration {}), &installed);
    ASSERT_EQ(&TelemetryService::shared(), &installed);

    TelemetryService::shared().track(QStringLiteral("app_launched"), {});
    TelemetryService::shared().waitUntilIdle(); // the simulated network has no such host: kept

    EXPECT_EQ(mac->http()->requests().value(0).url, configuration.endpointURL);
    const QString queue = mac->fileSystem()->applicationSupportDirectory() + QStringLiteral("/Tarnwick/pending-events.json");
    EXPECT_EQ(configuration.pendingFilePath, queue);
    EXPECT_TRUE(mac->fileSystem()->readString(queue).contains(QStringLiteral("\"eventName\":\"app_launched\"")));
}
