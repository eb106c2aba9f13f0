#include "diagnosis/AuditStages.h"

namespace {

constexpr int kCurrentMacOS = 26;

} // namespace

bool Stage1Foundations::macOSIsBehind(const SystemProfile &profile)
{
    // Only judged on Apple silicon: an Intel Mac may not be able to run a newer macOS at all.
    return profile.architecture == Architecture::appleSilicon && kCurrentMacOS - profile.macosVersion.major >= 2;
}

bool Stage1Foundations::isAlreadyOk(const SystemProfile &profile)
{
    return profile.homebrewPrefix && profile.xcodeCommandLineToolsPath && !macOSIsBehind(profile);
}

QList<AuditRow> Stage1Foundations::findings(const SystemProfile &profile)
{
    QList<AuditRow> rows;
    if (!profile.homebrewPrefix)
        rows.append({AuditRow::Mark::missing, QStringLiteral("Homebrew missing.")});
    else if (!profile.xcodeCommandLineToolsPath)
        rows.append({AuditRow::Mark::missing, QStringLiteral("Xcode Command Line Tools missing.")});
    if (macOSIsBehind(profile))
        rows.append({AuditRow::Mark::suggestion, QStringLiteral("Your macOS is several versions behind the current release.")});
    return rows;
}

QList<AuditRow> finalReportRows(const SystemProfile &profile)
{
    const auto installed = [](bool present, const QString &what) {
        return AuditRow {present ? AuditRow::Mark::good : AuditRow::Mark::missing,
                         what + (present ? QStringLiteral(" installed") : QStringLiteral(" missing"))};
    };
    return {
        installed(profile.xcodeCommandLineToolsPath.has_value(), QStringLiteral("Xcode Command Line Tools")),
        installed(profile.homebrewPrefix.has_value(), QStringLiteral("Homebrew")),
        profile.terminals.warp ? AuditRow {AuditRow::Mark::good, QStringLiteral("Warp installed")}
                               : AuditRow {AuditRow::Mark::suggestion, QStringLiteral("Try Warp — we recommend it")},
    };
}
