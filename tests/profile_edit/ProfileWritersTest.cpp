#include "profile_edit/FileAppendWriter.h"
#include "profile_edit/ZprofileWriter.h"
#include "services/LiveFileSystem.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

const QDate kDay(2026, 3, 14);
const QString kHeader = QStringLiteral("# 2026-03-14 Tarnwick — Java configuration");
const QString kExports = QStringLiteral("export JAVA_HOME=$(/usr/libexec/java_home)\nexport PATH=\"$JAVA_HOME/bin:$PATH\"\n");

// A throw-away home folder on the real disk.
struct Home {
    QString path(const QString &name) const { return dir.filePath(name); }
    void write(const QString &name, const QByteArray &text) const { fs->writeData(path(name), text); }
    QByteArray read(const QString &name) const { return fs->fileExists(path(name)) ? fs->readData(path(name)) : QByteArray("(missing)"); }
    QTemporaryDir dir;
    std::shared_ptr<LiveFileSystem> fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {dir.path(), {}, {}, {}});
};

} // namespace

TEST(ZprofileWriter, PreviewsTheBlockAfterOneBlankLine)
{
    const QString block = kHeader + "\n" + kExports;
    const std::tuple<const char *, std::optional<QByteArray>, bool, QString> cases[] = {
        {"no file yet", std::nullopt, false, block},
        {"no final newline", "alias ll='ls -l'", false, "alias ll='ls -l'\n\n" + block},
        {"one final newline", "alias ll='ls -l'\n", false, "alias ll='ls -l'\n\n" + block},
        {"already a blank line", "alias ll='ls -l'\n\n", false, "alias ll='ls -l'\n\n" + block},
        {"a commented export does not count", "# export JAVA_HOME=/old\n", false, "# export JAVA_HOME=/old\n\n" + block},
        {"JAVA_HOME used but not exported", "echo $JAVA_HOME\n", false, "echo $JAVA_HOME\n\n" + block},
        {"an indented export counts", "  export JAVA_HOME=/x\n", true, "  export JAVA_HOME=/x\n"},
        {"an export after a carriage return counts", "alias a=b\rexport JAVA_HOME=/x", true, "alias a=b\rexport JAVA_HOME=/x"},
        {"Latin-1, shown with a replacement character", "export NAME=Jos\xe9\n", false, "export NAME=Jos\uFFFD\n\n" + block},
        {"a byte-order mark, not shown", "\xef\xbb\xbf" "alias ll='ls -l'", false, "alias ll='ls -l'\n\n" + block},
    };
    for (const auto &[name, existing, alreadySet, proposed] : cases) {
        Home home;
        if (existing)
            home.write(QStringLiteral(".zprofile"), *existing);
        const FileAppendWriter::DiffPreview preview = ZprofileWriter(home.fs).preview(kDay);
        EXPECT_EQ(preview.alreadySet, alreadySet) << name;
        EXPECT_EQ(preview.wasCreated, !existing) << name;
        EXPECT_EQ(preview.proposedContents, proposed) << name;
        EXPECT_EQ(preview.backupPath, home.path(QStringLiteral(".zprofile.bak"))) << name;
        const QStringList added {kHeader, ZprofileWriter::lines()[0], ZprofileWriter::lines()[1]};
        EXPECT_EQ(preview.linesAdded, alreadySet ? QStringList() : added) << name;
    }
    // Any mention of the presence text counts, and then nothing is written, not even a backup.
    Home home;
    home.write(QStringLiteral(".zprofile"), "# brew shellenv is set up by my dotfiles\n");
    const FileAppendWriter writer(home.path(QStringLiteral(".zprofile")), home.fs);
    const auto preview = writer.preview({QStringLiteral("eval \"$(/opt/homebrew/bin/brew shellenv)\"")}, QStringLiteral("Homebrew shellenv"),
                                        QStringLiteral("brew shellenv"), kDay);
    EXPECT_TRUE(preview.alreadySet);
    writer.apply(preview);
    EXPECT_EQ(home.read(QStringLiteral(".zprofile.bak")), QByteArray("(missing)"));
}

TEST(FileAppendWriter, AppliesOnceWithACompleteBackupInTheOriginalsMode)
{
    Home fresh; // no profile yet: created, with an empty backup
    const ZprofileWriter created(fresh.fs);
    created.apply(created.preview(kDay));
    EXPECT_EQ(fresh.read(QStringLiteral(".zprofile")), (kHeader + "\n" + kExports).toUtf8());
    EXPECT_EQ(fresh.read(QStringLiteral(".zprofile.bak")), QByteArray());

    const QByteArray profile = "export GITHUB_TOKEN=secret\n";
    const QByteArray expected = profile + "\n" + (kHeader + "\n" + kExports).toUtf8();
    const struct {
        const char *name;
        std::function<void(const Home &)> scene;
    } cases[] = {
        {"a link at the backup's place", [](const Home &home) {
             home.write(QStringLiteral("elsewhere"), "not a backup\n");
             ASSERT_TRUE(QFile::link(QStringLiteral("elsewhere"), home.path(QStringLiteral(".zprofile.bak"))));
         }},
        {"a hard-linked profile", [](const Home &home) { ASSERT_EQ(::link(qPrintable(home.path(QStringLiteral(".zprofile"))), qPrintable(home.path(QStringLiteral("dotfile")))), 0); }},
        {"a profile linked into a dotfiles folder", [](const Home &home) {
             ASSERT_TRUE(QFile::rename(home.path(QStringLiteral(".zprofile")), home.path(QStringLiteral("dotfile"))));
             ASSERT_TRUE(QFile::link(QStringLiteral("dotfile"), home.path(QStringLiteral(".zprofile"))));
         }},
    };
    for (const auto &c : cases) {
        Home home;
        home.write(QStringLiteral(".zprofile"), profile);
        QFile::setPermissions(home.path(QStringLiteral(".zprofile")), QFile::ReadOwner | QFile::WriteOwner);
        c.scene(home);
        const bool linked = QFileInfo(home.path(QStringLiteral(".zprofile"))).isSymLink();
        const ZprofileWriter writer(home.fs);
        writer.apply(writer.preview(kDay));
        writer.apply(writer.preview(kDay)); // already set now: nothing changes
        EXPECT_EQ(home.read(QStringLiteral(".zprofile")), expected) << c.name;
        EXPECT_EQ(QFileInfo(home.path(QStringLiteral(".zprofile"))).isSymLink(), linked) << c.name;
        EXPECT_EQ(home.fs->attributesOfDestination(home.path(QStringLiteral(".zprofile"))).posixPermissions, 0600u) << c.name;
        EXPECT_EQ(home.read(QStringLiteral(".zprofile.bak")), profile) << c.name;
        const FileAttributes backup = home.fs->attributesOfItem(home.path(QStringLiteral(".zprofile.bak")));
        EXPECT_EQ(backup.type, FileType::regular) << c.name;
        EXPECT_EQ(backup.posixPermissions, 0600u) << c.name;
        // Nothing staged is left beside it, a link's target is not written, the other name of a
        // linked profile sees the block.
        QStringList names = QDir(home.dir.path()).entryList(QDir::Files | QDir::Hidden | QDir::System);
        EXPECT_EQ(names.filter(QStringLiteral("tarnwick")), QStringList()) << c.name;
        if (names.contains(QStringLiteral("elsewhere"))) {
            EXPECT_EQ(home.read(QStringLiteral("elsewhere")), QByteArray("not a backup\n"));
        }
        if (names.contains(QStringLiteral("dotfile"))) {
            EXPECT_EQ(home.read(QStringLiteral("dotfile")), expected) << c.name;
        }
    }
}

TEST(FileAppendWriter, RefusesWithoutLosingAnything)
{
    const QByteArray profile = "alias ll='ls -l'\n";
    const auto apply = [](const Home &home, const std::function<void()> &meanwhile) {
        const ZprofileWriter writer(home.fs);
        try {
            const FileAppendWriter::DiffPreview preview = writer.preview(kDay);
            meanwhile();
            writer.apply(preview);
        } catch (const FileAppendWriter::WriteError &error) {
            return error.message();
        } catch (const FileSystemError &error) {
            return QStringLiteral("preview: ") + error.message();
        }
        return QStringLiteral("(written)");
    };
    const auto nothing = [](const Home &) {};
    const struct {
        const char *folder; // made before the preview; the profile is then removed if it is the folder
        std::function<void(const Home &)> meanwhile;
        QString error;
        QByteArray after; // the profile afterwards; empty: still a folder
    } cases[] = {
        {".zprofile.bak/keep", nothing, QStringLiteral("Couldn't write backup file: Couldn't replace “%1.bak”: Is a directory"), profile},
        {nullptr,
         [](const Home &home) {
             QFile file(home.path(QStringLiteral(".zprofile")));
             ASSERT_TRUE(file.open(QIODevice::Append));
             file.write("alias k=kubectl\n");
         },
         QStringLiteral("%1 changed while the change was being reviewed, so nothing was written. Review the change again."), profile + "alias k=kubectl\n"},
        {".zprofile", nothing, QStringLiteral("preview: Couldn't read “%1”: Is a directory"), {}},
    };
    for (const auto &c : cases) {
        Home home;
        home.write(QStringLiteral(".zprofile"), profile);
        if (c.folder) {
            QFile::remove(home.path(QString::fromLatin1(c.folder)));
            QDir(home.dir.path()).mkpath(QString::fromLatin1(c.folder));
        }
        EXPECT_EQ(apply(home, [&] { c.meanwhile(home); }), c.error.arg(home.path(QStringLiteral(".zprofile")))) << c.error.toStdString();
        if (!c.after.isEmpty()) {
            EXPECT_EQ(home.read(QStringLiteral(".zprofile")), c.after);
        } else {
            EXPECT_TRUE(QFileInfo(home.path(QStringLiteral(".zprofile"))).isDir());
        }
        EXPECT_FALSE(QFileInfo(home.path(QStringLiteral(".zprofile.bak"))).isFile());
    }
    // With no home folder (HOME empty or "/") there is no profile to edit, and "//.zprofile" is not one.
    const ZprofileWriter homeless(std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {QStringLiteral("/"), {}, {}, {}}));
    EXPECT_THROW((void)homeless.preview(kDay), FileSystemError);
}
