#include "DoctorOnAMac.h"

#include <QFileInfo>

// The package in the caches folder belongs to the user, and anything the user runs can replace it
// between our checksum check and the installer, which runs as root. Root must install only a copy
// it checked itself.
TEST_F(DoctorOnAMac, APackageSwappedWhileThePasswordDialogIsUpIsNeverInstalled)
{
    const struct {
        const char *name;
        bool homebrew; // Homebrew bypasses our sudo wrapper, so the doctor falls back to the package
    } cases[] = {{"no tooling", false}, {"Homebrew's fall-back", true}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac;
        const MacRoot::JDK jdk;
        serveAdoptium(mac, jdk);
        if (c.homebrew) {
            mac.installHomebrew();
            serveDownload(mac, "/casks/temurin@21.pkg", MacRoot::temurinPackage(jdk));
            mac.setEnvironment(QStringLiteral("STANDIN_BREW_SUDO"), QStringLiteral("bypass"));
        }
        const QString daemon = QStringLiteral("/Library/LaunchDaemons/net.example.helper.plist");
        mac.writeFile(kHome + QStringLiteral("/swapped.pkg"),
                      MacRoot::tarball({{daemon.mid(1), "<plist><dict><key>RunAtLoad</key><true/></dict></plist>\n"}}));
        mac.setEnvironment(QStringLiteral("STANDIN_BEFORE_DIALOG"),
                           QStringLiteral("for f in %1/run-*/*.pkg; do cp %2/swapped.pkg \"$f\"; done").arg(kPackageCache, kHome));

        const MacRoot::Run run = fix(mac);
        EXPECT_EQ(run.exitCode, 1) << show(run);
        const QJsonObject install = run.json.value("fix").toObject();
        EXPECT_EQ(install.value("outcome").toString(), QStringLiteral("failure")) << show(run);
        const QString said = linesOf(install).join(u'\n');
        EXPECT_TRUE(said.contains(QStringLiteral("Checksum mismatch (expected ")) && said.contains(QStringLiteral("the package changed after it was checked")))
            << show(run);
        EXPECT_FALSE(said.contains(QStringLiteral("execution error"))) << show(run);
        EXPECT_FALSE(QFileInfo::exists(mac.hostPath(daemon))) << show(run);
        EXPECT_EQ(mac.entries(kJVMs), QStringList());
        EXPECT_EQ(mac.entries(kPackageCache), QStringList()); // no package, no private folder
        EXPECT_TRUE(mac.entries(QStringLiteral("/private/tmp")).filter(QStringLiteral("tarnwick-install.")).isEmpty());
        expectTidy(mac, run);
    }
}
