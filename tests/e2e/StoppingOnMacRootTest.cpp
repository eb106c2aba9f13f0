// However the doctor is stopped — Ctrl-C, `kill`, `timeout`, a closed terminal — and whatever it
// waits on at that moment, it ends with everything it started and nothing half-done on the Mac.

#include "DoctorOnAMac.h"

#include <cstring>

TEST_F(DoctorOnAMac, EveryStopSignalEndsTheRunWithNothingLeftBehind)
{
    // A stalled Homebrew download, the installer's password dialog, a login shell that hangs.
    enum class Phase { homebrewDownload, passwordDialog, loginShell };
    using enum Phase;
    const std::pair<Phase, int> cases[] = {{homebrewDownload, SIGINT}, {homebrewDownload, SIGTERM}, {homebrewDownload, SIGHUP},
                                           {passwordDialog, SIGTERM}, {passwordDialog, SIGHUP}, {loginShell, SIGINT}, {loginShell, SIGTERM}};
    for (const auto &[phase, number] : cases) {
        SCOPED_TRACE(::testing::Message() << strsignal(number) << " in phase " << int(phase));
        MacRoot mac;
        serveAdoptium(mac, MacRoot::JDK {});
        MacRoot::Signal signal {{}, false, number};
        switch (phase) {
        case homebrewDownload:
            mac.installHomebrew();
            downloads.route("/casks/temurin@21.pkg", [](const LocalHTTPServer::Request &) { LocalHTTPServer::Reply reply; reply.hang = true; return reply; });
            mac.setEnvironment(u"STANDIN_DOWNLOADS"_s, downloads.url(QString()).toString());
            signal.onceExists = kHome + "/Library/Caches/Homebrew/downloads"_L1; // made just before curl starts
            break;
        case passwordDialog:
            mac.setEnvironment(u"STANDIN_DIALOG_WAITS"_s, u"1"_s);
            mac.setEnvironment(u"STANDIN_PROMPT_FILE"_s, signal.onceExists = kHome + "/dialog-prompt"_L1); // the package is checked by now
            break;
        case loginShell:
            signal.onceExists = kHome + "/zprofile-started"_L1;
            mac.writeFile(kHome + "/.zprofile"_L1, "touch " + signal.onceExists.toUtf8() + "\nsleep 300\n");
            break;
        }

        const MacRoot::Run run = mac.runDoctor(kFix, signal);
        EXPECT_LT(run.seconds, 14) << "the signal was not what ended the run";
        EXPECT_EQ(run.exitCode, 130) << show(run);
        EXPECT_TRUE(run.err.contains("Canceled.")) << show(run);
        expectAt(run, {{"fix.outcome", phase == loginShell ? QJsonValue(QJsonValue::Undefined) : "canceled"}}); // a cut-short diagnosis: no report
        EXPECT_EQ(mac.entries(kJVMs), QStringList());
        EXPECT_EQ(mac.entries(kPackageCache), QStringList());
    }
}

TEST_F(DoctorOnAMac, ALoginShellThatNeverAnswersIsReportedNotWaitedFor)
{
    MacRoot mac;
    mac.installJDK(MacRoot::JDK {});
    // The shell and its sleep ignore SIGTERM: only a SIGKILL to the whole group ends them.
    mac.writeFile(kHome + "/.zprofile"_L1, "export JAVA_HOME=" + kTemurin21Home.toUtf8() + "\ntrap '' TERM\nsleep 40\n");

    const MacRoot::Run run = mac.runDoctor({u"--json"_s});
    EXPECT_LT(run.seconds, 25) << show(run); // the 15 s limit and the kills, not the sleep
    // Unread is not unset: no fix writes to a profile that hangs.
    expectAt(run, {{"profile.javaState.loginShellTimedOut", true}, {"profile.javaState.javaHomeInActiveShell", QJsonValue()},
                   {"diagnosis.code", "unknown"}, {"remediation", QJsonValue()},
                   {"notes", QJsonArray {"Your login shell didn't answer within 15 seconds, so JAVA_HOME couldn't be read; something in "
                                         "~/.zprofile may be waiting."}}});

    const MacRoot::Run text = mac.runDoctor({});
    EXPECT_TRUE(text.out.contains("Your login shell didn't answer within 15 seconds")) << show(text);
}
