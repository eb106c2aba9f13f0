#include "ui/audit/StagedAuditFlowModel.h"

#include "diagnosis/AuditStages.h"
#include "diagnosis/SystemProfiler.h"
#include "services/ProgramRunner.h"
#include <QPointer>
#include <QtConcurrent>

namespace TE = TelemetryEvents;

StagedAuditFlowModel::StagedAuditFlowModel(const ScreenContext &context, std::optional<SystemProfile> fallbackProfile,
                                           std::function<void()> goHome, QObject *parent)
    : QObject(parent), m_context(context), m_fallbackProfile(std::move(fallbackProfile)), m_goHome(std::move(goHome))
{
}

StagedAuditFlowModel::~StagedAuditFlowModel()
{
    m_cancellation.cancel();
    m_work.waitForFinished();
    // Their workers use this model's context: they go first.
    delete m_stage;
    delete m_report;
}

StageOutcome StagedAuditFlowModel::outcome(int index, const SystemProfile &profile)
{
    if (index == 0)
        return Stage1Foundations::isAlreadyOk(profile) ? StageOutcome::skippedAlreadyOk : StageOutcome::rendered;
    if (Stage2Terminal::isAlreadyOk(profile))
        return StageOutcome::skippedAlreadyOk;
    // Warp's one install route needs Homebrew, and the pitch is for people who write software.
    // Homebrew alone marks a developer, so this is a Mac with neither: nothing to install and
    // nobody the page is for. A developer without Homebrew still gets the link.
    if (!profile.brewExecutable && !profile.likelyDeveloper())
        return StageOutcome::skippedMissingBlocked;
    return StageOutcome::rendered;
}

void StagedAuditFlowModel::start()
{
    if (m_started)
        return;
    m_started = true;
    if (profileInEffect())
        begin();
    else
        reprofile([this] { begin(); });
}

void StagedAuditFlowModel::begin()
{
    if (m_didEmitAuditReached)
        return;
    const SystemProfile profile = *profileInEffect();
    m_didEmitAuditReached = true;
    m_context.telemetry->track(TE::auditReached(profile));
    m_context.telemetry->track(TE::auditGated(profile));
    showCurrent();
}

void StagedAuditFlowModel::showCurrent()
{
    const SystemProfile profile = *profileInEffect();
    while (m_currentIndex < kStageCount) {
        const StageOutcome decided = outcome(m_currentIndex, profile);
        const auto kind = m_currentIndex == 0 ? AuditStageModel::Stage::Foundations : AuditStageModel::Stage::Terminal;
        m_context.telemetry->track(TE::auditStageOutcome(
            QString::fromLatin1(kind == AuditStageModel::Stage::Foundations ? Stage1Foundations::kId : Stage2Terminal::kId), decided));
        if (decided == StageOutcome::rendered) {
            m_stage = new AuditStageModel(m_context, kind, profile, this);
            connect(m_stage, &AuditStageModel::advanced, this, &StagedAuditFlowModel::advance);
            connect(m_stage, &AuditStageModel::refreshRequested, this, [this] {
                m_stage->setRefreshing(true);
                reprofile([this] {
                    if (!m_stage)
                        return;
                    m_stage->setRefreshing(false);
                    m_stage->setProfile(*m_freshProfile);
                });
            });
            emit changed();
            return;
        }
        ++m_currentIndex;
    }
    m_report = new FinalReportModel(m_context, profile, m_goHome, this);
    emit changed();
}

void StagedAuditFlowModel::advance()
{
    if (!m_stage)
        return;
    // Later: this runs from the page's own signal.
    m_stage->deleteLater();
    m_stage = nullptr;
    ++m_currentIndex;
    showCurrent();
}

void StagedAuditFlowModel::reprofile(std::function<void()> then)
{
    QPointer<StagedAuditFlowModel> guard(this);
    const SystemProfiler profiler(ProgramRunner(m_context.services.processRunner), m_context.services.fs, m_context.platform);
    m_work.waitForFinished();
    m_work = QtConcurrent::run(m_context.workers, [guard, profiler, then = std::move(then), cancellation = &m_cancellation] {
        const SystemProfile profile = profiler.profile(cancellation);
        if (cancellation->isCanceled())
            return;
        QMetaObject::invokeMethod(guard, [guard, profile, then] {
            if (!guard)
                return;
            guard->m_freshProfile = profile;
            then();
        }, Qt::QueuedConnection);
    });
}
