// However the doctor is stopped — Ctrl-C, `kill`, `timeout`, a closed terminal — and whatever it
// waits on at that moment, it ends with everything it started and nothing half-done on the Mac.

#include "DoctorOnAMac.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

namespace {

const QString kPromptFile = kHome + QStringLiteral("/dialog-prompt");
const QString kZprofileStarted = kHome + QStringLiteral("/zprofile-started");

} // namespace

TEST_F(DoctorOnAMac, EveryStopSignalEndsTheRunWithNothingLeftBehind)
{
    enum class Phase { homebrewDownload, passwordDialog, loginShell };
    const struct {
        const char *name;
        Phase phase;
        int signal;
    } cases[] = {
        {"Ctrl-C during a stalled Homebrew download", Phase::homebrewDownload, SIGINT},
        {"SIGTERM during a stalled Homebrew download", Phase::homebrewDownload, SIGTERM},
        {"SIGHUP during a stalled Homebrew download", Phase::homebrewDownload, SIGHUP},
        {"SIGTERM at the installer's password dialog", Phase::passwordDialog, SIGTERM},
        {"SIGHUP at the installer's password dialog", Phase::passwordDialog, SIGHUP},
        {"Ctrl-C while the login shell hangs", Phase::loginShell, SIGINT},
        {"SIGTERM while the login shell hangs", Phase::loginShell, SIGTERM},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac;
        serveAdoptium(mac, MacRoot::JDK {});
        MacRoot::Signal signal;
        signal.number = c.signal;
        switch (c.phase) {
        case Phase::homebrewDownload:
            mac.installHomebrew();
            downloads.route("/casks/temurin@21.pkg", [](const LocalHTTPServer::Request &) {
                LocalHTTPServer::Reply reply;
                reply.hang = true; // brew's curl waits for ever
                return reply;
            });
            mac.setEnvironment(QStringLiteral("STANDIN_DOWNLOADS"), downloads.url(QString()).toString());
            signal.onceExists = kHome + QStringLiteral("/Library/Caches/Homebrew/downloads"); // made just before curl starts
            break;
        case Phase::passwordDialog:
            mac.setEnvironment(QStringLiteral("STANDIN_DIALOG_WAITS"), QStringLiteral("1"));
            mac.setEnvironment(QStringLiteral("STANDIN_PROMPT_FILE"), kPromptFile);
            signal.onceExists = kPromptFile; // the package is downloaded and checked by now
            break;
        case Phase::loginShell:
            mac.writeFile(kHome + QStringLiteral("/.zprofile"), "touch " + kZprofileStarted.toUtf8() + "\nsleep 300\n");
            signal.onceExists = kZprofileStarted;
            break;
        }

        QElapsedTimer timer;
        timer.start();
        const MacRoot::Run run = mac.runDoctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")}, signal);
        EXPECT_LT(timer.elapsed(), 14000) << "the signal was not what ended the run";
        EXPECT_EQ(run.exitCode, 130) << show(run);
        EXPECT_TRUE(run.err.contains("Canceled.")) << show(run);
        if (c.phase != Phase::loginShell) { // a cut-short diagnosis is not reported at all
            EXPECT_EQ(run.json.value("fix").toObject().value("outcome").toString(), QStringLiteral("canceled")) << show(run);
        }
        EXPECT_EQ(mac.entries(kJVMs), QStringList());
        EXPECT_EQ(mac.entries(kPackageCache), QStringList());
        expectTidy(mac, run);
    }
}

TEST_F(DoctorOnAMac, ALoginShellThatNeverAnswersIsReportedNotWaitedFor)
{
    MacRoot mac;
    mac.installJDK(MacRoot::JDK {});
    mac.writeFile(kHome + QStringLiteral("/.zprofile"), "export JAVA_HOME=" + kTemurin21Home.toUtf8() + "\nsleep 40\n");

    QElapsedTimer timer;
    timer.start();
    const MacRoot::Run run = mac.runDoctor({QStringLiteral("--json")});
    EXPECT_LT(timer.elapsed(), 25000) << show(run); // the 15 s limit and the kill, not the sleep
    const QJsonObject javaState = run.json.value("profile").toObject().value("javaState").toObject();
    EXPECT_TRUE(javaState.value("loginShellTimedOut").toBool()) << show(run);
    EXPECT_TRUE(javaState.value("javaHomeInActiveShell").isNull());
    // Unread is not unset: no fix writes to a profile that hangs.
    EXPECT_EQ(run.json.value("diagnosis").toObject().value("code").toString(), QStringLiteral("unknown")) << show(run);
    EXPECT_TRUE(run.json.value("remediation").isNull()) << show(run);
    EXPECT_EQ(run.json.value("notes").toArray(),
              QJsonArray {"Your login shell didn't answer within 15 seconds, so JAVA_HOME couldn't be read; something in ~/.zprofile may be waiting."});
    expectTidy(mac, run); // no zsh, no sleep

    const MacRoot::Run text = mac.runDoctor({});
    EXPECT_TRUE(text.out.contains("Your login shell didn't answer within 15 seconds")) << show(text);
    expectTidy(mac, text);
}
