#include "LocalHTTPServer.h"
#include "StandIns.h"
#include "runners/PKGInstaller.h"
#include "services/LiveFileSystem.h"
#include "services/LiveHTTPFetcher.h"

#include <QCryptographicHash>
#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using Kind = PKGInstaller::Event::Kind;

namespace {

// Adoptium, the package download, osascript and the installer, all local: the API and the
// package come from a real HTTP server, osascript and installer are the stand-ins.
class PackageHarness {
public:
    PackageHarness() : package(3 * 1024 * 1024 + 17, 'p')
    {
        checksum = QCryptographicHash::hash(package, QCryptographicHash::Sha256).toHex();
        server.route("/v3/assets/latest/21/hotspot", [this](const auto &) {
            LocalHTTPServer::Reply reply {200, {}, assetsBody()};
            reply.delayMilliseconds = apiDelay;
            return reply;
        });
        server.route("/downloads/temurin.pkg", [this](const auto &) {
            LocalHTTPServer::Reply reply {packageStatus, {}, package};
            reply.chunkSize = 256 * 1024;
            reply.pauseMilliseconds = 15;
            return reply;
        });
        mac.map(QStringLiteral("/usr/bin/osascript"), QStringLiteral(STANDINS_DIR "/osascript"));
        mac.setEnvironment({{QStringLiteral("STANDIN_INSTALLER"), QStringLiteral(STANDINS_DIR "/installer")},
                            {QStringLiteral("STANDIN_INSTALLED_PKG"), installedRecord()}});
        QDir(dir.path()).mkpath(QStringLiteral("caches"));
    }

    QByteArray assetsBody() const
    {
        return "[{\"binary\": {\"installer\": {\"link\": \"" + server.url(QStringLiteral("/downloads/temurin.pkg")).toEncoded()
            + "\", \"checksum\": \"" + checksum + "\", \"name\": \"OpenJDK21U-jdk_aarch64_mac_hotspot_21.0.5_11.pkg\"}}, "
              "\"release_name\": \"jdk-21.0.5+11\"}]";
    }
    QString packagePath() const { return dir.filePath(QStringLiteral("caches/Tarnwick/temurin-21-jdk-21.0.5+11.pkg")); }
    QString installedRecord() const { return dir.filePath(QStringLiteral("installed")); }

    PKGInstaller::Event install(PKGInstaller::Patience patience = {}, const std::function<void(const PKGInstaller::Event &)> &also = {})
    {
        auto fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {dir.path(), {}, dir.filePath(QStringLiteral("caches")), {}});
        auto http = std::make_shared<LiveHTTPFetcher>();
        const PKGInstaller installer(mac.runner(), http, fs, AdoptiumAPI(http, server.url(QString())), patience);
        return installer.install(21, QString::fromLatin1(PKGInstaller::kPrompt), cancellation, [&](const PKGInstaller::Event &event) {
            events.append(event);
            if (also)
                also(event);
        });
    }
    QList<Kind> kinds() const
    {
        QList<Kind> result;
        for (const auto &event : events) {
            if (result.isEmpty() || result.last() != event.kind) // progress repeats; its kind counts once
                result.append(event.kind);
        }
        return result;
    }

    LocalHTTPServer server;
    QTemporaryDir dir;
    QByteArray package;
    QByteArray checksum;
    int apiDelay = 0;
    int packageStatus = 200;
    StandIns mac;
    CancellableProcess cancellation;
    QList<PKGInstaller::Event> events;
};

} // namespace

TEST(PKGInstaller, InstallsAPackageWhoseChecksumMatches)
{
    PackageHarness harness;
    const PKGInstaller::Event end = harness.install();
    EXPECT_EQ(end, PKGInstaller::Event::of(Kind::completed));
    EXPECT_EQ(harness.kinds(), (QList<Kind> {Kind::fetching, Kind::downloading, Kind::verifying, Kind::installing}));
    const PKGInstaller::Event lastProgress = harness.events.at(harness.events.size() - 3);
    EXPECT_EQ(lastProgress, PKGInstaller::Event::downloading(harness.package.size(), harness.package.size()));

    QFile installed(harness.installedRecord());
    ASSERT_TRUE(installed.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(installed.readAll()), harness.packagePath());
    EXPECT_FALSE(QFile::exists(harness.packagePath())); // removed afterwards
}

TEST(PKGInstaller, RefusesAPackageThatIsNotThePublishedOne)
{
    PackageHarness harness;
    const QByteArray published = harness.checksum;
    harness.package[100] = 'X'; // one byte differs from what Adoptium published
    const PKGInstaller::Event end = harness.install();
    EXPECT_EQ(end.kind, Kind::error);
    EXPECT_TRUE(end.message.startsWith(QStringLiteral("Checksum mismatch (expected ") + QString::fromLatin1(published) + QStringLiteral(", got ")))
        << end.message.toStdString();
    EXPECT_TRUE(end.message.endsWith(QStringLiteral(" (pkg: ") + harness.packagePath() + QLatin1Char(')'))) << end.message.toStdString();
    EXPECT_FALSE(QFile::exists(harness.packagePath()));
    EXPECT_FALSE(QFile::exists(harness.installedRecord())); // the installer never ran
}

TEST(PKGInstaller, SaysWhereADownloadFailed)
{
    PackageHarness harness;
    harness.packageStatus = 404;
    EXPECT_EQ(harness.install(), PKGInstaller::Event::error(QStringLiteral("Adoptium download HTTP error (pkg: ") + harness.packagePath() + QLatin1Char(')')));

    PackageHarness noAsset;
    noAsset.server.route("/v3/assets/latest/21/hotspot", [](const auto &) { return LocalHTTPServer::Reply {200, {}, "[]"}; });
    EXPECT_EQ(noAsset.install(), PKGInstaller::Event::error(QStringLiteral("No installer asset for Java 21 on aarch64 (pkg: n.a)")));
}

TEST(PKGInstaller, TellsTheUserWhenAdoptiumIsSlow)
{
    PackageHarness harness;
    harness.apiDelay = 600;
    const PKGInstaller::Event end = harness.install(PKGInstaller::Patience {200ms, 15s});
    EXPECT_EQ(end, PKGInstaller::Event::of(Kind::completed));
    EXPECT_EQ(harness.kinds(), (QList<Kind> {Kind::fetching, Kind::slowResponse, Kind::downloading, Kind::verifying, Kind::installing}));
}

TEST(PKGInstaller, ACancelDuringTheDownloadLeavesNothing)
{
    PackageHarness harness;
    const PKGInstaller::Event end = harness.install({}, [&](const PKGInstaller::Event &event) {
        if (event.kind == Kind::downloading)
            harness.cancellation.cancel();
    });
    EXPECT_EQ(end, PKGInstaller::Event::of(Kind::canceled));
    EXPECT_FALSE(QFile::exists(harness.packagePath()));
    EXPECT_FALSE(QFile::exists(harness.installedRecord()));
    EXPECT_TRUE(QDir(harness.dir.filePath(QStringLiteral("caches/Tarnwick"))).isEmpty());
}

TEST(PKGInstaller, ReadsWhatOsascriptSays)
{
    const struct {
        const char *says;
        PKGInstaller::Event expected;
    } cases[] = {
        {"0:75: execution error: User canceled. (-128)", PKGInstaller::Event::of(Kind::canceled)},
        {"execution error: No user interaction allowed. (-1713)",
         PKGInstaller::Event::error(QStringLiteral("execution error: No user interaction allowed. (-1713)"))},
    };
    for (const auto &c : cases) {
        PackageHarness harness;
        harness.mac.setEnvironment({{QStringLiteral("STANDIN_OSASCRIPT_SAYS"), QString::fromUtf8(c.says)}});
        EXPECT_EQ(harness.install(), c.expected) << c.says;
        EXPECT_FALSE(QFile::exists(harness.packagePath())) << c.says;
    }
}
