#include "LocalHTTPServer.h"
#include "services/JSONDecoding.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

struct DoctorRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// The doctor as a user runs it, on a simulated Mac unless `environment` says otherwise.
DoctorRun doctor(const QStringList &arguments, const QMap<QString, QString> &environment)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("TARNWICK_FIXTURE_LINE_PAUSE_MS"), QStringLiteral("0"));
    for (auto it = environment.cbegin(); it != environment.cend(); ++it)
        env.insert(it.key(), it.value());
    process.setProcessEnvironment(env);
    process.setStandardInputFile(QProcess::nullDevice()); // no terminal to answer on
    process.start(QStringLiteral(DOCTOR_PATH), arguments);
    EXPECT_TRUE(process.waitForFinished(60000)) << arguments.join(u' ').toStdString();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

QJsonObject report(const DoctorRun &run)
{
    // stdout holds the JSON and nothing else: parsing the whole of it must succeed.
    try {
        return json::parse(run.out).object();
    } catch (const DecodingError &error) {
        ADD_FAILURE() << error.message().toStdString() << "\n" << run.out.toStdString();
        return {};
    }
}

QMap<QString, QString> onMac(const QString &scenario)
{
    return {{QStringLiteral("TARNWICK_FIXTURE"), scenario}};
}

} // namespace

TEST(Doctor, DiagnosesEverySimulatedMac)
{
    const struct {
        const char *scenario;
        const char *code;
        const char *remediation; // empty: none
    } cases[] = {
        {"new-mac", "D1_NoJDK", "pkg:25"},
        {"developer-no-java", "D1_NoJDK", "brew:temurin@25"},
        {"java-home-unset", "D2_HomeUnset", "zprofile:/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"},
        {"healthy", "no_errors_found", ""},
        {"sdkman", "D1_NoJDK", "sdkman:25-tem"},
        {"mise", "D1_NoJDK", "mise:temurin-25"},
        {"jenv", "D1_NoJDK", "pkg-jenv:25"},
        {"cursor-user-no-homebrew", "D1_NoJDK", "homebrew+brew:temurin@25"},
        {"broken-jvm-dir", "unknown", ""},
        {"brew-sudo-bypass", "D1_NoJDK", "brew:temurin@25"},
        {"password-declined", "D1_NoJDK", "pkg:25"},
        {"adoptium-offline", "D1_NoJDK", "pkg:25"},
    };
    for (const auto &c : cases) {
        const DoctorRun run = doctor({QStringLiteral("--json")}, onMac(QString::fromLatin1(c.scenario)));
        const QJsonObject json = report(run);
        EXPECT_EQ(json.value("diagnosis").toObject().value("code").toString(), QString::fromLatin1(c.code)) << c.scenario;
        const QJsonValue remediation = json.value("remediation");
        EXPECT_EQ(remediation.isNull() ? QString() : remediation.toObject().value("id").toString(), QString::fromLatin1(c.remediation)) << c.scenario;
        EXPECT_EQ(run.exitCode, QLatin1String(c.code) == QLatin1String("no_errors_found") ? 0 : 1) << c.scenario;
        EXPECT_TRUE(run.err.contains("simulated Mac (" + QByteArray(c.scenario) + ")")) << run.err.toStdString();
    }
}

TEST(Doctor, FixesAndVerifiesEverySimulatedMac)
{
    const struct {
        const char *scenario;
        const char *outcome; // empty: no fix
        bool verified;       // the last verification passed
        int exitCode;
    } cases[] = {
        {"new-mac", "success", true, 0},
        {"developer-no-java", "success", true, 0},
        {"java-home-unset", "success", true, 0},
        {"healthy", "", false, 0},
        {"sdkman", "success", true, 0},
        {"mise", "success", true, 0},
        {"jenv", "success", true, 0},
        {"cursor-user-no-homebrew", "success", true, 0},
        {"broken-jvm-dir", "", false, 1},
        {"brew-sudo-bypass", "success", true, 0},
        {"password-declined", "canceled", false, 130},
        {"adoptium-offline", "failure", false, 1},
    };
    for (const auto &c : cases) {
        const DoctorRun run = doctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")}, onMac(QString::fromLatin1(c.scenario)));
        EXPECT_EQ(run.exitCode, c.exitCode) << c.scenario << "\n" << run.err.toStdString();
        const QJsonObject json = report(run);
        QJsonValue fix = json.value("fix");
        if (!*c.outcome) {
            EXPECT_TRUE(fix.isNull()) << c.scenario;
            continue;
        }
        EXPECT_EQ(fix.toObject().value("outcome").toString(), QString::fromLatin1(c.outcome)) << c.scenario << "\n" << run.err.toStdString();
        while (fix.toObject().value("followUp").isObject()) // the JAVA_HOME step after an install
            fix = fix.toObject().value("followUp");
        const QJsonValue verify = fix.toObject().value("verify");
        EXPECT_EQ(verify.isObject() && verify.toObject().value("passed").toBool(), c.verified) << c.scenario << "\n" << run.err.toStdString();
    }
}

TEST(Doctor, BrewBypassFallsBackToThePackage)
{
    const DoctorRun run = doctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")}, onMac(QStringLiteral("brew-sudo-bypass")));
    const QStringList lines = [&] {
        QStringList result;
        for (const QJsonValue &line : report(run).value("fix").toObject().value("lines").toArray())
            result.append(line.toString());
        return result;
    }();
    EXPECT_TRUE(lines.contains(QStringLiteral("Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…")));
    EXPECT_TRUE(lines.contains(QStringLiteral("Looking up Temurin 25 (aarch64) on Adoptium…")));
    EXPECT_TRUE(lines.contains(QStringLiteral("Installer completed.")));
}

TEST(Doctor, ReportsInTheAgreedShape)
{
    const DoctorRun run = doctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")}, onMac(QStringLiteral("developer-no-java")));
    const QJsonObject json = report(run);
    EXPECT_EQ(json.keys(), (QStringList {"audit", "diagnosis", "fix", "notes", "profile", "remediation"}));
    const QJsonObject profile = json.value("profile").toObject();
    EXPECT_EQ(profile.keys(), (QStringList {"aiTooling", "architecture", "asdfRoot", "homebrewPrefix", "intelHomebrewOnAppleSilicon", "javaState", "jenvRoot", "likelyDeveloper",
                                            "macosVersion", "miseExecutable", "sdkmanRoot", "shell", "shellName", "terminals", "xcodeCommandLineToolsPath"}));
    EXPECT_EQ(profile.value("architecture").toString(), QStringLiteral("appleSilicon"));
    EXPECT_TRUE(profile.value("macosVersion").toObject().value("major").isDouble());
    EXPECT_EQ(profile.value("homebrewPrefix").toString(), QStringLiteral("/opt/homebrew/bin/brew"));
    EXPECT_TRUE(profile.value("asdfRoot").isNull());
    EXPECT_EQ(profile.value("aiTooling").toObject().size(), 14);
    EXPECT_EQ(profile.value("terminals").toObject().size(), 7);
    EXPECT_EQ(profile.value("javaState").toObject().keys(), (QStringList {"installedJDKs", "javaHomeInActiveShell", "jvmDirContents", "loginShellTimedOut", "whichJava"}));
    EXPECT_EQ(json.value("diagnosis").toObject().keys(), (QStringList {"code", "explanation", "headline"}));
    EXPECT_EQ(json.value("diagnosis").toObject().value("headline").toString(), QStringLiteral("Java is not installed"));
    EXPECT_EQ(json.value("remediation").toObject().keys(), (QStringList {"explainer", "id", "method", "title"}));
    EXPECT_EQ(json.value("remediation").toObject().value("method").toString(), QStringLiteral("brew"));
    EXPECT_TRUE(json.value("audit").toObject().value("stage_1_foundations").toObject().value("alreadyOk").isBool());
    const QJsonObject fix = json.value("fix").toObject();
    EXPECT_EQ(fix.keys(), (QStringList {"followUp", "lines", "message", "outcome", "verify"}));
    EXPECT_EQ(fix.value("verify").toObject().keys(),
              (QStringList {"javaHomeValue", "javaVersionExitCode", "javaVersionOutput", "loginShellTimedOut", "offersJavaHome", "passed"}));
    EXPECT_TRUE(fix.value("verify").toObject().value("javaVersionExitCode").isDouble());
}

TEST(Doctor, WithoutATerminalOrYesNothingIsWritten)
{
    const DoctorRun run = doctor({QStringLiteral("--json"), QStringLiteral("--fix")}, onMac(QStringLiteral("java-home-unset")));
    EXPECT_EQ(run.exitCode, 130);
    const QJsonObject fix = report(run).value("fix").toObject();
    EXPECT_EQ(fix.value("outcome").toString(), QStringLiteral("canceled"));
    EXPECT_TRUE(fix.value("verify").isNull());
    EXPECT_TRUE(run.err.contains("no: there is no terminal to answer on, so nothing is written")) << run.err.toStdString();
    // The question shows what the app's ~/.zprofile sheet shows.
    EXPECT_TRUE(run.err.contains("Set `JAVA_HOME` in `~/.zprofile`\nReview the change before we write it. Your current file is backed up to "
                                 "`~/.zprofile.bak`.\nCreating `~/.zprofile` (didn't exist before).\nBackup: `/Users/"))
        << run.err.toStdString();
}

TEST(Doctor, ListsTheSimulatedMacsAndRefusesUnknownOnes)
{
    const DoctorRun list = doctor({QStringLiteral("--list-fixtures")}, {});
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_EQ(list.out.count('\n'), 13); // live and twelve scenarios, a line each
    EXPECT_TRUE(list.out.contains("password-declined  "));

    const DoctorRun unknown = doctor({}, onMac(QStringLiteral("no-such-mac")));
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.startsWith("Unknown TARNWICK_FIXTURE “no-such-mac”.")) << unknown.err.toStdString();
}

TEST(Doctor, EveryStopSignalEndsTheRunCleanly)
{
    // Live services in a throw-away home; the sleep stands for whatever the doctor waits on at the
    // moment the signal comes: a login shell still reading ~/.zprofile, or a fix's `sdk install`.
    const QByteArray longChild = "sleep 300 & echo $! > \"$HOME/child.pid\"; wait";
    const struct {
        const char *name;
        const char *file; // relative to HOME
        QByteArray text;
    } phases[] = {
        {"diagnosing", ".zprofile", longChild + "\n"},
        {"fixing", ".sdkman/bin/sdkman-init.sh", "sdk() { " + longChild + "; }\n"},
    };
    quint16 closedPort = 0;
    {
        LocalHTTPServer server;
        closedPort = static_cast<quint16>(server.url(QStringLiteral("/")).port());
    }
    for (const auto &phase : phases) {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            SCOPED_TRACE(std::string(phase.name) + ", signal " + std::to_string(signal));
            QTemporaryDir home;
            QDir(home.path()).mkpath(QFileInfo(home.filePath(QString::fromLatin1(phase.file))).path());
            QFile file(home.filePath(QString::fromLatin1(phase.file)));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(phase.text);
            file.close();

            QProcess process;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.insert(QStringLiteral("TARNWICK_FIXTURE"), QStringLiteral("live"));
            env.insert(QStringLiteral("HOME"), home.path());
            env.insert(QStringLiteral("TARNWICK_ADOPTIUM_URL"), QStringLiteral("http://127.0.0.1:%1").arg(closedPort));
            process.setProcessEnvironment(env);
            process.setStandardInputFile(QProcess::nullDevice());
            process.start(QStringLiteral(DOCTOR_PATH), {QStringLiteral("--fix"), QStringLiteral("--yes")});
            QFile pidFile(home.filePath(QStringLiteral("child.pid")));
            pid_t child = 0;
            QElapsedTimer timer;
            timer.start();
            while (child == 0 && timer.elapsed() < 30000 && process.state() != QProcess::NotRunning) {
                process.waitForFinished(100);
                if (pidFile.open(QIODevice::ReadOnly)) {
                    child = pidFile.readAll().trimmed().toInt();
                    pidFile.close();
                }
            }
            ASSERT_GT(child, 0) << process.readAllStandardOutput().toStdString() << process.readAllStandardError().toStdString();
            timer.restart();
            ::kill(static_cast<pid_t>(process.processId()), signal);
            ASSERT_TRUE(process.waitForFinished(15000));
            EXPECT_LT(timer.elapsed(), 10000); // well within the login shell's own time limit
            EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
            EXPECT_EQ(process.exitCode(), 130);
            EXPECT_TRUE(process.readAllStandardOutput().contains("Canceled."));
            // The sleep was in a child's process group; give init a moment to reap it.
            bool gone = false;
            for (int i = 0; i < 50 && !gone; ++i) {
                QFile stat(QStringLiteral("/proc/%1/stat").arg(child));
                gone = ::kill(child, 0) != 0 || (stat.open(QIODevice::ReadOnly) && stat.readAll().contains(") Z "));
                if (!gone)
                    QThread::msleep(100);
            }
            EXPECT_TRUE(gone) << "pid " << child << " outlived the doctor";
            if (!gone)
                ::kill(child, SIGKILL);
        }
    }
}

TEST(Doctor, ASignalAtAQuestionAnswersNoAndEndsTheRun)
{
    // A real terminal to answer on, which nobody types into.
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(::grantpt(terminal), 0);
    ASSERT_EQ(::unlockpt(terminal), 0);
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("TARNWICK_FIXTURE"), QStringLiteral("java-home-unset"));
    env.insert(QStringLiteral("TARNWICK_FIXTURE_LINE_PAUSE_MS"), QStringLiteral("0"));
    process.setProcessEnvironment(env);
    process.setStandardInputFile(QString::fromLatin1(::ptsname(terminal)));
    process.start(QStringLiteral(DOCTOR_PATH), {QStringLiteral("--json"), QStringLiteral("--fix")});
    QByteArray err;
    QElapsedTimer timer;
    timer.start();
    while (!err.contains("[y/N]") && timer.elapsed() < 30000 && process.state() != QProcess::NotRunning) {
        process.waitForReadyRead(100);
        err += process.readAllStandardError();
    }
    ASSERT_TRUE(err.contains("Apply this change to ~/.zprofile? [y/N]")) << err.toStdString();
    ::kill(static_cast<pid_t>(process.processId()), SIGINT); // Ctrl-C
    const bool ended = process.waitForFinished(5000);
    if (!ended) {
        ::write(terminal, "y\n", 2); // what a later keystroke would have done
        process.waitForFinished(5000);
    }
    ::close(terminal);
    EXPECT_TRUE(ended) << "the question kept waiting after the signal";
    EXPECT_EQ(process.exitCode(), 130);
    const QJsonObject fix = report({process.exitCode(), process.readAllStandardOutput(), {}}).value("fix").toObject();
    EXPECT_EQ(fix.value("outcome").toString(), QStringLiteral("canceled"));
    EXPECT_FALSE(fix.value("lines").toVariant().toStringList().join(u'\n').contains(QStringLiteral("Updated ")));
}
