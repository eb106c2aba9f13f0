#include "UiTestSupport.h"

#include "StandIns.h"
#include "FixtureServices.h"
#include "services/LiveFileSystem.h"
#include "ui/diagnose/RemediationSheetModel.h"
#include "ui/diagnose/ZprofileDiffSheetModel.h"

#include <QClipboard>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <functional>

namespace {

using Outcome = FixSequence::Outcome;

// UiWorld's sink, opener and workers over services of the test's own.
ScreenContext sheetContext(UiWorld &world, AppServices services)
{
    ScreenContext context = world.context();
    context.services = std::move(services);
    context.platform = {};
    return context;
}

// What a sheet reported when the person left it.
std::optional<Outcome> waitForFinish(QObject *sheet, const std::function<void()> &act = {})
{
    std::optional<Outcome> outcome;
    if (auto *remediation = qobject_cast<RemediationSheetModel *>(sheet))
        QObject::connect(remediation, &RemediationSheetModel::finished, [&outcome](const Outcome &o) { outcome = o; });
    if (auto *diff = qobject_cast<ZprofileDiffSheetModel *>(sheet))
        QObject::connect(diff, &ZprofileDiffSheetModel::finished, [&outcome](const Outcome &o) { outcome = o; });
    if (act)
        act();
    (void)QTest::qWaitFor([&outcome] { return outcome.has_value(); }, 20000);
    return outcome;
}

bool processAlive(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = stat.readAll();
    return text.mid(text.lastIndexOf(')') + 2, 1) != "Z"; // a zombie has ended; only its parent may reap it
}

// Scripted services; with Mise, its install succeeds and ~/.zshrc lacks the activation line.
struct SimulatedMacSheet : UiWorld {
    FixtureServices fixture;
    ScreenContext ctx = sheetContext(*this, fixture.services());

    explicit SimulatedMacSheet(bool withMise = false)
    {
        if (!withMise)
            return;
        fixture.fs->addFile(QStringLiteral("/opt/homebrew/bin/mise"), "", 0755);
        fixture.processRunner->script(QStringLiteral("/bin/zsh"), [](const QStringList &, const auto &) {
            return ProcessResult{0, QStringLiteral("mise java@temurin-25 ✓ installed"), {}};
        });
    }
};

// A throw-away home folder on the real file system, where a real login zsh runs the programs.
struct RealHome : UiWorld {
    QTemporaryDir home;
    StandIns tools;
    ScreenContext ctx;

    RealHome()
    {
        tools.setEnvironment({{QStringLiteral("HOME"), home.path()}});
        AppServices services = FixtureServices().services();
        services.processRunner = tools.runner();
        services.fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders{home.path(), QDir::tempPath(), home.path(), home.path()});
        ctx = sheetContext(*this, services);
    }
    QString path(const char *name = ".zprofile") const { return home.filePath(QString::fromLatin1(name)); }
    void write(const QByteArray &text, const char *name = ".zprofile") const
    {
        QDir(home.path()).mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    QByteArray contents(const char *name = ".zprofile") const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }
    std::unique_ptr<ZprofileDiffSheetModel> open()
    {
        auto sheet = std::make_unique<ZprofileDiffSheetModel>(ctx, Remediation::writeJavaHomeToZprofile(QStringLiteral("/jdk")));
        (void)QTest::qWaitFor([&] { return sheet->state() != ZprofileDiffSheetModel::State::Loading; }, 10000);
        return sheet;
    }
};

QStringList texts(const QVariantList &rows, bool addedOnly = false)
{
    QStringList result;
    for (const QVariant &row : rows)
        if (!addedOnly || row.toMap().value(QStringLiteral("added")).toBool())
            result.append(row.toMap().value(QStringLiteral("text")).toString());
    return result;
}

} // namespace

// How a run ends decides the end button, the outcome and the one terminal event.
TEST(RemediationSheet, EndsWithTheButtonAndOutcomeOfTheRun)
{
    const QString failure = QStringLiteral("Install failed (exit code %1). The article at [Ferrowood](https://ferrowood.com/java/unable-to-locate) may help.");
    using S = RemediationSheetModel::State;
    const QString failed = QStringLiteral("remediation_failed");
    const struct {
        const char *name;
        Remediation remediation;
        std::function<void(FixtureServices &)> setUp;
        S state;
        QString endText;
        Outcome outcome;
        QString event;
        QStringList lines = {}; // checked when given
    } cases[] = {
        // Download progress takes one row, updated in place.
        {"package", Remediation::installViaPKG(25),
         [](FixtureServices &f) {
             const QByteArray package(3 * 1048576 + 104858, 'p'); // 3.1 MB, arriving in several chunks
             const QByteArray checksum = QCryptographicHash::hash(package, QCryptographicHash::Sha256).toHex();
             f.http->respond(QUrl(QStringLiteral("https://api.adoptium.net/v3/assets/latest/25/hotspot?architecture=aarch64&image_type=jdk&os=mac")),
                             HTTPResponse{200, {}, "[{\"binary\": {\"installer\": {\"link\": \"https://downloads.test/t.pkg\", \"checksum\": \"" + checksum
                                                       + "\", \"name\": \"t.pkg\"}}, \"release_name\": \"jdk-25.0.1+8\"}]"});
             f.http->respond(QUrl(QStringLiteral("https://downloads.test/t.pkg")), HTTPResponse{200, {}, package});
             f.processRunner->script(QStringLiteral("/usr/bin/osascript"), [](const QStringList &, const auto &) { return ProcessResult{0, {}, {}}; });
         },
         S::Succeeded, QStringLiteral("Continue to verify"), Outcome::success(QStringLiteral("Temurin installed.")), QStringLiteral("remediation_completed"),
         {"Looking up Temurin 25 on Adoptium…", "Downloaded 3.1 MB of 3.1 MB", "Verifying SHA256 checksum…",
          "Running /usr/sbin/installer (macOS will ask for your password)…", "Installer completed."}},
        {"no SDKMAN", Remediation::installViaSDKMAN(QStringLiteral("25-tem")), [](FixtureServices &) {}, S::Failed, QStringLiteral("Close"),
         Outcome::failure(failure.arg(-1)), failed},
        // The first phase fails: the second never starts, though brew is there to run it.
        {"Homebrew fails before Temurin", Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@25")),
         [](FixtureServices &f) {
             f.fs->addFile(QStringLiteral("/opt/homebrew/bin/brew"), "", 0755);
             f.processRunner->script(QStringLiteral("/bin/bash"),
                                     [](const QStringList &, const auto &) { return ProcessResult{1, QStringLiteral("Failed during: /usr/bin/sudo"), {}}; });
         },
         S::Failed, QStringLiteral("Close"), Outcome::failure(failure.arg(1)), failed},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        SimulatedMacSheet mac;
        c.setUp(mac.fixture);
        RemediationSheetModel sheet(mac.ctx, c.remediation);
        ASSERT_TRUE(QTest::qWaitFor([&] { return sheet.state() != S::Running; }, 10000));
        const QStringList lines = sheet.lines()->lines();
        EXPECT_EQ(sheet.state(), c.state);
        EXPECT_TRUE(c.lines.isEmpty() || lines == c.lines) << lines.join(u'\n').toStdString();
        EXPECT_EQ(sheet.endText(), c.endText);
        EXPECT_FALSE(sheet.canCancel());
        EXPECT_FALSE(lines.contains(QStringLiteral("Homebrew installed. Now installing Temurin via Homebrew…")));
        sheet.copyOutput();
        EXPECT_EQ(QGuiApplication::clipboard()->text(), lines.join('\n'));
        sheet.openArticle();
        EXPECT_EQ(mac.opened, QList<QUrl>{QUrl(QStringLiteral("https://ferrowood.com/java/download"))});
        EXPECT_EQ(waitForFinish(&sheet, [&] { sheet.leave(); sheet.leave(); }), c.outcome);
        EXPECT_EQ(mac.sink.names(), QStringList{c.event});
    }
}

// The ~/.zshrc offer after Mise stands in place of Continue, in the model and its view, until it is
// applied or skipped; a failed append leaves the fix a success with the error shown; a sheet
// closed while it asks ends the run as canceled.
TEST_F(QmlViewTest, ZshrcOfferReplacesContinueUntilAnswered)
{
    const QString zshrc = QStringLiteral("/Users/tester/.zshrc");
    const QString changed = zshrc + QStringLiteral(" changed while the change was being reviewed, so nothing was written. Review the change again.");
    enum class Answer { apply, skip, applyAfterAnEdit, closeSheet };
    const struct {
        Answer answer;
        QString lastLine, error;
    } cases[] = {
        {Answer::apply, QStringLiteral("Updated /Users/tester/.zshrc. Backup at /Users/tester/.zshrc.bak."), {}},
        {Answer::skip, QStringLiteral("Skipped ~/.zshrc edit. JAVA_HOME may stay unset in fresh shells until you add the line manually."), {}},
        {Answer::applyAfterAnEdit, changed, changed},
        {Answer::closeSheet, {}, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(int(c.answer));
        SimulatedMacSheet mac(true);
        const bool setOnly = c.answer == Answer::skip; // setting JAVA_HOME through Mise asks too
        auto sheet = std::make_unique<RemediationSheetModel>(
            mac.ctx, setOnly ? Remediation::setJavaHomeViaMise(QStringLiteral("temurin-25")) : Remediation::installViaMise(QStringLiteral("temurin-25")));
        ASSERT_TRUE(QTest::qWaitFor([&] { return sheet->zshrcOfferPending(); }, 10000));
        EXPECT_EQ(QStringList({sheet->zshrcOfferText(), sheet->zshrcBackupLine()}),
                  QStringList({"One more thing: we need to append to `/Users/tester/.zshrc` so JAVA_HOME gets set in fresh shells.",
                               "Backup: `/Users/tester/.zshrc.bak`"}));
        EXPECT_FALSE(sheet->zshrcPreviewLines().isEmpty());
        QTest::qWait(100); // the run does not go on while the question is open
        EXPECT_FALSE(sheet->showsContinue() || sheet->canCancel() || mac.fixture.fs->fileExists(zshrc));
        ASSERT_TRUE(show("RemediationSheet.qml", sheet.get(), QSize(640, 480)));
        EXPECT_TRUE(item("remediation-zshrc-apply") && !item("remediation-end"));
        if (c.answer == Answer::closeSheet) {
            m_view.reset();
            sheet.reset(); // must not wait for an answer that will never come
            EXPECT_EQ(mac.sink.names(), QStringList{QStringLiteral("remediation_canceled")});
            continue;
        }
        if (c.answer == Answer::applyAfterAnEdit)
            mac.fixture.fs->addFile(zshrc, "export EDITED=1\n", 0644);
        if (c.answer == Answer::skip)
            sheet->skipZshrc();
        else
            EXPECT_TRUE(click("remediation-zshrc-apply"));
        ASSERT_TRUE(QTest::qWaitFor([&] { return sheet->showsContinue() && item("remediation-end"); }, 10000));
        EXPECT_FALSE(sheet->zshrcOfferPending());
        EXPECT_EQ(mac.fixture.fs->fileExists(zshrc + QStringLiteral(".bak")), c.answer == Answer::apply);
        EXPECT_EQ(sheet->lines()->lines().last(), c.lastLine);
        EXPECT_EQ(sheet->zshrcError(), c.error);
        EXPECT_EQ(waitForFinish(sheet.get(), [&] { sheet->leave(); }),
                  Outcome::success(setOnly ? QStringLiteral("Configured Mise to set JAVA_HOME.") : QStringLiteral("Installed Temurin via Mise.")));
        EXPECT_EQ(mac.sink.names(), QStringList{QStringLiteral("remediation_completed")});
        m_view.reset();
    }
}

// Nothing is written before Apply, nor by Apply outside the previewed state, nor over an edit
// made in another window while the sheet is open; the full file marks exactly the appended lines.
TEST(ZprofileDiffSheet, WritesOnlyOnApply)
{
    enum { absent, present, editedUnderReview };
    for (const int file : {absent, present, editedUnderReview}) {
        SCOPED_TRACE(file);
        RealHome home;
        if (file != absent)
            home.write("export PATH=/opt/bin:$PATH\n\nalias ll='ls -l'");
        auto sheet = home.open();
        ASSERT_EQ(sheet->state(), ZprofileDiffSheetModel::State::Previewed);
        EXPECT_EQ(sheet->createdNote(), file != absent ? QString() : QStringLiteral("Creating `~/.zprofile` (didn't exist before)."));
        EXPECT_EQ(sheet->backupLine(), QStringLiteral("Backup: `") + home.path(".zprofile.bak") + '`');
        const QStringList added = texts(sheet->diffLines());
        ASSERT_FALSE(added.isEmpty());
        EXPECT_EQ(texts(sheet->diffLines(), true), added);
        sheet->toggleFullFile();
        EXPECT_EQ(texts(sheet->diffLines(), true), added) << "only the appended lines are marked";
        const QStringList full = texts(sheet->diffLines());
        const QStringList kept{"export PATH=/opt/bin:$PATH", "", "alias ll='ls -l'"};
        EXPECT_EQ(file != absent ? full.mid(0, 3) : full, file != absent ? kept : added) << "empty lines kept";
        sheet->toggleFullFile();
        EXPECT_EQ(texts(sheet->diffLines()), added);

        if (file == editedUnderReview)
            home.write("export A=2\n");
        const QByteArray before = home.contents();
        QTest::qWait(50);
        EXPECT_EQ(home.contents(), before) << "written before Apply";
        EXPECT_FALSE(QFile::exists(home.path(".zprofile.bak")));
        sheet->apply();
        if (file == editedUnderReview) {
            ASSERT_TRUE(QTest::qWaitFor([&] { return !sheet->applyError().isEmpty(); }, 10000));
            EXPECT_EQ(sheet->state(), ZprofileDiffSheetModel::State::Previewed) << "the sheet stays open";
            EXPECT_EQ(home.contents(), before);
            EXPECT_EQ(waitForFinish(sheet.get(), [&] { sheet->cancel(); }), Outcome::canceled());
            EXPECT_EQ(home.sink.names(), QStringList{QStringLiteral("remediation_failed")}) << "a second terminal event";
            continue;
        }
        ASSERT_TRUE(QTest::qWaitFor([&] { return sheet->state() == ZprofileDiffSheetModel::State::Applied; }, 10000));
        EXPECT_TRUE(home.contents().endsWith(added.join('\n').toUtf8() + '\n'));
        sheet->apply();
        EXPECT_FALSE(sheet->applying()) << "applied twice";
        EXPECT_EQ(waitForFinish(sheet.get(), [&] { sheet->cancel(); sheet->continueToVerify(); }),
                  Outcome::success(QStringLiteral("JAVA_HOME set in ~/.zprofile.")));
        EXPECT_EQ(home.sink.names(), QStringList{QStringLiteral("remediation_completed")});
    }
}

// The sheets' real views: what the person can press in each state; the output list follows its
// newest line; Cancel stops the running program.
TEST_F(QmlViewTest, SheetsShowTheirControlsForEachState)
{
    {
        // A real login zsh runs a stand-in `sdk` that prints more lines than fit, then sleeps.
        RealHome mac;
        mac.write("sdk() { for i in $(seq 1 60); do echo \"==> step $i\"; done; echo 'Retrying with `brew reinstall`'; "
                  "sleep 30 & echo $! > \"$HOME/sleep.pid\"; wait; echo finished anyway; }\n", ".sdkman/bin/sdkman-init.sh");
        RemediationSheetModel sheet(mac.ctx, Remediation::installViaSDKMAN(QStringLiteral("25-tem")));
        ASSERT_TRUE(show("RemediationSheet.qml", &sheet, QSize(640, 480)));
        ASSERT_TRUE(QTest::qWaitFor([&] { return mac.contents("sleep.pid").endsWith('\n'); }, 20000));
        ASSERT_TRUE(QTest::qWaitFor([&] { return item("remediation-retry-line"); }, 5000)) << "the newest line is not in view";
        EXPECT_EQ(sheet.statusText(), QStringLiteral("Running…"));
        const qint64 pid = mac.contents("sleep.pid").trimmed().toLongLong();
        ASSERT_TRUE(processAlive(pid));
        EXPECT_EQ(waitForFinish(&sheet, [&] {
            EXPECT_TRUE(click("remediation-cancel"));
            EXPECT_EQ(sheet.cancelText(), QStringLiteral("Canceling…"));
        }), Outcome::canceled());
        EXPECT_FALSE(processAlive(pid)) << "the stand-in's sleep outlived the cancel";
        EXPECT_FALSE(sheet.lines()->lines().contains(QStringLiteral("finished anyway")));
        EXPECT_EQ(mac.sink.names(), QStringList{QStringLiteral("remediation_canceled")});
        m_view.reset(); // before the model it shows
    }
    // The sheets that end without a write, by their one way out: the others do nothing.
    const struct {
        const char *name;
        std::function<void(RealHome &)> setUp;
        const char *shown, *leave, *event;
        std::optional<Outcome> outcome; // none: failure with the load error
    } states[] = {
        {"creating", [](RealHome &) {}, "zprofile-created-note", "zprofile-cancel", "remediation_canceled", Outcome::canceled()},
        // A folder is unreadable as a file, even for root.
        {"load-error", [](RealHome &h) { QDir(h.home.path()).mkdir(QStringLiteral(".zprofile")); }, "zprofile-load-error", "zprofile-close",
         "remediation_failed", std::nullopt},
        {"already-set", [](RealHome &h) { h.write("export JAVA_HOME=$(/usr/libexec/java_home)\n"); }, "zprofile-already-set", "zprofile-continue", "remediation_completed",
         Outcome::success(QStringLiteral("JAVA_HOME already set in ~/.zprofile."))},
    };
    for (const auto &state : states) {
        SCOPED_TRACE(state.name);
        RealHome home;
        state.setUp(home);
        const QByteArray before = home.contents();
        auto sheet = home.open();
        ASSERT_TRUE(show("ZprofileDiffSheet.qml", sheet.get(), QSize(640, 480)));
        EXPECT_TRUE(item(state.shown));
        const bool previewed = sheet->state() == ZprofileDiffSheetModel::State::Previewed;
        EXPECT_EQ(item("zprofile-apply") != nullptr, previewed);
        if (!previewed)
            sheet->apply();
        EXPECT_EQ(sheet->applying(), false);
        const QString prefix = QStringLiteral("Couldn't read ~/.zprofile: ");
        EXPECT_EQ(sheet->loadError().startsWith(prefix) && sheet->loadError().size() > prefix.size(), !state.outcome) << sheet->loadError().toStdString();
        const std::string leave = state.leave;
        EXPECT_EQ(waitForFinish(sheet.get(), [&] {
            if (leave != "zprofile-continue")
                sheet->continueToVerify();
            if (leave != "zprofile-close")
                sheet->close();
            if (leave != "zprofile-cancel")
                sheet->cancel();
            EXPECT_TRUE(click(state.leave));
        }), state.outcome.value_or(Outcome::failure(sheet->loadError())));
        EXPECT_EQ(home.sink.names(), QStringList{QString::fromLatin1(state.event)});
        EXPECT_FALSE(QFile::exists(home.path(".zprofile.bak")));
        EXPECT_EQ(home.contents(), before);
        m_view.reset();
    }
}
