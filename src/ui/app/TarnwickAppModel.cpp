#include "ui/app/TarnwickAppModel.h"

#include "diagnosis/SystemProfiler.h"
#include "runners/AdoptiumAPI.h"
#include "runners/DiagnoseFlow.h"
#include "services/ProgramRunner.h"
#include "telemetry/TelemetryEvents.h"
#include "ui/app/ConsentViewModel.h"
#include "ui/app/WelcomeViewModel.h"

#include <QPointer>
#include <QtConcurrent>

TarnwickAppModel::TarnwickAppModel(ScreenContext context, QString notice, QObject *parent, QUrl adoptiumBaseURL)
    : QObject(parent),
      m_context(std::move(context)),
      m_notice(std::move(notice)),
      m_hasConsented(m_context.services.store->boolValue(QString::fromLatin1(ConsentViewModel::kConsentedKey))),
      m_consent(new ConsentViewModel(m_context, this)),
      m_welcome(new WelcomeViewModel(m_context, this)),
      m_adoptiumBaseURL(adoptiumBaseURL.isEmpty() ? AdoptiumAPI::defaultBaseURL() : std::move(adoptiumBaseURL))
{
    connect(m_consent, &ConsentViewModel::accepted, this, [this] {
        m_hasConsented = true;
        emit pageChanged();
        if (m_started)
            prefetchLTS();
    });
    connect(m_welcome, &WelcomeViewModel::diagnoseRequested, this, [this] { push(Screen::diagnose); });
}

TarnwickAppModel::~TarnwickAppModel()
{
    m_startUpCancellation.cancel();
    m_startUp.waitForFinished();
    m_ltsLookUp.waitForFinished();
}

void TarnwickAppModel::start()
{
    if (m_started)
        return;
    m_started = true;
    QPointer<TarnwickAppModel> guard(this);
    m_startUp = QtConcurrent::run(m_context.workers, [guard, context = m_context, cancellation = &m_startUpCancellation] {
        context.telemetry->track(TelemetryEvents::appLaunched());
        const SystemProfiler profiler(ProgramRunner(context.services.processRunner), context.services.fs, context.platform);
        const SystemProfile profile = profiler.profile(cancellation);
        // A cancelled profile is incomplete; the model is going away and must not see it.
        if (cancellation->isCanceled())
            return;
        QMetaObject::invokeMethod(guard, [guard, profile] {
            if (guard)
                guard->setProfile(profile);
        }, Qt::QueuedConnection);
    });
    if (m_hasConsented)
        prefetchLTS();
}

void TarnwickAppModel::prefetchLTS()
{
    if (m_ltsPending.valid())
        return;
    auto answer = std::make_shared<std::promise<int>>();
    m_ltsPending = answer->get_future().share();
    QPointer<TarnwickAppModel> guard(this);
    const DiagnoseFlow flow(m_context.services, m_context.platform, m_adoptiumBaseURL);
    m_ltsLookUp = QtConcurrent::run(m_context.workers, [guard, flow, answer, cancellation = &m_startUpCancellation] {
        const int major = flow.latestLTSMajor(cancellation);
        // Always answered, so a diagnose screen waiting on it never waits for ever.
        answer->set_value(major);
        if (cancellation->isCanceled())
            return;
        QMetaObject::invokeMethod(guard, [guard, major] {
            if (!guard)
                return;
            guard->m_ltsMajor = major;
            emit guard->ltsMajorChanged();
        }, Qt::QueuedConnection);
    });
}

void TarnwickAppModel::setProfile(const SystemProfile &profile)
{
    m_profile = profile;
    emit profileChanged();
}

void TarnwickAppModel::push(Screen screen)
{
    if (screen == Screen::diagnose && !m_path.contains(Screen::diagnose)) {
        m_diagnose = new DiagnoseViewModel(m_context, m_profile, [this] { push(Screen::audit); }, this, m_adoptiumBaseURL,
                                           DiagnoseViewModel::Sheets::hosted);
        if (m_ltsMajor)
            m_diagnose->setKnownLTSMajor(*m_ltsMajor);
        else if (m_ltsPending.valid())
            m_diagnose->setPendingLTSMajor(m_ltsPending); // Adoptium is asked once
        connect(m_diagnose, &DiagnoseViewModel::homeRequested, this, &TarnwickAppModel::clearPath);
    }
    if (screen == Screen::audit && !m_path.contains(Screen::audit)) {
        // A fix run on the way here changed the Mac: the audit looks at it afresh.
        const bool macChanged = m_diagnose && m_diagnose->remediation();
        m_audit = new StagedAuditFlowModel(m_context, macChanged ? std::nullopt : m_profile, [this] { clearPath(); }, this);
    }
    m_path.append(screen);
    emit pageChanged();
}

void TarnwickAppModel::pop()
{
    if (m_path.isEmpty())
        return;
    m_path.removeLast();
    dropLeftScreens();
    emit pageChanged();
}

void TarnwickAppModel::clearPath()
{
    if (m_path.isEmpty())
        return;
    m_path.clear();
    dropLeftScreens();
    emit pageChanged();
}

void TarnwickAppModel::dropLeftScreens()
{
    // Later, once the view that shows it has let go; its destructor waits for its worker.
    if (m_diagnose && !m_path.contains(Screen::diagnose)) {
        m_diagnose->deleteLater();
        m_diagnose = nullptr;
    }
    if (m_audit && !m_path.contains(Screen::audit)) {
        m_audit->deleteLater();
        m_audit = nullptr;
    }
}

QString TarnwickAppModel::windowTitle() const { return QStringLiteral("Tarnwick"); }

TarnwickAppModel::Page TarnwickAppModel::page() const
{
    if (!m_hasConsented)
        return Page::Consent;
    if (m_path.isEmpty())
        return Page::Welcome;
    return m_path.last() == Screen::diagnose ? Page::Diagnose : Page::Audit;
}
