#include "LocalHTTPServer.h"
#include "runners/AdoptiumAPI.h"
#include "services/JSONDecoding.h"
#include "services/LiveHTTPFetcher.h"
#include "simulated/FixtureHTTPFetcher.h"
#include "simulated/InMemoryFileSystem.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray kChecksum = "3fa0d1b2c3d4e5f60718293a4b5c6d7e8f90a1b2c3d4e5f60718293a4b5c6d7e";
const QByteArray kName = "OpenJDK21U-jdk_aarch64_mac_hotspot_21.0.5_11.pkg";

QByteArray listing(const QByteArray &link, const QByteArray &checksum = kChecksum, const QByteArray &name = kName,
                   const QByteArray &release = "jdk-21.0.5+11")
{
    return R"([{"binary": {"installer": {"link": ")" + link + R"(", "checksum": ")" + checksum + R"(", "name": ")" + name
        + R"(", "size": 190000000}}, "release_name": ")" + release + "\"}]";
}

// What a call threw, as one comparable line.
QString thrown(const std::function<void()> &call)
{
    try {
        call();
        return u"(nothing)"_s;
    } catch (const AdoptiumError &error) { return u"%1: %2"_s.arg(error.code()).arg(error.message()); }
    catch (const DecodingError &) { return u"decoding"_s; }
    catch (const HTTPError &error) { return u"http %1"_s.arg(int(error.kind())); }
}

// Adoptium answering `body` with `status` at every path.
AdoptiumAPI answering(LocalHTTPServer &server, int status, const QByteArray &body)
{
    for (const QByteArray path : {"/v3/info/available_releases", "/v3/assets/latest/21/hotspot", "/v3/assets/latest/17/hotspot"})
        server.route(path, [status, body](const auto &) { return LocalHTTPServer::Reply {status, {}, body}; });
    return AdoptiumAPI(std::make_shared<LiveHTTPFetcher>(), server.url(QString()));
}

} // namespace

TEST(AdoptiumAPI, RefusesAnswersItCannotTrust)
{
    const QString badServer = u"http %1"_s.arg(int(HTTPError::Kind::badServerResponse));
    const QString noAsset = u"1: No installer asset for Java 21 on aarch64"_s, badLink = u"2: Invalid installer URL from Adoptium"_s;
    const QByteArray link = "https://github.com/adoptium/x.pkg";
    const struct { int status; QByteArray body; QString lts, asset; /* what each call throws */ } cases[] = {
        // Outages have answered with zeros: not a version to offer.
        {200, R"({"most_recent_lts": 0})", "5: Unexpected LTS version from Adoptium (0)", "decoding"},
        {200, R"({"most_recent_lts": 100})", "5: Unexpected LTS version from Adoptium (100)", "decoding"},
        {200, R"({"available_releases": [8, 11, 17, 21]})", "decoding", "decoding"},
        {200, R"({"most_recent_lts": "21"})", "decoding", "decoding"},
        {200, "<html>Service Unavailable</html>", "decoding", "decoding"},
        {404, R"({"most_recent_lts": 21})", badServer, badServer},
        {200, "[]", "decoding", noAsset},
        {200, R"([{"binary": {"installer": null}, "release_name": "jdk-21.0.5+11"}, )" + listing(link).mid(1), "decoding", noAsset}, // only the first asset counts
        {200, listing("not a url"), "decoding", badLink},
        {200, listing("file://localhost/tmp/x.pkg"), "decoding", badLink},
        {200, listing("ftp://github.com/x.pkg"), "decoding", badLink},
        {200, listing(link, kChecksum.left(63)), "decoding", "3: Unexpected checksum format from Adoptium (63 chars)"},
        {200, listing(link, kChecksum + "0"), "decoding", "3: Unexpected checksum format from Adoptium (65 chars)"},
        {200, listing(link, kChecksum, "x$(touch canary).pkg"), "decoding", "4: Unexpected installer name from Adoptium (“x$(touch canary).pkg”)"},
        {200, listing(link, kChecksum, "../../evil.pkg"), "decoding", "4: Unexpected installer name from Adoptium (“../../evil.pkg”)"},
        {200, listing(link, kChecksum, ""), "decoding", "4: Unexpected installer name from Adoptium (“”)"},
        {200, listing(link, kChecksum, "x.pkg\\n"), "decoding", "4: Unexpected installer name from Adoptium (“x.pkg\n”)"},
        {200, listing(link, kChecksum, kName, "jdk-21\\\" -target /"), "decoding", "4: Unexpected release name from Adoptium (“jdk-21\" -target /”)"},
        {200, listing(link, kChecksum, kName, "jdk-21\\n"), "decoding", "4: Unexpected release name from Adoptium (“jdk-21\n”)"},
        {200, listing(link, kChecksum, kName, "jdk-21`id`"), "decoding", "4: Unexpected release name from Adoptium (“jdk-21`id`”)"},
    };
    for (const auto &c : cases) {
        LocalHTTPServer server;
        const AdoptiumAPI api = answering(server, c.status, c.body);
        EXPECT_EQ(thrown([&] { (void)api.latestLTSMajor(); }), c.lts) << c.status << c.body.constData();
        EXPECT_EQ(thrown([&] { (void)api.latestAsset(21, u"aarch64"_s); }), c.asset) << c.status << c.body.constData();
    }

    LocalHTTPServer server;
    EXPECT_EQ(answering(server, 200, listing(link, kChecksum.toUpper())).latestAsset(21, u"aarch64"_s).checksum, QString::fromLatin1(kChecksum));
    const LocalHTTPServer::Request request = server.requests().value(0);
    EXPECT_EQ(request.method + ' ' + request.target, "GET /v3/assets/latest/21/hotspot?architecture=aarch64&image_type=jdk&os=mac");
    EXPECT_TRUE(request.headers.contains(std::pair<QByteArray, QByteArray>("Accept", "application/json")));
    // A plain-http API (as tests configure it) may hand out a plain-http link; the listed size comes along.
    const AdoptiumAPI::AssetMetadata local = answering(server, 200, listing("http://127.0.0.1:9/x.pkg")).latestAsset(21, u"aarch64"_s);
    EXPECT_EQ(local.downloadURL.scheme(), u"http"_s);
    EXPECT_EQ(local.size, std::optional<qint64>(190000000));
    // The real API is https: a plain-http link from it is refused. A time-out reaches callers as one, after the client's 10 s.
    auto fetcher = std::make_shared<FixtureHTTPFetcher>(std::make_shared<InMemoryFileSystem>());
    fetcher->respond(QUrl(u"https://api.adoptium.net/v3/assets/latest/21/hotspot?architecture=aarch64&image_type=jdk&os=mac"_s),
                     {200, {}, listing("http://github.com/x.pkg")});
    fetcher->fail(QUrl(u"https://api.adoptium.net/v3/info/available_releases"_s), HTTPError::Kind::timedOut, u"slow"_s);
    const AdoptiumAPI real(fetcher, QUrl(u"https://api.adoptium.net"_s));
    EXPECT_EQ(thrown([&] { (void)real.latestAsset(21, u"aarch64"_s); }), badLink);
    EXPECT_EQ(thrown([&] { (void)real.latestLTSMajor(); }), u"http %1"_s.arg(int(HTTPError::Kind::timedOut)));
    EXPECT_EQ(fetcher->requests().value(1).timeLimit, std::chrono::seconds(10));
}
