#include "ui/audit/SimplifiedCompletionModel.h"

SimplifiedCompletionModel::SimplifiedCompletionModel(const ScreenContext &context, std::function<void()> onDone, QObject *parent)
    : QObject(parent),
      m_context(context),
      m_onDone(std::move(onDone)),
      m_npsCard(new NpsCardModel(context.services.store, context.telemetry, this))
{
    connect(m_npsCard, &NpsCardModel::changed, this, &SimplifiedCompletionModel::changed);
    connect(m_npsCard, &NpsCardModel::dismissed, this, &SimplifiedCompletionModel::changed);
}

void SimplifiedCompletionModel::done()
{
    m_npsCard->leaving();
    if (m_onDone)
        m_onDone();
}

void SimplifiedCompletionModel::openArticle() const
{
    m_context.openLink(m_context.site.page(QStringLiteral("/java/unable-to-locate")));
}
