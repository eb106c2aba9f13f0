#include "ui/diagnose/RemediationSheetModel.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

RemediationSheetModel::RemediationSheetModel(const ScreenContext &context, const Remediation &remediation, QObject *parent)
    : QObject(parent),
      m_context(context),
      m_remediation(remediation),
      m_question(this, [this](const ProfileQuestion &question, const PendingAnswer &reply) {
          drain(); // the offer follows the lines printed before it
          m_zshrcPreview = question.preview;
          m_reply = reply;
          emit changed();
      })
{
    // One drain per frame however fast the tool prints.
    m_frame.setInterval(16);
    connect(&m_frame, &QTimer::timeout, this, &RemediationSheetModel::drain);
    m_frame.start();

    FixSequence::Configuration configuration = FixSequence::defaultConfiguration();
    configuration.troubleshootingArticleURL = context.site.page(QStringLiteral("/java/unable-to-locate"));
    // The sequence sends the run's one terminal event itself, from this worker.
    const FixSequence sequence(context.services, configuration, context.telemetry);
    QPointer<RemediationSheetModel> guard(this);
    m_worker = QtConcurrent::run(m_context.workers, [this, guard, sequence, remediation] {
        const FixSequence::Outcome outcome = sequence.run(remediation, m_cancellation, *this);
        QMetaObject::invokeMethod(
            guard, [guard, outcome] { if (guard) guard->runEnded(outcome); }, Qt::QueuedConnection);
    });
}

RemediationSheetModel::~RemediationSheetModel()
{
    m_cancellation.cancel();
    m_worker.waitForFinished();
}

QString RemediationSheetModel::statusText() const
{
    return m_state == State::Running && !m_reply ? QStringLiteral("Running…") : QString();
}

QString RemediationSheetModel::cancelText() const
{
    if (m_finishingInstall)
        return QStringLiteral("Finishing install…");
    return m_cancelPressed ? QStringLiteral("Canceling…") : QStringLiteral("Cancel");
}

QString RemediationSheetModel::zshrcOfferText() const
{
    return m_reply ? FixSequence::zshrcOfferText(m_zshrcPreview).value(0) : QString();
}

QString RemediationSheetModel::zshrcBackupLine() const
{
    return m_reply ? FixSequence::zshrcOfferText(m_zshrcPreview).value(1) : QString();
}

QString RemediationSheetModel::zshrcPreview() const
{
    QStringList marked;
    for (const QString &line : m_zshrcPreview.linesAdded)
        marked.append(QStringLiteral("+ ") + line);
    return marked.join(QLatin1Char('\n'));
}

QString RemediationSheetModel::continueText() const
{
    const auto kind = m_remediation.kind();
    return kind == Remediation::Kind::installWarpViaBrew || kind == Remediation::Kind::installHomebrew ? QStringLiteral("Continue")
                                                                                                      : QStringLiteral("Continue to verify");
}

void RemediationSheetModel::cancel()
{
    if (!canCancel() || m_cancelPressed)
        return;
    m_cancelPressed = true;
    emit changed();
    m_cancellation.cancel(); // stops the child; the run then ends as canceled
}

void RemediationSheetModel::applyZshrc() { answerZshrc(true); }
void RemediationSheetModel::skipZshrc() { answerZshrc(false); }

void RemediationSheetModel::answerZshrc(bool yes)
{
    if (!m_reply)
        return;
    const PendingAnswer reply = *m_reply;
    m_reply.reset();
    emit changed();
    reply.answer(yes); // the sequence writes the file, or notes the skip, on its worker
}

void RemediationSheetModel::leave()
{
    if (m_outcome && m_state != State::Running)
        finish(*m_outcome);
}

void RemediationSheetModel::openArticle() const { m_context.openLink(articleURL()); }

void RemediationSheetModel::copyOutput()
{
    drain();
    QGuiApplication::clipboard()->setText(m_lines.text());
}

void RemediationSheetModel::line(const QString &text)
{
    std::lock_guard lock(m_pendingMutex);
    m_pendingLines.append(text);
    m_lastIsProgress = false;
}

void RemediationSheetModel::installFinishing()
{
    // Comes from whichever thread cancelled, the UI thread included: change state on it, later.
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_finishingInstall = true;
            emit changed();
        },
        Qt::QueuedConnection);
}

void RemediationSheetModel::progress(const QString &text)
{
    std::lock_guard lock(m_pendingMutex);
    if (!m_lastIsProgress)
        m_pendingLines.append(text);
    else if (!m_pendingLines.isEmpty())
        m_pendingLines.last() = text;
    else
        m_pendingReplacement = text; // the previous progress line is already on screen
    m_lastIsProgress = true;
}

bool RemediationSheetModel::confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview)
{
    return m_question.ask({ProfileQuestion::Kind::zshrcAppend, preview}, m_cancellation);
}

bool RemediationSheetModel::confirmZprofileWrite(const FileAppendWriter::DiffPreview &)
{
    // ~/.zprofile is reviewed in the diff sheet, which the diagnose screen shows instead of this
    // one; a run that still gets here writes nothing.
    return false;
}

bool RemediationSheetModel::confirmShellenvAppend(const FileAppendWriter::DiffPreview &)
{
    return true; // the app appends Homebrew's shellenv line unasked; the lines say so
}

void RemediationSheetModel::zshrcAppendFailed(const QString &message)
{
    line(message);
    std::lock_guard lock(m_pendingMutex);
    m_pendingZshrcError = message;
}

void RemediationSheetModel::drain()
{
    QStringList lines;
    std::optional<QString> replacement, zshrcError;
    {
        std::lock_guard lock(m_pendingMutex);
        lines.swap(m_pendingLines);
        replacement.swap(m_pendingReplacement);
        zshrcError.swap(m_pendingZshrcError);
    }
    if (replacement)
        m_lines.replaceLast(*replacement);
    m_lines.append(lines);
    if (zshrcError) {
        m_zshrcError = *zshrcError;
        emit changed();
    }
}

void RemediationSheetModel::runEnded(const FixSequence::Outcome &outcome)
{
    drain();
    m_frame.stop();
    m_outcome = outcome;
    m_reply.reset();
    switch (outcome.kind) {
    case FixSequence::Outcome::Kind::success: m_state = State::Succeeded; break;
    case FixSequence::Outcome::Kind::failure: m_state = State::Failed; break;
    case FixSequence::Outcome::Kind::canceled: m_state = State::Canceled; break;
    }
    emit changed();
    if (m_state == State::Canceled)
        finish(outcome); // a cancelled sheet closes at once
}

void RemediationSheetModel::finish(const FixSequence::Outcome &outcome)
{
    if (m_finished)
        return;
    m_finished = true;
    emit finished(outcome);
}
