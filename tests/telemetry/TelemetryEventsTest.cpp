#include "simulated/InMemoryKeyValueStore.h"
#include "telemetry/SessionID.h"
#include "telemetry/TelemetryEvents.h"

#include <gtest/gtest.h>

namespace TE = TelemetryEvents;

TEST(SessionID, IsMadeOnceAndKeptCanonical)
{
    auto store = std::make_shared<InMemoryKeyValueStore>();
    const QString key = QStringLiteral("ferrowood.tarnwick.session_id");
    const QUuid first = SessionID(store).identity();
    EXPECT_EQ(store->stringValue(key), SessionID::canonicalText(first).toUpper());
    EXPECT_EQ(SessionID(store).identity(), first);
    // Unusable text is replaced; lower case is still the same identity.
    for (const char *stored : {"not-a-uuid", "{6F9619FF-8B86-D011-B42D-00C04FC964FF}", "", "6f9619ff-8b86-d011-b42d-00c04fc964ff"}) {
        store->setString(key, QString::fromLatin1(stored));
        const QUuid identity = SessionID(store).identity();
        EXPECT_FALSE(identity.isNull()) << stored;
        const QString expected = stored[0] == '6' ? QString::fromLatin1(stored).toUpper() : store->stringValue(key).value_or(QString());
        EXPECT_EQ(SessionID::canonicalText(identity), expected) << stored;
    }
}

TEST(TelemetryEvents, DiagnosisCodesAndSummaries)
{
    EXPECT_EQ(TE::diagnosisCode(Diagnosis::D2_HomeUnset({"21.0.2", "Eclipse Adoptium", "arm64", "/x"})),
              std::pair(QStringLiteral("D2_HomeUnset"), QStringLiteral("JDK installed, JAVA_HOME unset")));
    EXPECT_EQ(TE::diagnosisCode(Diagnosis::noErrorsFound()), std::pair(QStringLiteral("no_errors_found"), QStringLiteral("JDK installed, JAVA_HOME set")));
    const QString exactly120(120, QLatin1Char('r'));
    EXPECT_EQ(TE::diagnosisCode(Diagnosis::unknown(exactly120)).second, exactly120);
    EXPECT_EQ(TE::diagnosisCode(Diagnosis::unknown(QString(300, QLatin1Char('r')))).second, exactly120);
    EXPECT_EQ(TE::diagnosisReached(Diagnosis::D1_NoJDK()), (TelemetryEvent {"diagnosis_reached", {{"diagnosis", "D1_NoJDK"}, {"reason", "no JDK installed"}}}));
}

TEST(TelemetryEvents, CutsTextByWhatTheUserSeesAsCharacters)
{
    const QString eAcute = QStringLiteral("e\u0301");       // two code points, one character
    const QString family = QStringLiteral("👨‍👩‍👧");      // seven code points, one character
    const struct {
        QString text;
        int limit;
        QString expected;
    } cases[] = {
        {QStringLiteral("abcdef"), 3, QStringLiteral("abc")},
        {eAcute.repeated(5), 3, eAcute.repeated(3)},
        {family.repeated(4), 2, family.repeated(2)},
        {QStringLiteral("short"), 10, QStringLiteral("short")},
        {QString(), 5, QString()},
    };
    for (const auto &c : cases)
        EXPECT_EQ(TE::truncatedToCharacters(c.text, c.limit), c.expected) << c.text.toStdString();

    EXPECT_EQ(TE::npsReason(QString(600, QLatin1Char('x'))), JSONValue(QString(500, QLatin1Char('x'))));
    EXPECT_EQ(TE::npsReason(family.repeated(501)), JSONValue(family.repeated(500)));
    EXPECT_EQ(TE::npsReason(QStringLiteral(" \n\t ")), JSONValue::null());
    EXPECT_EQ(TE::npsReason(std::nullopt), JSONValue::null());
    EXPECT_EQ(TE::npsReason(QStringLiteral("  Quick fix!\n")), JSONValue("Quick fix!"));
    EXPECT_EQ(TE::remediationFailed(Remediation::installViaPKG(21), 1, QString(200, QLatin1Char('f'))).data.value("reason"),
              JSONValue(QString(160, QLatin1Char('f'))));
}

TEST(TelemetryEvents, JavaVersionExcerpt)
{
    EXPECT_EQ(TE::javaVersionExcerpt(QStringLiteral("Picked up JAVA_TOOL_OPTIONS: -Xmx2g\nopenjdk version \"21.0.2\" 2024-01-16\nOpenJDK Runtime\n")),
              QStringLiteral("openjdk version \"21.0.2\" 2024-01-16"));
    EXPECT_EQ(TE::javaVersionExcerpt(QStringLiteral("\n\nUnable to locate a Java Runtime.\nPlease visit java.com\n")), QStringLiteral("Unable to locate a Java Runtime."));
    EXPECT_EQ(TE::javaVersionExcerpt(QString()), QString());
    EXPECT_EQ(TE::javaVersionExcerpt(QStringLiteral("java version \"") + QString(300, QLatin1Char('9'))).size(), 200);
}

TEST(TelemetryEvents, CatalogueShapes)
{
    SystemProfile profile;
    profile.aiTooling.cursor = profile.aiTooling.aider = true;
    profile.terminals.ghostty = true;
    const Remediation warp = Remediation::installWarpViaBrew(QStringLiteral("warp"));
    const struct {
        TelemetryEvent event;
        TelemetryEvent expected;
    } cases[] = {
        {TE::appLaunched(), {"app_launched", {}}},
        {TE::remediationApplied(warp), {"remediation_applied", {{"remediation_id", "brew:warp"}, {"method", "brew"}}}},
        {TE::remediationCompleted(warp, 0), {"remediation_completed", {{"remediation_id", "brew:warp"}, {"exit_code", 0}}}},
        {TE::verifyFailed(127, QStringLiteral("zsh:1: command not found: java")),
         {"verify_failed", {{"exit_code", 127}, {"java_version_excerpt", "zsh:1: command not found: java"}}}},
        {TE::verifyOfferedR2(Remediation::installViaPKG(25)), {"verify_offered_r2", {{"r1_remediation_id", "pkg:25"}}}},
        {TE::auditReached(profile), {"audit_reached", {{"ai_tool_count", 2}, {"terminal_count", 1}}}},
        {TE::auditGated(profile), {"audit_gated", {{"likely_developer", true}}}},
        {TE::auditStageOutcome(QStringLiteral("stage_1_foundations"), StageOutcome::skippedMissingBlocked),
         {"audit_stage_outcome", {{"stage_id", "stage_1_foundations"}, {"outcome", "skipped_missing_blocked"}}}},
        {TE::npsSubmitted(9, std::nullopt), {"nps_submitted", {{"score", 9}, {"reason", JSONValue::null()}}}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.event, c.expected) << c.expected.name.toStdString();
}
