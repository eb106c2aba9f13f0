#pragma once

#include "diagnosis/ProbeBundle.h"

/// What is wrong with the Mac's Java, decided from the probes alone.
class Diagnosis {
public:
    enum class Kind {
        D2_HomeUnset,  // a JDK is installed, JAVA_HOME is not set in the login shell
        unknown,       // could not be classified; the reason is shown as is
        D1_NoJDK,      // no JDK is installed
        noErrorsFound, // a JDK is installed and JAVA_HOME is set
    };

    static Diagnosis D2_HomeUnset(JDKInfo detectedJDK) { return Diagnosis(Kind::D2_HomeUnset, std::move(detectedJDK), {}); }
    static Diagnosis unknown(QString reason) { return Diagnosis(Kind::unknown, {}, std::move(reason)); }
    static Diagnosis D1_NoJDK() { return Diagnosis(Kind::D1_NoJDK, {}, {}); }
    static Diagnosis noErrorsFound() { return Diagnosis(Kind::noErrorsFound, {}, {}); }

    [[nodiscard]] Kind kind() const { return m_kind; }
    /// For D2_HomeUnset: the first JDK listed.
    [[nodiscard]] const JDKInfo &detectedJDK() const { return m_detectedJDK; }
    /// For unknown.
    [[nodiscard]] const QString &reason() const { return m_reason; }

    /// "Java is not installed" and so on: what the user reads first.
    [[nodiscard]] QString headline() const;
    /// The paragraph shown under the diagnosis headline.
    [[nodiscard]] QString explanation() const;
    /// "D1_NoJDK", "D2_HomeUnset", "no_errors_found" or "unknown": what telemetry and the
    /// doctor's JSON call it.
    [[nodiscard]] QString code() const;

    friend bool operator==(const Diagnosis &, const Diagnosis &) = default;

private:
    Diagnosis(Kind kind, JDKInfo jdk, QString reason) : m_kind(kind), m_detectedJDK(std::move(jdk)), m_reason(std::move(reason)) {}

    Kind m_kind;
    JDKInfo m_detectedJDK;
    QString m_reason;
};

/// The diagnosis rule. `whichJava` plays no part: a stock Mac has a `java` stub on its path.
[[nodiscard]] Diagnosis diagnose(const ProbeBundle &bundle);
