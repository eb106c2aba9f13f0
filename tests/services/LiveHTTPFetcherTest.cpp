#include "LocalHTTPServer.h"
#include "services/FileSystemOperating.h"
#include "services/LiveHTTPFetcher.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using Reply = LocalHTTPServer::Reply;

namespace {

const LiveHTTPFetcher http;

HTTPRequest get(const QUrl &url, std::chrono::milliseconds limit = 10s)
{
    return HTTPRequest::get(url, limit);
}

HTTPError::Kind fetchErrorKind(const HTTPRequest &request)
{
    try {
        (void)http.fetch(request, nullptr);
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

Reply slowly(qsizetype size, qsizetype chunk, int pause, qsizetype stallAfter = -1)
{
    Reply reply {200, {}, patternedBody(size)};
    reply.chunkSize = chunk;
    reply.pauseMilliseconds = pause;
    reply.stallAfter = stallAfter;
    return reply;
}

} // namespace

TEST(LiveHTTPFetcher, ErrorStatusesAreResponsesAndBrokenAnswersAreErrors)
{
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    const int closedPort = LocalHTTPServer().url(QStringLiteral("/")).port(); // nobody listens there once it has gone
    LocalHTTPServer server;
    server.route("/final", [](const auto &) { return Reply {200, {}, "arrived"}; });
    server.route("/moved", [&](const auto &) { return Reply {302, {{"Location", server.url(QStringLiteral("/final")).toEncoded()}}, {}}; });
    server.route("/broken", [](const auto &) { return Reply {500, {}, "upstream failed"}; });
    // An answer bigger than any JSON we ask for is cut off, not held in memory.
    server.route("/huge.json", [](const auto &) { return Reply {200, {}, patternedBody(HTTPRequest::kFetchBodyLimit + 1)}; });
    const std::tuple<const char *, int, QByteArray> statuses[] = {
        {"/absent", 404, "no route for /absent"}, {"/broken", 500, "upstream failed"}, {"/moved", 200, "arrived"}};
    for (const auto &[path, status, body] : statuses) {
        const HTTPResponse response = http.fetch(get(server.url(QString::fromLatin1(path))), nullptr);
        EXPECT_EQ(response.status, status) << path;
        EXPECT_EQ(response.body, body) << path;
    }
    const std::pair<QUrl, HTTPError::Kind> errors[] = {
        {QUrl::fromLocalFile(file.fileName()), HTTPError::Kind::notHTTPResponse},
        {server.url(QStringLiteral("/huge.json")), HTTPError::Kind::tooLarge},
        {QUrl(QStringLiteral("gopher://127.0.0.1/")), HTTPError::Kind::transport},
        {QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(closedPort)), HTTPError::Kind::transport},
    };
    for (const auto &[url, kind] : errors)
        EXPECT_EQ(fetchErrorKind(get(url)), kind) << url.toString().toStdString();
}

TEST(LiveHTTPFetcher, ADownloadThatDoesNotCompleteLeavesNothingBehind)
{
    LocalHTTPServer server;
    server.route("/stalls", [](const auto &) { return slowly(4 * 1024 * 1024, 64 * 1024, 20, 1024 * 1024); });
    server.route("/trickles", [](const auto &) { return slowly(1000, 1, 50); });
    server.route("/missing.pkg", [](const auto &) { return Reply {404, {}, "Not here"}; });
    QTemporaryDir dir;
    const QString destination = dir.filePath(QStringLiteral("temurin.pkg"));
    // Cancelled once part of the body has arrived, or before it is sent; stalled past the time limit
    // between bytes; more than the listed size; a trickle past the overall limit: nothing kept.
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
    const std::tuple<HTTPRequest, HTTPFetching::ProgressHandler, HTTPError::Kind> cases[] = {
        {get(server.url(QStringLiteral("/stalls"))), cancelOnProgress, HTTPError::Kind::cancelled},
        {get(server.url(QStringLiteral("/stalls"))), [](qint64, std::optional<qint64>) {}, HTTPError::Kind::cancelled},
        {get(server.url(QStringLiteral("/stalls")), 400ms), {}, HTTPError::Kind::timedOut},
        {listedAsOneByte, {}, HTTPError::Kind::tooLarge},
        {trickle, {}, HTTPError::Kind::tooSlow},
    };
    for (const auto &[request, progress, kind] : cases) {
        QElapsedTimer timer;
        timer.start();
        try {
            (void)http.download(request, destination, progress, progress ? &cancellation : nullptr);
            ADD_FAILURE() << "the download finished: " << request.url.toString().toStdString();
        } catch (const HTTPError &error) {
            EXPECT_EQ(error.kind(), kind) << error.message().toStdString();
        }
        EXPECT_LT(timer.elapsed(), 3000);
        EXPECT_TRUE(QDir(dir.path()).isEmpty()) << QDir(dir.path()).entryList().join(u' ').toStdString();
    }
    EXPECT_GT(receivedWhenCancelled, 0);

    // Nowhere to write: a file-system error before anything is fetched.
    EXPECT_THROW((void)http.download(get(server.url(QStringLiteral("/missing.pkg"))), dir.filePath(QStringLiteral("no/such/temurin.pkg")), {}, nullptr),
                 FileSystemError);
    EXPECT_EQ(server.requests().size(), 4);
}
