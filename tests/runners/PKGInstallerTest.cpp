#include "LocalHTTPServer.h"
#include "StandIns.h"
#include "runners/PKGInstaller.h"
#include "services/LiveFileSystem.h"
#include "services/LiveHTTPFetcher.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Kind = PKGInstaller::Event::Kind;

namespace {

// Adoptium and the package from a real HTTP server; osascript and installer are the stand-ins.
struct PackageHarness {
    PackageHarness()
    {
        server.route("/v3/assets/latest/21/hotspot", [this](const auto &) {
            return LocalHTTPServer::Reply {.headers = {}, .body = R"([{"binary": {"installer": {"link": ")" + server.url(u"/temurin.pkg"_s).toEncoded() + R"(", "checksum": ")"
                                               + published + R"(", "size": )" + QByteArray::number(listedSize) + R"(, "name": "t.pkg"}}, "release_name": "jdk-21.0.5+11"}])",
                                           .delayMilliseconds = apiDelay};
        });
        server.route("/temurin.pkg", [this](const auto &) {
            return LocalHTTPServer::Reply {.status = packageStatus, .headers = {}, .body = package, .chunkSize = 256 * 1024, .pauseMilliseconds = 15};
        });
        mac.map(u"/usr/bin/osascript"_s, QStringLiteral(STANDINS_DIR "/osascript"));
    }
    PKGInstaller::Event install()
    {
        osascriptSees.insert(u"STANDIN_INSTALLER"_s, QStringLiteral(STANDINS_DIR "/installer"));
        osascriptSees.insert(u"STANDIN_INSTALLED_PKG"_s, dir.filePath(u"installed"_s));
        mac.setEnvironment(osascriptSees);
        auto fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {dir.path(), {}, dir.path(), {}});
        auto http = std::make_shared<LiveHTTPFetcher>();
        const PKGInstaller installer(mac.runner(), http, fs, AdoptiumAPI(http, server.url(QString())), Architecture::appleSilicon, patience);
        return installer.install(21, QString::fromLatin1(PKGInstaller::kPrompt), cancellation, [&](const PKGInstaller::Event &event) {
            if (kinds.isEmpty() || kinds.last() != event.kind)
                kinds.append(event.kind); // progress repeats; its kind counts once
            events.append(event);
            if (event.kind == Kind::downloading && cancelWhileDownloading)
                cancellation.cancel();
        });
    }
    QStringList cache() const { return QDir(dir.filePath(u"Tarnwick"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System); }
    QByteArray installed() const { return fileContents(dir.filePath(u"installed"_s)); }

    LocalHTTPServer server;
    QTemporaryDir dir; // home and caches
    QByteArray package = QByteArray(3 * 1024 * 1024 + 17, 'p');
    const QByteArray published = QCryptographicHash::hash(package, QCryptographicHash::Sha256).toHex();
    qint64 listedSize = package.size();
    int apiDelay = 0, packageStatus = 200;
    bool cancelWhileDownloading = false;
    PKGInstaller::Patience patience;
    Environment osascriptSees;
    StandIns mac;
    ProcessCancellation cancellation;
    QList<PKGInstaller::Event> events;
    QList<Kind> kinds;
};

} // namespace

TEST(PKGInstaller, InstallsRootsOwnCopyAndClearsWhatCrashedRunsLeftAndNothingElse)
{
    PackageHarness harness; // with a slow Adoptium, which the user is told about
    harness.apiDelay = 600;
    harness.patience = {200ms, 15s};
    const QString caches = harness.dir.filePath(u"Tarnwick"_s), elsewhere = harness.dir.filePath(u"elsewhere"_s);
    const struct { const char *path; int hoursOld; bool removed; } entries[] = {
        {"run-0ld1/temurin-21-jdk-21.0.5+11.pkg.Ab12Cd", 7, true}, {"run-0ld1/", 7, true}, // a partial download
        {"run-0ld2/temurin-17-jdk-17.0.9+9.pkg", 30, true}, {"run-0ld2/", 30, true},
        {"temurin-17-jdk-17.0.9+9.pkg.Xy12Zw", 7, true}, {"temurin-17-jdk-17.0.9+9.pkg", 7, true}, // straight into the caches folder
        {"run-n0w/temurin-21-jdk-21.0.5+11.pkg.Qw12Er", 5, false}, {"run-n0w/", 7, false}, // another run may still be at it
        {"run-m1xed/temurin-21-jdk-21.0.5+11.pkg", 7, false}, {"run-m1xed/notes.txt", 7, false}, {"run-m1xed/", 7, false}, // not all ours
        {"temurin-21-jdk-21.0.5+11.pkg.part", 7, false}, {"other-app.pkg.Ab12Cd", 7, false}, {"RUN-0LD3/", 7, false}, // names we never make
        {"temurin-21-jdk-21.0.5+11.pkg.Zx98Yu/", 7, false}, // a folder, not a file
    };
    const auto make = [](const QString &path, int hours) {
        QDir().mkpath(path.endsWith(u'/') ? path : QFileInfo(path).path());
        if (!path.endsWith(u'/'))
            QFile(path).open(QIODevice::WriteOnly);
        const timespec when {std::time(nullptr) - hours * 3600, 0}, times[2] {when, when};
        ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW), 0) << path.toStdString();
    };
    // Links named like what a run leaves, to an old folder that holds a package and to where the
    // package once went, are not followed.
    make(elsewhere + "/temurin-21-jdk-21.0.5+11.pkg"_L1, 7);
    make(elsewhere + u'/', 7);
    QDir().mkpath(caches);
    ASSERT_TRUE(QFile::link(elsewhere, caches + "/run-l1nk"_L1));
    ASSERT_TRUE(QFile::link(harness.dir.filePath(u"landed"_s), caches + "/temurin-21-jdk-21.0.5+11.pkg"_L1));
    for (const auto &entry : entries)
        make(caches + u'/' + QLatin1String(entry.path), entry.hoursOld);

    EXPECT_EQ(harness.install(), PKGInstaller::Event::of(Kind::completed));
    EXPECT_EQ(harness.kinds, (QList<Kind> {Kind::fetching, Kind::slowResponse, Kind::downloading, Kind::verifying, Kind::installing}));
    EXPECT_EQ(harness.events.value(harness.events.size() - 3), PKGInstaller::Event::downloading(harness.package.size(), harness.package.size()));
    for (const auto &entry : entries)
        EXPECT_EQ(QFileInfo::exists(caches + u'/' + QLatin1String(entry.path)), !entry.removed) << entry.path;
    EXPECT_TRUE(QFileInfo(caches + "/run-l1nk"_L1).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(elsewhere + "/temurin-21-jdk-21.0.5+11.pkg"_L1));
    EXPECT_FALSE(QFileInfo::exists(harness.dir.filePath(u"landed"_s)));
    // The installer got root's copy, which is gone with the downloaded package and its folder.
    const QString copy = QString::fromUtf8(harness.installed());
    EXPECT_TRUE(copy.startsWith("/tmp/tarnwick-install."_L1) && copy.endsWith("/temurin-21-jdk-21.0.5+11.pkg"_L1)) << copy.toStdString();
    EXPECT_FALSE(QFileInfo::exists(QFileInfo(copy).path()));
    EXPECT_EQ(harness.cache().filter("run-"_L1), (QStringList {"run-l1nk", "run-m1xed", "run-n0w"})); // this run's folder went too
}

TEST(PKGInstaller, SaysWhyAndWhereItStoppedOrThatItWasCanceledAndKeepsNothing)
{
    const QString longTranscript = u"installer: a line of a long story\n"_s.repeated(2000) + u"installer: line 2000 of a long story\n"_s;
    const struct { const char *name; std::function<void(PackageHarness &)> arrange; QString start, end; bool namesThePackage; Kind kind = Kind::error; } cases[] = {
        {"canceled while downloading", [](auto &h) { h.cancelWhileDownloading = true; }, {}, {}, false, Kind::canceled},
        {"download missing", [](auto &h) { h.packageStatus = 404; }, "Adoptium download HTTP error (pkg: ", {}, true},
        {"more bytes than listed", [](auto &h) { h.listedSize = 1; }, "The package is larger than the 1 bytes Adoptium listed; the download was stopped (pkg: ", {}, true},
        {"no asset", [](auto &h) { h.server.route("/v3/assets/latest/21/hotspot", [](const auto &) { return LocalHTTPServer::Reply {200, {}, "[]"}; }); },
         "No installer asset for Java 21 on aarch64 (pkg: n.a)", {}, false},
        {"an execution error", [](auto &h) { h.osascriptSees = {{u"STANDIN_OSASCRIPT_SAYS"_s, u"execution error: No user interaction allowed. (-1713)"_s}}; },
         "execution error: No user interaction allowed. (-1713)", "(-1713)", false},
        // Only the end of a long transcript is kept: it is what explains the failure.
        {"a long transcript", [&](auto &h) { h.osascriptSees = {{u"STANDIN_OSASCRIPT_SAYS"_s, longTranscript}}; }, "", "line 2000 of a long story", false},
    };
    for (const auto &c : cases) {
        PackageHarness harness;
        c.arrange(harness);
        const PKGInstaller::Event end = harness.install();
        EXPECT_EQ(end.kind, c.kind) << c.name;
        EXPECT_TRUE(end.message.startsWith(c.start) && end.message.endsWith(c.end) && end.message.size() <= 64 * 1024) << c.name << ": "
                                                                                                                       << end.message.left(300).toStdString();
        EXPECT_EQ(end.message.contains(QRegularExpression(u"\\(pkg: .*/Tarnwick/run-[0-9a-z]+/temurin-21-jdk-21\\.0\\.5\\+11\\.pkg\\)"_s)), c.namesThePackage) << c.name;
        EXPECT_EQ(harness.cache(), QStringList()) << c.name;
        EXPECT_EQ(harness.installed(), QByteArray()) << c.name; // the installer never ran
    }
}
