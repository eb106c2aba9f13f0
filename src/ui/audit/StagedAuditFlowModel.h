#pragma once

#include "diagnosis/SystemProfile.h"
#include "services/ProcessCancellation.h"
#include "telemetry/TelemetryEvents.h"
#include "ui/audit/AuditStageModel.h"
#include "ui/audit/FinalReportModel.h"
#include "ui/common/ScreenContext.h"

#include <QFuture>
#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

/// The system audit: its stages in a fixed order, each shown only when it has something to offer
/// on this Mac, then the closing report. The index only grows; a visit's events go out once.
class StagedAuditFlowModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the app's root model")
    Q_PROPERTY(AuditStageModel *stage READ stage NOTIFY changed FINAL)
    Q_PROPERTY(FinalReportModel *report READ report NOTIFY changed FINAL)
    Q_PROPERTY(bool busy READ busy NOTIFY changed FINAL)
    Q_PROPERTY(QString busyText READ busyText CONSTANT FINAL)
public:
    static constexpr int kStageCount = 2;

    /// `fallbackProfile` is the newest profile the app has, if any (without one the flow takes
    /// its own first); `goHome` clears the navigation path.
    StagedAuditFlowModel(const ScreenContext &context, std::optional<SystemProfile> fallbackProfile, std::function<void()> goHome,
                         QObject *parent = nullptr);
    ~StagedAuditFlowModel() override;

    /// How the stage at `index` ends for this Mac before anyone sees it.
    [[nodiscard]] static StageOutcome outcome(int index, const SystemProfile &profile);

    /// When the screen appears; only the first call does anything.
    Q_INVOKABLE void start();

    [[nodiscard]] int currentIndex() const { return m_currentIndex; }
    [[nodiscard]] AuditStageModel *stage() const { return m_stage; }
    [[nodiscard]] FinalReportModel *report() const { return m_report; }
    [[nodiscard]] bool busy() const { return !m_stage && !m_report; }
    [[nodiscard]] QString busyText() const { return QStringLiteral("Checking your Mac…"); }
    [[nodiscard]] std::optional<SystemProfile> profileInEffect() const { return m_freshProfile ? m_freshProfile : m_fallbackProfile; }

signals:
    void changed();

private:
    /// Sends the visit's events once, then shows the stage at the index (or the report).
    void begin();
    void showCurrent();
    void advance();
    /// Profiles the Mac on a worker into `freshProfile`, then runs `then` on the UI thread.
    void reprofile(std::function<void()> then);

    ScreenContext m_context;
    std::optional<SystemProfile> m_fallbackProfile;
    std::optional<SystemProfile> m_freshProfile;
    std::function<void()> m_goHome;
    int m_currentIndex = 0;
    bool m_started = false;
    bool m_didEmitAuditReached = false;
    AuditStageModel *m_stage = nullptr;
    FinalReportModel *m_report = nullptr;
    ProcessCancellation m_cancellation;
    QFuture<void> m_work;
};
