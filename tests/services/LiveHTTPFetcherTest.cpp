#include "LocalHTTPServer.h"
#include "services/FileSystemOperating.h"
#include "services/LiveHTTPFetcher.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <future>
#include <thread>

using namespace std::chrono_literals;

namespace {

const LiveHTTPFetcher http;

HTTPRequest get(const QUrl &url, std::chrono::milliseconds limit = 10s)
{
    return HTTPRequest::get(url, limit);
}

HTTPError::Kind fetchErrorKind(const HTTPRequest &request, ProcessCancellation *cancellation = nullptr)
{
    try {
        (void)http.fetch(request, cancellation);
    } catch (const HTTPError &error) {
        EXPECT_FALSE(error.message().isEmpty());
        return error.kind();
    }
    ADD_FAILURE() << "no error for " << request.url.toString().toStdString();
    return HTTPError::Kind::transport;
}

QByteArray patternedBody(qsizetype size)
{
    QByteArray body(size, '\0');
    for (qsizetype i = 0; i < size; ++i)
        body[i] = static_cast<char>('a' + (i * 7) % 26);
    return body;
}

} // namespace

TEST(LiveHTTPFetcher, SendsTheRequestAndReturnsStatusHeadersAndBody)
{
    LocalHTTPServer server;
    server.route("/v3/info", [](const LocalHTTPServer::Request &request) {
        return LocalHTTPServer::Reply {200, {{"Content-Type", "application/json"}, {"X-Echo", request.method}}, "{\"ok\":true}"};
    });
    HTTPRequest request = get(server.url(QStringLiteral("/v3/info?architecture=aarch64&os=mac")));
    request.method = "POST";
    request.headers = {{"Authorization", "Bearer anon"}, {"Content-Type", "application/json"}};
    request.body = QByteArray("[{\"event_name\":\"app_launched\"}]");

    const HTTPResponse response = http.fetch(request, nullptr);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, QByteArray("{\"ok\":true}"));
    EXPECT_EQ(response.header("content-type"), QByteArray("application/json"));
    EXPECT_EQ(response.header("X-ECHO"), QByteArray("POST"));

    const auto received = server.requests();
    ASSERT_EQ(received.size(), 1);
    EXPECT_EQ(received[0].target, QByteArray("/v3/info?architecture=aarch64&os=mac"));
    EXPECT_EQ(received[0].body, *request.body);
    bool sawKey = false;
    for (const auto &[name, value] : received[0].headers)
        sawKey = sawKey || (name.compare("authorization", Qt::CaseInsensitive) == 0 && value == "Bearer anon");
    EXPECT_TRUE(sawKey);
}

TEST(LiveHTTPFetcher, AnyThreadMayFetch)
{
    // Worker threads with no event loop of their own, several at once.
    LocalHTTPServer server;
    server.route("/echo", [](const LocalHTTPServer::Request &request) {
        return LocalHTTPServer::Reply {200, {}, request.target.split('=').last()};
    });
    std::vector<std::future<QByteArray>> fetches;
    for (int i = 0; i < 6; ++i) {
        fetches.push_back(std::async(std::launch::async, [&server, i] {
            return http.fetch(get(server.url(QStringLiteral("/echo?n=%1").arg(i))), nullptr).body;
        }));
    }
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(fetches[i].get(), QByteArray::number(i));
}

TEST(LiveHTTPFetcher, ErrorStatusesComeBackAsResponses)
{
    LocalHTTPServer server;
    server.route("/final", [](const auto &) { return LocalHTTPServer::Reply {200, {}, "arrived"}; });
    server.route("/moved", [&](const auto &) {
        return LocalHTTPServer::Reply {302, {{"Location", server.url(QStringLiteral("/final")).toEncoded()}}, {}};
    });
    server.route("/broken", [](const auto &) { return LocalHTTPServer::Reply {500, {}, "upstream failed"}; });
    const struct {
        const char *path;
        int status;
        QByteArray body;
    } cases[] = {
        {"/absent", 404, "no route for /absent"},
        {"/broken", 500, "upstream failed"},
        {"/moved", 200, "arrived"},
    };
    for (const auto &c : cases) {
        const HTTPResponse response = http.fetch(get(server.url(QString::fromLatin1(c.path))), nullptr);
        EXPECT_EQ(response.status, c.status) << c.path;
        EXPECT_EQ(response.body, c.body) << c.path;
    }
}

TEST(LiveHTTPFetcher, TellsATimeOutFromACancel)
{
    LocalHTTPServer server;
    server.route("/hang", [](const auto &) { LocalHTTPServer::Reply reply; reply.hang = true; return reply; });
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(fetchErrorKind(get(server.url(QStringLiteral("/hang")), 500ms)), HTTPError::Kind::timedOut);
    EXPECT_GE(timer.elapsed(), 400);
    EXPECT_LT(timer.elapsed(), 3000);

    ProcessCancellation cancellation;
    auto canceller = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(200ms);
        cancellation.cancel();
    });
    EXPECT_EQ(fetchErrorKind(get(server.url(QStringLiteral("/hang")), 20s), &cancellation), HTTPError::Kind::cancelled);
    canceller.wait();
    EXPECT_EQ(fetchErrorKind(get(server.url(QStringLiteral("/hang"))), &cancellation), HTTPError::Kind::cancelled); // nothing sent
    EXPECT_EQ(server.requests().size(), 2);
}

TEST(LiveHTTPFetcher, ReportsAnswersThatAreNotHTTPAndUnreachableHosts)
{
    QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("local.json")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{}");
    file.close();
    quint16 closedPort = 0;
    {
        LocalHTTPServer server; // gone at the end of the block, leaving a port nobody listens on
        closedPort = static_cast<quint16>(server.url(QStringLiteral("/")).port());
    }
    // An answer bigger than any JSON we ask for is cut off, not held in memory.
    LocalHTTPServer server;
    server.route("/huge.json", [](const auto &) { return LocalHTTPServer::Reply {200, {}, patternedBody(HTTPRequest::kFetchBodyLimit + 1)}; });
    const struct {
        QUrl url;
        HTTPError::Kind kind;
    } cases[] = {
        {QUrl::fromLocalFile(file.fileName()), HTTPError::Kind::notHTTPResponse},
        {server.url(QStringLiteral("/huge.json")), HTTPError::Kind::tooLarge},
        {QUrl(QStringLiteral("gopher://127.0.0.1/")), HTTPError::Kind::transport},
        {QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(closedPort)), HTTPError::Kind::transport},
    };
    for (const auto &c : cases)
        EXPECT_EQ(fetchErrorKind(get(c.url)), c.kind) << c.url.toString().toStdString();
}

TEST(LiveHTTPFetcher, DownloadsALargeBodyToAFileWithProgress)
{
    const QByteArray body = patternedBody(6 * 1024 * 1024);
    LocalHTTPServer server;
    server.route("/temurin.pkg", [&](const auto &) {
        LocalHTTPServer::Reply reply {200, {}, body};
        reply.chunkSize = 512 * 1024;
        reply.pauseMilliseconds = 60; // Qt reports progress at most ten times a second

        return reply;
    });
    QTemporaryDir dir;
    const QString destination = dir.filePath(QStringLiteral("temurin-21.pkg"));
    QList<std::pair<qint64, std::optional<qint64>>> progress;
    const HTTPResponse response = http.download(get(server.url(QStringLiteral("/temurin.pkg"))), destination,
                                                [&](qint64 received, std::optional<qint64> total) {
                                                    progress.append({received, total});
                                                },
                                                nullptr);
    EXPECT_EQ(response.status, 200);
    EXPECT_TRUE(response.body.isEmpty()); // the body went to the file
    QFile file(destination);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll() == body);
    EXPECT_EQ(response.bodySHA256, QString::fromLatin1(QCryptographicHash::hash(body, QCryptographicHash::Sha256).toHex()));
    ASSERT_GT(progress.size(), 1);
    EXPECT_EQ(progress.last().first, body.size());
    EXPECT_EQ(progress.last().second, std::optional<qint64>(body.size()));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList {"temurin-21.pkg"});
}

TEST(LiveHTTPFetcher, ADownloadThatDoesNotCompleteLeavesNothingBehind)
{
    LocalHTTPServer server;
    server.route("/stalls", [](const auto &) {
        LocalHTTPServer::Reply reply {200, {}, patternedBody(4 * 1024 * 1024)};
        reply.stallAfter = 1024 * 1024;
        reply.chunkSize = 64 * 1024;
        reply.pauseMilliseconds = 20;
        return reply;
    });
    server.route("/missing.pkg", [](const auto &) { return LocalHTTPServer::Reply {404, {}, "Not here"}; });
    QTemporaryDir dir;
    const QString destination = dir.filePath(QStringLiteral("temurin.pkg"));

    server.route("/trickles", [](const auto &) {
        LocalHTTPServer::Reply reply {200, {}, patternedBody(1000)};
        reply.chunkSize = 1;
        reply.pauseMilliseconds = 50;
        return reply;
    });
    // Cancelled once part of the body has arrived; stalled past the time limit between bytes;
    // more than the listed size; a trickle past the overall limit: stopped, nothing kept.
    ProcessCancellation cancellation;
    qint64 receivedWhenCancelled = 0;
    const auto cancelOnProgress = [&](qint64 received, std::optional<qint64>) {
        receivedWhenCancelled = received;
        cancellation.cancel();
    };
    HTTPRequest listedAsOneByte = get(server.url(QStringLiteral("/stalls")));
    listedAsOneByte.bodyLimit = 1;
    HTTPRequest trickle = get(server.url(QStringLiteral("/trickles")), 5s);
    trickle.overallLimit = 600ms;
    const struct {
        HTTPRequest request;
        HTTPFetching::ProgressHandler progress;
        HTTPError::Kind kind;
    } cases[] = {
        {get(server.url(QStringLiteral("/stalls"))), cancelOnProgress, HTTPError::Kind::cancelled},
        {get(server.url(QStringLiteral("/stalls")), 400ms), {}, HTTPError::Kind::timedOut},
        {listedAsOneByte, {}, HTTPError::Kind::tooLarge},
        {trickle, {}, HTTPError::Kind::tooSlow},
    };
    for (const auto &c : cases) {
        QElapsedTimer timer;
        timer.start();
        try {
            (void)http.download(c.request, destination, c.progress, c.progress ? &cancellation : nullptr);
            ADD_FAILURE() << "the download finished: " << c.request.url.toString().toStdString();
        } catch (const HTTPError &error) {
            EXPECT_EQ(error.kind(), c.kind) << error.message().toStdString();
        }
        EXPECT_LT(timer.elapsed(), 3000);
        EXPECT_TRUE(QDir(dir.path()).isEmpty()) << QDir(dir.path()).entryList().join(u' ').toStdString();
    }
    EXPECT_GT(receivedWhenCancelled, 0);

    // An error status: the response says so and no file appears.
    const HTTPResponse missing = http.download(get(server.url(QStringLiteral("/missing.pkg"))), destination, {}, nullptr);
    EXPECT_EQ(missing.status, 404);
    EXPECT_EQ(missing.body, QByteArray("Not here"));
    EXPECT_TRUE(QDir(dir.path()).isEmpty());

    // Nowhere to write: a file-system error before anything is fetched.
    EXPECT_THROW((void)http.download(get(server.url(QStringLiteral("/missing.pkg"))),
                                     dir.filePath(QStringLiteral("no/such/folder/temurin.pkg")), {}, nullptr),
                 FileSystemError);
    EXPECT_EQ(server.requests().size(), 5);
}
