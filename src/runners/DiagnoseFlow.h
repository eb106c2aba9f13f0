#pragma once

#include "diagnosis/Diagnosis.h"
#include "diagnosis/Remediation.h"
#include "diagnosis/SystemProfiler.h"
#include "diagnosis/Verifier.h"
#include "services/AppServices.h"

#include <QUrl>

/// The diagnose flow's decisions, written once for both front ends: profile the Mac, diagnose it
/// and choose the fix, check a fix in a fresh shell, and after a passing install find the
/// JAVA_HOME fix that may follow. The diagnose screen calls it from a worker thread, the doctor
/// from its main thread; every call is synchronous, and may run on any thread at once. Each call
/// takes the run's cancel switch (or none); a cancelled call returns early with a result that is
/// only good for throwing away.
class DiagnoseFlow {
public:
    /// A diagnosis with the fix chosen for it: d1Remediation for D1_NoJDK, d2Remediation for
    /// D2_HomeUnset, neither otherwise.
    struct Diagnosed {
        Diagnosis diagnosis;
        std::optional<Remediation> d1Remediation;
        std::optional<Remediation> d2Remediation;

        /// Whichever of the two fixes is set.
        [[nodiscard]] std::optional<Remediation> remediation() const { return d1Remediation ? d1Remediation : d2Remediation; }
        friend bool operator==(const Diagnosed &, const Diagnosed &) = default;
    };

    /// After a passing install: the fresh profile, and the JAVA_HOME fix for the first JDK it
    /// lists, as a D2_HomeUnset diagnosis (nothing when no JDK is listed).
    struct JavaHomeFollowUp {
        SystemProfile profile;
        std::optional<Diagnosed> fix;
    };

    DiagnoseFlow(AppServices services, SystemProfiler::Platform platform, QUrl adoptiumBaseURL);

    [[nodiscard]] SystemProfile profile(ProcessCancellation *cancellation = nullptr) const;
    /// The diagnosis of `profile` and its fix; for D1 this asks Adoptium for the latest LTS.
    [[nodiscard]] Diagnosed diagnose(const SystemProfile &profile, ProcessCancellation *cancellation = nullptr) const;
    /// The diagnosis without any blocking call, so the UI thread may make it: every diagnosis but
    /// D1, and D1 too once its install's major (`knownLTSMajor`) is known; nothing otherwise.
    [[nodiscard]] std::optional<Diagnosed> diagnoseAtOnce(const SystemProfile &profile, std::optional<int> knownLTSMajor) const;
    /// Adoptium's latest LTS major, or the fall-back when it can't say.
    [[nodiscard]] int latestLTSMajor(ProcessCancellation *cancellation = nullptr) const;
    /// `java -version` and JAVA_HOME in a fresh login shell; judge it with VerifyVerdict.
    [[nodiscard]] Verifier::Result verify(ProcessCancellation *cancellation = nullptr) const;
    /// Profiles the Mac again, since the install changed it.
    [[nodiscard]] JavaHomeFollowUp javaHomeFollowUp(ProcessCancellation *cancellation = nullptr) const;

private:
    AppServices m_services;
    SystemProfiler::Platform m_platform;
    QUrl m_adoptiumBaseURL;
};
