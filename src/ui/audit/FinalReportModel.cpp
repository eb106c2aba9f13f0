#include "ui/audit/FinalReportModel.h"

#include "diagnosis/AuditStages.h"
#include "diagnosis/SystemProfiler.h"
#include "services/ProgramRunner.h"
#include "telemetry/TelemetryEvents.h"
#include "ui/audit/AuditStageModel.h"
#include <QPointer>
#include <QtConcurrent>

FinalReportModel::FinalReportModel(const ScreenContext &context, SystemProfile initialProfile, std::function<void()> onDone, QObject *parent)
    : QObject(parent),
      m_context(context),
      m_initialProfile(std::move(initialProfile)),
      m_onDone(std::move(onDone)),
      m_npsCard(new NpsCardModel(context.services.store, context.telemetry, this))
{
    connect(m_npsCard, &NpsCardModel::changed, this, &FinalReportModel::changed);
    connect(m_npsCard, &NpsCardModel::dismissed, this, &FinalReportModel::changed);
}

FinalReportModel::~FinalReportModel()
{
    m_cancellation.cancel();
    m_work.waitForFinished();
}

void FinalReportModel::start()
{
    if (m_started)
        return;
    m_started = true;
    m_busy = true;
    emit changed();
    QPointer<FinalReportModel> guard(this);
    const SystemProfiler profiler(ProgramRunner(m_context.services.processRunner), m_context.services.fs, m_context.platform);
    m_work = QtConcurrent::run(m_context.workers, [guard, profiler, cancellation = &m_cancellation] {
        const SystemProfile profile = profiler.profile(cancellation);
        // A cancelled profile is incomplete; the model is going away and must not see it.
        if (cancellation->isCanceled())
            return;
        QMetaObject::invokeMethod(guard, [guard, profile] {
            if (!guard)
                return;
            guard->m_freshProfile = profile;
            guard->m_busy = false;
            guard->m_profiled = true;
            guard->m_npsCard->appeared();
            emit guard->changed();
        }, Qt::QueuedConnection);
    });
}

QVariantList FinalReportModel::rows() const
{
    QVariantList rows;
    for (const AuditRow &row : finalReportRows(profile()))
        rows.append(auditRowMap(row, row.mark == AuditRow::Mark::suggestion ? QStringLiteral("warp") : QString()));
    return rows;
}

void FinalReportModel::done()
{
    m_npsCard->leaving();
    if (m_onDone)
        m_onDone();
}

void FinalReportModel::openWarp()
{
    const QUrl url = AuditStageModel::warpURL();
    m_context.telemetry->track(TelemetryEvents::auditOutboundClicked(QStringLiteral("Warp"), url.toString(QUrl::FullyEncoded)));
    m_context.openLink(url);
}

void FinalReportModel::openArticle() const { m_context.openLink(m_context.site.page(QStringLiteral("/java/unable-to-locate"))); }
