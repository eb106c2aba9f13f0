#include "simulated/InMemoryFileSystem.h"
#include "services/LiveFileSystem.h"

#include <QFile>
#include <QTemporaryDir>

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace {

// One file system under test, with a writable folder to work in and a way to plant raw bytes.
struct Subject {
    std::shared_ptr<FileSystemOperating> fs;
    QString root;
    std::function<void(const QString &path, const QByteArray &bytes)> plant;
    std::shared_ptr<QTemporaryDir> keepAlive;
    bool permissionsApply = true; // root reads a file whatever its mode
};

Subject liveSubject()
{
    auto dir = std::make_shared<QTemporaryDir>();
    return {std::make_shared<LiveFileSystem>(), dir->path(),
            [](const QString &path, const QByteArray &bytes) {
                QFile file(path);
                ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                file.write(bytes);
            },
            dir, ::geteuid() != 0};
}

Subject inMemorySubject()
{
    auto fs = std::make_shared<InMemoryFileSystem>();
    fs->addDirectory(QStringLiteral("/Users/tester/work"));
    return {fs, QStringLiteral("/Users/tester/work"),
            [fs](const QString &path, const QByteArray &bytes) { fs->addFile(path, bytes); }, nullptr};
}

template <typename Operation>
QString failureOf(Operation operation)
{
    try {
        operation();
    } catch (const FileSystemError &error) {
        return error.message();
    }
    return QStringLiteral("(no error)");
}

QStringList sorted(QStringList names)
{
    std::sort(names.begin(), names.end());
    return names;
}

// The same behaviour is asked of the real file system and of its in-memory double.
class FileSystemContract : public testing::TestWithParam<Subject (*)()> {
protected:
    void SetUp() override { subject = GetParam()(); }
    QString at(const QString &relative) const { return subject.root + QLatin1Char('/') + relative; }
    FileSystemOperating &fs() const { return *subject.fs; }
    Subject subject;
};

} // namespace

TEST_P(FileSystemContract, MissingThingsAreErrorsThatNameThePath)
{
    const QString missing = at(QStringLiteral("absent"));
    const struct {
        const char *operation;
        std::function<void()> call;
        QString expected;
    } cases[] = {
        {"write into a missing folder", [&] { fs().writeString(missing + QStringLiteral("/.zprofile"), QStringLiteral("x")); },
         QStringLiteral("Couldn't write “%1/.zprofile”: ").arg(missing)},
        {"list", [&] { (void)fs().contentsOfDirectory(missing); }, QStringLiteral("Couldn't list “%1”: No such file or directory").arg(missing)},
        {"read", [&] { (void)fs().readString(missing); }, QStringLiteral("Couldn't read “%1”: No such file or directory").arg(missing)},
        {"remove", [&] { fs().removeItem(missing); }, QStringLiteral("Couldn't remove “%1”: No such file or directory").arg(missing)},
        {"attributes", [&] { (void)fs().attributesOfItem(missing); }, QStringLiteral("Couldn't read the attributes of “%1”: No such file or directory").arg(missing)},
        {"create without parents", [&] { fs().createDirectory(missing + QStringLiteral("/sub"), Parents::mustExist); },
         QStringLiteral("Couldn't create the folder “%1/sub”: No such file or directory").arg(missing)},
    };
    for (const auto &c : cases)
        EXPECT_TRUE(failureOf(c.call).startsWith(c.expected)) << c.operation << ": " << failureOf(c.call).toStdString();
    EXPECT_FALSE(fs().fileExists(missing));
    EXPECT_FALSE(fs().fileExistence(missing).exists);
}

TEST_P(FileSystemContract, CreatesListsMovesAndRemovesFolders)
{
    const QString jdk = at(QStringLiteral("JavaVirtualMachines/temurin-21.jdk/Contents/Home"));
    fs().createDirectory(jdk, Parents::create);
    fs().createDirectory(jdk, Parents::create); // already there: fine with intermediates
    EXPECT_FALSE(failureOf([&] { fs().createDirectory(jdk, Parents::mustExist); }).startsWith(QStringLiteral("(no error)")));
    EXPECT_EQ(fs().fileExistence(jdk).isDirectory, true);
    EXPECT_FALSE(fs().isExecutableFile(jdk)); // a folder is not a program
    subject.plant(jdk + QStringLiteral("/java"), "#!/bin/sh\n");
    fs().setPosixPermissions(jdk + QStringLiteral("/java"), 0755);
    EXPECT_TRUE(fs().isExecutableFile(jdk + QStringLiteral("/java")));

    subject.plant(jdk + QStringLiteral("/release"), "JAVA_VERSION=\"21.0.2\"\n");
    EXPECT_FALSE(fs().isExecutableFile(jdk + QStringLiteral("/release")));
    fs().createDirectory(at(QStringLiteral("JavaVirtualMachines/zulu-17.jdk")), Parents::mustExist);
    EXPECT_EQ(sorted(fs().contentsOfDirectory(at(QStringLiteral("JavaVirtualMachines")))),
              (QStringList {"temurin-21.jdk", "zulu-17.jdk"}));

    // A move never replaces what is already there.
    const QString from = at(QStringLiteral("JavaVirtualMachines/temurin-21.jdk"));
    const QString taken = at(QStringLiteral("JavaVirtualMachines/zulu-17.jdk"));
    EXPECT_TRUE(failureOf([&] { fs().moveItem(from, taken); }).contains(QStringLiteral("File exists")));
    EXPECT_TRUE(fs().fileExists(jdk + QStringLiteral("/release")));
    const QString moved = at(QStringLiteral("temurin.jdk"));
    fs().moveItem(from, moved);
    EXPECT_FALSE(fs().fileExists(from));
    EXPECT_EQ(fs().readString(moved + QStringLiteral("/Contents/Home/release")), QStringLiteral("JAVA_VERSION=\"21.0.2\"\n"));

    fs().removeItem(moved);
    EXPECT_FALSE(fs().fileExists(moved));
    EXPECT_EQ(sorted(fs().contentsOfDirectory(subject.root)), QStringList {"JavaVirtualMachines"});
}

TEST_P(FileSystemContract, WritesInPlaceKeepingEveryByteAndThePermissionBits)
{
    const QString profile = at(QStringLiteral(".zprofile"));
    const QString text = QStringLiteral("export JAVA_HOME=/x\n# naïve — ✓\n");
    fs().writeString(profile, text);
    EXPECT_EQ(fs().readString(profile), text);
    EXPECT_EQ(fs().attributesOfItem(profile).type, FileType::regular);
    EXPECT_EQ(fs().attributesOfItem(profile).size, text.toUtf8().size());

    const QByteArray bytes = "\xef\xbb\xbf" "export NAME=Jos\xe9\n";
    subject.plant(profile, bytes);
    EXPECT_EQ(failureOf([&] { (void)fs().readString(profile); }),
              QStringLiteral("Couldn't read “%1”: the file is not UTF-8 text").arg(profile));
    EXPECT_EQ(fs().readData(profile), bytes);
    fs().setPosixPermissions(profile, 0600);
    fs().writeData(profile, bytes + "alias k=kubectl\n");
    fs().appendData(profile, QByteArray("\0\xff", 2));
    const QByteArray written = bytes + "alias k=kubectl\n" + QByteArray("\0\xff", 2);
    EXPECT_EQ(fs().readData(profile), written);
    EXPECT_EQ(fs().sha256Hex(profile), QString::fromLatin1(QCryptographicHash::hash(written, QCryptographicHash::Sha256).toHex()));
    EXPECT_EQ(fs().attributesOfItem(profile).posixPermissions, 0600u);
    EXPECT_EQ(fs().attributesOfItem(profile).linkCount, 1);
    EXPECT_EQ(fs().contentsOfDirectory(subject.root), QStringList {".zprofile"}); // no temporary left
    EXPECT_TRUE(failureOf([&] { fs().appendData(at(QStringLiteral("absent")), "x"); }).endsWith(QStringLiteral("No such file or directory")));

    if (subject.permissionsApply) {
        fs().setPosixPermissions(profile, 0200);
        EXPECT_EQ(failureOf([&] { (void)fs().readData(profile); }), QStringLiteral("Couldn't read “%1”: Permission denied").arg(profile));
    }
}

TEST_P(FileSystemContract, StagesAFileThenPutsItInPlace)
{
    const QString backup = at(QStringLiteral(".zprofile.bak"));
    subject.plant(backup, "previous backup\n");
    const QString staged = fs().writeStagedFile(backup, "export TOKEN=secret\n", 0640);
    EXPECT_TRUE(staged.startsWith(backup + QLatin1Char('.'))) << staged.toStdString();
    EXPECT_EQ(fs().attributesOfItem(staged).posixPermissions, 0640u);
    EXPECT_EQ(fs().readData(backup), QByteArray("previous backup\n")); // untouched until replaced
    EXPECT_NE(fs().writeStagedFile(backup, {}, 0600), staged);        // each staged file is new

    fs().replaceItem(staged, backup);
    EXPECT_EQ(fs().readData(backup), QByteArray("export TOKEN=secret\n"));
    EXPECT_EQ(fs().attributesOfItem(backup).posixPermissions, 0640u);
    EXPECT_FALSE(fs().fileExists(staged));

    // A folder is never replaced; what was staged stays for the caller to remove.
    const QString folder = at(QStringLiteral("folder"));
    fs().createDirectory(folder + QStringLiteral("/keep"), Parents::create);
    const QString another = fs().writeStagedFile(backup, "x", 0600);
    EXPECT_EQ(failureOf([&] { fs().replaceItem(another, folder); }), QStringLiteral("Couldn't replace “%1”: Is a directory").arg(folder));
    EXPECT_TRUE(fs().fileExistence(folder + QStringLiteral("/keep")).isDirectory);
    EXPECT_EQ(failureOf([&] { (void)fs().writeStagedFile(at(QStringLiteral("absent/x")), "x", 0600); }),
              QStringLiteral("Couldn't write “%1”: No such file or directory").arg(at(QStringLiteral("absent/x"))));
}

INSTANTIATE_TEST_SUITE_P(Live, FileSystemContract, testing::Values(&liveSubject), [](const auto &) { return "disk"; });
INSTANTIATE_TEST_SUITE_P(InMemory, FileSystemContract, testing::Values(&inMemorySubject),
                         [](const auto &) { return "double"; });

TEST(FileSystemError, APrivacyRefusalSaysWhereToAllowItAndOtherErrorsKeepThePlatformsWords)
{
    // EPERM from a read or write is macOS's privacy protection; the path it names is where the
    // file really is, under the home folder as ~ (and only under it: /Users/ada2 is not ~2).
    const QString home = QStringLiteral("/Users/ada");
    const QString profile = QStringLiteral("/Users/ada/.zprofile");
    const QString allow = QStringLiteral(" — allow it in System Settings › Privacy & Security");
    const struct {
        int errorCode;
        QString blockedPath;
        QString message;
    } cases[] = {
        {EPERM, QStringLiteral("/Users/ada/Documents/dotfiles/zprofile"), QStringLiteral("macOS blocked access to ~/Documents/dotfiles/zprofile") + allow},
        {EPERM, profile, QStringLiteral("macOS blocked access to ~/.zprofile") + allow},
        {EPERM, QStringLiteral("/Users/ada2/.zprofile"), QStringLiteral("macOS blocked access to /Users/ada2/.zprofile") + allow},
        {EACCES, profile, QStringLiteral("Couldn't read “/Users/ada/.zprofile”: Permission denied")},
        {ENOENT, profile, QStringLiteral("Couldn't read “/Users/ada/.zprofile”: No such file or directory")},
    };
    for (const auto &c : cases) {
        const FileSystemError error = FileSystemError::accessFailure(QStringLiteral("read"), profile, c.errorCode, c.blockedPath, home);
        EXPECT_EQ(error.message(), c.message) << c.errorCode;
        EXPECT_TRUE(c.message.endsWith(error.reason())) << c.errorCode; // callers that name the file themselves
        EXPECT_EQ(error.errorCode(), c.errorCode);
    }
}
