#include "services/JSONDecoding.h"

#include <QElapsedTimer>
#include <QProcess>

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

TEST(Doctor, DiagnosesFixesAndVerifiesEverySimulatedMac)
{
    const struct {
        const char *scenario;
        const char *code;
        const char *remediation; // empty: none
        const char *outcome;     // empty: no fix
        bool verified;           // the last verification passed
        int exitCode;
        QStringList lines; // among the fix's lines
    } cases[] = {
        {"new-mac", "D1_NoJDK", "pkg:25", "success", true, 0, {}},
        {"developer-no-java", "D1_NoJDK", "brew:temurin@25", "success", true, 0, {}},
        {"java-home-unset", "D2_HomeUnset", "zprofile:/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home", "success", true, 0, {}},
        {"healthy", "no_errors_found", "", "", false, 0, {}},
        {"sdkman", "D1_NoJDK", "sdkman:25-tem", "success", true, 0, {}},
        {"mise", "D1_NoJDK", "mise:temurin-25", "success", true, 0, {}},
        {"jenv", "D1_NoJDK", "pkg-jenv:25", "success", true, 0, {}},
        {"cursor-user-no-homebrew", "D1_NoJDK", "homebrew+brew:temurin@25", "success", true, 0, {}},
        {"broken-jvm-dir", "unknown", "", "", false, 1, {}},
        {"brew-sudo-bypass", "D1_NoJDK", "brew:temurin@25", "success", true, 0,
         {"Homebrew bypassed our sudo wrapper. Falling back to direct .pkg install…", "Looking up Temurin 25 (aarch64) on Adoptium…",
          "Installer completed."}},
        {"password-declined", "D1_NoJDK", "pkg:25", "canceled", false, 130, {}},
        {"adoptium-offline", "D1_NoJDK", "pkg:25", "failure", false, 1, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        const DoctorRun run = doctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")}, onMac(QString::fromLatin1(c.scenario)));
        EXPECT_EQ(run.exitCode, c.exitCode) << run.err.toStdString();
        EXPECT_TRUE(run.err.contains("simulated Mac (" + QByteArray(c.scenario) + ")")) << run.err.toStdString();
        const QJsonObject json = report(run);
        EXPECT_EQ(json.value("diagnosis").toObject().value("code").toString(), QString::fromLatin1(c.code));
        const QJsonValue remediation = json.value("remediation");
        EXPECT_EQ(remediation.isNull() ? QString() : remediation.toObject().value("id").toString(), QString::fromLatin1(c.remediation));
        QJsonValue fix = json.value("fix");
        if (!*c.outcome) {
            EXPECT_TRUE(fix.isNull());
            continue;
        }
        EXPECT_EQ(fix.toObject().value("outcome").toString(), QString::fromLatin1(c.outcome)) << run.err.toStdString();
        const QStringList lines = fix.toObject().value("lines").toVariant().toStringList();
        for (const QString &line : c.lines)
            EXPECT_TRUE(lines.contains(line)) << line.toStdString();
        while (fix.toObject().value("followUp").isObject()) // the JAVA_HOME step after an install
            fix = fix.toObject().value("followUp");
        const QJsonValue verify = fix.toObject().value("verify");
        EXPECT_EQ(verify.isObject() && verify.toObject().value("passed").toBool(), c.verified) << run.err.toStdString();
    }
    // Without --fix the exit code says whether anything needs fixing.
    for (const auto &[scenario, exitCode] : {std::pair {"healthy", 0}, std::pair {"new-mac", 1}})
        EXPECT_EQ(doctor({QStringLiteral("--json")}, onMac(QString::fromLatin1(scenario))).exitCode, exitCode) << scenario;
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
    EXPECT_EQ(list.out.count('\n'), 14); // live and thirteen scenarios, a line each
    EXPECT_TRUE(list.out.contains("password-declined  "));

    const DoctorRun unknown = doctor({}, onMac(QStringLiteral("no-such-mac")));
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.startsWith("Unknown TARNWICK_FIXTURE “no-such-mac”.")) << unknown.err.toStdString();
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
