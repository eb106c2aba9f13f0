// The checked package, as root installs it: built for the Mac's processor, installed only from a
// copy root checked itself, and finished once begun.

#include "DoctorOnAMac.h"

// An Intel Mac must get an Intel build, and a doctor running under Rosetta on Apple silicon must
// neither ask for an Intel build nor use the Intel Homebrew that Migration Assistant brought over.
TEST_F(DoctorOnAMac, TheInstallFitsTheProcessorAndAnIntelHomebrewOnAppleSiliconIsLeftAlone)
{
    const struct {
        const char *name;
        MacRoot::Chip chip;
        QString architecture;            // as the profile reports it
        QByteArray adoptiumArchitecture; // the only build Adoptium offers here
        QJsonValue intelHomebrew;
    } cases[] = {
        {"Apple silicon", MacRoot::Chip::appleSilicon, u"appleSilicon"_s, "aarch64", {}},
        {"Intel", MacRoot::Chip::intel, u"intel"_s, "x64", {}},
        {"Apple silicon under Rosetta, with only an Intel Homebrew", MacRoot::Chip::intel, u"appleSilicon"_s, "aarch64", u"/usr/local/bin/brew"_s},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac(c.chip);
        if (c.intelHomebrew.isString()) { // under Rosetta the tools answer as Intel ones, the processor as arm64
            mac.setEnvironment(u"STANDIN_ARM64"_s, u"1"_s);
            mac.installStandIn(u"brew"_s, c.intelHomebrew.toString());
        }
        MacRoot::JDK jdk;
        jdk.arch = c.adoptiumArchitecture == "x64" ? u"x86_64"_s : u"arm64"_s;
        serveAdoptium(mac, jdk);
        const QByteArray assets = "/v3/assets/latest/21/hotspot";
        adoptium.route(assets, [offered = adoptium.handlerFor(assets), wanted = "architecture=" + c.adoptiumArchitecture](const LocalHTTPServer::Request &request) {
            return request.target.contains(wanted) ? offered(request) : LocalHTTPServer::Reply {200, {}, "[]"};
        });

        const MacRoot::Run run = mac.runDoctor(kFix);
        ASSERT_EQ(run.exitCode, 0) << show(run);
        expectAt(run, {{"profile.architecture", c.architecture}, {"profile.intelHomebrewOnAppleSilicon", c.intelHomebrew},
                       {"diagnosis.code", "D1_NoJDK"}, {"remediation.id", "pkg:21"}, {"fix.verify.passed", true},
                       {"fix.followUp.verify.javaHomeValue", kTemurin21Home}});
        EXPECT_TRUE(linesOf(run).contains(u"Verifying SHA256 checksum…"_s) && linesOf(run).contains(u"Installer completed."_s)) << show(run);
        EXPECT_EQ(mac.entries(kJVMs), QStringList {"temurin-21.jdk"});
        EXPECT_EQ(mac.entries(kPackageCache), QStringList());
    }
}

// The package in the caches folder belongs to the user, and anything the user runs can replace it
// between our checksum check and the installer, which runs as root.
TEST_F(DoctorOnAMac, APackageSwappedWhileThePasswordDialogIsUpIsNeverInstalled)
{
    for (const bool homebrew : {false, true}) { // Homebrew bypasses our sudo wrapper, so the doctor falls back to the package
        SCOPED_TRACE(homebrew ? "Homebrew's fall-back" : "no tooling");
        MacRoot mac;
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk);
        if (homebrew) {
            mac.installHomebrew();
            serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));
            mac.setEnvironment(u"STANDIN_BREW_SUDO"_s, u"bypass"_s);
        }
        const QString daemon = u"/Library/LaunchDaemons/net.example.helper.plist"_s;
        mac.writeFile(kHome + "/swapped.pkg"_L1, MacRoot::tarball({{daemon.mid(1), "<plist><dict><key>RunAtLoad</key><true/></dict></plist>\n"}}));
        mac.setEnvironment(u"STANDIN_BEFORE_DIALOG"_s, u"for f in %1/run-*/*.pkg; do cp %2/swapped.pkg \"$f\"; done"_s.arg(kPackageCache, kHome));

        const MacRoot::Run run = mac.runDoctor(kFix);
        EXPECT_EQ(run.exitCode, 1) << show(run);
        EXPECT_EQ(at(run.json, u"fix.outcome"_s).toString(), u"failure"_s) << show(run);
        const QString said = linesOf(run).join(u'\n');
        EXPECT_TRUE(said.contains(u"Checksum mismatch (expected "_s) && said.contains(u"the package changed after it was checked"_s)) << show(run);
        EXPECT_FALSE(said.contains(u"execution error"_s)) << show(run);
        EXPECT_FALSE(QFileInfo::exists(mac.hostPath(daemon))) << show(run);
        EXPECT_EQ(mac.entries(kJVMs), QStringList());
        EXPECT_EQ(mac.entries(kPackageCache), QStringList()); // no package, no private folder
        EXPECT_TRUE(mac.entries(u"/private/tmp"_s).filter("tarnwick-install."_L1).isEmpty());
    }
}

// Root's installer is out of a cancel's reach: stopping the doctor once it has begun lets it
// finish, then checks and reports what was installed, and tidies up as ever.
TEST_F(DoctorOnAMac, AStopDuringThePrivilegedInstallLetsItFinishAndReportsTheResult)
{
    MacRoot mac;
    serveAdoptium(mac, MacRoot::JDK {});
    const QString started = kHome + "/installer-started"_L1;
    mac.writeFile(kHome + "/slow-installer"_L1, "#!/bin/sh\ntouch " + started.toUtf8() + "\nsleep 2\nexec /usr/sbin/installer \"$@\"\n", true);
    mac.setEnvironment(u"STANDIN_INSTALLER"_s, kHome + "/slow-installer"_L1);

    const MacRoot::Run run = mac.runDoctor(kFix, {.onceExists = started, .number = SIGTERM});
    EXPECT_TRUE(run.err.contains("Finishing the install that has started; it can't be stopped safely.")) << show(run);
    EXPECT_EQ(at(run.json, u"fix.outcome"_s).toString(), u"success"_s) << show(run);
    EXPECT_TRUE(at(run.json, u"fix.verify.passed"_s).toBool()) << show(run);
    EXPECT_EQ(run.exitCode, 0) << show(run);
    EXPECT_TRUE(QFileInfo(mac.hostPath(kTemurin21Home + "/bin/java"_L1)).isExecutable());
    EXPECT_EQ(mac.entries(kPackageCache), QStringList());
}
