// However the doctor is stopped — Ctrl-C, `kill`, `timeout`, a closed terminal — and whatever it
// waits on at that moment, it ends with everything it started and nothing half-done on the Mac.

#include "DoctorOnAMac.h"

#include <QElapsedTimer>

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
        MacRoot::Signal signal {{}, false, c.signal};
        switch (c.phase) {
        case Phase::homebrewDownload:
            mac.installHomebrew();
            downloads.route("/casks/temurin@21.pkg", [](const LocalHTTPServer::Request &) { LocalHTTPServer::Reply reply; reply.hang = true; return reply; });
            mac.setEnvironment(u"STANDIN_DOWNLOADS"_s, downloads.url(QString()).toString());
            signal.onceExists = kHome + "/Library/Caches/Homebrew/downloads"_L1; // made just before curl starts
            break;
        case Phase::passwordDialog:
            mac.setEnvironment(u"STANDIN_DIALOG_WAITS"_s, u"1"_s);
            mac.setEnvironment(u"STANDIN_PROMPT_FILE"_s, signal.onceExists = kHome + "/dialog-prompt"_L1); // the package is checked by now
            break;
        case Phase::loginShell:
            signal.onceExists = kHome + "/zprofile-started"_L1;
            mac.writeFile(kHome + "/.zprofile"_L1, "touch " + signal.onceExists.toUtf8() + "\nsleep 300\n");
            break;
        }

        QElapsedTimer timer;
        timer.start();
        const MacRoot::Run run = mac.runDoctor(kFix, signal);
        EXPECT_LT(timer.elapsed(), 14000) << "the signal was not what ended the run";
        EXPECT_EQ(run.exitCode, 130) << show(run);
        EXPECT_TRUE(run.err.contains("Canceled.")) << show(run);
        if (c.phase != Phase::loginShell) { // a cut-short diagnosis is not reported at all
            EXPECT_EQ(at(run.json, u"fix.outcome"_s).toString(), u"canceled"_s) << show(run);
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
    // The shell and its sleep ignore SIGTERM: only a SIGKILL to the whole group ends them.
    mac.writeFile(kHome + "/.zprofile"_L1, "export JAVA_HOME=" + kTemurin21Home.toUtf8() + "\ntrap '' TERM\nsleep 40\n");

    QElapsedTimer timer;
    timer.start();
    const MacRoot::Run run = mac.runDoctor({u"--json"_s});
    EXPECT_LT(timer.elapsed(), 25000) << show(run); // the 15 s limit and the kills, not the sleep
    EXPECT_TRUE(at(run.json, u"profile.javaState.loginShellTimedOut"_s).toBool()) << show(run);
    EXPECT_TRUE(at(run.json, u"profile.javaState.javaHomeInActiveShell"_s).isNull());
    // Unread is not unset: no fix writes to a profile that hangs.
    EXPECT_EQ(at(run.json, u"diagnosis.code"_s).toString(), u"unknown"_s) << show(run);
    EXPECT_TRUE(run.json["remediation"_L1].isNull()) << show(run);
    EXPECT_EQ(run.json["notes"_L1].toArray(),
              QJsonArray {"Your login shell didn't answer within 15 seconds, so JAVA_HOME couldn't be read; something in ~/.zprofile may be waiting."});
    expectTidy(mac, run); // no zsh, no sleep

    const MacRoot::Run text = mac.runDoctor({});
    EXPECT_TRUE(text.out.contains("Your login shell didn't answer within 15 seconds")) << show(text);
    expectTidy(mac, text);
}
