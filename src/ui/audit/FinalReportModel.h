#pragma once

#include "diagnosis/SystemProfile.h"
#include "services/ProcessCancellation.h"
#include "ui/common/NpsCardModel.h"
#include "ui/common/ScreenContext.h"

#include <QFuture>
#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <functional>

/// The audit's closing report: the tools, Homebrew and the terminal, as the Mac is when the report
/// appears (profiled again on a worker, so fixes made during the audit show), and the satisfaction
/// card once per visit.
class FinalReportModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the audit flow's model")
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString explainer READ explainer CONSTANT FINAL)
    Q_PROPERTY(QString articleLinkText READ articleLinkText CONSTANT FINAL)
    Q_PROPERTY(QString doneText READ doneText CONSTANT FINAL)
    /// auditRowMap rows; a suggestion row is a link to Warp's page.
    Q_PROPERTY(QVariantList rows READ rows NOTIFY changed FINAL)
    Q_PROPERTY(bool busy READ busy NOTIFY changed FINAL)
    Q_PROPERTY(bool showsNpsCard READ showsNpsCard NOTIFY changed FINAL)
    Q_PROPERTY(NpsCardModel *npsCard READ npsCard CONSTANT FINAL)
public:
    FinalReportModel(const ScreenContext &context, SystemProfile initialProfile, std::function<void()> onDone, QObject *parent = nullptr);
    ~FinalReportModel() override;

    /// When the report appears: profiles the Mac again, then offers the card. Only the first call
    /// does anything.
    Q_INVOKABLE void start();
    /// "Done — back to home".
    Q_INVOKABLE void done();
    Q_INVOKABLE void openWarp();
    Q_INVOKABLE void openArticle() const;

    [[nodiscard]] QString title() const { return QStringLiteral("Your Mac at a glance"); }
    [[nodiscard]] QString explainer() const { return QStringLiteral("Here's what we found while running the system audit."); }
    [[nodiscard]] QString articleLinkText() const { return QStringLiteral("Read the article on Ferrowood"); }
    [[nodiscard]] QString doneText() const { return QStringLiteral("Done — back to home"); }
    [[nodiscard]] QVariantList rows() const;
    [[nodiscard]] bool busy() const { return m_busy; }
    [[nodiscard]] bool showsNpsCard() const { return m_profiled && m_npsCard->shown(); }
    [[nodiscard]] NpsCardModel *npsCard() const { return m_npsCard; }
    [[nodiscard]] const SystemProfile &profile() const { return m_freshProfile ? *m_freshProfile : m_initialProfile; }

signals:
    void changed();

private:
    ScreenContext m_context;
    SystemProfile m_initialProfile;
    std::optional<SystemProfile> m_freshProfile;
    std::function<void()> m_onDone;
    NpsCardModel *m_npsCard;
    bool m_started = false;
    bool m_busy = false;
    bool m_profiled = false;
    ProcessCancellation m_cancellation;
    QFuture<void> m_work;
};
