#include "doctor/Doctor.h"

#include "diagnosis/VerifyVerdict.h"
#include "doctor/InterruptCanceller.h"
#include "doctor/TerminalFrontEnd.h"
#include "doctor/TerminalText.h"

#include <QJsonDocument>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

Doctor::Doctor(AppServices services, SystemProfiler::Platform platform, FixSequence::Configuration fixConfiguration, Options options,
               Terminal terminal)
    : m_services(services)
    , m_flow(std::move(services), std::move(platform), fixConfiguration.adoptiumBaseURL)
    , m_fixConfiguration(std::move(fixConfiguration))
    , m_options(options)
    , m_terminal(terminal)
{
}

DoctorFindings Doctor::examine()
{
    DoctorFindings findings;
    findings.profile = m_flow.profile(&m_cancellation);
    const DiagnoseFlow::Diagnosed diagnosed = m_flow.diagnose(findings.profile, &m_cancellation);
    findings.diagnosis = diagnosed.diagnosis;
    findings.remediation = diagnosed.remediation();
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
    if (m_cancellation.isCanceled())
        return false;
    out << question << " [y/N] ";
    out.flush();
    const std::optional<QString> typed = readAnswer();
    if (!typed) {
        out << '\n'; // a cancel answers no, on a line of its own
        out.flush();
        return false;
    }
    const QString answer = typed->trimmed().toLower();
    return answer == QLatin1String("y") || answer == QLatin1String("yes");
}

std::optional<QString> Doctor::readAnswer()
{
    if (m_terminal.inFd < 0) {
        QString line = m_terminal.in.readLine();
        return m_cancellation.isCanceled() ? std::nullopt : std::optional(line);
    }
    // Wait for the terminal and for a cancel at once: a signal must not leave us reading.
    int wake[2];
    if (::pipe(wake) != 0)
        return std::nullopt;
    const int wakeWrite = wake[1];
    std::optional<QString> answer;
    if (m_cancellation.arm([wakeWrite] {
            const char byte = 'c';
            [[maybe_unused]] auto written = ::write(wakeWrite, &byte, 1);
        })) {
        QByteArray typed;
        for (;;) {
            pollfd fds[2] = {{m_terminal.inFd, POLLIN, 0}, {wake[0], POLLIN, 0}};
            if (::poll(fds, 2, -1) < 0) {
                if (errno == EINTR)
                    continue;
                break;
            }
            if (fds[1].revents != 0)
                break;
            char byte = 0;
            const ssize_t got = ::read(m_terminal.inFd, &byte, 1);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0 || byte == '\n') { // end of input answers what was typed so far
                answer = QString::fromUtf8(typed);
                break;
            }
            typed.append(byte);
        }
        m_cancellation.disarm();
    }
    ::close(wake[0]);
    ::close(wake[1]);
    if (m_cancellation.isCanceled())
        return std::nullopt;
    return answer;
}

FixRecord Doctor::runFix(const Remediation &remediation)
{
    QTextStream &out = progress();
    out << "\n== " << remediation.progressTitle() << '\n';
    if (const QString explainer = remediation.progressExplainer(); !explainer.isEmpty())
        out << explainer << '\n';
    out.flush();

    TerminalFrontEnd frontEnd(out, !m_options.json && m_terminal.stdoutIsTerminal, [this](const QString &question) { return ask(question); });
    FixRecord record {remediation, FixSequence::Outcome::canceled(), {}, std::nullopt, nullptr};
    record.outcome = FixSequence(m_services, m_fixConfiguration, nullptr).run(remediation, m_cancellation, frontEnd);
    // Whatever the last step said, the run was stopped; unless it was an install that cannot be
    // stopped safely, which was let finish: then how it ended is checked and reported.
    m_installOutlivedCancel = frontEnd.installOutlivedCancel();
    if (m_cancellation.isCanceled() && !m_installOutlivedCancel)
        record.outcome = FixSequence::Outcome::canceled();
    record.lines = frontEnd.lines();
    switch (record.outcome.kind) {
    case FixSequence::Outcome::Kind::canceled: out << "Canceled.\n"; break;
    case FixSequence::Outcome::Kind::failure: out << visibleText(record.outcome.message) << '\n'; break;
    case FixSequence::Outcome::Kind::success: out << visibleText(record.outcome.message) << '\n'; break;
    }
    out.flush();
    if (record.outcome.kind != FixSequence::Outcome::Kind::success || remediation.needsNoJavaCheck())
        return record;

    out << "\nVerifying… Re-running `java -version` in a fresh login shell to confirm the fix took.\n";
    out.flush();
    ProcessCancellation afterInstall; // the run's own switch is spent once the install outlived it
    ProcessCancellation &verifying = m_installOutlivedCancel ? afterInstall : m_cancellation;
    const Verifier::Result verified = m_flow.verify(&verifying);
    if (verifying.isCanceled()) {
        out << "Canceled.\n";
        out.flush();
        return record; // half a check proves nothing: none is reported
    }
    record.verify = verified;
    DoctorReport::printVerdict(out, *record.verify, VerifyVerdict::judge(remediation, *record.verify),
                               !m_options.json && m_terminal.stdoutIsTerminal);
    return record;
}

int Doctor::exitCodeAfter(const FixRecord &fix) const
{
    if (m_cancellation.isCanceled() && !m_installOutlivedCancel)
        return canceled;
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
    const InterruptCanceller stopRequests(m_cancellation);
    DoctorFindings findings = examine();
    if (m_cancellation.isCanceled()) {
        // A profile cut short would make a wrong diagnosis: say nothing about this Mac.
        progress() << "Canceled.\n";
        progress().flush();
        return canceled;
    }
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
                const DiagnoseFlow::JavaHomeFollowUp followUp = m_flow.javaHomeFollowUp(&m_cancellation);
                if (!followUp.fix) {
                    progress() << "No JDK is listed any more; nothing to point JAVA_HOME at.\n";
                } else {
                    fix.followUp = std::make_shared<FixRecord>(runFix(*followUp.fix->d2Remediation));
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
