// The JAVA_HOME step against profiles people really have: bytes that are not UTF-8, a byte-order
// mark, modes that forbid reading or writing, and a doctor killed while the backup is half done.

#include "DoctorOnAMac.h"

#include <sys/stat.h>

namespace {

const QString kZprofile = kHome + "/.zprofile"_L1;
const QString kBackup = kZprofile + ".bak"_L1;

unsigned modeOf(const QString &hostPath)
{
    struct stat info {};
    return ::stat(qPrintable(hostPath), &info) == 0 ? info.st_mode & 07777 : 0;
}

} // namespace

TEST_F(DoctorOnAMac, ZprofileBytesAndModesAreRespected)
{
    const QByteArray latin1 = "export NAME=Jos\xe9\nalias k=kubectl\n", bom = "\xef\xbb\xbf" "alias k=kubectl\n";
    const struct {
        const char *name;
        QByteArray original;
        unsigned mode;
        bool oldBackup;
        const char *outcome;
        QString lastLine; // of the fix; empty: not checked
        QByteArray profileAfter;
        std::optional<QByteArray> backupAfter; // none: there is no backup
        bool yes = true; // else no one is at a terminal to say yes
    } cases[] = {
        {"without --yes or a terminal", latin1, 0600, false, "canceled", {}, latin1, std::nullopt, false},
        {"Latin-1", latin1, 0600, true, "success", {}, latin1 + javaHomeBlock(), latin1},
        {"a byte-order mark", bom, 0600, false, "success", {}, bom + javaHomeBlock(), bom},
        {"write-only", latin1, 0200, false, "failure", u"Couldn't read ~/.zprofile: Permission denied"_s, latin1, std::nullopt},
        {"read-only, with an old backup", latin1, 0444, true, "failure",
         u"Couldn't write file: Couldn't write “/Users/tester/.zprofile”: Existing file /Users/tester/.zprofile is not writable"_s, latin1, latin1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MacRoot mac;
        mac.installJDK(MacRoot::JDK {});
        mac.writeFile(kZprofile, c.original);
        if (c.oldBackup)
            mac.writeFile(kBackup, "previous backup\n");
        ASSERT_EQ(::chmod(qPrintable(mac.hostPath(kZprofile)), c.mode), 0);

        const MacRoot::Run run = mac.runDoctor(c.yes ? kFix : kFixWithNobodyToAsk);
        expectAt(run, {{"fix.outcome", c.outcome}});
        EXPECT_EQ(run.exitCode, c.outcome == "success"_L1 ? 0 : c.outcome == "canceled"_L1 ? 130 : 1);
        EXPECT_TRUE(c.lastLine.isEmpty() || linesOf(run).endsWith(c.lastLine)) << show(run);
        EXPECT_EQ(mac.readFile(kZprofile), c.profileAfter);
        EXPECT_EQ(modeOf(mac.hostPath(kZprofile)), c.mode);
        if (c.backupAfter) {
            EXPECT_EQ(mac.readFile(kBackup), *c.backupAfter);
            EXPECT_EQ(modeOf(mac.hostPath(kBackup)), c.mode);
        }
        EXPECT_EQ(mac.entries(kHome), (c.backupAfter ? QStringList {".zprofile", ".zprofile.bak"} : QStringList {".zprofile"})); // nothing staged
    }
}

TEST_F(DoctorOnAMac, AKillWhileTheBackupIsStagedLeavesTheOldOneAndTheProfile)
{
    MacRoot mac;
    mac.installJDK(MacRoot::JDK {});
    mac.writeFile(kZprofile, "export EDITOR=vim\n");
    mac.writeFile(kBackup, "previous backup\n");
    mac.setEnvironment(u"TARNWICK_PAUSE_AT"_s, u"profile-backup-staged"_s);

    const MacRoot::Run run = mac.runDoctor(kFix, {.onceExists = {}, .onceStopped = true, .number = SIGKILL});
    EXPECT_EQ(run.exitCode, 128 + SIGKILL) << show(run); // bubblewrap reports the kill
    EXPECT_EQ(mac.readFile(kBackup), "previous backup\n");
    EXPECT_EQ(mac.readFile(kZprofile), "export EDITOR=vim\n");
    // The complete new backup waits beside the old one, under a name of its own.
    const QStringList staged = mac.entries(kHome).filter(".zprofile.bak.tarnwick-"_L1);
    ASSERT_EQ(staged.size(), 1) << mac.entries(kHome).join(u' ').toStdString();
    EXPECT_EQ(mac.readFile(kHome + u'/' + staged.first()), "export EDITOR=vim\n");

    // The next run finishes the job and clears what the killed one left.
    mac.setEnvironment(u"TARNWICK_PAUSE_AT"_s, QString());
    const MacRoot::Run again = mac.runDoctor(kFix);
    EXPECT_EQ(again.exitCode, 0) << show(again);
    EXPECT_EQ(mac.readFile(kBackup), "export EDITOR=vim\n");
    EXPECT_EQ(mac.entries(kHome).filter(".tarnwick-"_L1), QStringList());
}
