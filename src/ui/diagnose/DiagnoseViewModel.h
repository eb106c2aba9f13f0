#pragma once

#include "diagnosis/SystemProfile.h"
#include "diagnosis/Verifier.h"
#include "runners/DiagnoseFlow.h"
#include "runners/FixSequence.h"
#include "services/ProcessCancellation.h"
#include "ui/audit/SimplifiedCompletionModel.h"
#include "ui/common/NpsCardModel.h"
#include "ui/common/ScreenContext.h"
#include "ui/diagnose/RemediationSheetModel.h"
#include "ui/diagnose/ZprofileDiffSheetModel.h"

#include <QFuture>
#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <future>
#include <optional>

/// The diagnose screen's state machine: probing, the diagnosis with its fix, the running fix, the
/// check that it worked, and a completed or failed end, then on to the system audit. Profiling,
/// diagnosing, verifying and the JAVA_HOME follow-up run on a worker; state changes only on the UI
/// thread. While a fix runs, the sheet's own model (the streaming one, or the ~/.zprofile diff for
/// that fix) is a child of this one, and its end comes back through `finish`.
class DiagnoseViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the app's root model")
    Q_PROPERTY(State state READ state NOTIFY changed FINAL)
    Q_PROPERTY(bool busy READ busy NOTIFY changed FINAL)
    // The page's heading and the text under it, for every state.
    Q_PROPERTY(QString title READ title NOTIFY changed FINAL)
    Q_PROPERTY(QString titleObjectName READ titleObjectName NOTIFY changed FINAL)
    Q_PROPERTY(QString detail READ detail NOTIFY changed FINAL)
    Q_PROPERTY(QString detailObjectName READ detailObjectName NOTIFY changed FINAL)
    // The diagnosis screen's actions; an empty text means the element is not shown.
    Q_PROPERTY(QString primaryText READ primaryText NOTIFY changed FINAL)
    Q_PROPERTY(QString primaryExplainer READ primaryExplainer NOTIFY changed FINAL)
    Q_PROPERTY(QString placeholderText READ placeholderText NOTIFY changed FINAL)
    Q_PROPERTY(QString secondaryButtonText READ secondaryButtonText NOTIFY changed FINAL)
    Q_PROPERTY(QString secondaryNote READ secondaryNote NOTIFY changed FINAL)
    Q_PROPERTY(QString linkText READ linkText NOTIFY changed FINAL)
    Q_PROPERTY(QString linkObjectName READ linkObjectName NOTIFY changed FINAL)
    Q_PROPERTY(bool showsContinue READ showsContinue NOTIFY changed FINAL)
    Q_PROPERTY(bool showsNpsCard READ showsNpsCard NOTIFY changed FINAL)
    Q_PROPERTY(NpsCardModel *npsCard READ npsCard CONSTANT FINAL)
    // The verify result screen.
    Q_PROPERTY(bool passed READ passed NOTIFY changed FINAL)
    Q_PROPERTY(bool offersJavaHome READ offersJavaHome NOTIFY changed FINAL)
    Q_PROPERTY(QString outputText READ outputText NOTIFY changed FINAL)
    Q_PROPERTY(QString javaHomeText READ javaHomeText NOTIFY changed FINAL)
    Q_PROPERTY(QString offerHeading READ offerHeading CONSTANT FINAL)
    Q_PROPERTY(QString offerButtonText READ offerButtonText CONSTANT FINAL)
    Q_PROPERTY(QString openArticleText READ openArticleText CONSTANT FINAL)
    Q_PROPERTY(QString continueText READ continueText NOTIFY changed FINAL)
    Q_PROPERTY(QString backText READ backText CONSTANT FINAL)
    Q_PROPERTY(QString articleLinkText READ articleLinkText CONSTANT FINAL)
    // The link a failure message carries, as a control of its own; empty when it has none.
    Q_PROPERTY(QString messageLinkText READ messageLinkText NOTIFY changed FINAL)
    Q_PROPERTY(bool sheetOpen READ sheetOpen NOTIFY changed FINAL)
    Q_PROPERTY(RemediationSheetModel *remediationSheet READ remediationSheet NOTIFY changed FINAL)
    Q_PROPERTY(ZprofileDiffSheetModel *zprofileSheet READ zprofileSheet NOTIFY changed FINAL)
    /// The short ending that replaces the audit for a Mac that does not look like a developer's.
    Q_PROPERTY(SimplifiedCompletionModel *simplifiedCompletion READ simplifiedCompletion NOTIFY changed FINAL)
public:
    enum class State { Probing, Diagnosed, Remediating, Verifying, Verified, Completed, Error };
    Q_ENUM(State)
    /// Who runs a requested fix: the sheet models this model creates (the app), or whoever
    /// listens to `sheetRequested` and calls `finish` (tests of the flow alone).
    enum class Sheets { hosted, external };

    /// `launchProfile` is the profile taken at start-up, if it is in yet; `pushAudit` moves the
    /// app on to the system audit.
    DiagnoseViewModel(const ScreenContext &context, std::optional<SystemProfile> launchProfile, std::function<void()> pushAudit,
                      QObject *parent = nullptr, QUrl adoptiumBaseURL = {}, Sheets sheets = Sheets::external);
    /// Stops the worker and waits for it: no worker outlives the services it uses.
    ~DiagnoseViewModel() override;

    /// When the screen is shown: diagnoses the launch profile, or profiles the Mac first. Only
    /// the first call does anything.
    Q_INVOKABLE void start();
    /// The D1 install's Temurin major, when the app looked it up before this screen: with it
    /// and the launch profile, `start` shows the diagnosis at once instead of probing.
    void setKnownLTSMajor(int major) { m_knownLTSMajor = major; }
    /// The look-up of that major, still under way: a D1 diagnosis waits for its answer on the
    /// worker instead of asking Adoptium again.
    void setPendingLTSMajor(std::shared_future<int> pending) { m_pendingLTSMajor = std::move(pending); }

    // Transitions.
    /// Starts `remediation` from the diagnosis: saves the diagnosis and opens the sheet.
    void remediate(const Remediation &remediation);
    Q_INVOKABLE void remediatePrimary();
    /// "Install Java directly": the package install of the Temurin version the cask names.
    Q_INVOKABLE void remediateSecondary();
    /// The sheet's end. Success checks Java (or completes a fix that needs no check), failure
    /// shows the message, cancel goes back to the diagnosis the fix started from.
    void finish(const FixSequence::Outcome &outcome);
    /// From a failed check or the error page: back to the saved diagnosis.
    Q_INVOKABLE void back();
    /// The JAVA_HOME step after a passing install: profiles again and opens the sheet for the
    /// JAVA_HOME fix, or goes on to the audit when no JDK is listed.
    Q_INVOKABLE void setJavaHome();
    Q_INVOKABLE void continueToAudit();

    /// The secondary link: other install methods (D1) or the JAVA_HOME article (D2).
    Q_INVOKABLE void openLink() const;
    Q_INVOKABLE void openTroubleshootingArticle() const;
    Q_INVOKABLE void openMessageLink() const;

    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] bool busy() const { return m_busy; }
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString titleObjectName() const;
    [[nodiscard]] QString detail() const;
    [[nodiscard]] QString detailObjectName() const;
    [[nodiscard]] QString primaryText() const;
    [[nodiscard]] QString primaryExplainer() const;
    [[nodiscard]] QString placeholderText() const;
    [[nodiscard]] QString secondaryButtonText() const;
    [[nodiscard]] QString secondaryNote() const;
    [[nodiscard]] QString linkText() const;
    [[nodiscard]] QString linkObjectName() const;
    [[nodiscard]] bool showsContinue() const;
    [[nodiscard]] bool showsNpsCard() const;
    [[nodiscard]] NpsCardModel *npsCard() const { return m_npsCard; }
    [[nodiscard]] bool passed() const;
    [[nodiscard]] bool offersJavaHome() const;
    [[nodiscard]] QString outputText() const;
    [[nodiscard]] QString javaHomeText() const;
    [[nodiscard]] QString offerHeading() const;
    [[nodiscard]] QString offerButtonText() const;
    [[nodiscard]] QString openArticleText() const { return QStringLiteral("Open the article"); }
    [[nodiscard]] QString continueText() const
    {
        return endsSimply() ? QStringLiteral("Continue") : QStringLiteral("Continue to system audit");
    }
    /// A passing check on a Mac that does not look like a developer's: Continue leads to the
    /// simplified completion, not to the audit.
    [[nodiscard]] bool endsSimply() const;
    [[nodiscard]] SimplifiedCompletionModel *simplifiedCompletion() const { return m_simplifiedCompletion; }
    [[nodiscard]] QString backText() const { return QStringLiteral("Back to the diagnosis"); }
    [[nodiscard]] QString articleLinkText() const { return QStringLiteral("Read the article on Ferrowood"); }
    [[nodiscard]] QString messageLinkText() const;
    [[nodiscard]] QUrl messageLinkURL() const;

    /// What the detail screen shows: the diagnosis while diagnosed, the saved one under the sheet.
    [[nodiscard]] const std::optional<DiagnoseFlow::Diagnosed> &shownDiagnosis() const;
    /// The fix running in the sheet, while one is open.
    [[nodiscard]] const std::optional<Remediation> &sheetRemediation() const { return m_sheetRemediation; }
    [[nodiscard]] bool sheetOpen() const { return m_sheetRemediation.has_value(); }
    /// Whether the open sheet is the ~/.zprofile diff sheet rather than the streaming one.
    [[nodiscard]] bool sheetIsZprofile() const;
    /// The open sheet's model, when this model hosts its sheets; null otherwise.
    [[nodiscard]] RemediationSheetModel *remediationSheet() const { return m_remediationSheet; }
    [[nodiscard]] ZprofileDiffSheetModel *zprofileSheet() const { return m_zprofileSheet; }
    /// The fix being remediated, verified or completed.
    [[nodiscard]] const std::optional<Remediation> &remediation() const { return m_remediation; }
    [[nodiscard]] const std::optional<Verifier::Result> &result() const { return m_result; }
    /// The completed or error page's message, as the fix sequence wrote it (`detail` shows its
    /// Markdown link as plain text).
    [[nodiscard]] const QString &message() const { return m_message; }
    [[nodiscard]] const std::optional<SystemProfile> &freshProfile() const { return m_freshProfile; }

signals:
    void changed();
    void sheetRequested(const Remediation &remediation);
    void sheetClosed();
    /// Back to the home screen, from the simplified completion.
    void homeRequested();

private:
    void setState(State state);
    void diagnoseOnWorker(std::optional<SystemProfile> profile);
    void showDiagnosed(const SystemProfile &profile, const DiagnoseFlow::Diagnosed &diagnosed);
    void verifyOnWorker();
    void openSheet(const Remediation &remediation);
    void closeSheet();
    /// Runs `work` on the global pool and hands its result to `done` on the UI thread, unless
    /// this model is gone by then.
    template <typename Work, typename Done> void onWorker(Work work, Done done);
    /// The Temurin version of "Install Java directly", when the D1 fix offers it.
    [[nodiscard]] std::optional<int> directInstallVersion() const;

    ScreenContext m_context;
    DiagnoseFlow m_flow;
    std::function<void()> m_pushAudit;
    NpsCardModel *m_npsCard;
    std::optional<SystemProfile> m_launchProfile;
    std::optional<SystemProfile> m_freshProfile;
    std::optional<int> m_knownLTSMajor;
    std::shared_future<int> m_pendingLTSMajor;

    State m_state = State::Probing;
    bool m_started = false;
    bool m_busy = false;
    std::optional<DiagnoseFlow::Diagnosed> m_diagnosed;
    std::optional<DiagnoseFlow::Diagnosed> m_lastDiagnosed; // saved when a fix starts, never cleared
    std::optional<Remediation> m_remediation;
    std::optional<Remediation> m_sheetRemediation;
    Sheets m_sheets;
    RemediationSheetModel *m_remediationSheet = nullptr;
    ZprofileDiffSheetModel *m_zprofileSheet = nullptr;
    SimplifiedCompletionModel *m_simplifiedCompletion = nullptr;
    std::optional<Verifier::Result> m_result;
    QString m_message;

    ProcessCancellation m_cancellation;
    QFuture<void> m_work;
};
