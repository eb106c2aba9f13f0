#include "StandIns.h"
#include "simulated/FixtureHTTPFetcher.h"
#include "simulated/InMemoryFileSystem.h"
#include "runners/BrewRunner.h"
#include "runners/PKGInstaller.h"
#include "services/LiveFileSystem.h"

#include <QCryptographicHash>
#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <thread>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

using Kind = BrewRunner::Event::Kind;

namespace {

const QByteArray kTerminalRequired = "sudo: a terminal is required to read the password; either use the -S option to read from "
                                     "standard input or configure an askpass helper";
const QString kApi = QStringLiteral("https://api.adoptium.test");

// brew is a real stand-in process that writes down its verbs; Adoptium is a double, and so is the
// disk (so that /Library/Java can hold a JDK or not) unless the package must reach the stand-in
// osascript's root side, which reads the real one.
class BrewHarness {
public:
    enum class Disk { simulated, real };
    // A package swapped in the caches folder while the password dialog is up must never be installed.
    explicit BrewHarness(Disk disk = Disk::simulated, bool swapsPackage = false)
        : fs(disk == Disk::simulated ? std::shared_ptr<FileSystemOperating>(memory)
                                     : std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {
                                         dir.path(), dir.filePath(QStringLiteral("tmp")), dir.filePath(QStringLiteral("caches")), {}}))
    {
        QDir(dir.path()).mkpath(QStringLiteral("tmp"));
        mac.map(QStringLiteral("/usr/bin/osascript"), QStringLiteral(STANDINS_DIR "/osascript"));
        mac.setEnvironment({{QStringLiteral("STANDIN_INSTALLER"), QStringLiteral(STANDINS_DIR "/installer")},
                            {QStringLiteral("STANDIN_INSTALLED_PKG"), dir.filePath(QStringLiteral("installed"))},
                            {QStringLiteral("STANDIN_BEFORE_DIALOG"),
                             swapsPackage ? QStringLiteral("for f in '%1'/caches/Tarnwick/run-*/*.pkg; do printf swapped > \"$f\"; done").arg(dir.path())
                                          : QString()}});
        for (int major : {21, 25}) {
            const QByteArray package = "temurin " + QByteArray::number(major) + " package";
            for (const char *architecture : {"aarch64", "x64"})
                http->respond(QUrl(kApi + QStringLiteral("/v3/assets/latest/%1/hotspot?architecture=%2&image_type=jdk&os=mac").arg(major).arg(QLatin1String(architecture))),
                          HTTPResponse {200, {}, "[{\"binary\": {\"installer\": {\"link\": \"https://downloads.test/" + QByteArray::number(major)
                                                     + ".pkg\", \"checksum\": \"" + QCryptographicHash::hash(package, QCryptographicHash::Sha256).toHex()
                                                     + "\", \"name\": \"OpenJDK.pkg\"}}, \"release_name\": \"jdk-" + QByteArray::number(major) + "\"}]"});
            http->respond(QUrl(QStringLiteral("https://downloads.test/%1.pkg").arg(major)), HTTPResponse {200, {}, package});
        }
    }
    // brew prints `output` (a shell snippet) for every verb and exits with `status`.
    void brew(const QByteArray &output, int status = 0)
    {
        mac.add(QStringLiteral("/opt/homebrew/bin/brew"),
                "echo \"$1\" >> '" + dir.filePath(QStringLiteral("verbs")).toUtf8() + "'\n" + output + "\nexit " + QByteArray::number(status));
    }
    QStringList verbs() const
    {
        QFile file(dir.filePath(QStringLiteral("verbs")));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts) : QStringList();
    }
    BrewRunner::Event run(const QString &cask, const std::function<void(const BrewRunner::Event &)> &also = {})
    {
        const BrewRunner runner(QStringLiteral("/opt/homebrew/bin/brew"), mac.runner(), http, fs, AdoptiumAPI(http, QUrl(kApi)), architecture);
        return runner.run(cask, QString::fromLatin1(PKGInstaller::kPrompt), cancellation, [&](const BrewRunner::Event &event) {
            if (event.kind == Kind::output)
                lines.append(event.text);
            else
                progress.append(event);
            if (also)
                also(event);
        });
    }
    void installJDK(const QString &bundle) const
    {
        memory->addFile(QStringLiteral("/Library/Java/JavaVirtualMachines/") + bundle + QStringLiteral("/Contents/Home/bin/java"), "", 0755);
    }

    QTemporaryDir dir;
    StandIns mac;
    std::shared_ptr<InMemoryFileSystem> memory = std::make_shared<InMemoryFileSystem>();
    std::shared_ptr<FileSystemOperating> fs;
    std::shared_ptr<FixtureHTTPFetcher> http = std::make_shared<FixtureHTTPFetcher>(fs);
    ProcessCancellation cancellation;
    Architecture architecture = Architecture::appleSilicon;
    QStringList lines;
    QList<BrewRunner::Event> progress;
};

} // namespace

TEST(BrewRunner, StreamsASuccessfulInstallWithSudoRoutedThroughTheExecutor)
{
    BrewHarness harness;
    harness.brew("echo '==> Installing Cask temurin@21'\necho \"askpass=$SUDO_ASKPASS\"\necho \"first=${PATH%%:*}\"\n"
                 "echo '🍺  temurin@21 was successfully installed!'");
    EXPECT_EQ(harness.run(QStringLiteral("temurin@21")), BrewRunner::Event::completed(0));
    EXPECT_EQ(harness.lines.replaceInStrings(QRegularExpression(QStringLiteral("/private/tmp/twk-priv-[^/]+")), QStringLiteral("<executor>")),
              (QStringList {"==> Installing Cask temurin@21", "askpass=<executor>/askpass.sh", "first=<executor>",
                            "🍺  temurin@21 was successfully installed!"}));
    EXPECT_EQ(harness.verbs(), QStringList {"install"});
    EXPECT_TRUE(harness.fs->contentsOfDirectory(QStringLiteral("/private/tmp")).isEmpty()); // the executor cleaned up
}

TEST(BrewRunner, FallsBackToThePackageWhenHomebrewBypassesTheWrapper)
{
    const QString swappedDigest = QString::fromLatin1(QCryptographicHash::hash("swapped", QCryptographicHash::Sha256).toHex());
    const struct {
        QString cask;
        Architecture architecture;
        QString lookup;
        bool swapped;
        std::int32_t exitCode;
        QString last;
    } cases[] = {
        {QStringLiteral("temurin@21"), Architecture::appleSilicon, QStringLiteral("Looking up Temurin 21 (aarch64) on Adoptium…"), false, 0,
         QStringLiteral("Installer completed.")},
        {QStringLiteral("temurin"), Architecture::intel, QStringLiteral("Looking up Temurin 25 (x64) on Adoptium…"), false, 0,
         QStringLiteral("Installer completed.")},
        {QStringLiteral("temurin@21"), Architecture::unknown, QStringLiteral("Looking up Temurin 21 (aarch64) on Adoptium…"), true, 1,
         QStringLiteral("Installer failed: Checksum mismatch (expected %1, got %2): the package changed after it was checked, so nothing was installed.")
             .arg(QString::fromLatin1(QCryptographicHash::hash("temurin 21 package", QCryptographicHash::Sha256).toHex()), swappedDigest)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.cask.toStdString() + (c.swapped ? " swapped" : ""));
        BrewHarness harness(BrewHarness::Disk::real, c.swapped);
        harness.architecture = c.architecture;
        harness.brew("echo '==> Installing Cask " + c.cask.toUtf8() + "'\necho '" + kTerminalRequired + "' >&2\necho 'sudo: a password is required' >&2", 1);
        EXPECT_EQ(harness.run(c.cask), BrewRunner::Event::completed(c.exitCode));
        ASSERT_FALSE(harness.http->requests().isEmpty());
        EXPECT_TRUE(harness.http->requests().first().url.query().contains(QStringLiteral("architecture=") + adoptiumArchitecture(c.architecture)));
        EXPECT_EQ(harness.lines.mid(3), (QStringList {QString(), QStringLiteral("Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…"),
                                                      c.lookup, QStringLiteral("Verifying download checksum…"),
                                                      QStringLiteral("Running /usr/sbin/installer (macOS will ask for your password)…"), c.last}));
        ASSERT_FALSE(harness.progress.isEmpty());
        EXPECT_EQ(harness.progress.last().kind, Kind::downloading);
        EXPECT_EQ(QFile::exists(harness.dir.filePath(QStringLiteral("installed"))), !c.swapped); // whether the installer ran
        EXPECT_TRUE(harness.fs->contentsOfDirectory(harness.fs->cachesDirectory() + QStringLiteral("/Tarnwick")).isEmpty());
    }
}

TEST(BrewRunner, TellsARefusedPasswordFromAFailure)
{
    const QString refused = QStringLiteral("sudo: a password is required");
    const struct {
        const char *name;
        QByteArray brew; // null: no brew at all
        QString cask;
        BrewRunner::Event end;
        QStringList lines;
    } cases[] = {
        {"password refused", "echo '" + refused.toUtf8() + "' >&2", "temurin@21", BrewRunner::Event::canceled(), {refused}},
        {"download failed", "echo 'Error: Download failed' >&2", "temurin@21", BrewRunner::Event::completed(1), {"Error: Download failed"}},
        {"Warp never falls back", "echo '" + kTerminalRequired + "' >&2\necho '" + refused.toUtf8() + "' >&2", "warp", BrewRunner::Event::canceled(),
         {QString::fromUtf8(kTerminalRequired), refused}},
        {"no brew", {}, "temurin@21", BrewRunner::Event::completed(-1), {"Failed to start brew: No such file or directory"}},
    };
    for (const auto &c : cases) {
        BrewHarness harness;
        if (c.brew.isNull())
            harness.mac.remove(QStringLiteral("/opt/homebrew/bin/brew"));
        else
            harness.brew(c.brew, 1);
        EXPECT_EQ(harness.run(c.cask), c.end) << c.name;
        EXPECT_EQ(harness.lines, c.lines) << c.name;
    }
}

TEST(BrewRunner, ReinstallsWhenHomebrewHasTheCaskButTheJDKIsGone)
{
    const QByteArray notUpgrading = "echo 'Warning: Not upgrading temurin, the latest version is already installed'";
    const struct {
        const char *name;
        QString cask;
        QString installedBundle; // empty: none
        QStringList verbs;
    } cases[] = {
        {"JDK missing", QStringLiteral("temurin"), {}, {"install", "reinstall"}},
        {"JDK present by its major", QStringLiteral("temurin@21"), QStringLiteral("temurin-21.jdk"), {"install"}},
        {"another major's JDK does not count", QStringLiteral("temurin@21"), QStringLiteral("temurin-17.jdk"), {"install", "reinstall"}},
        {"any Temurin JDK for the plain cask", QStringLiteral("temurin"), QStringLiteral("temurin-23.jdk"), {"install"}},
        {"Warp is never reinstalled", QStringLiteral("warp"), {}, {"install"}},
    };
    for (const auto &c : cases) {
        BrewHarness harness;
        harness.brew(notUpgrading);
        if (!c.installedBundle.isEmpty())
            harness.installJDK(c.installedBundle);
        EXPECT_EQ(harness.run(c.cask), BrewRunner::Event::completed(0)) << c.name;
        EXPECT_EQ(harness.verbs(), c.verbs) << c.name;
        if (c.verbs.size() == 2) {
            EXPECT_EQ(harness.lines.value(2), QStringLiteral("Homebrew reports ") + c.cask
                                                  + QStringLiteral(" is already installed, but the JDK is missing from "
                                                                   "/Library/Java/JavaVirtualMachines/. Retrying with `brew reinstall --cask ")
                                                  + c.cask + QStringLiteral("`…"))
                << c.name;
        }
    }
}

TEST(BrewRunner, CancellingStopsBrewAndReportsCanceled)
{
    BrewHarness harness;
    harness.brew("echo '==> Downloading https://github.com/adoptium/temurin21-binaries'\nsleep 30");
    const BrewRunner::Event end = harness.run(QStringLiteral("temurin@21"), [&](const BrewRunner::Event &event) {
        if (event.text.startsWith(QLatin1String("==> Downloading")))
            harness.cancellation.cancel();
    });
    EXPECT_EQ(end, BrewRunner::Event::canceled());
    EXPECT_TRUE(harness.fs->contentsOfDirectory(QStringLiteral("/private/tmp")).isEmpty());
}

TEST(BrewRunner, KeepsNoTranscriptOfALongRun)
{
#if defined(__SANITIZE_ADDRESS__) || !defined(__GLIBC__)
    GTEST_SKIP() << "heap use is read through glibc's allocator, which the sanitizer replaces";
#else
    // 40 MB of lines, then the phrases that decide the outcome at the very end: every line is
    // streamed, the verdict still comes from them, and the heap does not grow with the output.
    BrewHarness harness;
    harness.brew("head -c 40000000 /dev/zero | tr '\\0' x | fold -w 1000; echo\necho '" + kTerminalRequired + "' >&2\necho 'Sudo: A password is required' >&2", 1);
    const BrewRunner runner(QStringLiteral("/opt/homebrew/bin/brew"), harness.mac.runner(), harness.http, harness.fs,
                            AdoptiumAPI(harness.http, QUrl(kApi)), Architecture::appleSilicon);
    const auto heapInUse = [] { const struct mallinfo2 info = mallinfo2(); return info.uordblks + info.hblkhd; };
    std::optional<size_t> atFirstLine;
    size_t mostAbove = 0;
    int lines = 0;
    const BrewRunner::Event end = runner.run(QStringLiteral("warp"), QStringLiteral("x"), harness.cancellation, [&](const BrewRunner::Event &) {
        ++lines;
        if (!atFirstLine)
            atFirstLine = heapInUse();
        mostAbove = std::max(mostAbove, heapInUse() - std::min(heapInUse(), *atFirstLine));
    });
    EXPECT_EQ(end, BrewRunner::Event::canceled());
    EXPECT_EQ(lines, 40000 + 2);
    EXPECT_LT(mostAbove, size_t(8) << 20);
#endif
}
