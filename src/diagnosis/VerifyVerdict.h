#pragma once

#include "diagnosis/Remediation.h"
#include "diagnosis/Verifier.h"

/// What a fix's check in a fresh shell means: pass or fail, and whether to offer the JAVA_HOME
/// step next. Both front ends show these texts.
struct VerifyVerdict {
    bool passed = false;
    /// After a passing install whose shell has no JAVA_HOME: true. After a passing JAVA_HOME fix,
    /// or an install whose shell has one: false. Not applicable (nothing) after a failure.
    std::optional<bool> offersJavaHome;
    QString headline;
    QString headlineIdentifier; // verify-result-pass or verify-result-fail
    QString detail;

    [[nodiscard]] static VerifyVerdict judge(const Remediation &remediation, const Verifier::Result &result);

    static constexpr const char *kOfferHeading = "Now point JAVA_HOME at the new Java";
    static constexpr const char *kOfferButton = "Set JAVA_HOME (recommended)";
    /// "(no output)" for empty output.
    [[nodiscard]] static QString shownOutput(const QString &javaVersionOutput);
    /// "(unset)" for an absent JAVA_HOME.
    [[nodiscard]] static QString shownJavaHome(const std::optional<QString> &javaHome);
};
