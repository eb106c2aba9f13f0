#include "DoctorOnAMac.h"

#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

const QString kInstallerStarted = kHome + QStringLiteral("/installer-started");

} // namespace

// Root's installer is out of a cancel's reach: stopping the doctor once it has begun lets it
// finish, then checks and reports what was installed, and tidies up as ever.
TEST_F(DoctorOnAMac, AStopDuringThePrivilegedInstallLetsItFinishAndReportsTheResult)
{
    MacRoot mac;
    serveAdoptium(mac, MacRoot::JDK {});
    mac.writeFile(kHome + QStringLiteral("/slow-installer"),
                  "#!/bin/sh\ntouch " + kInstallerStarted.toUtf8() + "\nsleep 2\nexec /usr/sbin/installer \"$@\"\n", true);
    mac.setEnvironment(QStringLiteral("STANDIN_INSTALLER"), kHome + QStringLiteral("/slow-installer"));

    const MacRoot::Run run = mac.runDoctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")},
                                           {.onceExists = kInstallerStarted, .number = SIGTERM});
    EXPECT_TRUE(run.err.contains("Finishing the install that has started; it can't be stopped safely.")) << show(run);
    const QJsonObject install = run.json.value("fix").toObject();
    EXPECT_EQ(install.value("outcome").toString(), QStringLiteral("success")) << show(run);
    EXPECT_TRUE(install.value("verify").toObject().value("passed").toBool()) << show(run);
    EXPECT_EQ(run.exitCode, 0) << show(run);
    EXPECT_TRUE(QFileInfo(mac.hostPath(kTemurin21Home + QStringLiteral("/bin/java"))).isExecutable());
    EXPECT_EQ(mac.entries(kPackageCache), QStringList());
    expectTidy(mac, run);
}
