#include "runners/DiagnoseFlow.h"

#include "runners/AdoptiumAPI.h"

DiagnoseFlow::DiagnoseFlow(AppServices services, SystemProfiler::Platform platform, QUrl adoptiumBaseURL)
    : m_services(std::move(services)), m_platform(std::move(platform)), m_adoptiumBaseURL(std::move(adoptiumBaseURL))
{
}

SystemProfile DiagnoseFlow::profile(ProcessCancellation *cancellation) const
{
    return SystemProfiler(ShellRunner(m_services.processRunner), m_services.fs, m_platform).profile(cancellation);
}

DiagnoseFlow::Diagnosed DiagnoseFlow::diagnose(const SystemProfile &profile, ProcessCancellation *cancellation) const
{
    Diagnosed result {::diagnose(profile.javaState), std::nullopt, std::nullopt};
    switch (result.diagnosis.kind()) {
    case Diagnosis::Kind::D2_HomeUnset:
        result.d2Remediation = remediationForUnsetHome(result.diagnosis.detectedJDK(), profile);
        break;
    case Diagnosis::Kind::D1_NoJDK: {
        // Whatever went wrong, the user still gets an install to press; no retry, no message.
        int major = kFallbackTemurinMajor;
        try {
            major = AdoptiumAPI(m_services.http, m_adoptiumBaseURL).latestLTSMajor(cancellation);
        } catch (const Error &) {
        }
        result.d1Remediation = remediationForMissingJDK(major, profile);
        break;
    }
    case Diagnosis::Kind::noErrorsFound:
    case Diagnosis::Kind::unknown: break;
    }
    return result;
}

Verifier::Result DiagnoseFlow::verify(ProcessCancellation *cancellation) const
{
    return Verifier(ShellRunner(m_services.processRunner)).verify(cancellation);
}

DiagnoseFlow::JavaHomeFollowUp DiagnoseFlow::javaHomeFollowUp(ProcessCancellation *cancellation) const
{
    JavaHomeFollowUp followUp {profile(cancellation), std::nullopt};
    const QList<JDKInfo> &jdks = followUp.profile.javaState.installedJDKs;
    if (!jdks.isEmpty()) {
        followUp.fix = Diagnosed {Diagnosis::D2_HomeUnset(jdks.first()), std::nullopt,
                                  remediationForUnsetHome(jdks.first(), followUp.profile)};
    }
    return followUp;
}
