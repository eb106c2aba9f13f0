#include "simulated/InMemoryFileSystem.h"
#include "services/LiveFileSystem.h"

#include <QCryptographicHash>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <unistd.h>

namespace {

// One file system under test, with a writable folder to work in.
struct Subject {
    std::shared_ptr<FileSystemOperating> fs;
    QString root;
    std::shared_ptr<QTemporaryDir> keepAlive;
    bool permissionsApply = true; // root reads a file whatever its mode
};

Subject liveSubject()
{
    auto dir = std::make_shared<QTemporaryDir>();
    return {std::make_shared<LiveFileSystem>(), dir->path(), dir, ::geteuid() != 0};
}

Subject inMemorySubject()
{
    auto fs = std::make_shared<InMemoryFileSystem>();
    fs->addDirectory(QStringLiteral("/Users/tester/work"));
    return {fs, QStringLiteral("/Users/tester/work"), nullptr};
}

QString failureOf(const std::function<void()> &operation)
{
    try {
        operation();
    } catch (const FileSystemError &error) {
        return error.message();
    }
    return QStringLiteral("(no error)");
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
    const std::pair<std::function<void()>, QString> cases[] = {
        {[&] { fs().writeString(missing + QStringLiteral("/.zprofile"), QStringLiteral("x")); }, QStringLiteral("Couldn't write “%1/.zprofile”: ")},
        {[&] { (void)fs().contentsOfDirectory(missing); }, QStringLiteral("Couldn't list “%1”: No such file or directory")},
        {[&] { (void)fs().readString(missing); }, QStringLiteral("Couldn't read “%1”: No such file or directory")},
        {[&] { fs().createDirectory(missing + QStringLiteral("/sub"), Parents::mustExist); },
         QStringLiteral("Couldn't create the folder “%1/sub”: No such file or directory")},
        {[&] { (void)fs().writeStagedFile(missing + QStringLiteral("/x"), "x", 0600); }, QStringLiteral("Couldn't write “%1/x”: No such file or directory")},
    };
    for (const auto &[call, expected] : cases)
        EXPECT_TRUE(failureOf(call).startsWith(expected.arg(missing))) << failureOf(call).toStdString();
    EXPECT_TRUE(failureOf([&] { fs().appendData(missing, "x"); }).endsWith(QStringLiteral("No such file or directory")));
    EXPECT_FALSE(fs().fileExists(missing));
    EXPECT_FALSE(fs().fileExistence(missing).exists);
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
    fs().writeData(profile, bytes);
    EXPECT_EQ(failureOf([&] { (void)fs().readString(profile); }), QStringLiteral("Couldn't read “%1”: the file is not UTF-8 text").arg(profile));
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
    if (subject.permissionsApply) {
        fs().setPosixPermissions(profile, 0200);
        EXPECT_EQ(failureOf([&] { (void)fs().readData(profile); }), QStringLiteral("Couldn't read “%1”: Permission denied").arg(profile));
    }
}

TEST_P(FileSystemContract, StagesAFileThenPutsItInPlace)
{
    const QString backup = at(QStringLiteral(".zprofile.bak"));
    fs().writeData(backup, "previous backup\n");
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
    EXPECT_FALSE(fs().isExecutableFile(folder)); // a folder is not a program
    fs().removeItem(folder);                       // with all it holds
    EXPECT_FALSE(fs().fileExists(folder + QStringLiteral("/keep")));
}

INSTANTIATE_TEST_SUITE_P(Live, FileSystemContract, testing::Values(&liveSubject), [](const auto &) { return "disk"; });
INSTANTIATE_TEST_SUITE_P(InMemory, FileSystemContract, testing::Values(&inMemorySubject), [](const auto &) { return "double"; });

TEST(FileSystemError, APrivacyRefusalSaysWhereToAllowItAndOtherErrorsKeepThePlatformsWords)
{
    // EPERM is macOS's privacy protection; the path it names is where the file really is, under
    // the home folder as ~ (and only under it: /Users/ada2 is not ~2).
    const QString profile = QStringLiteral("/Users/ada/.zprofile");
    const QString allow = QStringLiteral(" — allow it in System Settings › Privacy & Security");
    const std::tuple<int, QString, QString> cases[] = {
        {EPERM, QStringLiteral("/Users/ada/Documents/zprofile"), QStringLiteral("macOS blocked access to ~/Documents/zprofile") + allow},
        {EPERM, QStringLiteral("/Users/ada2/.zprofile"), QStringLiteral("macOS blocked access to /Users/ada2/.zprofile") + allow},
        {EACCES, profile, QStringLiteral("Couldn't read “/Users/ada/.zprofile”: Permission denied")},
    };
    for (const auto &[code, blocked, message] : cases) {
        const FileSystemError error = FileSystemError::accessFailure(QStringLiteral("read"), profile, code, blocked, QStringLiteral("/Users/ada"));
        EXPECT_EQ(error.message(), message) << code;
        EXPECT_TRUE(message.endsWith(error.reason())) << code; // callers that name the file themselves
        EXPECT_EQ(error.errorCode(), code);
    }
}
