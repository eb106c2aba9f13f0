#include "LocalHTTPServer.h"
#include "StandIns.h"
#include "runners/PKGInstaller.h"
#include "services/LiveFileSystem.h"
#include "services/LiveHTTPFetcher.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <ctime>
#include <future>
#include <fcntl.h>
#include <sys/stat.h>

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
        osascriptSees({});
        QDir(dir.path()).mkpath(QStringLiteral("caches"));
    }
    void osascriptSees(const Environment &more)
    {
        Environment environment {{QStringLiteral("STANDIN_INSTALLER"), QStringLiteral(STANDINS_DIR "/installer")},
                                 {QStringLiteral("STANDIN_INSTALLED_PKG"), installedRecord()}};
        environment.insert(more);
        mac.setEnvironment(environment);
    }

    QByteArray assetsBody() const
    {
        return "[{\"binary\": {\"installer\": {\"link\": \"" + server.url(QStringLiteral("/downloads/temurin.pkg")).toEncoded()
            + "\", \"checksum\": \"" + checksum + "\", \"size\": " + QByteArray::number(listedSize)
            + ", \"name\": \"OpenJDK21U-jdk_aarch64_mac_hotspot_21.0.5_11.pkg\"}}, "
              "\"release_name\": \"jdk-21.0.5+11\"}]";
    }
    QString cacheFolder() const { return dir.filePath(QStringLiteral("caches/Tarnwick")); }
    // Where the package went: a private folder of its own in the cache folder.
    QString packagePath() const { return cacheFolder() + QStringLiteral("/run-*/temurin-21-jdk-21.0.5+11.pkg"); }
    bool mentionsPackagePath(const QString &message) const
    {
        static const QRegularExpression run(QStringLiteral("/run-[0-9a-z]+/"));
        return QString(message).replace(run, QStringLiteral("/run-*/")).contains(QStringLiteral("(pkg: ") + packagePath() + QLatin1Char(')'));
    }
    QString installedRecord() const { return dir.filePath(QStringLiteral("installed")); }

    PKGInstaller::Event install(PKGInstaller::Patience patience = {}, const std::function<void(const PKGInstaller::Event &)> &also = {})
    {
        auto fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {dir.path(), {}, dir.filePath(QStringLiteral("caches")), {}});
        auto http = std::make_shared<LiveHTTPFetcher>();
        const PKGInstaller installer(mac.runner(), http, fs, AdoptiumAPI(http, server.url(QString())), Architecture::appleSilicon, patience);
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
    qint64 listedSize = package.size();
    int apiDelay = 0;
    int packageStatus = 200;
    StandIns mac;
    ProcessCancellation cancellation;
    QList<PKGInstaller::Event> events;
};

} // namespace

TEST(PKGInstaller, InstallsAPackageWhoseChecksumMatches)
{
    PackageHarness harness;
    // Where the package once went: a link left there decides nothing.
    QDir(harness.dir.path()).mkpath(QStringLiteral("caches/Tarnwick"));
    ASSERT_TRUE(QFile::link(harness.dir.filePath(QStringLiteral("landed")), harness.cacheFolder() + QStringLiteral("/temurin-21-jdk-21.0.5+11.pkg")));
    const PKGInstaller::Event end = harness.install();
    EXPECT_EQ(end, PKGInstaller::Event::of(Kind::completed));
    EXPECT_EQ(harness.kinds(), (QList<Kind> {Kind::fetching, Kind::downloading, Kind::verifying, Kind::installing}));
    const PKGInstaller::Event lastProgress = harness.events.at(harness.events.size() - 3);
    EXPECT_EQ(lastProgress, PKGInstaller::Event::downloading(harness.package.size(), harness.package.size()));
    EXPECT_FALSE(QFileInfo::exists(harness.dir.filePath(QStringLiteral("landed"))));

    // The installer got root's copy, which is gone with the downloaded package and its folder.
    QFile installed(harness.installedRecord());
    ASSERT_TRUE(installed.open(QIODevice::ReadOnly));
    const QString copy = QString::fromUtf8(installed.readAll());
    EXPECT_TRUE(copy.startsWith(QStringLiteral("/tmp/tarnwick-install.")) && copy.endsWith(QStringLiteral("/temurin-21-jdk-21.0.5+11.pkg")))
        << copy.toStdString();
    EXPECT_FALSE(QFileInfo::exists(QFileInfo(copy).path()));
    EXPECT_EQ(QDir(harness.cacheFolder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System), QStringList {"temurin-21-jdk-21.0.5+11.pkg"});
}

TEST(PKGInstaller, ClearsWhatCrashedRunsLeftAndNothingElse)
{
    PackageHarness harness;
    const QString caches = harness.cacheFolder();
    const QString elsewhere = harness.dir.filePath(QStringLiteral("elsewhere"));
    QDir().mkpath(elsewhere);
    const struct {
        const char *path;
        bool folder;
        int hoursOld;
        bool removed;
    } entries[] = {
        {"run-0ld1/temurin-21-jdk-21.0.5+11.pkg.Ab12Cd", false, 7, true}, // a partial download
        {"run-0ld1", true, 7, true},
        {"run-0ld2/temurin-17-jdk-17.0.9+9.pkg", false, 30, true},
        {"run-0ld2", true, 30, true},
        {"temurin-17-jdk-17.0.9+9.pkg.Xy12Zw", false, 7, true}, // downloaded straight into the caches folder
        {"temurin-17-jdk-17.0.9+9.pkg", false, 7, true},
        {"run-n0w/temurin-21-jdk-21.0.5+11.pkg.Qw12Er", false, 5, false}, // another run may still be at it
        {"run-n0w", true, 7, false},
        {"run-m1xed/temurin-21-jdk-21.0.5+11.pkg", false, 7, false}, // something not ours is in it
        {"run-m1xed/notes.txt", false, 7, false},
        {"run-m1xed", true, 7, false},
        {"temurin-21-jdk-21.0.5+11.pkg.part", false, 7, false}, // names we never make
        {"other-app.pkg.Ab12Cd", false, 7, false},
        {"RUN-0LD3", true, 7, false},
        {"temurin-21-jdk-21.0.5+11.pkg.Zx98Yu", true, 7, false}, // a folder, not a file
    };
    const auto setAge = [](const QString &path, int hours) {
        const timespec when {std::time(nullptr) - hours * 3600, 0};
        const timespec times[2] {when, when};
        ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW), 0) << path.toStdString();
    };
    for (const auto &entry : entries) {
        const QString path = caches + QLatin1Char('/') + QLatin1String(entry.path);
        QDir().mkpath(entry.folder ? path : QFileInfo(path).path());
        if (!entry.folder)
            QFile(path).open(QIODevice::WriteOnly);
    }
    // A link named like a run folder, to an old folder that holds a package, is not followed.
    QFile(elsewhere + QStringLiteral("/temurin-21-jdk-21.0.5+11.pkg")).open(QIODevice::WriteOnly);
    ASSERT_TRUE(QFile::link(elsewhere, caches + QStringLiteral("/run-l1nk")));
    for (const QString &path : {elsewhere + QStringLiteral("/temurin-21-jdk-21.0.5+11.pkg"), elsewhere, caches + QStringLiteral("/run-l1nk")})
        setAge(path, 7);
    for (const auto &entry : entries)
        setAge(caches + QLatin1Char('/') + QLatin1String(entry.path), entry.hoursOld);

    EXPECT_EQ(harness.install(), PKGInstaller::Event::of(Kind::completed));
    for (const auto &entry : entries)
        EXPECT_EQ(QFileInfo::exists(caches + QLatin1Char('/') + QLatin1String(entry.path)), !entry.removed) << entry.path;
    EXPECT_TRUE(QFileInfo(caches + QStringLiteral("/run-l1nk")).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(elsewhere + QStringLiteral("/temurin-21-jdk-21.0.5+11.pkg")));
}

TEST(PKGInstaller, SaysWhyAndWhereItStoppedAndKeepsNothing)
{
    const struct {
        const char *name;
        std::function<void(PackageHarness &)> arrange;
        QString start; // with the published checksum for <published>
        bool namesThePackage;
    } cases[] = {
        {"one byte differs from what Adoptium published", [](auto &h) { h.package[100] = 'X'; }, "Checksum mismatch (expected <published>, got ", true},
        {"download missing", [](auto &h) { h.packageStatus = 404; }, "Adoptium download HTTP error (pkg: ", true},
        {"more bytes than listed", [](auto &h) { h.listedSize = 1; },
         "The package is larger than the 1 bytes Adoptium listed; the download was stopped (pkg: ", true},
        {"no asset",
         [](auto &h) { h.server.route("/v3/assets/latest/21/hotspot", [](const auto &) { return LocalHTTPServer::Reply {200, {}, "[]"}; }); },
         "No installer asset for Java 21 on aarch64 (pkg: n.a)", false},
    };
    for (const auto &c : cases) {
        PackageHarness harness;
        c.arrange(harness);
        const PKGInstaller::Event end = harness.install();
        EXPECT_EQ(end.kind, Kind::error) << c.name;
        EXPECT_TRUE(end.message.startsWith(QString(c.start).replace(QStringLiteral("<published>"), QString::fromLatin1(harness.checksum))))
            << c.name << ": " << end.message.toStdString();
        EXPECT_EQ(harness.mentionsPackagePath(end.message), c.namesThePackage) << c.name;
        EXPECT_TRUE(QDir(harness.cacheFolder()).isEmpty()) << c.name;
        EXPECT_FALSE(QFile::exists(harness.installedRecord())) << c.name; // the installer never ran
    }
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
    EXPECT_FALSE(QFile::exists(harness.installedRecord()));
    EXPECT_TRUE(QDir(harness.dir.filePath(QStringLiteral("caches/Tarnwick"))).isEmpty());
}

TEST(PKGInstaller, ACancelStopsThePasswordDialogButLetsAnInstallThatBegunFinish)
{
    // Each case cancels once its file appears: the password dialog's prompt, or a mark the
    // installer leaves before it takes its time. Root's installer is beyond a cancel's reach.
    const struct {
        const char *name;
        bool dialogWaits;
        Kind end;
        bool installed;
    } cases[] = {
        {"password dialog up", true, Kind::canceled, false},
        {"installer running", false, Kind::completed, true},
    };
    for (const auto &c : cases) {
        PackageHarness harness;
        const QString cue = harness.dir.filePath(QStringLiteral("cue"));
        const QString slowInstaller = harness.dir.filePath(QStringLiteral("slow-installer"));
        QFile script(slowInstaller);
        ASSERT_TRUE(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\n: > '" + cue.toUtf8() + "'; sleep 1; exec '" STANDINS_DIR "/installer' \"$@\"\n");
        script.close();
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        harness.osascriptSees(c.dialogWaits ? Environment {{QStringLiteral("STANDIN_DIALOG_WAITS"), QStringLiteral("1")},
                                                           {QStringLiteral("STANDIN_PROMPT_FILE"), cue}}
                                            : Environment {{QStringLiteral("STANDIN_INSTALLER"), slowInstaller}});
        std::future<void> canceller;
        const PKGInstaller::Event end = harness.install({}, [&](const PKGInstaller::Event &event) {
            if (event.kind == Kind::installing)
                canceller = std::async(std::launch::async, [&] {
                    for (int i = 0; i < 1000 && !QFileInfo::exists(cue); ++i)
                        QThread::msleep(10);
                    harness.cancellation.cancel();
                });
        });
        canceller.wait();
        EXPECT_EQ(end.kind, c.end) << c.name << ": " << end.message.toStdString();
        EXPECT_EQ(harness.kinds().contains(Kind::finishing), c.installed) << c.name;
        EXPECT_EQ(QFile::exists(harness.installedRecord()), c.installed) << c.name;
        EXPECT_TRUE(QDir(harness.cacheFolder()).isEmpty()) << c.name; // the package is gone either way
    }
}

TEST(PKGInstaller, ReadsWhatOsascriptSays)
{
    QString longTranscript;
    for (int line = 1; line <= 2000; ++line)
        longTranscript += QStringLiteral("installer: line %1 of a long story\n").arg(line, 4, 10, QLatin1Char('0'));
    const QByteArray swappedDigest = QCryptographicHash::hash("swapped", QCryptographicHash::Sha256).toHex();
    const struct {
        const char *name;
        Environment environment;
        std::function<bool(const PKGInstaller::Event &, const PackageHarness &)> expected;
    } cases[] = {
        {"password dialog dismissed", {{QStringLiteral("STANDIN_OSASCRIPT_SAYS"), QStringLiteral("0:75: execution error: User canceled. (-128)")}},
         [](const auto &end, const auto &) { return end == PKGInstaller::Event::of(Kind::canceled); }},
        {"other execution error", {{QStringLiteral("STANDIN_OSASCRIPT_SAYS"), QStringLiteral("execution error: No user interaction allowed. (-1713)")}},
         [](const auto &end, const auto &) { return end == PKGInstaller::Event::error(QStringLiteral("execution error: No user interaction allowed. (-1713)")); }},
        // Only the end of a long transcript is kept: it is what explains the failure.
        {"long transcript", {{QStringLiteral("STANDIN_OSASCRIPT_SAYS"), longTranscript}},
         [](const auto &end, const auto &) {
             return end.kind == Kind::error && end.message.size() <= 64 * 1024 && end.message.endsWith(QLatin1String("line 2000 of a long story"));
         }},
        // The package is replaced while the password dialog is up: root checks its own copy.
        {"package swapped", {{QStringLiteral("STANDIN_BEFORE_DIALOG"), QStringLiteral("for f in \"$HOME\"/caches/Tarnwick/run-*/*.pkg; do printf swapped > \"$f\"; done")}},
         [&](const auto &end, const auto &harness) {
             return end.kind == Kind::error
                 && end.message.startsWith(QStringLiteral("Checksum mismatch (expected %1, got %2): the package changed after it was checked")
                                               .arg(QString::fromLatin1(harness.checksum), QString::fromLatin1(swappedDigest)));
         }},
    };
    for (const auto &c : cases) {
        PackageHarness harness;
        Environment environment = c.environment;
        environment.insert(QStringLiteral("HOME"), harness.dir.path());
        harness.osascriptSees(environment);
        const PKGInstaller::Event end = harness.install();
        EXPECT_TRUE(c.expected(end, harness)) << c.name << ": " << end.message.left(300).toStdString();
        EXPECT_TRUE(QDir(harness.cacheFolder()).isEmpty()) << c.name;
        EXPECT_FALSE(QFile::exists(harness.installedRecord())) << c.name; // the installer never ran
    }
}
