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

using namespace Qt::StringLiterals;
using Kind = BrewRunner::Event::Kind;

namespace {

const QByteArray kTerminalRequired = "sudo: a terminal is required to read the password; either use the -S option to read from "
                                     "standard input or configure an askpass helper";
const QString kApi = u"https://api.adoptium.test"_s, kBrew = u"/opt/homebrew/bin/brew"_s;

// brew is a real stand-in process; Adoptium is a double, and so is the
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
    // brew names its verb, then prints `output` (a shell snippet) and exits with `status`.
    void brew(const QByteArray &output, int status = 0) { mac.add(kBrew, "echo \"verb:$1\"\n" + output + "\nexit " + QByteArray::number(status)); }
    QStringList verbs() const { return lines.filter(u"verb:"_s).replaceInStrings(u"verb:"_s, QString()); }
    BrewRunner::Event run(const QString &cask)
    {
        const BrewRunner runner(kBrew, mac.runner(), http, fs, AdoptiumAPI(http, QUrl(kApi)), architecture);
        ProcessCancellation cancellation;
        return runner.run(cask, QString::fromLatin1(PKGInstaller::kPrompt), cancellation, [&](const BrewRunner::Event &event) {
            if (event.kind == Kind::output)
                lines.append(event.text);
            progress = event.kind == Kind::downloading ? std::optional(event) : progress;
        });
    }

    QTemporaryDir dir;
    StandIns mac;
    std::shared_ptr<InMemoryFileSystem> memory = std::make_shared<InMemoryFileSystem>();
    std::shared_ptr<FileSystemOperating> fs;
    std::shared_ptr<FixtureHTTPFetcher> http = std::make_shared<FixtureHTTPFetcher>(fs);
    Architecture architecture = Architecture::appleSilicon;
    QStringList lines;
    std::optional<BrewRunner::Event> progress; // the last
};

} // namespace

TEST(BrewRunner, RoutesSudoThroughTheExecutorAndReinstallsWhenTheJDKIsGone)
{
    const struct { QString cask, installedBundle /* empty: none */; QStringList verbs; } cases[] = {
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
        const QString executor = harness.lines.value(1).section(u"first="_s, 1);
        EXPECT_EQ(harness.lines.value(1), u"askpass=%1/askpass.sh first=%1"_s.arg(executor));
        EXPECT_TRUE(executor.startsWith("/private/tmp/twk-priv-"_L1)) << executor.toStdString();
        EXPECT_EQ(harness.lines.contains("Homebrew reports "_L1 + c.cask + " is already installed, but the JDK is missing from /Library/Java/"
                                         "JavaVirtualMachines/. Retrying with `brew reinstall --cask "_L1 + c.cask + u"`…"_s), c.verbs.size() == 2);
        EXPECT_TRUE(harness.fs->contentsOfDirectory(u"/private/tmp"_s).isEmpty()); // the executor cleaned up
    }
}

TEST(BrewRunner, EndsAsBrewSaysAndFallsBackToThePackageForTemurinOnly)
{
    const QByteArray bypassed = "echo '" + kTerminalRequired + "' >&2\necho 'sudo: a password is required' >&2";
    const QString refused = u"Sudo: A password is required"_s; // the phrases are matched whatever their case
    const auto fellBack = [](const char *architecture) {
        return QStringList {u"Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…"_s,
                            u"Looking up Temurin 25 (%1) on Adoptium…"_s.arg(QLatin1String(architecture)), u"Verifying download checksum…"_s,
                            u"Running /usr/sbin/installer (macOS will ask for your password)…"_s, u"Installer completed."_s};
    };
    // brew: null when there is none; lines: the last ones
    const struct { const char *name; QByteArray brew; QString cask; Architecture architecture; BrewRunner::Event end; QStringList lines; } cases[] = {
        {"download failed", "echo 'Error: Download failed' >&2", u"temurin@21"_s, Architecture::appleSilicon, BrewRunner::Event::completed(1), {"Error: Download failed"}},
        {"Warp never falls back", "echo '" + kTerminalRequired + "' >&2\necho '" + refused.toUtf8() + "' >&2", u"warp"_s, Architecture::appleSilicon,
         BrewRunner::Event::canceled(), {QString::fromUtf8(kTerminalRequired), refused}},
        {"no brew", {}, u"temurin@21"_s, Architecture::appleSilicon, BrewRunner::Event::completed(-1), {"Failed to start brew: No such file or directory"}},
        {"bypassed on Intel", bypassed, u"temurin"_s, Architecture::intel, BrewRunner::Event::completed(0), fellBack("x64")},
        {"bypassed, processor unknown", bypassed, u"temurin@25"_s, Architecture::unknown, BrewRunner::Event::completed(0), fellBack("aarch64")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        BrewHarness harness(true);
        harness.architecture = c.architecture;
        if (c.brew.isNull())
            harness.mac.remove(kBrew);
        else
            harness.brew(c.brew, 1);
        EXPECT_EQ(harness.run(c.cask), c.end);
        EXPECT_EQ(harness.lines.mid(harness.lines.size() - c.lines.size()), c.lines);
        EXPECT_EQ(QFile::exists(harness.dir.filePath(u"installed"_s)), c.lines.size() == 5); // whether the installer ran
        EXPECT_EQ(harness.progress, c.lines.size() == 5 ? std::optional(BrewRunner::Event::downloading(7, 7)) : std::nullopt);
    }
}

// Homebrew's install script, as far as the installer can tell: it checks that it was started
// non-interactively with our askpass, prints, and exits as told.
static StreamEvent installHomebrew(const std::shared_ptr<InMemoryFileSystem> &fs, const QByteArray &more, int status, QStringList &lines, const QUrl &url = {})
{
    LocalHTTPServer server;
    server.route("/install.sh", [&](const auto &) {
        return LocalHTTPServer::Reply {200, {}, "#!/bin/bash\n[ \"$NONINTERACTIVE\" = 1 ] || { echo 'not NONINTERACTIVE'; exit 9; }\n"
                                                "case \"$SUDO_ASKPASS\" in */twk-priv-*/askpass.sh) echo 'sudo is routed';; *) exit 8;; esac\n"
                                                + more + "\nexit " + QByteArray::number(status) + "\n"};
    });
    const HomebrewInstaller installer(std::make_shared<LiveProcessRunner>(), fs, url.isEmpty() ? server.url(u"/install.sh"_s) : url);
    ProcessCancellation cancellation;
    return installer.install(cancellation, [&](const StreamEvent &event) { lines.append(event.text); });
}

// After a success the shellenv line goes in once, for the brew the script left; after a failure nothing is written.
TEST(HomebrewInstaller, AddsShellenvOnceForTheBrewItFindsAndTellsARefusedPasswordFromAFailure)
{
    const QString appended = u"Appended. Backup at /Users/tester/.zprofile.bak."_s;
    const QByteArray succeeds = "echo '==> Installation successful!'";
    const struct { QString brew /* empty: none where it was expected */; QByteArray output; StreamEvent end; QString said; } cases[] = {
        {kBrew, succeeds, StreamEvent::completed(0), appended},
        {u"/usr/local/bin/brew"_s, succeeds, StreamEvent::completed(0), appended},
        {{}, succeeds, StreamEvent::completed(0), u"Note: brew not found in expected locations after install; skipping ~/.zprofile shellenv append."_s},
        {kBrew, "echo 'sudo: a password is required' >&2", StreamEvent::canceled(), u"sudo: a password is required"_s},
        {kBrew, "echo '0:75: execution error: User canceled. (-128)' >&2", StreamEvent::canceled(), u"0:75: execution error: User canceled. (-128)"_s},
        {kBrew, "echo 'Failed during: /usr/bin/sudo /usr/sbin/chown' >&2", StreamEvent::completed(1), u"Failed during: /usr/bin/sudo /usr/sbin/chown"_s},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.output.constData());
        auto fs = std::make_shared<InMemoryFileSystem>();
        const QString zprofile = fs->homeDirectory() + "/.zprofile"_L1;
        if (!c.brew.isEmpty())
            fs->addFile(c.brew, "", 0755);
        fs->addFile(zprofile, "export EDITOR=vim\n");
        QStringList lines;
        EXPECT_EQ(installHomebrew(fs, c.output, c.end == StreamEvent::completed(0) ? 0 : 1, lines), c.end);
        EXPECT_EQ(lines.value(0), u"sudo is routed"_s);
        EXPECT_TRUE(lines.contains(c.said)) << lines.join(u'\n').toStdString();
        const QString profile = fs->readString(zprofile);
        const bool appends = c.said == appended;
        EXPECT_EQ(profile.startsWith("export EDITOR=vim\n\n# "_L1) && profile.endsWith(u" Tarnwick — Homebrew shellenv\neval \"$("_s + c.brew + " shellenv)\"\n"_L1),
                  appends) << profile.toStdString();
        EXPECT_TRUE(appends || profile == "export EDITOR=vim\n"_L1);
        EXPECT_TRUE(fs->contentsOfDirectory(u"/private/tmp"_s).isEmpty());
        if (!appends)
            continue;
        lines.clear();
        installHomebrew(fs, {}, 0, lines);
        EXPECT_EQ(lines.constLast(), u"brew shellenv already in ~/.zprofile — skipping."_s);
        EXPECT_EQ(fs->readString(zprofile), profile);
    }
    // An address that cannot be quoted safely never reaches the shell.
    QStringList lines;
    EXPECT_EQ(installHomebrew(std::make_shared<InMemoryFileSystem>(), {}, 0, lines, QUrl(u"http://127.0.0.1/x$(touch /tmp/canary)`id`"_s)),
              StreamEvent::completed(-1));
    EXPECT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines.value(0).startsWith("Failed to start Homebrew installer: "_L1)) << lines.value(0).toStdString();
}
