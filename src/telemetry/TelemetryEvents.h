#pragma once

#include "diagnosis/Diagnosis.h"
#include "diagnosis/Remediation.h"
#include "diagnosis/SystemProfile.h"
#include "telemetry/TelemetrySink.h"

/// How an audit stage ended for the flow.
enum class StageOutcome { rendered, skippedAlreadyOk, skippedMissingBlocked };

/// The catalogue of usage events: one builder per event, so that names, keys and value rules live
/// in one place. Emit with `sink.track(TelemetryEvents::appLaunched())`; the server rejects
/// anything that is not exactly this.
namespace TelemetryEvents {

TelemetryEvent appLaunched();
TelemetryEvent consentGiven();
TelemetryEvent diagnosisReached(const Diagnosis &diagnosis);
TelemetryEvent remediationApplied(const Remediation &remediation);
TelemetryEvent remediationCompleted(const Remediation &remediation, int exitCode);
TelemetryEvent remediationFailed(const Remediation &remediation, int exitCode, const QString &reason);
TelemetryEvent remediationCanceled(const Remediation &remediation);
TelemetryEvent verifyPassed(const QString &javaVersionOutput);
TelemetryEvent verifyFailed(int exitCode, const QString &javaVersionOutput);
TelemetryEvent verifyOfferedR2(const Remediation &firstRemediation);
TelemetryEvent auditReached(const SystemProfile &profile);
TelemetryEvent auditGated(const SystemProfile &profile);
TelemetryEvent auditStageOutcome(const QString &stageId, StageOutcome outcome);
TelemetryEvent auditStageSkippedByUser(const QString &stageId);
TelemetryEvent auditOutboundClicked(const QString &tool, const QString &url);
TelemetryEvent npsSubmitted(int score, const std::optional<QString> &reason);
TelemetryEvent npsShown();
TelemetryEvent npsDismissed();

// The rules behind the data, exposed so that they can be checked on their own.

/// (Diagnosis::code(), "no JDK installed") and so on; an unknown reason is cut to 120 characters.
std::pair<QString, QString> diagnosisCode(const Diagnosis &diagnosis);
/// The `version "` line of `java -version` output (else its first line), cut to 200 characters.
QString javaVersionExcerpt(const QString &output);
/// The typed reason trimmed, cut to 500 characters; null when nothing is left.
JSONValue npsReason(const std::optional<QString> &typed);
QString outcomeText(StageOutcome outcome);
/// The first `limit` user-perceived characters (grapheme clusters) of `text`.
QString truncatedToCharacters(const QString &text, int limit);

} // namespace TelemetryEvents
