#include "runners/DiagnoseFlow.h"

#include "runners/AdoptiumAPI.h"

DiagnoseFlow::DiagnoseFlow(AppServices services, SystemProfiler::Platform platform, QUrl adoptiumBaseURL)
    : m_services(std::move(services)), m_platform(std::move(platform)), m_adoptiumBaseURL(std::move(adoptiumBaseURL))
{
}

SystemProfile DiagnoseFlow::profile(ProcessCancellation *cancellation) const
{
    return SystemProfiler(ProgramRunner(m_services.processRunner), m_services.fs, m_platform).profile(cancellation);
}

DiagnoseFlow::Diagnosed DiagnoseFlow::diagnose(const SystemProfile &profile, ProcessCancellation *cancellation) const
{
    if (std::optional<Diagnosed> diagnosed = diagnoseAtOnce(profile, std::nullopt))
        return *diagnosed;
    return *diagnoseAtOnce(profile, latestLTSMajor(cancellation));
}

std::optional<DiagnoseFlow::Diagnosed> DiagnoseFlow::diagnoseAtOnce(const SystemProfile &profile, std::optional<int> knownLTSMajor) const
{
    Diagnosed result {::diagnose(profile.javaState), std::nullopt, std::nullopt};
    switch (result.diagnosis.kind()) {
    case Diagnosis::Kind::D2_HomeUnset:
        result.d2Remediation = remediationForUnsetHome(result.diagnosis.detectedJDK(), profile);
        break;
    case Diagnosis::Kind::D1_NoJDK:
        if (!knownLTSMajor)
            return std::nullopt;
        result.d1Remediation = remediationForMissingJDK(*knownLTSMajor, profile);
        break;
    case Diagnosis::Kind::noErrorsFound:
    case Diagnosis::Kind::unknown: break;
    }
    return result;
}

int DiagnoseFlow::latestLTSMajor(ProcessCancellation *cancellation) const
{
    // Whatever went wrong, the user still gets an install to press; no retry, no message.
    try {
        return AdoptiumAPI(m_services.http, m_adoptiumBaseURL).latestLTSMajor(cancellation);
    } catch (const Error &) {
        return kFallbackTemurinMajor;
    }
}

Verifier::Result DiagnoseFlow::verify(ProcessCancellation *cancellation) const
{
    return Verifier(ProgramRunner(m_services.processRunner)).verify(cancellation);
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
