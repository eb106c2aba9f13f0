#include "LocalHTTPServer.h"
#include "simulated/InMemoryFileSystem.h"
#include "runners/HomebrewInstaller.h"
#include "services/LiveProcessRunner.h"

#include <gtest/gtest.h>

namespace {

// Homebrew's install script, as far as the installer can tell: it checks that it was started
// non-interactively with our askpass, prints, and exits as told.
QByteArray installScript(const QByteArray &more, int status)
{
    return "#!/bin/bash\n"
           "echo '==> Checking for `sudo` access (which may request your password)...'\n"
           "[ \"$NONINTERACTIVE\" = 1 ] || { echo 'not NONINTERACTIVE'; exit 9; }\n"
           "case \"$SUDO_ASKPASS\" in */twk-priv-*/askpass.sh) echo 'sudo is routed';; *) echo 'no askpass'; exit 8;; esac\n"
           + more + "\nexit " + QByteArray::number(status) + "\n";
}

struct Installed {
    QStringList lines;
    StreamEvent end;
};

Installed install(const LocalHTTPServer &server, const std::shared_ptr<InMemoryFileSystem> &fs, const QUrl &url = {})
{
    const HomebrewInstaller installer(std::make_shared<LiveProcessRunner>(), fs,
                                      url.isEmpty() ? server.url(QStringLiteral("/install.sh")) : url);
    ProcessCancellation cancellation;
    Installed result;
    result.end = installer.install(cancellation, [&](const StreamEvent &event) { result.lines.append(event.text); });
    return result;
}

} // namespace

TEST(HomebrewInstaller, RunsTheScriptThenAddsShellenvOnce)
{
    LocalHTTPServer server;
    server.route("/install.sh", [](const auto &) { return LocalHTTPServer::Reply {200, {}, installScript("echo '==> Installation successful!'", 0)}; });
    auto fs = std::make_shared<InMemoryFileSystem>();
    fs->addFile(QStringLiteral("/opt/homebrew/bin/brew"), "", 0755);
    fs->addFile(fs->homeDirectory() + QStringLiteral("/.zprofile"), "export EDITOR=vim\n");

    const Installed first = install(server, fs);
    EXPECT_EQ(first.end, StreamEvent::completed(0));
    EXPECT_EQ(first.lines, (QStringList {"==> Checking for `sudo` access (which may request your password)...", "sudo is routed",
                                         "==> Installation successful!",
                                         "Appending brew shellenv to ~/.zprofile (so brew is fully integrated in new shells).",
                                         "Appended. Backup at /Users/tester/.zprofile.bak."}));
    const QString profile = fs->readString(fs->homeDirectory() + QStringLiteral("/.zprofile"));
    EXPECT_TRUE(profile.startsWith(QStringLiteral("export EDITOR=vim\n\n# ")));
    EXPECT_TRUE(profile.endsWith(QStringLiteral(" Tarnwick — Homebrew shellenv\neval \"$(/opt/homebrew/bin/brew shellenv)\"\n")));
    EXPECT_TRUE(fs->contentsOfDirectory(QStringLiteral("/private/tmp")).isEmpty());

    const Installed again = install(server, fs);
    EXPECT_EQ(again.lines.last(), QStringLiteral("brew shellenv already in ~/.zprofile — skipping."));
    EXPECT_EQ(fs->readString(fs->homeDirectory() + QStringLiteral("/.zprofile")), profile);
}

TEST(HomebrewInstaller, UsesTheBrewThatWasInstalled)
{
    LocalHTTPServer server;
    server.route("/install.sh", [](const auto &) { return LocalHTTPServer::Reply {200, {}, installScript({}, 0)}; });
    auto intel = std::make_shared<InMemoryFileSystem>();
    intel->addFile(QStringLiteral("/usr/local/bin/brew"), "", 0755);
    EXPECT_EQ(install(server, intel).end, StreamEvent::completed(0));
    EXPECT_TRUE(intel->readString(intel->homeDirectory() + QStringLiteral("/.zprofile")).endsWith(QStringLiteral("eval \"$(/usr/local/bin/brew shellenv)\"\n")));

    auto nowhere = std::make_shared<InMemoryFileSystem>();
    const Installed noBrew = install(server, nowhere);
    EXPECT_EQ(noBrew.end, StreamEvent::completed(0));
    EXPECT_EQ(noBrew.lines.last(), QStringLiteral("Note: brew not found in expected locations after install; skipping ~/.zprofile shellenv append."));
    EXPECT_FALSE(nowhere->fileExists(nowhere->homeDirectory() + QStringLiteral("/.zprofile")));
}

TEST(HomebrewInstaller, TellsARefusedPasswordFromAFailure)
{
    const struct {
        QByteArray output;
        int status;
        StreamEvent expected;
    } cases[] = {
        {"echo 'sudo: a password is required' >&2", 1, StreamEvent::canceled()},
        {"echo '0:75: execution error: User canceled. (-128)' >&2", 1, StreamEvent::canceled()},
        {"echo 'Failed during: /usr/bin/sudo /usr/sbin/chown' >&2", 1, StreamEvent::completed(1)},
    };
    for (const auto &c : cases) {
        LocalHTTPServer server;
        server.route("/install.sh", [&c](const auto &) { return LocalHTTPServer::Reply {200, {}, installScript(c.output, c.status)}; });
        auto fs = std::make_shared<InMemoryFileSystem>();
        fs->addFile(QStringLiteral("/opt/homebrew/bin/brew"), "", 0755);
        EXPECT_EQ(install(server, fs).end, c.expected) << c.output.constData();
        EXPECT_FALSE(fs->fileExists(fs->homeDirectory() + QStringLiteral("/.zprofile"))); // nothing appended after a failure
    }
}

TEST(HomebrewInstaller, RefusesAnAddressItCannotPutInACommand)
{
    LocalHTTPServer server;
    auto fs = std::make_shared<InMemoryFileSystem>();
    const Installed refused = install(server, fs, QUrl(QStringLiteral("http://127.0.0.1/x$(touch /tmp/canary)`id`")));
    EXPECT_EQ(refused.end, StreamEvent::completed(-1));
    ASSERT_EQ(refused.lines.size(), 1);
    EXPECT_TRUE(refused.lines[0].startsWith(QStringLiteral("Failed to start Homebrew installer: "))) << refused.lines[0].toStdString();
}
