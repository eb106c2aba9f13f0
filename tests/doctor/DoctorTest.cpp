#include "services/JSONDecoding.h"

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

// The doctor's environment: a simulated Mac unless `scenario` is null, whose programs do not pause.
QProcessEnvironment environmentFor(const char *scenario)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("TARNWICK_FIXTURE_LINE_PAUSE_MS"), QStringLiteral("0"));
    if (scenario)
        env.insert(QStringLiteral("TARNWICK_FIXTURE"), QString::fromUtf8(scenario));
    return env;
}

DoctorRun doctor(const QStringList &arguments, const char *scenario)
{
    QProcess process;
    process.setProcessEnvironment(environmentFor(scenario));
    process.setStandardInputFile(QProcess::nullDevice()); // no terminal to answer on
    process.start(QStringLiteral(DOCTOR_PATH), arguments);
    EXPECT_TRUE(process.waitForFinished(60000)) << arguments.join(u' ').toStdString();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

QJsonObject reportOf(const DoctorRun &run)
{
    // stdout holds the JSON and nothing else: parsing the whole of it must succeed.
    try {
        return json::parse(run.out).object();
    } catch (const DecodingError &error) {
        ADD_FAILURE() << error.message().toStdString() << "\n" << run.out.toStdString();
        return {};
    }
}


} // namespace

// The app's tests walk every simulated Mac and the e2e cases reach the ends of a fix; these are
// the ends only the doctor's exit code tells, and the report's agreed shape.
TEST(Doctor, DiagnosesFixesAndVerifiesAndSaysHowItEndedInTheAgreedShape)
{
    const struct {
        const char *scenario, *code, *remediation, *outcome; // remediation, outcome: empty for none
        bool verified;                                      // the last verification passed
        int exitCode;
    } cases[] = {
        {"developer-no-java", "D1_NoJDK", "brew:temurin@25", "success", true, 0},
        {"healthy", "no_errors_found", "", "", false, 0},
        {"broken-jvm-dir", "unknown", "", "", false, 1},
    };
    QJsonObject json;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.scenario);
        const DoctorRun run = doctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")}, c.scenario);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.err.toStdString();
        EXPECT_TRUE(run.err.contains("simulated Mac (" + QByteArray(c.scenario) + ")")) << run.err.toStdString();
        const QJsonObject report = reportOf(run);
        json = json.isEmpty() ? report : json;
        EXPECT_EQ(report.value("diagnosis").toObject().value("code").toString(), QString::fromLatin1(c.code));
        EXPECT_EQ(report.value("remediation").toObject().value("id").toString(), QString::fromLatin1(c.remediation));
        QJsonObject fix = report.value("fix").toObject();
        EXPECT_EQ(fix.value("outcome").toString(), QString::fromLatin1(c.outcome)) << run.err.toStdString();
        while (fix.value("followUp").isObject()) // the JAVA_HOME step after an install
            fix = fix.value("followUp").toObject();
        EXPECT_EQ(fix.value("verify").toObject().value("passed").toBool(), c.verified) << run.err.toStdString();
    }
    // Without --fix the exit code says whether anything needs fixing.
    EXPECT_EQ(doctor({QStringLiteral("--json")}, "new-mac").exitCode, 1);

    const QJsonObject profile = json.value("profile").toObject();
    const QJsonObject fix = json.value("fix").toObject();
    const std::pair<QStringList, QStringList> shapes[] = {
        {json.keys(), {"audit", "diagnosis", "fix", "notes", "profile", "remediation"}},
        {profile.keys(), {"aiTooling", "architecture", "asdfRoot", "homebrewPrefix", "intelHomebrewOnAppleSilicon", "javaState", "jenvRoot",
                          "likelyDeveloper", "macosVersion", "miseExecutable", "sdkmanRoot", "shell", "shellName", "terminals", "xcodeCommandLineToolsPath"}},
        {profile.value("javaState").toObject().keys(), {"installedJDKs", "javaHomeInActiveShell", "jvmDirContents", "loginShellTimedOut", "whichJava"}},
        {json.value("diagnosis").toObject().keys(), {"code", "explanation", "headline"}},
        {json.value("remediation").toObject().keys(), {"explainer", "id", "method", "title"}},
        {fix.keys(), {"followUp", "lines", "message", "outcome", "verify"}},
        {fix.value("verify").toObject().keys(), {"javaHomeValue", "javaVersionExitCode", "javaVersionOutput", "loginShellTimedOut", "offersJavaHome", "passed"}},
    };
    for (const auto &[keys, expected] : shapes)
        EXPECT_EQ(keys, expected);
    EXPECT_EQ(profile.value("architecture").toString(), QStringLiteral("appleSilicon"));
    EXPECT_TRUE(profile.value("macosVersion").toObject().value("major").isDouble());
    EXPECT_EQ(profile.value("homebrewPrefix").toString(), QStringLiteral("/opt/homebrew/bin/brew"));
    EXPECT_TRUE(profile.value("asdfRoot").isNull());
    EXPECT_EQ(profile.value("aiTooling").toObject().size(), 14);
    EXPECT_EQ(profile.value("terminals").toObject().size(), 7);
    EXPECT_EQ(json.value("diagnosis").toObject().value("headline").toString(), QStringLiteral("Java is not installed"));
    EXPECT_EQ(json.value("remediation").toObject().value("method").toString(), QStringLiteral("brew"));
    EXPECT_TRUE(json.value("audit").toObject().value("stage_1_foundations").toObject().value("alreadyOk").isBool());
    EXPECT_TRUE(fix.value("verify").toObject().value("javaVersionExitCode").isDouble());
}

TEST(Doctor, ListsTheSimulatedMacsAndRefusesUnknownOnes)
{
    const DoctorRun list = doctor({QStringLiteral("--list-fixtures")}, nullptr);
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_EQ(list.out.count('\n'), 14); // live and thirteen scenarios, a line each
    EXPECT_TRUE(list.out.contains("password-declined  "));
    for (const char *unknown : {"no-such-mac", "New-Mac"}) {
        const DoctorRun run = doctor({}, unknown);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_TRUE(run.err.startsWith("Unknown TARNWICK_FIXTURE “" + QByteArray(unknown) + "”.")) << run.err.toStdString();
    }
}

TEST(Doctor, ASignalAtAQuestionAnswersNoAndEndsTheRun)
{
    // A real terminal to answer on, which nobody types into.
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    QProcess process;
    process.setProcessEnvironment(environmentFor("java-home-unset"));
    process.setStandardInputFile(QString::fromLatin1(::ptsname(terminal)));
    process.start(QStringLiteral(DOCTOR_PATH), {QStringLiteral("--json"), QStringLiteral("--fix")});
    process.setReadChannel(QProcess::StandardError);
    QByteArray err;
    while (!err.contains("[y/N]") && process.waitForReadyRead(30000))
        err += process.readAllStandardError();
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
    const QJsonObject fix = reportOf({process.exitCode(), process.readAllStandardOutput(), {}}).value("fix").toObject();
    EXPECT_EQ(fix.value("outcome").toString(), QStringLiteral("canceled"));
    EXPECT_FALSE(fix.value("lines").toVariant().toStringList().join(u'\n').contains(QStringLiteral("Updated ")));
}
