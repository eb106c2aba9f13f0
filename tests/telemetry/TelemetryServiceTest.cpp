#include "LocalHTTPServer.h"
#include "simulated/InMemoryKeyValueStore.h"
#include "simulated/SimulatedMac.h"
#include "services/JSONDecoding.h"
#include "services/LiveFileSystem.h"
#include "services/LiveHTTPFetcher.h"
#include "telemetry/TelemetryService.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>


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
        configuration.fs = fs;
        configuration.pendingFilePath = queueFile;
        configuration.log = [this](const QString &line) { std::lock_guard lock(logMutex); logLines.append(line); };
        return std::make_unique<TelemetryService>(configuration);
    }
    void writeQueueFile(const QByteArray &text) const
    {
        fs->createDirectory(dir.filePath(QStringLiteral("Tarnwick")), Parents::create);
        fs->writeData(queueFile, text);
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
            names.append(record.value("event_name").toString());
        return names;
    }
    QStringList log() const { std::lock_guard lock(logMutex); return logLines; }

    LocalHTTPServer server;
    std::function<LocalHTTPServer::Reply(const LocalHTTPServer::Request &)> answer;
    std::shared_ptr<InMemoryKeyValueStore> store = std::make_shared<InMemoryKeyValueStore>();
    std::shared_ptr<LiveFileSystem> fs = std::make_shared<LiveFileSystem>();
    QTemporaryDir dir;
    const QString queueFile = dir.filePath(QStringLiteral("Tarnwick/pending-events.json"));
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
    EXPECT_EQ(headers.value("content-type") + '|' + headers.value("authorization"), QByteArray("application/json|Bearer anon.key.jwt"));
    ASSERT_EQ(harness.records().size(), 1);
    QJsonObject record = harness.records().at(0);
    const QString stamp = record.take("client_timestamp").toString();
    EXPECT_TRUE(QRegularExpression(QStringLiteral(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$)")).match(stamp).hasMatch()) << stamp.toStdString();
    EXPECT_EQ(JSONValue::fromJson(record), JSONValue(JSONObject {{"session_id", kSession.toLower()}, {"app_id", "java"}, {"app_version", "1.4 (27)"},
        {"event_name", "remediation_completed"},
        {"event_data", JSONObject {{"remediation_id", "brew:temurin@21"}, {"exit_code", 0}, {"nested", JSONArray {JSONValue::null(), 2.5}}}}}));
    EXPECT_FALSE(harness.fs->fileExists(harness.queueFile)); // delivered: no queue left
}

TEST(TelemetryService, DeliversWhatAnEarlierRunQueuedSurvivingWhatItCannotReadOrTheServerRefuses)
{
    const QByteArray valid = queued("nps_shown");
    QByteArrayList many;
    QStringList newest;
    for (int i = 0; i < 2500; ++i) {
        many.append(queued("e" + QByteArray::number(i)));
        if (i >= 1500)
            newest.append(QStringLiteral("e%1").arg(i));
    }
    const QString unreadable = QStringLiteral("Telemetry: couldn't load pending events: ");
    const struct {
        const char *name;
        QByteArray file;
        int refusal; // the status nps_shown gets; 0: accepted and app_launched tracked meanwhile; -1: accepted
        QStringList delivered;
        QStringList log; // each line's start
        int requests = -1;
    } cases[] = {
        // A batch refused for one of its events: each is then tried alone, the refused one once.
        {"404", "[" + queued("app_launched") + "," + valid + "]", 404, {"app_launched", "nps_shown", "app_launched", "nps_shown"},
         {"Telemetry: dropping event after 404 (likely event_name or schema mismatch)"}},
        {"422", "[" + queued("app_launched") + "," + valid + "]", 422, {"app_launched", "nps_shown", "app_launched", "nps_shown"},
         {"Telemetry: dropping event after 422 (likely event_name or schema mismatch)"}},
        {"a long queue, in batches, the newest kept", "[" + many.join(',') + "]", -1, newest,
         {"Telemetry: queue full, dropped the 1500 oldest events (at most 1000 are kept)"}, 10},
        {"empty array", "[]", 0, {"app_launched"}, {}},
        {"not JSON", "{{{ corrupt", 0, {"app_launched"}, {unreadable}},
        {"an object, not an array", valid, 0, {"app_launched"}, {unreadable}},
        {"one bad entry among good ones", "[" + valid + ", {\"eventName\": 3}, " + valid + "]", 0, {"nps_shown", "nps_shown", "app_launched"}, {unreadable}},
    };
    for (const auto &c : cases) {
        Harness harness;
        harness.answer = [status = c.refusal](const LocalHTTPServer::Request &request) {
            return status > 0 && request.body.contains("nps_shown") ? LocalHTTPServer::Reply {status, {}, "{\"message\":\"unknown column\"}"}
                                                                : LocalHTTPServer::Reply {201, {}, {}};
        };
        harness.writeQueueFile(c.file);
        auto telemetry = harness.start();
        if (c.refusal == 0)
            telemetry->track(QStringLiteral("app_launched"), {});
        telemetry->waitUntilIdle();
        EXPECT_EQ(harness.received(), c.delivered) << c.name;
        const QStringList log = harness.log();
        EXPECT_EQ(log.size(), c.log.size()) << c.name << ": " << log.join(u'|').toStdString();
        for (qsizetype i = 0; i < std::min(log.size(), c.log.size()); ++i)
            EXPECT_TRUE(log[i].startsWith(c.log[i])) << c.name << ": " << log[i].toStdString();
        EXPECT_TRUE(c.requests < 0 || harness.server.requests().size() == c.requests) << c.name << ": " << harness.server.requests().size();
        EXPECT_FALSE(harness.fs->fileExists(harness.queueFile)) << c.name;
    }
}

TEST(TelemetryService, RetriesTwiceThenKeepsTheEventForTheNextRun)
{
    const JSONObject data {{"diagnosis", "D1_NoJDK"}, {"flags", JSONArray {true, JSONValue::null(), 7, qint64(-9007199254740993LL)}}};
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
        const QJsonArray queued = json::parse(earlier.fs->readData(earlier.queueFile)).array();
        ASSERT_EQ(queued.size(), 1) << status;
        EXPECT_EQ(queued.at(0).toObject().value("sessionID").toString(), kSession);

        Harness now;
        now.writeQueueFile(earlier.fs->readData(earlier.queueFile));
        auto telemetry = now.start();
        telemetry->track(QStringLiteral("consent_given"), {});
        telemetry->waitUntilIdle();
        EXPECT_EQ(now.received(), (QStringList {"diagnosis_reached", "consent_given"}));
        EXPECT_EQ(JSONValue::fromJson(now.records().value(0).value("event_data")), JSONValue(data));
        EXPECT_FALSE(now.fs->fileExists(now.queueFile));
    }
}

// The app installs the shared instance from the services it selected: on a simulated Mac the
// event goes to the simulated network and waits in a queue on the simulated disk.
TEST(TelemetryService, TheSharedInstanceWorksOnTheInstalledServices)
{
    EXPECT_FALSE(TelemetryService::shared().isEnabled()); // nothing installed, as in the doctor
    Harness off; // nor is anything sent or queued without an endpoint
    off.start(false)->track(QStringLiteral("app_launched"), {});
    EXPECT_EQ(off.log(), QStringList {"Telemetry: off (no endpoint configured)"});
    EXPECT_FALSE(off.fs->fileExists(off.queueFile));
    EXPECT_TRUE(off.server.requests().isEmpty());
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
