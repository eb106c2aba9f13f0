#pragma once

#include "diagnosis/Diagnosis.h"
#include "diagnosis/Remediation.h"
#include "diagnosis/SystemProfile.h"
#include "diagnosis/VerifyVerdict.h"
#include "runners/FixSequence.h"

#include <QJsonObject>
#include <QTextStream>

#include <memory>

/// One fix as it went: its outcome and lines, the check in a fresh shell, and the JAVA_HOME step
/// that may have followed.
struct FixRecord {
    Remediation remediation;
    FixSequence::Outcome outcome;
    QStringList lines;
    std::optional<Verifier::Result> verify;
    std::shared_ptr<FixRecord> followUp;
};

/// What the doctor found and did.
struct DoctorFindings {
    SystemProfile profile;
    Diagnosis diagnosis = Diagnosis::noErrorsFound();
    std::optional<Remediation> remediation;
    std::optional<FixRecord> fix;
};

/// The doctor's two ways of saying it: readable text, and one JSON object for scripts.
namespace DoctorReport {

/// ✓/✗/→ marks; ANSI colours when `colour` is set.
void printFindings(QTextStream &out, const DoctorFindings &findings, bool colour);
void printVerdict(QTextStream &out, const Verifier::Result &result, const VerifyVerdict &verdict, bool colour);
[[nodiscard]] QJsonObject toJson(const DoctorFindings &findings);
/// The profile's fields by name (optional paths are null when absent), and likelyDeveloper.
/// The key `homebrewPrefix` holds `brewExecutable`, the `brew` the fixes use (the key is older
/// than the field's name); `intelHomebrewOnAppleSilicon` is an Intel Homebrew's `brew` found in
/// /usr/local on Apple silicon, reported but never used.
[[nodiscard]] QJsonObject profileJson(const SystemProfile &profile);
/// What the reader should know beyond the diagnosis: a login shell that never answered, say.
[[nodiscard]] QStringList notes(const SystemProfile &profile);

} // namespace DoctorReport
