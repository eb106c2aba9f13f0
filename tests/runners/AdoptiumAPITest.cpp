#include "LocalHTTPServer.h"
#include "simulated/FixtureHTTPFetcher.h"
#include "simulated/InMemoryFileSystem.h"
#include "runners/AdoptiumAPI.h"
#include "services/JSONDecoding.h"
#include "services/LiveHTTPFetcher.h"

#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

const QByteArray kChecksum = "3fa0d1b2c3d4e5f60718293a4b5c6d7e8f90a1b2c3d4e5f60718293a4b5c6d7e";

QByteArray asset(const QByteArray &installer, const QByteArray &releaseName = "jdk-21.0.5+11")
{
    return "{\"binary\": {\"architecture\": \"aarch64\", \"installer\": " + installer + "}, \"release_name\": \"" + releaseName
        + "\", \"vendor\": \"eclipse\"}";
}

QByteArray installer(const QByteArray &link, const QByteArray &checksum, const QByteArray &name)
{
    return "{\"link\": \"" + link + "\", \"checksum\": \"" + checksum + "\", \"name\": \"" + name + "\", \"size\": 190000000}";
}

const QByteArray kGoodInstaller = installer("https://github.com/adoptium/temurin21-binaries/releases/download/jdk-21.0.5%2B11/OpenJDK21U-jdk_aarch64_mac_hotspot_21.0.5_11.pkg",
                                            kChecksum, "OpenJDK21U-jdk_aarch64_mac_hotspot_21.0.5_11.pkg");

// Serves `body` with `status` at both API paths.
class AdoptiumServer {
public:
    void answer(int status, QByteArray body)
    {
        for (const QByteArray &path : {QByteArray("/v3/info/available_releases"), QByteArray("/v3/assets/latest/21/hotspot"),
                                      QByteArray("/v3/assets/latest/17/hotspot")})
            server.route(path, [status, body](const auto &) { return LocalHTTPServer::Reply {status, {}, body}; });
    }
    AdoptiumAPI api() { return AdoptiumAPI(std::make_shared<LiveHTTPFetcher>(), server.url(QString())); }
    LocalHTTPServer server;
};

// What a call threw, as one comparable line.
template <typename Call>
QString thrown(Call call)
{
    try {
        call();
    } catch (const AdoptiumError &error) {
        return QStringLiteral("%1: %2").arg(error.code()).arg(error.message());
    } catch (const DecodingError &) {
        return QStringLiteral("decoding");
    } catch (const HTTPError &error) {
        return QStringLiteral("http %1").arg(int(error.kind()));
    }
    return QStringLiteral("(nothing)");
}

} // namespace

TEST(AdoptiumAPI, AsksForTheLatestAssetExactly)
{
    AdoptiumServer adoptium;
    adoptium.answer(200, "[" + asset(kGoodInstaller) + "]");
    const AdoptiumAPI::AssetMetadata metadata = adoptium.api().latestAsset(17, QStringLiteral("aarch64"));

    const auto requests = adoptium.server.requests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests[0].method, QByteArray("GET"));
    EXPECT_EQ(requests[0].target, QByteArray("/v3/assets/latest/17/hotspot?architecture=aarch64&image_type=jdk&os=mac"));
    EXPECT_TRUE(std::any_of(requests[0].headers.cbegin(), requests[0].headers.cend(), [](const auto &header) {
        return header.first.compare("accept", Qt::CaseInsensitive) == 0 && header.second == "application/json";
    }));
    EXPECT_EQ((QStringList {metadata.checksum, metadata.filename, metadata.releaseName, metadata.downloadURL.host()}),
              (QStringList {QString::fromLatin1(kChecksum), "OpenJDK21U-jdk_aarch64_mac_hotspot_21.0.5_11.pkg", "jdk-21.0.5+11", "github.com"}));
}

TEST(AdoptiumAPI, ReadsTheLatestLTSAndRefusesAnythingElse)
{
    AdoptiumServer adoptium;
    adoptium.answer(200, R"({"available_lts_releases": [8, 11, 17, 21], "most_recent_lts": 21, "available_releases": [8, 11, 17, 21, 22]})");
    EXPECT_EQ(adoptium.api().latestLTSMajor(), 21);
    EXPECT_EQ(adoptium.server.requests().value(0).target, QByteArray("/v3/info/available_releases"));

    const QString badServer = QStringLiteral("http %1").arg(int(HTTPError::Kind::badServerResponse));
    const struct {
        int status;
        QByteArray body;
        QString lts, asset; // what each call throws
    } cases[] = {
        // Outages have answered with zeros: not a version to offer.
        {200, R"({"most_recent_lts": 0, "available_releases": []})", "5: Unexpected LTS version from Adoptium (0)", "decoding"},
        {200, R"({"most_recent_lts": 100})", "5: Unexpected LTS version from Adoptium (100)", "decoding"},
        {200, R"({"available_releases": [8, 11, 17, 21]})", "decoding", "decoding"},
        {200, R"({"most_recent_lts": "21"})", "decoding", "decoding"},
        {200, "<html>Service Unavailable</html>", "decoding", "decoding"},
        {200, R"({"most_recent_lts": 2)", "decoding", "decoding"},
        {200, R"({"binary": {}})", "decoding", "decoding"},
        {404, R"({"most_recent_lts": 21})", badServer, badServer},
        {500, R"({"most_recent_lts": 21})", badServer, badServer},
    };
    for (const auto &c : cases) {
        adoptium.answer(c.status, c.body);
        EXPECT_EQ(thrown([&] { (void)adoptium.api().latestLTSMajor(); }), c.lts) << c.status << c.body.constData();
        EXPECT_EQ(thrown([&] { (void)adoptium.api().latestAsset(21, QStringLiteral("aarch64")); }), c.asset) << c.status << c.body.constData();
    }
}

TEST(AdoptiumAPI, ChecksTheInstallerBeforeAnythingIsDownloaded)
{
    const QByteArray link = "https://github.com/adoptium/x.pkg";
    const QByteArray name = "OpenJDK21U-jdk_aarch64_mac_hotspot_21.0.5_11.pkg";
    // One asset, good but for what a case changes.
    const auto listing = [&](const QByteArray &l, const QByteArray &sum, const QByteArray &n, const QByteArray &release = "jdk-21.0.5+11") {
        return "[" + asset(installer(l, sum, n), release) + "]";
    };
    const struct {
        const char *name;
        QByteArray body;
        QString thrown;
    } cases[] = {
        {"no assets", "[]", "1: No installer asset for Java 21 on aarch64"},
        {"first asset without installer", "[" + asset("null") + ", " + asset(kGoodInstaller) + "]", "1: No installer asset for Java 21 on aarch64"},
        {"link that is no URL", listing("not a url", kChecksum, name), "2: Invalid installer URL from Adoptium"},
        {"file link with a host", listing("file://localhost/tmp/x.pkg", kChecksum, name), "2: Invalid installer URL from Adoptium"},
        {"ftp link", listing("ftp://github.com/x.pkg", kChecksum, name), "2: Invalid installer URL from Adoptium"},
        {"63-character checksum", listing(link, kChecksum.left(63), name), "3: Unexpected checksum format from Adoptium (63 chars)"},
        {"65-character checksum", listing(link, kChecksum + "0", name), "3: Unexpected checksum format from Adoptium (65 chars)"},
        {"name with a command", listing(link, kChecksum, "x$(touch canary).pkg"), "4: Unexpected installer name from Adoptium (“x$(touch canary).pkg”)"},
        {"name that climbs out", listing(link, kChecksum, "../../evil.pkg"), "4: Unexpected installer name from Adoptium (“../../evil.pkg”)"},
        {"empty name", listing(link, kChecksum, ""), "4: Unexpected installer name from Adoptium (“”)"},
        {"name with a trailing newline", listing(link, kChecksum, "x.pkg\\n"), "4: Unexpected installer name from Adoptium (“x.pkg\n”)"},
        {"release with a quote", listing(link, kChecksum, name, "jdk-21\\\" -target /"), "4: Unexpected release name from Adoptium (“jdk-21\" -target /”)"},
        {"release with a trailing newline", listing(link, kChecksum, name, "jdk-21\\n"), "4: Unexpected release name from Adoptium (“jdk-21\n”)"},
        {"release with a backtick", listing(link, kChecksum, name, "jdk-21`id`"), "4: Unexpected release name from Adoptium (“jdk-21`id`”)"},
    };
    for (const auto &c : cases) {
        AdoptiumServer adoptium;
        adoptium.answer(200, c.body);
        EXPECT_EQ(thrown([&] { (void)adoptium.api().latestAsset(21, QStringLiteral("aarch64")); }), c.thrown) << c.name;
    }

    AdoptiumServer upperCase;
    upperCase.answer(200, listing(link, kChecksum.toUpper(), name));
    EXPECT_EQ(upperCase.api().latestAsset(21, QStringLiteral("aarch64")).checksum, QString::fromLatin1(kChecksum));

    // A plain-http API (as tests configure it) may hand out a plain-http link; the listed size
    // comes along.
    AdoptiumServer plainHTTP;
    plainHTTP.answer(200, listing("http://127.0.0.1:9/x.pkg", kChecksum, name));
    const AdoptiumAPI::AssetMetadata local = plainHTTP.api().latestAsset(21, QStringLiteral("aarch64"));
    EXPECT_EQ(local.downloadURL.scheme(), QStringLiteral("http"));
    EXPECT_EQ(local.size, std::optional<qint64>(190000000));

    // The real API is https: a plain-http link from it is refused.
    auto fetcher = std::make_shared<FixtureHTTPFetcher>(std::make_shared<InMemoryFileSystem>());
    const QUrl base(QStringLiteral("https://api.adoptium.net"));
    fetcher->respond(QUrl(QStringLiteral("https://api.adoptium.net/v3/assets/latest/21/hotspot?architecture=aarch64&image_type=jdk&os=mac")),
                     {200, {}, listing("http://github.com/x.pkg", kChecksum, name)});
    EXPECT_EQ(thrown([&] { (void)AdoptiumAPI(fetcher, base).latestAsset(21, QStringLiteral("aarch64")); }),
              QStringLiteral("2: Invalid installer URL from Adoptium"));
}

TEST(AdoptiumAPI, PassesATimeOutOnSoCallersCanTellIt)
{
    LocalHTTPServer server;
    server.route("/v3/info/available_releases", [](const auto &) {
        LocalHTTPServer::Reply reply;
        reply.hang = true;
        return reply;
    });
    // The client's own limit is 10 s; a fetcher that honours a shorter one shows the kind passes
    // through unchanged without making the test wait that long.
    class Hurried final : public HTTPFetching {
    public:
        HTTPResponse fetch(const HTTPRequest &request, ProcessCancellation *cancellation) const override
        {
            limitAsked = request.timeLimit;
            HTTPRequest quick = request;
            quick.timeLimit = std::chrono::milliseconds(300);
            return LiveHTTPFetcher().fetch(quick, cancellation);
        }
        HTTPResponse download(const HTTPRequest &, const QString &, const ProgressHandler &, ProcessCancellation *) const override
        {
            return {};
        }
        mutable std::chrono::milliseconds limitAsked {0};
    };
    auto hurried = std::make_shared<Hurried>();
    EXPECT_EQ(thrown([&] { (void)AdoptiumAPI(hurried, server.url(QString())).latestLTSMajor(); }),
              QStringLiteral("http %1").arg(int(HTTPError::Kind::timedOut)));
    EXPECT_EQ(hurried->limitAsked, std::chrono::seconds(10));
}
