#include "profile_edit/FileAppendWriter.h"
#include "profile_edit/ZprofileWriter.h"
#include "services/LiveFileSystem.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QDate kDay(2026, 3, 14);
const QString kHeader = QStringLiteral("# 2026-03-14 Tarnwick — Java configuration");
const QString kExports = QStringLiteral("export JAVA_HOME=$(/usr/libexec/java_home)\nexport PATH=\"$JAVA_HOME/bin:$PATH\"\n");

// A throw-away home folder on the real disk.
class Home {
public:
    Home() : fs(std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {dir.path(), {}, {}, {}})) {}
    QString path(const QString &name) const { return dir.filePath(name); }
    void write(const QString &name, const QByteArray &text) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    QByteArray read(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
    }
    QTemporaryDir dir;
    std::shared_ptr<LiveFileSystem> fs;
};

} // namespace

TEST(ZprofileWriter, PreviewsTheBlockAfterOneBlankLine)
{
    const struct {
        const char *name;
        std::optional<QByteArray> existing;
        bool alreadySet;
        QString proposed;
    } cases[] = {
        {"no file yet", std::nullopt, false, kHeader + "\n" + kExports},
        {"no final newline", "alias ll='ls -l'", false, "alias ll='ls -l'\n\n" + kHeader + "\n" + kExports},
        {"one final newline", "alias ll='ls -l'\n", false, "alias ll='ls -l'\n\n" + kHeader + "\n" + kExports},
        {"already a blank line", "alias ll='ls -l'\n\n", false, "alias ll='ls -l'\n\n" + kHeader + "\n" + kExports},
        {"a commented export does not count", "# export JAVA_HOME=/old\n", false, "# export JAVA_HOME=/old\n\n" + kHeader + "\n" + kExports},
        {"an indented export counts", "  export JAVA_HOME=/Library/Java/JavaVirtualMachines/x/Contents/Home\n", true,
         "  export JAVA_HOME=/Library/Java/JavaVirtualMachines/x/Contents/Home\n"},
        {"an export after a carriage return counts", "alias a=b\rexport JAVA_HOME=/x", true, "alias a=b\rexport JAVA_HOME=/x"},
        {"JAVA_HOME used but not exported", "echo $JAVA_HOME\n", false, "echo $JAVA_HOME\n\n" + kHeader + "\n" + kExports},
    };
    for (const auto &c : cases) {
        Home home;
        if (c.existing)
            home.write(QStringLiteral(".zprofile"), *c.existing);
        const FileAppendWriter::DiffPreview preview = ZprofileWriter(home.fs).preview(kDay);
        EXPECT_EQ(preview.alreadySet, c.alreadySet) << c.name;
        EXPECT_EQ(preview.wasCreated, !c.existing) << c.name;
        EXPECT_EQ(preview.proposedContents, c.proposed) << c.name;
        EXPECT_EQ(preview.backupPath, home.path(QStringLiteral(".zprofile.bak"))) << c.name;
        EXPECT_EQ(preview.linesAdded.isEmpty(), c.alreadySet) << c.name;
        if (!c.alreadySet) {
            EXPECT_EQ(preview.linesAdded, (QStringList {kHeader, ZprofileWriter::lines()[0], ZprofileWriter::lines()[1]})) << c.name;
        }
    }
}

TEST(FileAppendWriter, AnyMentionOfThePresenceTextCounts)
{
    Home home;
    home.write(QStringLiteral(".zprofile"), "# brew shellenv is set up by my dotfiles\n");
    const FileAppendWriter writer(home.path(QStringLiteral(".zprofile")), home.fs);
    const FileAppendWriter::DiffPreview preview =
        writer.preview({QStringLiteral("eval \"$(/opt/homebrew/bin/brew shellenv)\"")}, QStringLiteral("Homebrew shellenv"),
                       QStringLiteral("brew shellenv"), kDay);
    EXPECT_TRUE(preview.alreadySet);
    writer.apply(preview); // writes nothing, not even a backup
    EXPECT_FALSE(QFile::exists(home.path(QStringLiteral(".zprofile.bak"))));
    EXPECT_EQ(FileAppendWriter::header(QStringLiteral("Homebrew shellenv"), kDay), QStringLiteral("# 2026-03-14 Tarnwick — Homebrew shellenv"));
}

TEST(FileAppendWriter, AppliesWithABackupThatKeepsTheOriginalsMode)
{
    Home home;
    home.write(QStringLiteral(".zprofile"), "export GITHUB_TOKEN=secret\n");
    QFile::setPermissions(home.path(QStringLiteral(".zprofile")), QFile::ReadOwner | QFile::WriteOwner);
    const ZprofileWriter writer(home.fs);
    writer.apply(writer.preview(kDay));

    EXPECT_EQ(home.read(QStringLiteral(".zprofile")), ("export GITHUB_TOKEN=secret\n\n" + kHeader + "\n" + kExports).toUtf8());
    EXPECT_EQ(home.read(QStringLiteral(".zprofile.bak")), QByteArray("export GITHUB_TOKEN=secret\n"));
    EXPECT_EQ(home.fs->attributesOfItem(home.path(QStringLiteral(".zprofile"))).posixPermissions, 0600u);
    EXPECT_EQ(home.fs->attributesOfItem(home.path(QStringLiteral(".zprofile.bak"))).posixPermissions, 0600u);

    // Applying again after a fresh preview: already set, nothing changes.
    const QByteArray once = home.read(QStringLiteral(".zprofile"));
    writer.apply(writer.preview(kDay));
    EXPECT_EQ(home.read(QStringLiteral(".zprofile")), once);
}

TEST(FileAppendWriter, AMissingFileIsCreatedWithAnEmptyBackup)
{
    Home home;
    const ZprofileWriter writer(home.fs);
    writer.apply(writer.preview(kDay));
    EXPECT_EQ(home.read(QStringLiteral(".zprofile")), (kHeader + "\n" + kExports).toUtf8());
    EXPECT_EQ(home.read(QStringLiteral(".zprofile.bak")), QByteArray());
}

TEST(FileAppendWriter, WritesThroughASymlinkedProfile)
{
    Home home;
    QDir(home.dir.path()).mkpath(QStringLiteral("dotfiles"));
    home.write(QStringLiteral("dotfiles/zprofile"), "# managed by stow\n");
    QFile::setPermissions(home.path(QStringLiteral("dotfiles/zprofile")), QFile::ReadOwner | QFile::WriteOwner);
    ASSERT_TRUE(QFile::link(QStringLiteral("dotfiles/zprofile"), home.path(QStringLiteral(".zprofile"))));

    const ZprofileWriter writer(home.fs);
    writer.apply(writer.preview(kDay));
    EXPECT_TRUE(QFileInfo(home.path(QStringLiteral(".zprofile"))).isSymLink());
    EXPECT_EQ(home.read(QStringLiteral("dotfiles/zprofile")), ("# managed by stow\n\n" + kHeader + "\n" + kExports).toUtf8());
    EXPECT_EQ(home.read(QStringLiteral(".zprofile.bak")), QByteArray("# managed by stow\n"));
    EXPECT_FALSE(QFileInfo(home.path(QStringLiteral(".zprofile.bak"))).isSymLink());
    EXPECT_EQ(home.fs->attributesOfItem(home.path(QStringLiteral(".zprofile.bak"))).posixPermissions, 0600u);
}

TEST(FileAppendWriter, AFailedBackupLeavesTheFileUntouched)
{
    Home home;
    home.write(QStringLiteral(".zprofile"), "alias ll='ls -l'\n");
    // Someone keeps a folder where the backup would go; it is neither replaced nor emptied.
    QDir(home.dir.path()).mkpath(QStringLiteral(".zprofile.bak/keep"));
    const ZprofileWriter writer(home.fs);
    try {
        writer.apply(writer.preview(kDay));
        ADD_FAILURE() << "the write went ahead";
    } catch (const FileAppendWriter::WriteError &error) {
        EXPECT_EQ(error.kind(), FileAppendWriter::WriteError::Kind::backupFailed);
        EXPECT_TRUE(error.message().startsWith(QStringLiteral("Couldn't write backup file: "))) << error.message().toStdString();
    }
    EXPECT_EQ(home.read(QStringLiteral(".zprofile")), QByteArray("alias ll='ls -l'\n"));
    EXPECT_TRUE(QFileInfo(home.path(QStringLiteral(".zprofile.bak/keep"))).isDir());

    // A target that cannot be written is a write error; the backup is there.
    Home other;
    QDir(other.dir.path()).mkpath(QStringLiteral(".zshrc"));
    const FileAppendWriter toFolder(other.path(QStringLiteral(".zshrc")), other.fs);
    try {
        toFolder.apply(toFolder.preview({QStringLiteral("eval \"$(mise activate zsh)\"")}, QStringLiteral("Mise"), QStringLiteral("mise activate"), kDay));
        ADD_FAILURE() << "wrote into a folder";
    } catch (const FileAppendWriter::WriteError &error) {
        EXPECT_EQ(error.kind(), FileAppendWriter::WriteError::Kind::writeFailed);
        EXPECT_TRUE(error.message().startsWith(QStringLiteral("Couldn't write file: "))) << error.message().toStdString();
    }
}
