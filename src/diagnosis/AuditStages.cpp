#include "diagnosis/AuditStages.h"

#include <algorithm>

namespace {

// The newest macOS release. Raise it when Apple ships the next one (every autumn), or every Mac
// that is up to date starts being told it is behind a year later than it should.
constexpr int kCurrentMacOS = 26;

// A release's place in the sequence Apple shipped: …, 11, 12, 13, 14, 15, 26, 27, …. There were
// no 16 to 25 (a 16 is 26 read by an old SDK; the others count as 26 too, as the nearest real one).
int releaseIndex(int major)
{
    if (major >= 26)
        return major - 10;
    return std::min(major, 16);
}

} // namespace

int Stage1Foundations::releasesBehind(const SystemProfile &profile)
{
    return std::max(0, releaseIndex(kCurrentMacOS) - releaseIndex(profile.macosVersion.major));
}

bool Stage1Foundations::macOSIsBehind(const SystemProfile &profile)
{
    // Only judged on Apple silicon: an Intel Mac may not be able to run a newer macOS at all.
    return profile.architecture == Architecture::appleSilicon && releasesBehind(profile) >= 2;
}

bool Stage1Foundations::isAlreadyOk(const SystemProfile &profile)
{
    return profile.brewExecutable && profile.xcodeCommandLineToolsPath && !macOSIsBehind(profile);
}

QList<AuditRow> Stage1Foundations::findings(const SystemProfile &profile)
{
    QList<AuditRow> rows;
    if (!profile.brewExecutable) {
        rows.append({AuditRow::Mark::missing, QStringLiteral("Homebrew missing.")});
        if (profile.intelHomebrewOnAppleSilicon)
            rows.append({AuditRow::Mark::suggestion, intelHomebrewText(*profile.intelHomebrewOnAppleSilicon)});
    } else if (!profile.xcodeCommandLineToolsPath) {
        rows.append({AuditRow::Mark::missing, QStringLiteral("Xcode Command Line Tools missing.")});
    }
    if (macOSIsBehind(profile))
        rows.append({AuditRow::Mark::suggestion, QStringLiteral("Your macOS is several versions behind the current release.")});
    return rows;
}

QString Stage1Foundations::intelHomebrewText(const QString &brewPath)
{
    return QStringLiteral("The Homebrew at %1 is for Intel Macs and can't install on Apple silicon, so we don't use it. "
                          "Apple silicon's Homebrew goes in /opt/homebrew.")
        .arg(brewPath);
}

QList<AuditRow> finalReportRows(const SystemProfile &profile)
{
    const auto installed = [](bool present, const QString &what) {
        return AuditRow {present ? AuditRow::Mark::good : AuditRow::Mark::missing,
                         what + (present ? QStringLiteral(" installed") : QStringLiteral(" missing"))};
    };
    return {
        installed(profile.xcodeCommandLineToolsPath.has_value(), QStringLiteral("Xcode Command Line Tools")),
        installed(profile.brewExecutable.has_value(), QStringLiteral("Homebrew")),
        profile.terminals.warp ? AuditRow {AuditRow::Mark::good, QStringLiteral("Warp installed")}
                               : AuditRow {AuditRow::Mark::suggestion, QStringLiteral("Try Warp — we recommend it")},
    };
}
