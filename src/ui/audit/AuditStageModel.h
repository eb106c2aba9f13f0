#pragma once

#include "diagnosis/AuditStages.h"
#include "diagnosis/SystemProfile.h"
#include "ui/common/ScreenContext.h"
#include "ui/diagnose/RemediationSheetModel.h"

#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

/// An audit row as the views read it: {mark, markName (what a screen reader says for the mark),
/// colour ("good"/"missing"/"suggestion"), text, block}.
[[nodiscard]] QVariantMap auditRowMap(const AuditRow &row, const QString &block = {});

/// One page of the system audit: the foundations (Homebrew, the Command Line Tools, macOS) or the
/// terminal recommendation. Its install buttons run their fix in the remediation sheet; when a
/// foundations fix closes, `refreshRequested` asks the flow for a new profile, which comes back
/// through `setProfile`. Leaving the page is always the person's choice (`skip`).
class AuditStageModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the audit flow's model")
    Q_PROPERTY(Stage stage READ stage CONSTANT FINAL)
    Q_PROPERTY(QString pageObjectName READ pageObjectName CONSTANT FINAL)
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString explainer READ explainer CONSTANT FINAL)
    Q_PROPERTY(QString articleLinkText READ articleLinkText CONSTANT FINAL)
    /// The foundations' findings (auditRowMap); a row the page says more about names its block
    /// ("homebrew", "tools", "macos") and carries the block's texts.
    Q_PROPERTY(QVariantList rows READ rows NOTIFY changed FINAL)
    Q_PROPERTY(QString homebrewIntro READ homebrewIntro CONSTANT FINAL)
    Q_PROPERTY(QString homebrewCommand READ homebrewCommand CONSTANT FINAL)
    Q_PROPERTY(QString homebrewNote READ homebrewNote CONSTANT FINAL)
    Q_PROPERTY(QString toolsNote READ toolsNote CONSTANT FINAL)
    Q_PROPERTY(QString toolsLinkText READ toolsLinkText CONSTANT FINAL)
    Q_PROPERTY(QString macOSLinkText READ macOSLinkText CONSTANT FINAL)
    /// The install button's text (in the Homebrew block on the foundations page); empty when the
    /// page offers none.
    Q_PROPERTY(QString installText READ installText NOTIFY changed FINAL)
    Q_PROPERTY(QString disclosure READ disclosure NOTIFY changed FINAL)
    Q_PROPERTY(QString warpLinkText READ warpLinkText CONSTANT FINAL)
    Q_PROPERTY(QString skipText READ skipText CONSTANT FINAL)
    Q_PROPERTY(bool refreshing READ refreshing NOTIFY changed FINAL)
    Q_PROPERTY(RemediationSheetModel *remediationSheet READ remediationSheet NOTIFY changed FINAL)
public:
    enum class Stage { Foundations, Terminal };
    Q_ENUM(Stage)

    AuditStageModel(const ScreenContext &context, Stage stage, const SystemProfile &profile, QObject *parent = nullptr);
    /// Stops a running fix first: its worker uses this model's context.
    ~AuditStageModel() override;

    /// Warp's Mac terminal page with the referral keys; the host is TARNWICK_WARP_URL when that is
    /// an http(s) address, else Warp's public site.
    [[nodiscard]] static QUrl warpURL();

    [[nodiscard]] Stage stage() const { return m_stage; }
    [[nodiscard]] QString stageId() const;
    [[nodiscard]] QString pageObjectName() const;
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString explainer() const;
    [[nodiscard]] QString articleLinkText() const { return QStringLiteral("Read the article on Ferrowood"); }
    [[nodiscard]] QVariantList rows() const;
    [[nodiscard]] QString homebrewIntro() const { return QStringLiteral("We'll run the official Homebrew install script:"); }
    [[nodiscard]] QString homebrewCommand() const;
    [[nodiscard]] QString homebrewNote() const;
    [[nodiscard]] QString toolsNote() const;
    [[nodiscard]] QString toolsLinkText() const { return QStringLiteral("Read the article on Ferrowood →"); }
    [[nodiscard]] QString macOSLinkText() const { return QStringLiteral("How to update macOS →"); }
    [[nodiscard]] QString installText() const;
    [[nodiscard]] QString disclosure() const;
    [[nodiscard]] QString warpLinkText() const { return QStringLiteral("Learn more about Warp →"); }
    [[nodiscard]] QString skipText() const;
    [[nodiscard]] bool refreshing() const { return m_refreshing; }
    [[nodiscard]] RemediationSheetModel *remediationSheet() const { return m_sheet; }
    /// The fix the install button starts, when the page offers one.
    [[nodiscard]] std::optional<Remediation> offeredFix() const;
    [[nodiscard]] const SystemProfile &profile() const { return m_profile; }

    /// A new profile after a fix; the page shows what it finds.
    void setProfile(const SystemProfile &profile);
    /// The flow is profiling the Mac again for this page.
    void setRefreshing(bool refreshing);

    Q_INVOKABLE void install();
    Q_INVOKABLE void openToolsArticle();
    Q_INVOKABLE void openMacOSArticle();
    /// The link under a foundations row: its block's article.
    Q_INVOKABLE void openRowLink(const QString &block);
    Q_INVOKABLE void openWarp();
    Q_INVOKABLE void openArticle() const;
    /// "Continue" or "Maybe later": on to the next stage.
    Q_INVOKABLE void skip();

signals:
    void changed();
    void sheetRequested();
    void sheetClosed();
    void advanced();
    /// A foundations fix ended: the Mac may have changed.
    void refreshRequested();

private:
    void openOutbound(const QString &tool, const QUrl &url);
    void closeSheet();

    ScreenContext m_context;
    Stage m_stage;
    SystemProfile m_profile;
    bool m_refreshing = false;
    RemediationSheetModel *m_sheet = nullptr;
};
