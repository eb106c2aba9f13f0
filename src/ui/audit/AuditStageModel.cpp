#include "ui/audit/AuditStageModel.h"

#include "runners/HomebrewInstaller.h"
#include "telemetry/TelemetryEvents.h"

#include <QUrlQuery>

namespace TE = TelemetryEvents;

namespace {

QString markText(AuditRow::Mark mark)
{
    switch (mark) {
    case AuditRow::Mark::good: return QStringLiteral("✓");
    case AuditRow::Mark::missing: return QStringLiteral("✗");
    case AuditRow::Mark::suggestion: return QStringLiteral("→");
    }
    Q_UNREACHABLE();
}

QString markName(AuditRow::Mark mark)
{
    switch (mark) {
    case AuditRow::Mark::good: return QStringLiteral("installed");
    case AuditRow::Mark::missing: return QStringLiteral("missing");
    case AuditRow::Mark::suggestion: return QStringLiteral("suggestion");
    }
    Q_UNREACHABLE();
}

} // namespace

QVariantMap auditRowMap(const AuditRow &row, const QString &block)
{
    // Every key a view reads is there, so that a row without a block binds empty texts.
    const QString colour = row.mark == AuditRow::Mark::good      ? QStringLiteral("good")
                         : row.mark == AuditRow::Mark::missing ? QStringLiteral("missing")
                                                               : QStringLiteral("suggestion");
    return {{QStringLiteral("mark"), markText(row.mark)}, {QStringLiteral("markName"), markName(row.mark)},
            {QStringLiteral("colour"), colour}, {QStringLiteral("text"), row.text}, {QStringLiteral("block"), block},
            {QStringLiteral("intro"), QString()}, {QStringLiteral("command"), QString()}, {QStringLiteral("note"), QString()},
            {QStringLiteral("linkText"), QString()}, {QStringLiteral("actionText"), QString()}};
}

AuditStageModel::AuditStageModel(const ScreenContext &context, Stage stage, const SystemProfile &profile, QObject *parent)
    : QObject(parent), m_context(context), m_stage(stage), m_profile(profile)
{
}

AuditStageModel::~AuditStageModel() { delete m_sheet; }

QUrl AuditStageModel::warpURL()
{
    const QUrl configured(qEnvironmentVariable("TARNWICK_WARP_URL"));
    const bool usable = configured.isValid() && (configured.scheme() == QLatin1String("https") || configured.scheme() == QLatin1String("http"))
                     && !configured.host().isEmpty();
    QUrl url = usable ? configured : QUrl(QStringLiteral("https://www.warp.dev"));
    url.setPath(QStringLiteral("/mac-terminal"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("utm_source"), QStringLiteral("ferrowood"));
    query.addQueryItem(QStringLiteral("utm_medium"), QStringLiteral("app"));
    query.addQueryItem(QStringLiteral("utm_campaign"), QStringLiteral("ferrowood_20260516"));
    query.addQueryItem(QStringLiteral("utm_content"), QStringLiteral("tarnwick_audit"));
    url.setQuery(query);
    url.setFragment({});
    return url;
}

QString AuditStageModel::stageId() const
{
    return QString::fromLatin1(m_stage == Stage::Foundations ? Stage1Foundations::kId : Stage2Terminal::kId);
}

QString AuditStageModel::pageObjectName() const
{
    return m_stage == Stage::Foundations ? QStringLiteral("audit-stage-foundations") : QStringLiteral("audit-stage-terminal");
}

QString AuditStageModel::title() const
{
    return m_stage == Stage::Foundations ? QStringLiteral("System check") : QStringLiteral("Try Warp — the AI-aware terminal");
}

QString AuditStageModel::explainer() const
{
    if (m_stage == Stage::Foundations)
        return QStringLiteral("Here's what we found.");
    return QStringLiteral("Warp is a modern macOS terminal with AI workflows, command suggestions, and a UI built for the way AI "
                          "coding actually feels. It's the terminal we recommend for AI-assisted development.");
}

QVariantList AuditStageModel::rows() const
{
    if (m_stage != Stage::Foundations)
        return {};
    QVariantList rows;
    // The findings decide which rows there are; a row this page knows more about gets its block.
    for (const AuditRow &row : Stage1Foundations::findings(m_profile)) {
        QVariantMap shown = auditRowMap(row);
        if (row.text == QLatin1String("Homebrew missing.")) {
            shown.insert({{QStringLiteral("block"), QStringLiteral("homebrew")}, {QStringLiteral("intro"), homebrewIntro()},
                          {QStringLiteral("command"), homebrewCommand()}, {QStringLiteral("note"), homebrewNote()},
                          {QStringLiteral("actionText"), installText()}});
        } else if (row.text == QLatin1String("Xcode Command Line Tools missing.")) {
            shown.insert({{QStringLiteral("block"), QStringLiteral("tools")}, {QStringLiteral("note"), toolsNote()},
                          {QStringLiteral("linkText"), toolsLinkText()}});
        } else if (row.text == QLatin1String("Your macOS is several versions behind the current release.")) {
            shown.insert({{QStringLiteral("block"), QStringLiteral("macos")}, {QStringLiteral("linkText"), macOSLinkText()}});
        }
        rows.append(shown);
    }
    return rows;
}

QString AuditStageModel::homebrewCommand() const
{
    return HomebrewInstaller::commandLine(HomebrewInstaller::defaultScriptURL()).value_or(QString());
}

QString AuditStageModel::homebrewNote() const
{
    return QStringLiteral("This is the same command you'd run from Terminal — we're just running it for you. macOS will prompt you "
                          "for your password. Homebrew will also install Xcode Command Line Tools as part of its setup if they "
                          "aren't already installed.");
}

QString AuditStageModel::toolsNote() const
{
    return QStringLiteral("Homebrew is installed but Xcode Command Line Tools aren't — this is unusual. Run `xcode-select --install` "
                          "in Terminal, or read the install guide.");
}

std::optional<Remediation> AuditStageModel::offeredFix() const
{
    if (m_stage == Stage::Foundations)
        return m_profile.brewExecutable ? std::nullopt : std::optional(Remediation::installHomebrew());
    return m_profile.brewExecutable ? std::optional(Remediation::installWarpViaBrew(QStringLiteral("warp"))) : std::nullopt;
}

QString AuditStageModel::installText() const
{
    if (!offeredFix())
        return {};
    return m_stage == Stage::Foundations ? QStringLiteral("Install Homebrew (recommended)") : QStringLiteral("Install Warp (recommended)");
}

QString AuditStageModel::disclosure() const
{
    return m_stage == Stage::Terminal && offeredFix()
             ? QStringLiteral("We may earn a commission if you install Warp through Tarnwick. Our recommendation is editorial.")
             : QString();
}

QString AuditStageModel::skipText() const
{
    return m_stage == Stage::Foundations ? QStringLiteral("Continue") : QStringLiteral("Maybe later");
}

void AuditStageModel::setProfile(const SystemProfile &profile)
{
    m_profile = profile;
    emit changed();
}

void AuditStageModel::setRefreshing(bool refreshing)
{
    m_refreshing = refreshing;
    emit changed();
}

void AuditStageModel::install()
{
    const std::optional<Remediation> fix = offeredFix();
    if (!fix || m_sheet || m_refreshing)
        return;
    m_context.telemetry->track(TE::remediationApplied(*fix));
    m_sheet = new RemediationSheetModel(m_context, *fix, this);
    connect(m_sheet, &RemediationSheetModel::finished, this, &AuditStageModel::closeSheet);
    emit changed();
    emit sheetRequested();
}

void AuditStageModel::closeSheet()
{
    if (!m_sheet)
        return;
    // Not deleted at once: this runs from the sheet's own signal.
    m_sheet->deleteLater();
    m_sheet = nullptr;
    emit changed();
    emit sheetClosed();
    if (m_stage == Stage::Foundations)
        emit refreshRequested();
}

void AuditStageModel::openOutbound(const QString &tool, const QUrl &url)
{
    m_context.telemetry->track(TE::auditOutboundClicked(tool, url.toString(QUrl::FullyEncoded)));
    m_context.openLink(url);
}

void AuditStageModel::openToolsArticle()
{
    openOutbound(QStringLiteral("Xcode CLT install guide"), m_context.site.page(QStringLiteral("/commandlinetools")));
}

void AuditStageModel::openMacOSArticle()
{
    openOutbound(QStringLiteral("macOS upgrade guide"), m_context.site.page(QStringLiteral("/macos/upgrade")));
}

void AuditStageModel::openRowLink(const QString &block)
{
    if (block == QLatin1String("tools"))
        openToolsArticle();
    else if (block == QLatin1String("macos"))
        openMacOSArticle();
}

void AuditStageModel::openWarp() { openOutbound(QStringLiteral("Warp"), warpURL()); }

void AuditStageModel::openArticle() const { m_context.openLink(m_context.site.page(QStringLiteral("/java/unable-to-locate"))); }

void AuditStageModel::skip()
{
    if (m_sheet)
        return;
    m_context.telemetry->track(TE::auditStageSkippedByUser(stageId()));
    emit advanced();
}
