#include "ui/common/NpsCardModel.h"

#include "telemetry/TelemetryEvents.h"

NpsCardModel::NpsCardModel(std::shared_ptr<KeyValueStoring> store, TelemetrySink *telemetry, QObject *parent)
    : QObject(parent), m_store(std::move(store)), m_telemetry(telemetry), m_wanted(!wasSubmitted(*m_store))
{
}

bool NpsCardModel::wasSubmitted(const KeyValueStoring &store) { return store.boolValue(QString::fromLatin1(kSubmittedKey)); }

void NpsCardModel::setReasonText(const QString &text)
{
    if (text == m_reasonText)
        return;
    m_reasonText = text;
    emit changed();
}

void NpsCardModel::pick(int score)
{
    if (m_dismissed || score < kLowestScore || score > kHighestScore || m_phase == Phase::Submitting || m_phase == Phase::Thanks)
        return;
    m_phase = Phase::Scored;
    m_score = score;
    emit changed();
}

void NpsCardModel::submit()
{
    if (m_dismissed || m_phase != Phase::Scored)
        return;
    m_phase = Phase::Submitting;
    emit changed();
    m_telemetry->track(TelemetryEvents::npsSubmitted(m_score, m_reasonText));
    m_store->setBool(QString::fromLatin1(kSubmittedKey), true);
    m_phase = Phase::Thanks;
    emit changed();
    emit submitted();
}

void NpsCardModel::dismiss()
{
    // Once sent, the card says thanks; there is nothing left to dismiss.
    if (m_dismissed || m_phase == Phase::Submitting || m_phase == Phase::Thanks)
        return;
    m_dismissed = true;
    m_telemetry->track(TelemetryEvents::npsDismissed());
    emit dismissed();
}

void NpsCardModel::appeared()
{
    if (!shown() || m_shownSent)
        return;
    m_shownSent = true;
    m_telemetry->track(TelemetryEvents::npsShown());
}

void NpsCardModel::leaving()
{
    // The card's own Dismiss already said so; a sent score is no dismissal.
    if (!m_shownSent || m_dismissed || m_phase == Phase::Submitting || m_phase == Phase::Thanks)
        return;
    m_dismissed = true;
    m_telemetry->track(TelemetryEvents::npsDismissed());
}
