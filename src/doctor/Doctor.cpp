#include "doctor/Doctor.h"

#include "diagnosis/Verifier.h"
#include "diagnosis/VerifyVerdict.h"
#include "doctor/InterruptCanceller.h"
#include "doctor/TerminalFrontEnd.h"
#include "runners/AdoptiumAPI.h"

#include <QJsonDocument>

Doctor::Doctor(AppServices services, SystemProfiler::Platform platform, FixSequence::Configuration fixConfiguration, Options options,
               Terminal terminal)
    : m_services(std::move(services))
    , m_platform(std::move(platform))
    , m_fixConfiguration(std::move(fixConfiguration))
    , m_options(options)
    , m_terminal(terminal)
{
}

SystemProfile Doctor::profile() const
{
    return SystemProfiler(ShellRunner(m_services.processRunner), m_services.fs, m_platform).profile();
}

DoctorFindings Doctor::examine() const
{
    DoctorFindings findings;
    findings.profile = profile();
    findings.diagnosis = diagnose(findings.profile.javaState);
    if (findings.diagnosis.kind() == Diagnosis::Kind::D2_HomeUnset) {
        findings.remediation = remediationForUnsetHome(findings.diagnosis.detectedJDK(), findings.profile);
    } else if (findings.diagnosis.kind() == Diagnosis::Kind::D1_NoJDK) {
        int lts = 25; // what the app offers when Adoptium can't be asked
        try {
            lts = AdoptiumAPI(m_services.http, m_fixConfiguration.adoptiumBaseURL).latestLTSMajor();
        } catch (const Error &) {
        }
        findings.remediation = remediationForMissingJDK(lts, findings.profile);
    }
    return findings;
}

bool Doctor::ask(const QString &question)
{
    QTextStream &out = progress();
    if (m_options.yes) {
        out << question << " yes (--yes)\n";
        out.flush();
        return true;
    }
    if (!m_terminal.stdinIsTerminal) {
        out << question << " no: there is no terminal to answer on, so nothing is written. Run with --yes to accept.\n";
        out.flush();
        return false;
    }
    out << question << " [y/N] ";
    out.flush();
    const QString answer = m_terminal.in.readLine().trimmed().toLower();
    return answer == QLatin1String("y") || answer == QLatin1String("yes");
}

FixRecord Doctor::runFix(const Remediation &remediation)
{
    QTextStream &out = progress();
    out << "\n== " << FixSequence::title(remediation) << '\n';
    if (const QString explainer = FixSequence::explainer(remediation); !explainer.isEmpty())
        out << explainer << '\n';
    out.flush();

    TerminalFrontEnd frontEnd(out, !m_options.json && m_terminal.stdoutIsTerminal, [this](const QString &question) { return ask(question); });
    CancellableProcess cancellation;
    FixRecord record {remediation, FixSequence::Outcome::canceled(), {}, std::nullopt, nullptr};
    {
        const InterruptCanceller ctrlC(cancellation);
        record.outcome = FixSequence(m_services, m_fixConfiguration, nullptr).run(remediation, cancellation, frontEnd);
    }
    record.lines = frontEnd.lines();
    switch (record.outcome.kind) {
    case FixSequence::Outcome::Kind::canceled: out << "Canceled.\n"; break;
    case FixSequence::Outcome::Kind::failure: out << record.outcome.message << '\n'; break;
    case FixSequence::Outcome::Kind::success: out << record.outcome.message << '\n'; break;
    }
    out.flush();
    if (record.outcome.kind != FixSequence::Outcome::Kind::success || remediation.needsNoJavaCheck())
        return record;

    out << "\nVerifying… Re-running `java -version` in a fresh login shell to confirm the fix took.\n";
    out.flush();
    record.verify = Verifier(ShellRunner(m_services.processRunner)).verify();
    DoctorReport::printVerdict(out, *record.verify, VerifyVerdict::judge(remediation, *record.verify),
                               !m_options.json && m_terminal.stdoutIsTerminal);
    return record;
}

int Doctor::exitCodeAfter(const FixRecord &fix) const
{
    if (fix.followUp)
        return exitCodeAfter(*fix.followUp);
    switch (fix.outcome.kind) {
    case FixSequence::Outcome::Kind::canceled: return canceled;
    case FixSequence::Outcome::Kind::failure: return notVerified;
    case FixSequence::Outcome::Kind::success: break;
    }
    if (!fix.verify)
        return verified; // Warp or Homebrew: nothing about Java to check
    return VerifyVerdict::judge(fix.remediation, *fix.verify).passed ? verified : notVerified;
}

int Doctor::run()
{
    DoctorFindings findings = examine();
    const bool colour = !m_options.json && m_terminal.stdoutIsTerminal;
    if (!m_options.json)
        DoctorReport::printFindings(m_terminal.out, findings, colour);

    int exitCode = findings.diagnosis.kind() == Diagnosis::Kind::noErrorsFound ? verified : notVerified;
    if (m_options.fix && findings.remediation) {
        FixRecord fix = runFix(*findings.remediation);
        const std::optional<VerifyVerdict> verdict =
            fix.verify ? std::optional(VerifyVerdict::judge(fix.remediation, *fix.verify)) : std::nullopt;
        if (verdict && verdict->offersJavaHome.value_or(false)) {
            progress() << '\n' << VerifyVerdict::kOfferHeading << '\n';
            if (ask(QString::fromLatin1(VerifyVerdict::kOfferButton) + QLatin1Char('?'))) {
                const SystemProfile fresh = profile();
                if (fresh.javaState.installedJDKs.isEmpty()) {
                    progress() << "No JDK is listed any more; nothing to point JAVA_HOME at.\n";
                } else {
                    const Remediation second = remediationForUnsetHome(fresh.javaState.installedJDKs.first(), fresh);
                    fix.followUp = std::make_shared<FixRecord>(runFix(second));
                }
            }
        }
        exitCode = exitCodeAfter(fix);
        findings.fix = fix;
    } else if (m_options.fix) {
        progress() << "\nNothing to fix" << (exitCode == verified ? QStringLiteral(".") : QStringLiteral(" automatically; see the explanation above."))
                   << '\n';
    }
    if (m_options.json) {
        m_terminal.out << QJsonDocument(DoctorReport::toJson(findings)).toJson(QJsonDocument::Indented);
        m_terminal.out.flush();
    }
    progress().flush();
    return exitCode;
}
