#pragma once

#include "MappedProcessRunner.h"
#include "ScriptFolder.h"
#include "services/LiveProcessRunner.h"
#include "services/ProgramRunner.h"

/// Stand-in programs for tools that exist only on a Mac, run for real by the live process runner
/// in place of the absolute paths the code uses.
class StandIns {
public:
    /// `macPath` runs a /bin/sh script with this body from now on.
    void add(const QString &macPath, const QByteArray &body) { m_runner->map(macPath, m_scripts.write(QString::number(++m_count), body)); }
    /// `macPath` runs an existing stand-in, e.g. one of tests/support/standins.
    void map(const QString &macPath, const QString &standIn) { m_runner->map(macPath, standIn); }
    /// `macPath` cannot be started, as if it were not installed.
    void remove(const QString &macPath) { m_runner->map(macPath, m_scripts.path(QStringLiteral("missing"))); }
    /// Every child sees these variables (a throw-away HOME, say).
    void setEnvironment(Environment overlay) { m_runner->setEnvironmentOverlay(std::move(overlay)); }

    [[nodiscard]] ProgramRunner shell() const { return ProgramRunner(m_runner); }
    [[nodiscard]] std::shared_ptr<const ProcessRunning> runner() const { return m_runner; }

private:
    ScriptFolder m_scripts;
    std::shared_ptr<MappedProcessRunner> m_runner = std::make_shared<MappedProcessRunner>(std::make_shared<LiveProcessRunner>());
    int m_count = 0;
};
