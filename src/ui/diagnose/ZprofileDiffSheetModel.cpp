#include "ui/diagnose/ZprofileDiffSheetModel.h"

#include "profile_edit/ZprofileWriter.h"
#include "telemetry/TelemetryEvents.h"
#include <QPointer>
#include <QVariantMap>
#include <QtConcurrent/QtConcurrentRun>

ZprofileDiffSheetModel::ZprofileDiffSheetModel(const ScreenContext &context, const Remediation &remediation, QObject *parent)
    : QObject(parent), m_context(context), m_remediation(remediation)
{
    QPointer<ZprofileDiffSheetModel> guard(this);
    m_worker = QtConcurrent::run(context.workers, [guard, fs = context.services.fs] {
        FileAppendWriter::DiffPreview preview;
        QString error;
        try {
            preview = ZprofileWriter(fs).preview();
        } catch (const FileSystemError &failure) {
            error = QStringLiteral("Couldn't read ~/.zprofile: ") + failure.reason();
        }
        QMetaObject::invokeMethod(
            guard,
            [guard, preview, error] {
                if (!guard)
                    return;
                guard->m_preview = preview;
                guard->m_loadError = error;
                guard->m_state = !error.isEmpty() ? State::LoadFailed : preview.alreadySet ? State::AlreadySet : State::Previewed;
                emit guard->changed();
            },
            Qt::QueuedConnection);
    });
}

ZprofileDiffSheetModel::~ZprofileDiffSheetModel() { m_worker.waitForFinished(); }

QString ZprofileDiffSheetModel::title() const { return FixSequence::zprofileOfferText(m_preview).title; }
QString ZprofileDiffSheetModel::detail() const { return FixSequence::zprofileOfferText(m_preview).detail; }

QString ZprofileDiffSheetModel::alreadySetNote() const
{
    return QStringLiteral("Your ~/.zprofile already sets JAVA_HOME via `$(/usr/libexec/java_home)` — no changes needed.");
}

QString ZprofileDiffSheetModel::createdNote() const
{
    return m_state == State::Loading ? QString() : FixSequence::zprofileOfferText(m_preview).createdNote;
}

QString ZprofileDiffSheetModel::backupLine() const
{
    return m_state == State::Loading ? QString() : FixSequence::zprofileOfferText(m_preview).backupLine;
}

QVariantList ZprofileDiffSheetModel::diffLines() const
{
    QVariantList rows;
    const auto row = [](const QString &text, bool added) { return QVariantMap {{QStringLiteral("text"), text}, {QStringLiteral("added"), added}}; };
    if (!m_showFullFile) {
        for (const QString &line : m_preview.linesAdded)
            rows.append(row(line, true));
        return rows;
    }
    // The proposed file is the original with the block appended, so the added lines are the
    // tail that follows the original's own lines.
    QStringList lines = m_preview.proposedContents.split(QLatin1Char('\n'));
    if (m_preview.proposedContents.endsWith(QLatin1Char('\n')))
        lines.removeLast(); // the final line break ends the last line; it starts no new one
    const qsizetype firstAdded = lines.size() - m_preview.linesAdded.size();
    for (qsizetype i = 0; i < lines.size(); ++i)
        rows.append(row(lines.at(i), i >= firstAdded && m_preview.linesAdded.value(i - firstAdded) == lines.at(i)));
    return rows;
}

QString ZprofileDiffSheetModel::toggleText() const
{
    return m_showFullFile ? QStringLiteral("Show only changes") : QStringLiteral("Show full file");
}

void ZprofileDiffSheetModel::toggleFullFile()
{
    m_showFullFile = !m_showFullFile;
    emit changed();
}

void ZprofileDiffSheetModel::apply()
{
    if (m_state != State::Previewed || m_applying)
        return;
    m_applying = true;
    emit changed();
    m_worker.waitForFinished(); // the load, long done
    QPointer<ZprofileDiffSheetModel> guard(this);
    m_worker = QtConcurrent::run(m_context.workers, [guard, fs = m_context.services.fs, preview = m_preview] {
        QString error;
        try {
            ZprofileWriter(fs).apply(preview);
        } catch (const FileAppendWriter::WriteError &failure) {
            error = failure.message();
        }
        QMetaObject::invokeMethod(
            guard,
            [guard, error] {
                if (!guard)
                    return;
                guard->m_applying = false;
                guard->m_applyError = error;
                if (error.isEmpty()) {
                    guard->m_state = State::Applied;
                    guard->track(TelemetryEvents::remediationCompleted(guard->m_remediation, 0));
                } else {
                    // The sheet stays open: the person may try again or cancel.
                    guard->track(TelemetryEvents::remediationFailed(guard->m_remediation, 1, error));
                }
                emit guard->changed();
            },
            Qt::QueuedConnection);
    });
}

void ZprofileDiffSheetModel::cancel()
{
    if (m_state != State::Previewed || m_applying)
        return;
    track(TelemetryEvents::remediationCanceled(m_remediation));
    finish(FixSequence::Outcome::canceled());
}

void ZprofileDiffSheetModel::continueToVerify()
{
    if (m_state == State::AlreadySet) {
        track(TelemetryEvents::remediationCompleted(m_remediation, 0));
        finish(FixSequence::Outcome::success(QStringLiteral("JAVA_HOME already set in ~/.zprofile.")));
    } else if (m_state == State::Applied) {
        finish(FixSequence::Outcome::success(FixSequence::successMessage(m_remediation)));
    }
}

void ZprofileDiffSheetModel::close()
{
    if (m_state != State::LoadFailed)
        return;
    track(TelemetryEvents::remediationFailed(m_remediation, 1, m_loadError));
    finish(FixSequence::Outcome::failure(m_loadError));
}

void ZprofileDiffSheetModel::track(const TelemetryEvent &event)
{
    if (m_didEmitTerminalEvent || !m_context.telemetry)
        return;
    m_didEmitTerminalEvent = true;
    m_context.telemetry->track(event);
}

void ZprofileDiffSheetModel::finish(const FixSequence::Outcome &outcome)
{
    if (m_finished)
        return;
    m_finished = true;
    emit finished(outcome);
}
