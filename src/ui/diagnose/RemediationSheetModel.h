#pragma once

#include "runners/FixSequence.h"
#include "runners/UiQuestion.h"
#include "ui/common/ScreenContext.h"
#include "ui/diagnose/OutputLinesModel.h"

#include <QFuture>
#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <mutex>
#include <optional>

/// The sheet that runs one fix and streams its output: the fix sequence runs on a worker with
/// this model as its front end; lines reach the list at most once a frame. Ends by emitting
/// `finished` when the person leaves by the end button, or at once when they cancelled.
class RemediationSheetModel : public QObject, private FixSequence::FrontEnd {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the diagnose screen's model")
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString explainer READ explainer CONSTANT FINAL)
    Q_PROPERTY(OutputLinesModel *lines READ lines CONSTANT FINAL)
    Q_PROPERTY(State state READ state NOTIFY changed FINAL)
    Q_PROPERTY(QString statusText READ statusText NOTIFY changed FINAL)
    Q_PROPERTY(QString cancelText READ cancelText NOTIFY changed FINAL)
    Q_PROPERTY(bool canCancel READ canCancel NOTIFY changed FINAL)
    Q_PROPERTY(bool cancelEnabled READ cancelEnabled NOTIFY changed FINAL)
    Q_PROPERTY(bool zshrcOfferPending READ zshrcOfferPending NOTIFY changed FINAL)
    Q_PROPERTY(QString zshrcOfferText READ zshrcOfferText NOTIFY changed FINAL)
    Q_PROPERTY(QString zshrcBackupLine READ zshrcBackupLine NOTIFY changed FINAL)
    /// The lines the offer appends, each marked with a plus sign.
    Q_PROPERTY(QString zshrcPreview READ zshrcPreview NOTIFY changed FINAL)
    Q_PROPERTY(QString zshrcError READ zshrcError NOTIFY changed FINAL)
    Q_PROPERTY(QString applyZshrcText READ applyZshrcText CONSTANT FINAL)
    Q_PROPERTY(QString skipZshrcText READ skipZshrcText CONSTANT FINAL)
    Q_PROPERTY(QString continueText READ continueText CONSTANT FINAL)
    Q_PROPERTY(bool showsContinue READ showsContinue NOTIFY changed FINAL)
    Q_PROPERTY(bool showsFailure READ showsFailure NOTIFY changed FINAL)
    /// The button that leaves the ended sheet: Continue (to verify) or Close; empty while running.
    Q_PROPERTY(QString endText READ endText NOTIFY changed FINAL)
    Q_PROPERTY(QString articleText READ articleText CONSTANT FINAL)
    Q_PROPERTY(QString closeText READ closeText CONSTANT FINAL)
    Q_PROPERTY(QString copyOutputText READ copyOutputText CONSTANT FINAL)
public:
    enum class State { Running, Succeeded, Failed, Canceled };
    Q_ENUM(State)

    /// Starts the run at once.
    RemediationSheetModel(const ScreenContext &context, const Remediation &remediation, QObject *parent = nullptr);
    /// Cancels the run and waits for its worker (the worker calls back into this object).
    ~RemediationSheetModel() override;

    [[nodiscard]] QString title() const { return m_remediation.progressTitle(); }
    [[nodiscard]] QString explainer() const { return m_remediation.progressExplainer(); }
    [[nodiscard]] OutputLinesModel *lines() { return &m_lines; }
    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] QString statusText() const;
    [[nodiscard]] QString cancelText() const;
    [[nodiscard]] bool canCancel() const { return m_state == State::Running && !m_reply; }
    /// False while an install that a cancel cannot stop safely is finishing.
    [[nodiscard]] bool cancelEnabled() const { return !m_finishingInstall; }
    [[nodiscard]] bool zshrcOfferPending() const { return m_reply.has_value(); }
    [[nodiscard]] QString zshrcOfferText() const;
    [[nodiscard]] QString zshrcBackupLine() const;
    [[nodiscard]] QStringList zshrcPreviewLines() const { return m_zshrcPreview.linesAdded; }
    [[nodiscard]] QString zshrcPreview() const;
    [[nodiscard]] QString zshrcError() const { return m_zshrcError; }
    [[nodiscard]] QString applyZshrcText() const { return QStringLiteral("Apply ~/.zshrc change"); }
    [[nodiscard]] QString skipZshrcText() const { return QStringLiteral("Skip"); }
    [[nodiscard]] QString continueText() const;
    [[nodiscard]] bool showsContinue() const { return m_state == State::Succeeded; }
    [[nodiscard]] bool showsFailure() const { return m_state == State::Failed; }
    [[nodiscard]] QString endText() const { return showsContinue() ? continueText() : showsFailure() ? closeText() : QString(); }
    [[nodiscard]] QString articleText() const { return QStringLiteral("Open the article"); }
    [[nodiscard]] QString closeText() const { return QStringLiteral("Close"); }
    [[nodiscard]] QString copyOutputText() const { return QStringLiteral("Copy output"); }
    [[nodiscard]] QUrl articleURL() const { return m_context.site.page(QStringLiteral("/java/download")); }

    Q_INVOKABLE void cancel();
    Q_INVOKABLE void applyZshrc();
    Q_INVOKABLE void skipZshrc();
    /// "Continue" / "Continue to verify" after a success, "Close" after a failure.
    Q_INVOKABLE void leave();
    Q_INVOKABLE void openArticle() const;
    Q_INVOKABLE void copyOutput();

signals:
    void changed();
    void finished(const FixSequence::Outcome &outcome);

private:
    // FixSequence::FrontEnd, called from the worker (or the package installer's watchdog).
    void line(const QString &text) override;
    void installFinishing() override;
    void progress(const QString &text) override;
    bool confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview) override;
    bool confirmZprofileWrite(const FileAppendWriter::DiffPreview &preview) override;
    bool confirmShellenvAppend(const FileAppendWriter::DiffPreview &preview) override;
    void zshrcAppendFailed(const QString &message) override;

    void drain();
    void runEnded(const FixSequence::Outcome &outcome);
    void answerZshrc(bool yes);
    void finish(const FixSequence::Outcome &outcome);

    const ScreenContext &m_context;
    const Remediation m_remediation;
    OutputLinesModel m_lines;
    QTimer m_frame;
    ProcessCancellation m_cancellation;
    UiQuestion m_question;
    QFuture<void> m_worker;

    // Filled by the worker, drained by the UI thread.
    std::mutex m_pendingMutex;
    QStringList m_pendingLines;
    std::optional<QString> m_pendingReplacement; // the progress line that replaces the last row
    bool m_lastIsProgress = false;
    std::optional<QString> m_pendingZshrcError;

    State m_state = State::Running;
    bool m_cancelPressed = false;
    bool m_finishingInstall = false;
    bool m_finished = false;
    std::optional<FixSequence::Outcome> m_outcome;
    std::optional<PendingAnswer> m_reply;
    FileAppendWriter::DiffPreview m_zshrcPreview;
    QString m_zshrcError;
};
