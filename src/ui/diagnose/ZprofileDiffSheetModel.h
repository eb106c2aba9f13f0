#pragma once

#include "runners/FixSequence.h"
#include "ui/common/ScreenContext.h"

#include <QFuture>
#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

/// The review of the JAVA_HOME lines for ~/.zprofile: the preview is computed on a worker, shown
/// as a diff, and written (backup first) only when the person presses Apply.
class ZprofileDiffSheetModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the diagnose screen's model")
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString detail READ detail CONSTANT FINAL)
    Q_PROPERTY(State state READ state NOTIFY changed FINAL)
    Q_PROPERTY(QString loadError READ loadError NOTIFY changed FINAL)
    Q_PROPERTY(QString alreadySetNote READ alreadySetNote CONSTANT FINAL)
    Q_PROPERTY(QString createdNote READ createdNote NOTIFY changed FINAL)
    Q_PROPERTY(QString backupLine READ backupLine NOTIFY changed FINAL)
    /// Rows of {text, added}: the added lines only, or the whole proposed file.
    Q_PROPERTY(QVariantList diffLines READ diffLines NOTIFY changed FINAL)
    Q_PROPERTY(bool showFullFile READ showFullFile NOTIFY changed FINAL)
    Q_PROPERTY(QString toggleText READ toggleText NOTIFY changed FINAL)
    Q_PROPERTY(QString applyError READ applyError NOTIFY changed FINAL)
    Q_PROPERTY(bool applying READ applying NOTIFY changed FINAL)
    Q_PROPERTY(QString closeText READ closeText CONSTANT FINAL)
    Q_PROPERTY(QString cancelText READ cancelText CONSTANT FINAL)
    Q_PROPERTY(QString applyText READ applyText CONSTANT FINAL)
    Q_PROPERTY(QString continueText READ continueText CONSTANT FINAL)
public:
    enum class State { Loading, LoadFailed, AlreadySet, Previewed, Applied };
    Q_ENUM(State)

    /// Starts computing the preview at once.
    ZprofileDiffSheetModel(const ScreenContext &context, const Remediation &remediation, QObject *parent = nullptr);
    ~ZprofileDiffSheetModel() override;

    [[nodiscard]] QString title() const;
    [[nodiscard]] QString detail() const;
    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] QString loadError() const { return m_loadError; }
    [[nodiscard]] QString alreadySetNote() const;
    [[nodiscard]] QString createdNote() const;
    [[nodiscard]] QString backupLine() const;
    [[nodiscard]] QVariantList diffLines() const;
    [[nodiscard]] bool showFullFile() const { return m_showFullFile; }
    [[nodiscard]] QString toggleText() const;
    [[nodiscard]] QString applyError() const { return m_applyError; }
    [[nodiscard]] bool applying() const { return m_applying; }
    [[nodiscard]] QString closeText() const { return QStringLiteral("Close"); }
    [[nodiscard]] QString cancelText() const { return QStringLiteral("Cancel"); }
    [[nodiscard]] QString applyText() const { return QStringLiteral("Apply"); }
    [[nodiscard]] QString continueText() const { return QStringLiteral("Continue to verify"); }

    Q_INVOKABLE void toggleFullFile();
    Q_INVOKABLE void apply();
    Q_INVOKABLE void cancel();
    /// "Continue to verify", after a write or when the file already sets JAVA_HOME.
    Q_INVOKABLE void continueToVerify();
    /// "Close" after the file could not be read: a failure with the reason.
    Q_INVOKABLE void close();

signals:
    void changed();
    void finished(const FixSequence::Outcome &outcome);

private:
    void track(const TelemetryEvent &event);
    void finish(const FixSequence::Outcome &outcome);

    const ScreenContext &m_context;
    const Remediation m_remediation;
    QFuture<void> m_worker;
    State m_state = State::Loading;
    FileAppendWriter::DiffPreview m_preview;
    QString m_loadError;
    QString m_applyError;
    bool m_showFullFile = false;
    bool m_applying = false;
    bool m_didEmitTerminalEvent = false;
    bool m_finished = false;
};
