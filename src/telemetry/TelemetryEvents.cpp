#include "telemetry/TelemetryEvents.h"

#include "services/LineSplitter.h"

#include <QTextBoundaryFinder>

namespace TelemetryEvents {

namespace {

TelemetryEvent event(const char *name, JSONObject data = {})
{
    return TelemetryEvent {QString::fromLatin1(name), std::move(data)};
}

} // namespace

QString truncatedToCharacters(const QString &text, int limit)
{
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    for (qsizetype boundary = graphemes.toNextBoundary(); boundary >= 0; boundary = graphemes.toNextBoundary()) {
        if (++count == limit)
            return text.left(boundary);
    }
    return text;
}

std::pair<QString, QString> diagnosisCode(const Diagnosis &diagnosis)
{
    switch (diagnosis.kind()) {
    case Diagnosis::Kind::D1_NoJDK: return {diagnosis.code(), QStringLiteral("no JDK installed")};
    case Diagnosis::Kind::D2_HomeUnset: return {diagnosis.code(), QStringLiteral("JDK installed, JAVA_HOME unset")};
    case Diagnosis::Kind::noErrorsFound: return {diagnosis.code(), QStringLiteral("JDK installed, JAVA_HOME set")};
    case Diagnosis::Kind::unknown: return {diagnosis.code(), truncatedToCharacters(diagnosis.reason(), 120)};
    }
    Q_UNREACHABLE();
}

QString javaVersionExcerpt(const QString &output)
{
    const QStringList lines = splitLines(output, Qt::SkipEmptyParts);
    QString excerpt = lines.value(0);
    for (const QString &line : lines) {
        if (line.contains(QLatin1String("version \""))) {
            excerpt = line;
            break;
        }
    }
    return truncatedToCharacters(excerpt, 200);
}

JSONValue npsReason(const std::optional<QString> &typed)
{
    const QString trimmed = typed.value_or(QString()).trimmed();
    if (trimmed.isEmpty())
        return JSONValue::null();
    return truncatedToCharacters(trimmed, 500);
}

QString outcomeText(StageOutcome outcome)
{
    switch (outcome) {
    case StageOutcome::rendered: return QStringLiteral("rendered");
    case StageOutcome::skippedAlreadyOk: return QStringLiteral("skipped_already_ok");
    case StageOutcome::skippedMissingBlocked: return QStringLiteral("skipped_missing_blocked");
    }
    Q_UNREACHABLE();
}

TelemetryEvent appLaunched() { return event("app_launched"); }
TelemetryEvent consentGiven() { return event("consent_given"); }

TelemetryEvent diagnosisReached(const Diagnosis &diagnosis)
{
    const auto [code, summary] = diagnosisCode(diagnosis);
    return event("diagnosis_reached", {{QStringLiteral("diagnosis"), code}, {QStringLiteral("reason"), summary}});
}

TelemetryEvent remediationApplied(const Remediation &remediation)
{
    return event("remediation_applied", {{QStringLiteral("remediation_id"), remediation.id()},
                                         {QStringLiteral("method"), remediation.method()}});
}

TelemetryEvent remediationCompleted(const Remediation &remediation, int exitCode)
{
    return event("remediation_completed", {{QStringLiteral("remediation_id"), remediation.id()},
                                           {QStringLiteral("exit_code"), exitCode}});
}

TelemetryEvent remediationFailed(const Remediation &remediation, int exitCode, const QString &reason)
{
    return event("remediation_failed", {{QStringLiteral("remediation_id"), remediation.id()},
                                        {QStringLiteral("exit_code"), exitCode},
                                        {QStringLiteral("reason"), truncatedToCharacters(reason, 160)}});
}

TelemetryEvent remediationCanceled(const Remediation &remediation)
{
    return event("remediation_canceled", {{QStringLiteral("remediation_id"), remediation.id()}});
}

TelemetryEvent verifyPassed(const QString &javaVersionOutput)
{
    return event("verify_passed", {{QStringLiteral("java_version_excerpt"), javaVersionExcerpt(javaVersionOutput)}});
}

TelemetryEvent verifyFailed(int exitCode, const QString &javaVersionOutput)
{
    return event("verify_failed", {{QStringLiteral("exit_code"), exitCode},
                                   {QStringLiteral("java_version_excerpt"), javaVersionExcerpt(javaVersionOutput)}});
}

TelemetryEvent verifyOfferedR2(const Remediation &firstRemediation)
{
    return event("verify_offered_r2", {{QStringLiteral("r1_remediation_id"), firstRemediation.id()}});
}

TelemetryEvent auditReached(const SystemProfile &profile)
{
    const AITooling &ai = profile.aiTooling;
    const Terminals &terminals = profile.terminals;
    const int aiTools = ai.claudeCodeDesktop + ai.cursor + ai.codexDesktop + ai.vsCode + ai.windsurf + ai.kiro
        + ai.antigravity + ai.zed + ai.replit + ai.warpApp + ai.intellij + ai.claudeCodeCLI + ai.codexCLI + ai.aider;
    const int terminalApps = terminals.iterm + terminals.ghostty + terminals.warp + terminals.hyper + terminals.alacritty
        + terminals.kitty + terminals.wezterm;
    return event("audit_reached", {{QStringLiteral("ai_tool_count"), aiTools}, {QStringLiteral("terminal_count"), terminalApps}});
}

TelemetryEvent auditGated(const SystemProfile &profile)
{
    return event("audit_gated", {{QStringLiteral("likely_developer"), profile.likelyDeveloper()}});
}

TelemetryEvent auditStageOutcome(const QString &stageId, StageOutcome outcome)
{
    return event("audit_stage_outcome", {{QStringLiteral("stage_id"), stageId}, {QStringLiteral("outcome"), outcomeText(outcome)}});
}

TelemetryEvent auditStageSkippedByUser(const QString &stageId)
{
    return event("audit_stage_skipped_by_user", {{QStringLiteral("stage_id"), stageId}});
}

TelemetryEvent auditOutboundClicked(const QString &tool, const QString &url)
{
    return event("audit_outbound_clicked", {{QStringLiteral("tool"), tool}, {QStringLiteral("url"), url}});
}

TelemetryEvent npsSubmitted(int score, const std::optional<QString> &reason)
{
    return event("nps_submitted", {{QStringLiteral("score"), score}, {QStringLiteral("reason"), npsReason(reason)}});
}

TelemetryEvent npsShown() { return event("nps_shown"); }
TelemetryEvent npsDismissed() { return event("nps_dismissed"); }

} // namespace TelemetryEvents
