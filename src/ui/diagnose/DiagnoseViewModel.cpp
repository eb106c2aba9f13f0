#include "ui/diagnose/DiagnoseViewModel.h"

#include "diagnosis/VerifyVerdict.h"
#include "runners/AdoptiumAPI.h"
#include "telemetry/TelemetryEvents.h"
#include <QPointer>
#include <QRegularExpression>
#include <QtConcurrent>

namespace TE = TelemetryEvents;

namespace {

// "[text](address)", the one piece of Markdown a failure message carries.
const QRegularExpression &markdownLink()
{
    static const QRegularExpression link(QStringLiteral(R"(\[([^\]]+)\]\(([^)\s]+)\))"));
    return link;
}

} // namespace

DiagnoseViewModel::DiagnoseViewModel(const ScreenContext &context, std::optional<SystemProfile> launchProfile,
                                     std::function<void()> pushAudit, QObject *parent, QUrl adoptiumBaseURL, Sheets sheets)
    : QObject(parent),
      m_context(context),
      m_flow(context.services, context.platform, adoptiumBaseURL.isEmpty() ? AdoptiumAPI::defaultBaseURL() : adoptiumBaseURL),
      m_pushAudit(std::move(pushAudit)),
      m_npsCard(new NpsCardModel(context.services.store, context.telemetry, this)),
      m_launchProfile(std::move(launchProfile)),
      m_sheets(sheets)
{
    connect(m_npsCard, &NpsCardModel::submitted, this, &DiagnoseViewModel::changed);
    connect(m_npsCard, &NpsCardModel::dismissed, this, &DiagnoseViewModel::changed);
}

DiagnoseViewModel::~DiagnoseViewModel()
{
    m_cancellation.cancel();
    m_work.waitForFinished();
}

template <typename Work, typename Done> void DiagnoseViewModel::onWorker(Work work, Done done)
{
    m_busy = true;
    emit changed();
    QPointer<DiagnoseViewModel> guard(this);
    m_work = QtConcurrent::run(m_context.workers, [guard, work = std::move(work), done = std::move(done), cancellation = &m_cancellation] {
        auto result = work(cancellation);
        // A cancelled run's result is incomplete; the model is going away and must not see it.
        if (cancellation->isCanceled())
            return;
        QMetaObject::invokeMethod(guard, [guard, done, result = std::move(result)] {
            if (!guard)
                return;
            guard->m_busy = false;
            done(result);
            emit guard->changed();
        }, Qt::QueuedConnection);
    });
}

void DiagnoseViewModel::start()
{
    if (m_started || m_state != State::Probing)
        return;
    m_started = true;
    m_freshProfile = m_launchProfile;
    // Nothing to wait for: the page appears with the screen, never a probing flash.
    if (m_launchProfile) {
        if (const std::optional<DiagnoseFlow::Diagnosed> diagnosed = m_flow.diagnoseAtOnce(*m_launchProfile, m_knownLTSMajor)) {
            showDiagnosed(*m_launchProfile, *diagnosed);
            return;
        }
    }
    diagnoseOnWorker(m_launchProfile);
}

void DiagnoseViewModel::diagnoseOnWorker(std::optional<SystemProfile> profile)
{
    const DiagnoseFlow *flow = &m_flow;
    onWorker(
        [flow, profile, lts = m_knownLTSMajor, pending = m_pendingLTSMajor](ProcessCancellation *cancellation) {
            const SystemProfile used = profile ? *profile : flow->profile(cancellation);
            std::optional<DiagnoseFlow::Diagnosed> diagnosed = flow->diagnoseAtOnce(used, lts);
            if (!diagnosed && pending.valid()) {
                // Polled, so that a screen going away is not held until Adoptium answers.
                while (pending.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready)
                    if (cancellation->isCanceled())
                        return std::pair(used, DiagnoseFlow::Diagnosed {Diagnosis::unknown({}), std::nullopt, std::nullopt}); // thrown away
                diagnosed = flow->diagnoseAtOnce(used, pending.get());
            }
            return std::pair(used, diagnosed ? *diagnosed : flow->diagnose(used, cancellation));
        },
        [this](const std::pair<SystemProfile, DiagnoseFlow::Diagnosed> &done) { showDiagnosed(done.first, done.second); });
}

void DiagnoseViewModel::showDiagnosed(const SystemProfile &profile, const DiagnoseFlow::Diagnosed &diagnosed)
{
    if (m_state != State::Probing)
        return;
    m_freshProfile = profile;
    m_diagnosed = diagnosed;
    // Before the state: the no-errors page sends nps_shown as it appears.
    m_context.telemetry->track(TE::diagnosisReached(diagnosed.diagnosis));
    setState(State::Diagnosed);
}

void DiagnoseViewModel::remediate(const Remediation &remediation)
{
    if (m_state != State::Diagnosed)
        return;
    m_lastDiagnosed = m_diagnosed;
    m_context.telemetry->track(TE::remediationApplied(remediation));
    m_remediation = remediation;
    m_sheetRemediation = remediation;
    setState(State::Remediating);
    openSheet(remediation);
}

void DiagnoseViewModel::remediatePrimary()
{
    if (m_state != State::Diagnosed || !m_diagnosed)
        return;
    if (const std::optional<Remediation> fix = m_diagnosed->remediation())
        remediate(*fix);
}

void DiagnoseViewModel::remediateSecondary()
{
    if (m_state != State::Diagnosed)
        return;
    if (const std::optional<int> version = directInstallVersion())
        remediate(Remediation::installViaPKG(*version));
}

void DiagnoseViewModel::openSheet(const Remediation &remediation)
{
    if (m_sheets == Sheets::hosted) {
        // The sheet ends through its own buttons; its outcome drives this model on.
        if (remediation.kind() == Remediation::Kind::writeJavaHomeToZprofile) {
            m_zprofileSheet = new ZprofileDiffSheetModel(m_context, remediation, this);
            connect(m_zprofileSheet, &ZprofileDiffSheetModel::finished, this, &DiagnoseViewModel::finish);
        } else {
            m_remediationSheet = new RemediationSheetModel(m_context, remediation, this);
            connect(m_remediationSheet, &RemediationSheetModel::finished, this, &DiagnoseViewModel::finish);
        }
        emit changed();
    }
    emit sheetRequested(remediation);
}

void DiagnoseViewModel::closeSheet()
{
    m_sheetRemediation.reset();
    // Not deleted at once: closing may come from the sheet's own signal. Its destructor stops
    // and joins its worker.
    for (QObject *sheet : {static_cast<QObject *>(m_remediationSheet), static_cast<QObject *>(m_zprofileSheet)}) {
        if (sheet)
            sheet->deleteLater();
    }
    m_remediationSheet = nullptr;
    m_zprofileSheet = nullptr;
    emit sheetClosed();
}

void DiagnoseViewModel::finish(const FixSequence::Outcome &outcome)
{
    if (m_state != State::Remediating || !m_remediation)
        return;
    closeSheet();
    switch (outcome.kind) {
    case FixSequence::Outcome::Kind::success:
        if (m_remediation->needsNoJavaCheck()) {
            m_message = outcome.message;
            setState(State::Completed);
        } else {
            setState(State::Verifying);
            verifyOnWorker();
        }
        break;
    case FixSequence::Outcome::Kind::failure:
        m_message = outcome.message;
        setState(State::Error);
        break;
    case FixSequence::Outcome::Kind::canceled:
        if (m_lastDiagnosed) {
            m_diagnosed = m_lastDiagnosed;
            setState(State::Diagnosed);
        } else {
            emit changed(); // the sheet is gone; the state stays
        }
        break;
    }
}

void DiagnoseViewModel::verifyOnWorker()
{
    const DiagnoseFlow *flow = &m_flow;
    onWorker([flow](ProcessCancellation *cancellation) { return flow->verify(cancellation); },
             [this](const Verifier::Result &result) {
                 if (m_state != State::Verifying || !m_remediation)
                     return;
                 m_result = result;
                 setState(State::Verified);
                 const VerifyVerdict verdict = VerifyVerdict::judge(*m_remediation, result);
                 if (verdict.passed)
                     m_context.telemetry->track(TE::verifyPassed(result.javaVersionOutput));
                 else
                     m_context.telemetry->track(TE::verifyFailed(result.javaVersionExitCode, result.javaVersionOutput));
                 if (verdict.offersJavaHome.value_or(false))
                     m_context.telemetry->track(TE::verifyOfferedR2(*m_remediation));
             });
}

void DiagnoseViewModel::back()
{
    if ((m_state != State::Verified && m_state != State::Error) || !m_lastDiagnosed)
        return;
    m_diagnosed = m_lastDiagnosed;
    setState(State::Diagnosed);
}

void DiagnoseViewModel::setJavaHome()
{
    if (m_state != State::Verified || m_busy || !offersJavaHome())
        return;
    const DiagnoseFlow *flow = &m_flow;
    onWorker([flow](ProcessCancellation *cancellation) { return flow->javaHomeFollowUp(cancellation); },
             [this](const DiagnoseFlow::JavaHomeFollowUp &followUp) {
                 if (m_state != State::Verified)
                     return;
                 m_freshProfile = followUp.profile;
                 if (!followUp.fix || !followUp.fix->d2Remediation) {
                     continueToAudit();
                     return;
                 }
                 m_lastDiagnosed = followUp.fix;
                 const Remediation fix = *followUp.fix->d2Remediation;
                 m_context.telemetry->track(TE::remediationApplied(fix));
                 m_remediation = fix;
                 m_sheetRemediation = fix;
                 setState(State::Remediating);
                 openSheet(fix);
             });
}

void DiagnoseViewModel::continueToAudit()
{
    if (endsSimply()) {
        if (!m_simplifiedCompletion) {
            m_simplifiedCompletion = new SimplifiedCompletionModel(m_context, [this] { emit homeRequested(); }, this);
            emit changed();
        }
        return;
    }
    if (m_pushAudit)
        m_pushAudit();
}

bool DiagnoseViewModel::endsSimply() const
{
    // The profile is the one the diagnosis was made from; of the fixes, only one brings developer
    // tools (Homebrew) with it, and after that the Mac is a developer's.
    return passed() && m_freshProfile && !m_freshProfile->likelyDeveloper()
        && m_remediation->kind() != Remediation::Kind::installHomebrewThenTemurin;
}

void DiagnoseViewModel::openLink() const
{
    const std::optional<DiagnoseFlow::Diagnosed> &shown = shownDiagnosis();
    if (!shown || linkText().isEmpty())
        return;
    const bool d2 = shown->diagnosis.kind() == Diagnosis::Kind::D2_HomeUnset;
    m_context.openLink(m_context.site.page(d2 ? QStringLiteral("/java/java-home") : QStringLiteral("/java/download")));
}

void DiagnoseViewModel::openTroubleshootingArticle() const
{
    m_context.openLink(m_context.site.page(QStringLiteral("/java/unable-to-locate")));
}

QString DiagnoseViewModel::messageLinkText() const
{
    return m_state == State::Error ? markdownLink().match(m_message).captured(1) : QString();
}

QUrl DiagnoseViewModel::messageLinkURL() const
{
    return m_state == State::Error ? QUrl(markdownLink().match(m_message).captured(2)) : QUrl();
}

void DiagnoseViewModel::openMessageLink() const
{
    const QUrl url = messageLinkURL();
    if (url.scheme() == QStringLiteral("https") || url.scheme() == QStringLiteral("http"))
        m_context.openLink(url);
}

void DiagnoseViewModel::setState(State state)
{
    m_state = state;
    if (showsNpsCard())
        m_npsCard->appeared();
    emit changed();
}

const std::optional<DiagnoseFlow::Diagnosed> &DiagnoseViewModel::shownDiagnosis() const
{
    static const std::optional<DiagnoseFlow::Diagnosed> none;
    switch (m_state) {
    case State::Diagnosed: return m_diagnosed;
    case State::Remediating: return m_lastDiagnosed;
    default: return none;
    }
}

bool DiagnoseViewModel::sheetIsZprofile() const
{
    return m_sheetRemediation && m_sheetRemediation->kind() == Remediation::Kind::writeJavaHomeToZprofile;
}

std::optional<int> DiagnoseViewModel::directInstallVersion() const
{
    const std::optional<DiagnoseFlow::Diagnosed> &shown = shownDiagnosis();
    if (!shown || !shown->d1Remediation || shown->d1Remediation->kind() != Remediation::Kind::installHomebrewThenTemurin)
        return std::nullopt;
    static const QRegularExpression versioned(QStringLiteral("^temurin@([0-9]+)$"));
    const QRegularExpressionMatch match = versioned.match(shown->d1Remediation->temurinCask());
    bool ok = false;
    const int version = match.hasMatch() ? match.captured(1).toInt(&ok) : 0;
    return ok ? std::optional(version) : std::nullopt;
}

QString DiagnoseViewModel::title() const
{
    switch (m_state) {
    case State::Probing: return QStringLiteral("Diagnosing Java…");
    case State::Diagnosed:
    case State::Remediating: return shownDiagnosis() ? shownDiagnosis()->diagnosis.headline() : QString();
    case State::Verifying: return QStringLiteral("Verifying…");
    case State::Verified: return m_remediation && m_result ? VerifyVerdict::judge(*m_remediation, *m_result).headline : QString();
    // The runner's success message ("Warp installed.") is the whole page.
    case State::Completed: return m_message;
    case State::Error: return QStringLiteral("Something went wrong");
    }
    Q_UNREACHABLE();
}

QString DiagnoseViewModel::titleObjectName() const
{
    switch (m_state) {
    case State::Diagnosed:
    case State::Remediating: return QStringLiteral("diagnose-headline");
    case State::Verified:
        return m_remediation && m_result ? VerifyVerdict::judge(*m_remediation, *m_result).headlineIdentifier : QString();
    default: return QStringLiteral("diagnose-title");
    }
}

QString DiagnoseViewModel::detail() const
{
    switch (m_state) {
    case State::Probing: return QStringLiteral("Running three quick checks to figure out what's going on.");
    case State::Diagnosed:
    case State::Remediating: return shownDiagnosis() ? shownDiagnosis()->diagnosis.explanation() : QString();
    case State::Verifying: return QStringLiteral("Re-running `java -version` in a fresh login shell to confirm the fix took.");
    case State::Verified: return m_remediation && m_result ? VerifyVerdict::judge(*m_remediation, *m_result).detail : QString();
    case State::Completed: return {};
    // Plain text: rich text's links are out of reach of assistive technology and keep their own
    // colour; the link is a control of its own (messageLinkText).
    case State::Error: return QString(m_message).replace(markdownLink(), QStringLiteral("\\1"));
    }
    Q_UNREACHABLE();
}

QString DiagnoseViewModel::detailObjectName() const
{
    switch (m_state) {
    case State::Probing:
    case State::Diagnosed:
    case State::Remediating: return QStringLiteral("diagnose-detail");
    default: return QStringLiteral("diagnose-message");
    }
}

QString DiagnoseViewModel::primaryText() const
{
    const std::optional<DiagnoseFlow::Diagnosed> &shown = shownDiagnosis();
    const std::optional<Remediation> fix = shown ? shown->remediation() : std::nullopt;
    return fix ? fix->title() : QString();
}

QString DiagnoseViewModel::primaryExplainer() const
{
    const std::optional<DiagnoseFlow::Diagnosed> &shown = shownDiagnosis();
    const std::optional<Remediation> fix = shown ? shown->remediation() : std::nullopt;
    return fix ? fix->explainer() : QString();
}

QString DiagnoseViewModel::placeholderText() const
{
    const std::optional<DiagnoseFlow::Diagnosed> &shown = shownDiagnosis();
    if (!shown)
        return {};
    if (shown->diagnosis.kind() == Diagnosis::Kind::D1_NoJDK && !shown->d1Remediation)
        return QStringLiteral("Detecting install method…");
    if (shown->diagnosis.kind() == Diagnosis::Kind::D2_HomeUnset && !shown->d2Remediation)
        return QStringLiteral("Choosing fix method…");
    return {};
}

QString DiagnoseViewModel::secondaryButtonText() const
{
    return directInstallVersion() ? QStringLiteral("Install Java directly") : QString();
}

QString DiagnoseViewModel::secondaryNote() const
{
    return directInstallVersion() ? QStringLiteral("Simpler for the non-developer — installs Java via Apple's package installer.")
                                  : QString();
}

QString DiagnoseViewModel::linkText() const
{
    const std::optional<DiagnoseFlow::Diagnosed> &shown = shownDiagnosis();
    if (!shown)
        return {};
    switch (shown->diagnosis.kind()) {
    case Diagnosis::Kind::D1_NoJDK: return directInstallVersion() ? QString() : QStringLiteral("Other Java install methods");
    case Diagnosis::Kind::D2_HomeUnset: return shown->d2Remediation ? QStringLiteral("Read the JAVA_HOME article") : QString();
    default: return {};
    }
}

QString DiagnoseViewModel::linkObjectName() const
{
    const std::optional<DiagnoseFlow::Diagnosed> &shown = shownDiagnosis();
    // On D1 with a fix the link is the secondary element; elsewhere it stands on its own.
    if (shown && shown->diagnosis.kind() == Diagnosis::Kind::D1_NoJDK)
        return shown->d1Remediation ? QStringLiteral("remediation-secondary-link") : QStringLiteral("other-install-methods-link");
    return QStringLiteral("java-home-article-link");
}

bool DiagnoseViewModel::showsContinue() const
{
    switch (m_state) {
    case State::Diagnosed:
    case State::Remediating: {
        const Diagnosis::Kind kind = shownDiagnosis() ? shownDiagnosis()->diagnosis.kind() : Diagnosis::Kind::D1_NoJDK;
        return kind == Diagnosis::Kind::noErrorsFound || kind == Diagnosis::Kind::unknown;
    }
    case State::Verified: return passed();
    case State::Completed: return true;
    default: return false;
    }
}

bool DiagnoseViewModel::showsNpsCard() const
{
    return m_state == State::Diagnosed && m_npsCard->shown() && m_diagnosed
        && m_diagnosed->diagnosis.kind() == Diagnosis::Kind::noErrorsFound;
}

bool DiagnoseViewModel::passed() const
{
    return m_state == State::Verified && m_remediation && m_result && VerifyVerdict::judge(*m_remediation, *m_result).passed;
}

bool DiagnoseViewModel::offersJavaHome() const
{
    return m_state == State::Verified && m_remediation && m_result
        && VerifyVerdict::judge(*m_remediation, *m_result).offersJavaHome.value_or(false);
}

QString DiagnoseViewModel::outputText() const
{
    return m_result ? VerifyVerdict::shownOutput(m_result->javaVersionOutput) : QString();
}

QString DiagnoseViewModel::javaHomeText() const
{
    return m_result ? VerifyVerdict::shownJavaHome(m_result->javaHomeValue) : QString();
}

QString DiagnoseViewModel::offerHeading() const { return QString::fromUtf8(VerifyVerdict::kOfferHeading); }
QString DiagnoseViewModel::offerButtonText() const { return QString::fromUtf8(VerifyVerdict::kOfferButton); }
