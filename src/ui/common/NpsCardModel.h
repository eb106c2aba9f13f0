#pragma once

#include "telemetry/TelemetrySink.h"
#include "services/KeyValueStoring.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <memory>

/// The satisfaction card: pick a score, optionally say why, send it once per Mac. The screen that
/// embeds it decides whether it shows; the card records the submission so that none shows it again.
class NpsCardModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the screen that embeds the card")
    Q_PROPERTY(Phase phase READ phase NOTIFY changed FINAL)
    Q_PROPERTY(int score READ score NOTIFY changed FINAL)
    Q_PROPERTY(QString reasonText READ reasonText WRITE setReasonText NOTIFY changed FINAL)
    Q_PROPERTY(bool canSubmit READ canSubmit NOTIFY changed FINAL)
    Q_PROPERTY(QString heading READ heading CONSTANT FINAL)
    Q_PROPERTY(QString question READ question CONSTANT FINAL)
    Q_PROPERTY(QString lowLabel READ lowLabel CONSTANT FINAL)
    Q_PROPERTY(QString highLabel READ highLabel CONSTANT FINAL)
    Q_PROPERTY(QString reasonPrompt READ reasonPrompt CONSTANT FINAL)
    Q_PROPERTY(QString submitText READ submitText CONSTANT FINAL)
    Q_PROPERTY(QString dismissText READ dismissText CONSTANT FINAL)
    Q_PROPERTY(QString thanksText READ thanksText CONSTANT FINAL)
    Q_PROPERTY(bool shown READ shown NOTIFY changed FINAL)
public:
    enum class Phase { NotYet, Scored, Submitting, Thanks };
    Q_ENUM(Phase)
    static constexpr const char *kSubmittedKey = "ferrowood.tarnwick.nps_submitted";
    static constexpr int kLowestScore = 0;
    static constexpr int kHighestScore = 10;

    NpsCardModel(std::shared_ptr<KeyValueStoring> store, TelemetrySink *telemetry, QObject *parent = nullptr);

    /// Whether a score was ever sent from this Mac (then no screen shows the card).
    [[nodiscard]] static bool wasSubmitted(const KeyValueStoring &store);

    [[nodiscard]] Phase phase() const { return m_phase; }
    /// The picked score; meaningful once a score is picked.
    [[nodiscard]] int score() const { return m_score; }
    [[nodiscard]] QString reasonText() const { return m_reasonText; }
    void setReasonText(const QString &text);
    [[nodiscard]] bool canSubmit() const { return m_phase == Phase::Scored; }

    [[nodiscard]] QString heading() const { return QStringLiteral("How are we doing?"); }
    [[nodiscard]] QString question() const
    {
        return QStringLiteral("How likely are you to recommend Tarnwick to a friend or colleague?");
    }
    [[nodiscard]] QString lowLabel() const { return QStringLiteral("Not at all likely"); }
    [[nodiscard]] QString highLabel() const { return QStringLiteral("Extremely likely"); }
    [[nodiscard]] QString reasonPrompt() const { return QStringLiteral("What's the main reason for your score? (optional)"); }
    [[nodiscard]] QString submitText() const { return QStringLiteral("Submit feedback"); }
    [[nodiscard]] QString dismissText() const { return QStringLiteral("Dismiss"); }
    [[nodiscard]] QString thanksText() const { return QStringLiteral("Thanks for the feedback."); }

    /// Whether the embedding screen shows the card in this visit: no score was ever sent from
    /// this Mac when the visit began, and the card was not dismissed since. A sent card stays
    /// to say thanks; the stored key keeps it off the next visit.
    [[nodiscard]] bool shown() const { return m_wanted && !m_dismissed; }
    /// The embedding screen shows the card now: sends nps_shown, once per visit.
    void appeared();
    /// The person leaves the embedding screen: a card that was shown and neither sent nor
    /// dismissed counts as dismissed.
    void leaving();

    /// Picks (or replaces) the score; ignored once the score is sent or outside the scale.
    Q_INVOKABLE void pick(int score);
    /// Sends the score and the reason; does nothing before a score is picked.
    Q_INVOKABLE void submit();
    Q_INVOKABLE void dismiss();

signals:
    void changed();
    void submitted();
    void dismissed();

private:
    std::shared_ptr<KeyValueStoring> m_store;
    TelemetrySink *m_telemetry;
    Phase m_phase = Phase::NotYet;
    int m_score = 0;
    QString m_reasonText;
    bool m_dismissed = false;
    bool m_wanted;
    bool m_shownSent = false;
};
