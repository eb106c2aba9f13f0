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
        // Free text is cut to what the backend keeps: 120, 160 and 200 characters.
        {TE::diagnosisReached(Diagnosis::unknown(QString(300, u'r'))), {"diagnosis_reached", {{"diagnosis", "unknown"}, {"reason", QString(120, u'r')}}}},
        {TE::diagnosisReached(Diagnosis::D2_HomeUnset({"21", "Eclipse Adoptium", "arm64", "/x"})),
         {"diagnosis_reached", {{"diagnosis", "D2_HomeUnset"}, {"reason", "JDK installed, JAVA_HOME unset"}}}},
        {TE::diagnosisReached(Diagnosis::noErrorsFound()), {"diagnosis_reached", {{"diagnosis", "no_errors_found"}, {"reason", "JDK installed, JAVA_HOME set"}}}},
        {TE::diagnosisReached(Diagnosis::D1_NoJDK()), {"diagnosis_reached", {{"diagnosis", "D1_NoJDK"}, {"reason", "no JDK installed"}}}},
        {TE::remediationFailed(Remediation::installViaPKG(21), 1, QString(200, u'f')),
         {"remediation_failed", {{"remediation_id", "pkg:21"}, {"exit_code", 1}, {"reason", QString(160, u'f')}}}},
        {TE::verifyFailed(127, QStringLiteral("Picked up JAVA_TOOL_OPTIONS: -Xmx2g\nopenjdk version \"21.0.2\" 2024-01-16\nOpenJDK Runtime\n")),
         {"verify_failed", {{"exit_code", 127}, {"java_version_excerpt", "openjdk version \"21.0.2\" 2024-01-16"}}}},
        {TE::verifyFailed(1, QStringLiteral("\n\nUnable to locate a Java Runtime.\nPlease visit java.com\n")),
         {"verify_failed", {{"exit_code", 1}, {"java_version_excerpt", "Unable to locate a Java Runtime."}}}},
        {TE::verifyFailed(0, QString(300, u'9')), {"verify_failed", {{"exit_code", 0}, {"java_version_excerpt", QString(200, u'9')}}}},
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
