#pragma once

#include "diagnosis/SystemProfiler.h"
#include "doctor/DoctorReport.h"
#include "runners/DiagnoseFlow.h"
#include "runners/FixSequence.h"

#include <QTextStream>

/// The terminal front end: profiles the Mac, prints the diagnosis and the audit, and with --fix
/// runs the recommended fix, checks it in a fresh shell, and offers the JAVA_HOME step after an
/// install. The same core as the app; no telemetry.
class Doctor {
public:
    struct Options {
        bool json = false; // one JSON object on stdout, progress on stderr
        bool fix = false;
        bool yes = false;  // answer yes to every question
    };
    struct Terminal {
        QTextStream &out;
        QTextStream &err;
        QTextStream &in;
        bool stdinIsTerminal = false;
        /// When set, answers are read from this descriptor instead of `in`, so that a question can
        /// stop waiting the moment the run is cancelled.
        int inFd = -1;
        bool stdoutIsTerminal = false;
    };
    enum ExitCode { verified = 0, notVerified = 1, canceled = 130 };

    Doctor(AppServices services, SystemProfiler::Platform platform, FixSequence::Configuration fixConfiguration, Options options,
           Terminal terminal);

    /// 0 when nothing is wrong (or the fix verified), 1 when something is (or the fix failed or
    /// did not verify), 130 when the run was cancelled: Ctrl-C, SIGTERM or SIGHUP at any moment
    /// stop whatever runs, let it clean up, and end the run.
    int run();

private:
    [[nodiscard]] DoctorFindings examine();
    /// A line typed on the terminal; nothing when the run was cancelled while waiting.
    std::optional<QString> readAnswer();
    FixRecord runFix(const Remediation &remediation);
    [[nodiscard]] int exitCodeAfter(const FixRecord &fix) const;
    bool ask(const QString &question);
    QTextStream &progress() { return m_options.json ? m_terminal.err : m_terminal.out; }

    AppServices m_services;
    DiagnoseFlow m_flow;
    FixSequence::Configuration m_fixConfiguration;
    Options m_options;
    Terminal m_terminal;
    /// The whole run's switch: profiling, the Adoptium look-up, the fix, the check and every
    /// question stop when it is flipped.
    ProcessCancellation m_cancellation;
    bool m_installOutlivedCancel = false; // a cancel came during a privileged install, which was let finish
};
