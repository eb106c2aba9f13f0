#include "LocalHTTPServer.h"
#include "StandIns.h"
#include "runners/BrewRunner.h"
#include "runners/HomebrewInstaller.h"
#include "runners/PKGInstaller.h"
#include "services/LiveFileSystem.h"
#include "simulated/FixtureHTTPFetcher.h"
#include "simulated/InMemoryFileSystem.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

using namespace Qt::StringLiterals;
using Kind = BrewRunner::Event::Kind;

namespace {

const QByteArray kTerminalRequired = "sudo: a terminal is required to read the password; either use the -S option to read from "
                                     "standard input or configure an askpass helper";
const QString kApi = u"https://api.adoptium.test"_s, kBrew = u"/opt/homebrew/bin/brew"_s;

// brew is a real stand-in process that writes down its verbs; Adoptium is a double, and so is the
// disk (so that /Library/Java can hold a JDK or not) unless the package must reach the stand-in
// osascript's root side, which reads the real one.
struct BrewHarness {
    explicit BrewHarness(bool realDisk = false)
        : fs(realDisk ? std::shared_ptr<FileSystemOperating>(std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {dir.path(), dir.path(), dir.path(), {}}))
                      : memory)
    {
        mac.map(u"/usr/bin/osascript"_s, QStringLiteral(STANDINS_DIR "/osascript"));
        mac.setEnvironment({{u"STANDIN_INSTALLER"_s, QStringLiteral(STANDINS_DIR "/installer")}, {u"STANDIN_INSTALLED_PKG"_s, dir.filePath(u"installed"_s)}});
        for (const char *architecture : {"aarch64", "x64"}) {
            http->respond(QUrl(kApi + u"/v3/assets/latest/25/hotspot?architecture=%1&image_type=jdk&os=mac"_s.arg(QLatin1String(architecture))),
                          {200, {}, R"([{"binary": {"installer": {"link": "https://downloads.test/25.pkg", "checksum": ")"
                                        + QCryptographicHash::hash("package", QCryptographicHash::Sha256).toHex() + R"(", "name": "t.pkg"}}, "release_name": "jdk-25"}])"});
        }
        http->respond(QUrl(u"https://downloads.test/25.pkg"_s), {200, {}, "package"});
    }
    // brew prints `output` (a shell snippet) for every verb and exits with `status`.
    void brew(const QByteArray &output, int status = 0)
    {
        mac.add(kBrew, "echo \"$1\" >> '" + dir.filePath(u"verbs"_s).toUtf8() + "'\n" + output + "\nexit " + QByteArray::number(status));
    }
    QStringList verbs() const
    {
        QFile file(dir.filePath(u"verbs"_s));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts) : QStringList();
    }
    BrewRunner::Event run(const QString &cask, const BrewRunner::EventHandler &also = {})
    {
        const BrewRunner runner(kBrew, mac.runner(), http, fs, AdoptiumAPI(http, QUrl(kApi)), architecture);
        return runner.run(cask, QString::fromLatin1(PKGInstaller::kPrompt), cancellation, [&](const BrewRunner::Event &event) {
            if (event.kind == Kind::output && keepLines)
                lines.append(event.text);
            if (also)
                also(event);
        });
    }

    QTemporaryDir dir;
    StandIns mac;
    std::shared_ptr<InMemoryFileSystem> memory = std::make_shared<InMemoryFileSystem>();
    std::shared_ptr<FileSystemOperating> fs;
    std::shared_ptr<FixtureHTTPFetcher> http = std::make_shared<FixtureHTTPFetcher>(fs);
    ProcessCancellation cancellation;
    Architecture architecture = Architecture::appleSilicon;
    QStringList lines;
    bool keepLines = true;
};

} // namespace

TEST(BrewRunner, RoutesSudoThroughTheExecutorAndReinstallsWhenTheJDKIsGone)
{
    const struct {
        QString cask;
        QString installedBundle; // empty: none
        QStringList verbs;
    } cases[] = {
        {u"temurin"_s, {}, {"install", "reinstall"}},
        {u"temurin@21"_s, u"temurin-21.jdk"_s, {"install"}},
        {u"temurin@21"_s, u"temurin-17.jdk"_s, {"install", "reinstall"}}, // another major's JDK does not count
        {u"temurin"_s, u"temurin-23.jdk"_s, {"install"}},                 // any Temurin JDK does for the plain cask
        {u"warp"_s, {}, {"install"}},                                     // Warp is never reinstalled
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.cask.toStdString() + ' ' + c.installedBundle.toStdString());
        BrewHarness harness;
        harness.brew("echo \"askpass=$SUDO_ASKPASS first=${PATH%%:*}\"\necho 'Warning: Not upgrading, the latest version is already installed'");
        if (!c.installedBundle.isEmpty())
            harness.memory->addFile("/Library/Java/JavaVirtualMachines/"_L1 + c.installedBundle + "/Contents/Home/bin/java"_L1, "", 0755);
        EXPECT_EQ(harness.run(c.cask), BrewRunner::Event::completed(0));
        EXPECT_EQ(harness.verbs(), c.verbs) << harness.lines.join(u'\n').toStdString();
        const QString executor = harness.lines.value(0).section(u"first="_s, 1);
        EXPECT_EQ(harness.lines.value(0), u"askpass=%1/askpass.sh first=%1"_s.arg(executor));
        EXPECT_TRUE(executor.startsWith("/private/tmp/twk-priv-"_L1)) << executor.toStdString();
        EXPECT_EQ(harness.lines.contains("Homebrew reports "_L1 + c.cask + " is already installed, but the JDK is missing from /Library/Java/"
                                         "JavaVirtualMachines/. Retrying with `brew reinstall --cask "_L1 + c.cask + u"`…"_s), c.verbs.size() == 2);
        EXPECT_TRUE(harness.fs->contentsOfDirectory(u"/private/tmp"_s).isEmpty()); // the executor cleaned up
    }
}

TEST(BrewRunner, EndsAsBrewSaysAndFallsBackToThePackageForTemurinOnly)
{
    const QString refused = u"sudo: a password is required"_s;
    const QString fellBack = u"Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…"_s;
    const struct {
        const char *name;
        QByteArray brew; // null: no brew at all
        QString cask;
        Architecture architecture;
        BrewRunner::Event end;
        QStringList lines; // the last ones
    } cases[] = {
        {"download failed", "echo 'Error: Download failed' >&2", u"temurin@21"_s, Architecture::appleSilicon, BrewRunner::Event::completed(1), {"Error: Download failed"}},
        {"Warp never falls back", "echo '" + kTerminalRequired + "' >&2\necho '" + refused.toUtf8() + "' >&2", u"warp"_s, Architecture::appleSilicon,
         BrewRunner::Event::canceled(), {QString::fromUtf8(kTerminalRequired), refused}},
        {"no brew", {}, u"temurin@21"_s, Architecture::appleSilicon, BrewRunner::Event::completed(-1), {"Failed to start brew: No such file or directory"}},
        {"bypassed on Intel", "echo '" + kTerminalRequired + "' >&2\necho 'sudo: a password is required' >&2", u"temurin"_s, Architecture::intel, BrewRunner::Event::completed(0),
         {fellBack, "Looking up Temurin 25 (x64) on Adoptium…", "Verifying download checksum…",
          "Running /usr/sbin/installer (macOS will ask for your password)…", "Installer completed."}},
        {"bypassed, processor unknown", "echo '" + kTerminalRequired + "' >&2\necho 'sudo: a password is required' >&2", u"temurin@25"_s, Architecture::unknown, BrewRunner::Event::completed(0),
         {fellBack, "Looking up Temurin 25 (aarch64) on Adoptium…", "Verifying download checksum…",
          "Running /usr/sbin/installer (macOS will ask for your password)…", "Installer completed."}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        BrewHarness harness(true);
        harness.architecture = c.architecture;
        if (c.brew.isNull())
            harness.mac.remove(kBrew);
        else
            harness.brew(c.brew, 1);
        std::optional<BrewRunner::Event> progress;
        EXPECT_EQ(harness.run(c.cask, [&](const BrewRunner::Event &event) { if (event.kind == Kind::downloading) progress = event; }), c.end);
        EXPECT_EQ(harness.lines.mid(harness.lines.size() - c.lines.size()), c.lines);
        EXPECT_EQ(QFile::exists(harness.dir.filePath(u"installed"_s)), c.lines.size() == 5); // whether the installer ran
        EXPECT_EQ(progress, c.lines.size() == 5 ? std::optional(BrewRunner::Event::downloading(7, 7)) : std::nullopt);
    }
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
    const auto heapInUse = [] { const struct mallinfo2 info = mallinfo2(); return info.uordblks + info.hblkhd; };
    harness.keepLines = false;
    std::optional<size_t> atFirstLine;
    size_t mostAbove = 0;
    int lines = 0;
    const BrewRunner::Event end = harness.run(u"warp"_s, [&](const BrewRunner::Event &) {
        ++lines;
        atFirstLine = atFirstLine.value_or(heapInUse());
        mostAbove = std::max(mostAbove, heapInUse() - std::min(heapInUse(), *atFirstLine));
    });
    EXPECT_EQ(end, BrewRunner::Event::canceled());
    EXPECT_EQ(lines, 40000 + 2);
    EXPECT_LT(mostAbove, size_t(8) << 20);
#endif
}

namespace {

// Homebrew's install script, as far as the installer can tell: it checks that it was started
// non-interactively with our askpass, prints, and exits as told.
StreamEvent installHomebrew(const std::shared_ptr<InMemoryFileSystem> &fs, const QByteArray &more, int status, QStringList *lines = nullptr,
                            const QUrl &url = {})
{
    LocalHTTPServer server;
    server.route("/install.sh", [&](const auto &) {
        return LocalHTTPServer::Reply {200, {}, "#!/bin/bash\n[ \"$NONINTERACTIVE\" = 1 ] || { echo 'not NONINTERACTIVE'; exit 9; }\n"
                                                "case \"$SUDO_ASKPASS\" in */twk-priv-*/askpass.sh) echo 'sudo is routed';; *) exit 8;; esac\n"
                                                + more + "\nexit " + QByteArray::number(status) + "\n"};
    });
    const HomebrewInstaller installer(std::make_shared<LiveProcessRunner>(), fs, url.isEmpty() ? server.url(u"/install.sh"_s) : url);
    ProcessCancellation cancellation;
    return installer.install(cancellation, [&](const StreamEvent &event) { if (lines) lines->append(event.text); });
}

} // namespace

TEST(HomebrewInstaller, RunsTheScriptThenAddsShellenvOnceForTheBrewItFinds)
{
    const struct {
        QString brew; // empty: none where it was expected
        QString last;
    } cases[] = {
        {kBrew, u"Appended. Backup at /Users/tester/.zprofile.bak."_s},
        {u"/usr/local/bin/brew"_s, u"Appended. Backup at /Users/tester/.zprofile.bak."_s},
        {{}, u"Note: brew not found in expected locations after install; skipping ~/.zprofile shellenv append."_s},
    };
    for (const auto &c : cases) {
        auto fs = std::make_shared<InMemoryFileSystem>();
        const QString zprofile = fs->homeDirectory() + "/.zprofile"_L1;
        if (!c.brew.isEmpty())
            fs->addFile(c.brew, "", 0755);
        fs->addFile(zprofile, "export EDITOR=vim\n");
        QStringList lines;
        EXPECT_EQ(installHomebrew(fs, "echo '==> Installation successful!'", 0, &lines), StreamEvent::completed(0));
        EXPECT_EQ(lines.mid(0, 2), (QStringList {"sudo is routed", "==> Installation successful!"}));
        EXPECT_EQ(lines.constLast(), c.last);
        const QString profile = fs->readString(zprofile);
        EXPECT_EQ(profile.startsWith("export EDITOR=vim\n\n# "_L1) && profile.endsWith(u" Tarnwick — Homebrew shellenv\neval \"$("_s + c.brew + " shellenv)\"\n"_L1),
                  !c.brew.isEmpty()) << profile.toStdString();
        EXPECT_TRUE(fs->contentsOfDirectory(u"/private/tmp"_s).isEmpty());
        lines.clear();
        installHomebrew(fs, {}, 0, &lines);
        EXPECT_EQ(lines.constLast(), c.brew.isEmpty() ? c.last : u"brew shellenv already in ~/.zprofile — skipping."_s);
        EXPECT_EQ(fs->readString(zprofile), profile);
    }
}

TEST(HomebrewInstaller, TellsARefusedPasswordFromAFailureAndRefusesAnAddressItCannotQuote)
{
    const struct {
        QByteArray output;
        StreamEvent expected;
    } cases[] = {
        {"echo 'sudo: a password is required' >&2", StreamEvent::canceled()},
        {"echo '0:75: execution error: User canceled. (-128)' >&2", StreamEvent::canceled()},
        {"echo 'Failed during: /usr/bin/sudo /usr/sbin/chown' >&2", StreamEvent::completed(1)},
    };
    for (const auto &c : cases) {
        auto fs = std::make_shared<InMemoryFileSystem>();
        fs->addFile(kBrew, "", 0755);
        EXPECT_EQ(installHomebrew(fs, c.output, 1), c.expected) << c.output.constData();
        EXPECT_FALSE(fs->fileExists(fs->homeDirectory() + "/.zprofile"_L1)); // nothing appended after a failure
    }
    QStringList lines;
    EXPECT_EQ(installHomebrew(std::make_shared<InMemoryFileSystem>(), {}, 0, &lines, QUrl(u"http://127.0.0.1/x$(touch /tmp/canary)`id`"_s)),
              StreamEvent::completed(-1));
    EXPECT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines.value(0).startsWith("Failed to start Homebrew installer: "_L1)) << lines.value(0).toStdString();
}
