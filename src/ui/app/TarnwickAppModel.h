#pragma once

#include "diagnosis/SystemProfile.h"
#include "services/ProcessCancellation.h"
#include "ui/app/ConsentViewModel.h"
#include "ui/app/WelcomeViewModel.h"
#include "ui/audit/StagedAuditFlowModel.h"
#include "ui/common/ScreenContext.h"
#include "ui/diagnose/DiagnoseViewModel.h"

#include <QFuture>
#include <QList>
#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <future>
#include <optional>

/// The app's root: consent gate, navigation path, and the Mac's profile, which the start-up work
/// fills in on a worker thread. Creates the consent and welcome models; screens pushed onto the
/// path read the profile from here through `profile()`.
class TarnwickAppModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by main()")
    Q_PROPERTY(QString windowTitle READ windowTitle CONSTANT FINAL)
    Q_PROPERTY(QString notice READ notice CONSTANT FINAL)
    Q_PROPERTY(bool hasConsented READ hasConsented NOTIFY pageChanged FINAL)
    Q_PROPERTY(Page page READ page NOTIFY pageChanged FINAL)
    Q_PROPERTY(ConsentViewModel *consent READ consent CONSTANT FINAL)
    Q_PROPERTY(WelcomeViewModel *welcome READ welcome CONSTANT FINAL)
    Q_PROPERTY(DiagnoseViewModel *diagnose READ diagnose NOTIFY pageChanged FINAL)
    Q_PROPERTY(bool hasProfile READ hasProfile NOTIFY profileChanged FINAL)
    Q_PROPERTY(StagedAuditFlowModel *audit READ audit NOTIFY pageChanged FINAL)
public:
    /// Where the user can go from Welcome; the path is a stack of these.
    enum class Screen { diagnose, audit };
    Q_ENUM(Screen)
    /// What the window shows: the path's top, or consent/welcome when the path is empty.
    /// Capitalised because QML reads these values by name.
    enum class Page { Consent, Welcome, Diagnose, Audit };
    Q_ENUM(Page)

    /// `notice` is the one line that says the Mac is simulated (empty on live services).
    /// `adoptiumBaseURL` empty means Adoptium's own.
    TarnwickAppModel(ScreenContext context, QString notice, QObject *parent = nullptr, QUrl adoptiumBaseURL = {});
    /// Stops the start-up work and waits for it, so no worker outlives the services it uses.
    ~TarnwickAppModel() override;

    /// Once, when the window is up: records app_launched and profiles the Mac off the UI thread.
    /// `profileChanged` follows when the profile is in.
    Q_INVOKABLE void start();

    Q_INVOKABLE void push(TarnwickAppModel::Screen screen);
    /// Back one screen; nothing happens on an empty path.
    Q_INVOKABLE void pop();
    /// Back to Welcome.
    Q_INVOKABLE void clearPath();

    [[nodiscard]] QString windowTitle() const;
    [[nodiscard]] QString notice() const { return m_notice; }
    [[nodiscard]] bool hasConsented() const { return m_hasConsented; }
    [[nodiscard]] Page page() const;
    [[nodiscard]] const QList<Screen> &path() const { return m_path; }
    [[nodiscard]] ConsentViewModel *consent() const { return m_consent; }
    [[nodiscard]] WelcomeViewModel *welcome() const { return m_welcome; }
    /// The diagnose screen's model while `diagnose` is on the path; a new one each visit.
    [[nodiscard]] DiagnoseViewModel *diagnose() const { return m_diagnose; }
    /// The audit's model while `audit` is on the path; a new one each visit.
    [[nodiscard]] StagedAuditFlowModel *audit() const { return m_audit; }
    [[nodiscard]] bool hasProfile() const { return m_profile.has_value(); }
    [[nodiscard]] const std::optional<SystemProfile> &profile() const { return m_profile; }
    /// The Temurin major a D1 install gets, once the look-up begun at Welcome is in (the
    /// fall-back when Adoptium could not say).
    [[nodiscard]] std::optional<int> ltsMajor() const { return m_ltsMajor; }

signals:
    void pageChanged();
    void profileChanged();
    void ltsMajorChanged();

private:
    void setProfile(const SystemProfile &profile);
    /// Lets go of the models of screens no longer on the path.
    void dropLeftScreens();
    /// After consent, once the window is up: asks Adoptium for the latest LTS on a worker, so
    /// a D1 diagnosis needs no waiting by the time the user asks for it.
    void prefetchLTS();

    ScreenContext m_context;
    QString m_notice;
    bool m_hasConsented;
    QList<Screen> m_path;
    std::optional<SystemProfile> m_profile;
    ConsentViewModel *m_consent;
    WelcomeViewModel *m_welcome;
    DiagnoseViewModel *m_diagnose = nullptr;
    StagedAuditFlowModel *m_audit = nullptr;
    bool m_started = false;
    ProcessCancellation m_startUpCancellation;
    QFuture<void> m_startUp;
    std::optional<int> m_ltsMajor;
    /// The look-up's answer while it is under way, for a diagnose screen pushed before it is in.
    std::shared_future<int> m_ltsPending;
    QUrl m_adoptiumBaseURL;
    QFuture<void> m_ltsLookUp;
};
