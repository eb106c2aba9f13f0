#include "DoctorOnAMac.h"

// A Mac without tooling gets the checked package for its processor, whatever a first look says:
// an Intel Mac must get an Intel build, and a doctor running under Rosetta on Apple silicon must
// neither ask for an Intel build nor use the Intel Homebrew that Migration Assistant brought over.
TEST_F(DoctorOnAMac, TheInstallFitsTheProcessorAndAnIntelHomebrewOnAppleSiliconIsLeftAlone)
{
    const struct {
        const char *name;
        MacRoot::Chip chip;
        bool rosetta;
        QString architecture;            // as the profile reports it
        QByteArray adoptiumArchitecture; // the only build Adoptium offers here
        std::optional<QString> intelHomebrew;
    } cases[] = {
        {"Apple silicon", MacRoot::Chip::appleSilicon, false, QStringLiteral("appleSilicon"), "aarch64", std::nullopt},
        {"Intel", MacRoot::Chip::intel, false, QStringLiteral("intel"), "x64", std::nullopt},
        {"Apple silicon under Rosetta, with only an Intel Homebrew", MacRoot::Chip::intel, true, QStringLiteral("appleSilicon"), "aarch64",
         QStringLiteral("/usr/local/bin/brew")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac(c.chip);
        if (c.rosetta)
            mac.setEnvironment(QStringLiteral("STANDIN_ARM64"), QStringLiteral("1"));
        if (c.intelHomebrew)
            mac.installStandIn(QStringLiteral("brew"), *c.intelHomebrew);
        MacRoot::JDK jdk;
        jdk.arch = c.adoptiumArchitecture == "x64" ? QStringLiteral("x86_64") : QStringLiteral("arm64");
        serveAdoptium(mac, jdk);
        const QByteArray assets = "/v3/assets/latest/21/hotspot";
        adoptium.route(assets, [offered = adoptium.handlerFor(assets), wanted = "architecture=" + c.adoptiumArchitecture](const LocalHTTPServer::Request &request) {
            return request.target.contains(wanted) ? offered(request) : LocalHTTPServer::Reply {200, {}, "[]"};
        });

        const MacRoot::Run run = fix(mac);
        ASSERT_EQ(run.exitCode, 0) << show(run);
        const QJsonObject profile = run.json.value("profile").toObject();
        EXPECT_EQ(profile.value("architecture").toString(), c.architecture);
        EXPECT_EQ(profile.value("intelHomebrewOnAppleSilicon").toString(), c.intelHomebrew.value_or(QString()));
        EXPECT_EQ(run.json.value("diagnosis").toObject().value("code").toString(), QStringLiteral("D1_NoJDK"));
        EXPECT_EQ(run.json.value("remediation").toObject().value("id").toString(), QStringLiteral("pkg:21"));
        const QJsonObject install = run.json.value("fix").toObject();
        const QStringList lines = linesOf(install);
        EXPECT_TRUE(lines.contains(QStringLiteral("Verifying SHA256 checksum…")) && lines.contains(QStringLiteral("Installer completed."))) << show(run);
        EXPECT_TRUE(install.value("verify").toObject().value("passed").toBool()) << show(run);
        EXPECT_EQ(lastStep(install).value("verify").toObject().value("javaHomeValue").toString(), kTemurin21Home);
        EXPECT_EQ(mac.entries(kJVMs), QStringList {"temurin-21.jdk"});
        EXPECT_EQ(mac.entries(kPackageCache), QStringList());
        expectTidy(mac, run);
    }
}
