#include "doctor/DoctorReport.h"

#include "diagnosis/AuditStages.h"
#include "diagnosis/LoginShell.h"
#include "doctor/TerminalText.h"

#include <QJsonArray>

namespace DoctorReport {

namespace {

QJsonValue optionalString(const std::optional<QString> &value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QString architectureName(Architecture architecture)
{
    switch (architecture) {
    case Architecture::appleSilicon: return QStringLiteral("appleSilicon");
    case Architecture::intel: return QStringLiteral("intel");
    case Architecture::unknown: return QStringLiteral("unknown");
    }
    Q_UNREACHABLE();
}

QString shellKind(const Shell &shell)
{
    switch (shell.kind) {
    case Shell::Kind::zsh: return QStringLiteral("zsh");
    case Shell::Kind::bash: return QStringLiteral("bash");
    case Shell::Kind::fish: return QStringLiteral("fish");
    case Shell::Kind::other: return QStringLiteral("other");
    }
    Q_UNREACHABLE();
}

QString shellName(const Shell &shell)
{
    return shell.kind == Shell::Kind::other ? shell.name : shellKind(shell);
}

QJsonObject verifyJson(const Verifier::Result &result, const VerifyVerdict &verdict)
{
    return {
        {QStringLiteral("passed"), verdict.passed},
        {QStringLiteral("offersJavaHome"), verdict.offersJavaHome ? QJsonValue(*verdict.offersJavaHome) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("javaVersionOutput"), result.javaVersionOutput},
        {QStringLiteral("javaVersionExitCode"), result.javaVersionExitCode},
        {QStringLiteral("javaHomeValue"), optionalString(result.javaHomeValue)},
        {QStringLiteral("loginShellTimedOut"), result.loginShellTimedOut},
    };
}

QString outcomeName(FixSequence::Outcome::Kind kind)
{
    switch (kind) {
    case FixSequence::Outcome::Kind::success: return QStringLiteral("success");
    case FixSequence::Outcome::Kind::failure: return QStringLiteral("failure");
    case FixSequence::Outcome::Kind::canceled: return QStringLiteral("canceled");
    }
    Q_UNREACHABLE();
}

QJsonValue fixJson(const FixRecord *fix)
{
    if (!fix)
        return QJsonValue(QJsonValue::Null);
    QJsonObject json {
        {QStringLiteral("outcome"), outcomeName(fix->outcome.kind)},
        {QStringLiteral("message"), fix->outcome.message},
        {QStringLiteral("lines"), QJsonArray::fromStringList(fix->lines)},
        {QStringLiteral("verify"), fix->verify ? QJsonValue(verifyJson(*fix->verify, VerifyVerdict::judge(fix->remediation, *fix->verify)))
                                                : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("followUp"), fixJson(fix->followUp.get())},
    };
    return json;
}

// Colour codes only where they mean something: a terminal.
struct Palette {
    bool on;
    QString green() const { return on ? QStringLiteral("\033[32m") : QString(); }
    QString red() const { return on ? QStringLiteral("\033[31m") : QString(); }
    QString yellow() const { return on ? QStringLiteral("\033[33m") : QString(); }
    QString bold() const { return on ? QStringLiteral("\033[1m") : QString(); }
    QString reset() const { return on ? QStringLiteral("\033[0m") : QString(); }
};

QString marked(const Palette &palette, AuditRow::Mark mark, const QString &text)
{
    switch (mark) {
    case AuditRow::Mark::good: return palette.green() + QStringLiteral("✓ ") + palette.reset() + text;
    case AuditRow::Mark::missing: return palette.red() + QStringLiteral("✗ ") + palette.reset() + text;
    case AuditRow::Mark::suggestion: return palette.yellow() + QStringLiteral("→ ") + palette.reset() + text;
    }
    Q_UNREACHABLE();
}

QString macName(const SystemProfile &profile)
{
    const QString chip = profile.architecture == Architecture::appleSilicon ? QStringLiteral("Apple silicon")
        : profile.architecture == Architecture::intel                       ? QStringLiteral("Intel")
                                                                            : QStringLiteral("unknown processor");
    const MacOSVersion &v = profile.macosVersion;
    return QStringLiteral("%1, macOS %2.%3.%4, %5").arg(chip).arg(v.major).arg(v.minor).arg(v.patch).arg(shellName(profile.shell));
}

QStringList toolsFound(const SystemProfile &profile)
{
    QStringList tools;
    const auto add = [&tools](const std::optional<QString> &where, const char *name) {
        if (where)
            tools.append(QStringLiteral("%1 (%2)").arg(QLatin1String(name), *where));
    };
    add(profile.brewExecutable, "Homebrew");
    add(profile.intelHomebrewOnAppleSilicon, "Intel Homebrew, not used");
    add(profile.sdkmanRoot, "SDKMAN");
    add(profile.miseExecutable, "Mise");
    add(profile.jenvRoot, "jEnv");
    add(profile.asdfRoot, "asdf");
    add(profile.xcodeCommandLineToolsPath, "Xcode Command Line Tools");
    const AITooling &ai = profile.aiTooling;
    const std::pair<bool, const char *> apps[] = {
        {ai.claudeCodeDesktop, "Claude"}, {ai.cursor, "Cursor"}, {ai.codexDesktop, "Codex"}, {ai.vsCode, "Visual Studio Code"},
        {ai.windsurf, "Windsurf"}, {ai.kiro, "Kiro"}, {ai.antigravity, "Antigravity"}, {ai.zed, "Zed"}, {ai.replit, "Replit"},
        {ai.intellij, "IntelliJ IDEA"}, {ai.claudeCodeCLI, "claude"}, {ai.codexCLI, "codex"}, {ai.aider, "aider"},
        {profile.terminals.iterm, "iTerm"}, {profile.terminals.ghostty, "Ghostty"}, {profile.terminals.warp, "Warp"},
        {profile.terminals.hyper, "Hyper"}, {profile.terminals.alacritty, "Alacritty"}, {profile.terminals.kitty, "kitty"},
        {profile.terminals.wezterm, "WezTerm"},
    };
    for (const auto &[present, name] : apps) {
        if (present)
            tools.append(QLatin1String(name));
    }
    return tools;
}

} // namespace

QStringList notes(const SystemProfile &profile)
{
    if (profile.javaState.loginShellTimedOut)
        return {LoginShell::noAnswerText()};
    return {};
}

QJsonObject profileJson(const SystemProfile &profile)
{
    QJsonArray jdks;
    for (const JDKInfo &jdk : profile.javaState.installedJDKs) {
        jdks.append(QJsonObject {{QStringLiteral("version"), jdk.version}, {QStringLiteral("vendor"), jdk.vendor},
                                 {QStringLiteral("architecture"), jdk.architecture}, {QStringLiteral("path"), jdk.path}});
    }
    const AITooling &ai = profile.aiTooling;
    const Terminals &t = profile.terminals;
    return {
        {QStringLiteral("architecture"), architectureName(profile.architecture)},
        {QStringLiteral("macosVersion"), QJsonObject {{QStringLiteral("major"), profile.macosVersion.major},
                                                      {QStringLiteral("minor"), profile.macosVersion.minor},
                                                      {QStringLiteral("patch"), profile.macosVersion.patch}}},
        {QStringLiteral("shell"), shellKind(profile.shell)},
        {QStringLiteral("shellName"), shellName(profile.shell)},
        {QStringLiteral("homebrewPrefix"), optionalString(profile.brewExecutable)},
        {QStringLiteral("intelHomebrewOnAppleSilicon"), optionalString(profile.intelHomebrewOnAppleSilicon)},
        {QStringLiteral("sdkmanRoot"), optionalString(profile.sdkmanRoot)},
        {QStringLiteral("miseExecutable"), optionalString(profile.miseExecutable)},
        {QStringLiteral("jenvRoot"), optionalString(profile.jenvRoot)},
        {QStringLiteral("asdfRoot"), optionalString(profile.asdfRoot)},
        {QStringLiteral("xcodeCommandLineToolsPath"), optionalString(profile.xcodeCommandLineToolsPath)},
        {QStringLiteral("javaState"), QJsonObject {{QStringLiteral("whichJava"), optionalString(profile.javaState.whichJava)},
                                                   {QStringLiteral("installedJDKs"), jdks},
                                                   {QStringLiteral("jvmDirContents"), QJsonArray::fromStringList(profile.javaState.jvmDirContents)},
                                                   {QStringLiteral("javaHomeInActiveShell"), optionalString(profile.javaState.javaHomeInActiveShell)},
                                                   {QStringLiteral("loginShellTimedOut"), profile.javaState.loginShellTimedOut}}},
        {QStringLiteral("aiTooling"), QJsonObject {{QStringLiteral("claudeCodeDesktop"), ai.claudeCodeDesktop}, {QStringLiteral("cursor"), ai.cursor},
                                                   {QStringLiteral("codexDesktop"), ai.codexDesktop}, {QStringLiteral("vsCode"), ai.vsCode},
                                                   {QStringLiteral("windsurf"), ai.windsurf}, {QStringLiteral("kiro"), ai.kiro},
                                                   {QStringLiteral("antigravity"), ai.antigravity}, {QStringLiteral("zed"), ai.zed},
                                                   {QStringLiteral("replit"), ai.replit}, {QStringLiteral("warpApp"), ai.warpApp},
                                                   {QStringLiteral("intellij"), ai.intellij}, {QStringLiteral("claudeCodeCLI"), ai.claudeCodeCLI},
                                                   {QStringLiteral("codexCLI"), ai.codexCLI}, {QStringLiteral("aider"), ai.aider}}},
        {QStringLiteral("terminals"), QJsonObject {{QStringLiteral("iterm"), t.iterm}, {QStringLiteral("ghostty"), t.ghostty},
                                                   {QStringLiteral("warp"), t.warp}, {QStringLiteral("hyper"), t.hyper},
                                                   {QStringLiteral("alacritty"), t.alacritty}, {QStringLiteral("kitty"), t.kitty},
                                                   {QStringLiteral("wezterm"), t.wezterm}}},
        {QStringLiteral("likelyDeveloper"), profile.likelyDeveloper()},
    };
}

QJsonObject toJson(const DoctorFindings &findings)
{
    QJsonValue remediation(QJsonValue::Null);
    if (findings.remediation) {
        remediation = QJsonObject {{QStringLiteral("id"), findings.remediation->id()},
                                   {QStringLiteral("title"), findings.remediation->title()},
                                   {QStringLiteral("explainer"), findings.remediation->explainer()},
                                   {QStringLiteral("method"), findings.remediation->method()}};
    }
    QJsonValue fix(QJsonValue::Null);
    if (findings.fix)
        fix = fixJson(&*findings.fix);
    return {
        {QStringLiteral("profile"), profileJson(findings.profile)},
        {QStringLiteral("diagnosis"), QJsonObject {{QStringLiteral("code"), findings.diagnosis.code()},
                                                   {QStringLiteral("headline"), findings.diagnosis.headline()},
                                                   {QStringLiteral("explanation"), findings.diagnosis.explanation()}}},
        {QStringLiteral("remediation"), remediation},
        {QStringLiteral("audit"), QJsonObject {{QString::fromLatin1(Stage1Foundations::kId),
                                                QJsonObject {{QStringLiteral("alreadyOk"), Stage1Foundations::isAlreadyOk(findings.profile)}}},
                                               {QString::fromLatin1(Stage2Terminal::kId),
                                                QJsonObject {{QStringLiteral("alreadyOk"), Stage2Terminal::isAlreadyOk(findings.profile)}}}}},
        {QStringLiteral("fix"), fix},
        {QStringLiteral("notes"), QJsonArray::fromStringList(notes(findings.profile))},
    };
}

void printFindings(QTextStream &out, const DoctorFindings &findings, bool colour)
{
    const Palette palette {colour};
    const SystemProfile &profile = findings.profile;
    out << palette.bold() << "Tarnwick doctor" << palette.reset() << '\n';
    out << "  Mac: " << visibleText(macName(profile)) << "\n\n";

    const bool healthy = findings.diagnosis.kind() == Diagnosis::Kind::noErrorsFound;
    out << marked(palette, healthy ? AuditRow::Mark::good : AuditRow::Mark::missing, palette.bold() + visibleText(findings.diagnosis.headline()) + palette.reset())
        << '\n';
    out << "  " << visibleText(findings.diagnosis.explanation()) << '\n';
    if (profile.javaState.installedJDKs.isEmpty())
        out << "  Installed JDKs: none\n";
    for (const JDKInfo &jdk : profile.javaState.installedJDKs)
        out << "  JDK " << visibleText(QStringLiteral("%1 (%2, %3) at %4").arg(jdk.version, jdk.vendor, jdk.architecture, jdk.path)) << '\n';
    out << "  JAVA_HOME in a login shell: " << visibleText(VerifyVerdict::shownJavaHome(profile.javaState.javaHomeInActiveShell)) << '\n';
    for (const QString &note : notes(profile)) {
        if (note != findings.diagnosis.explanation()) // said once is enough
            out << "  " << marked(palette, AuditRow::Mark::missing, note) << '\n';
    }
    const QStringList tools = toolsFound(profile);
    out << "  Developer tools: " << (tools.isEmpty() ? QStringLiteral("none found") : visibleText(tools.join(QStringLiteral(", ")))) << "\n\n";

    if (findings.remediation) {
        out << marked(palette, AuditRow::Mark::suggestion, QStringLiteral("Recommended fix: ") + palette.bold() + visibleText(findings.remediation->title()) + palette.reset())
            << '\n';
        out << "  " << visibleText(findings.remediation->explainer()) << '\n';
        out << "  id: " << visibleText(findings.remediation->id()) << "\n\n";
    }

    out << palette.bold() << "System audit" << palette.reset() << '\n';
    for (const AuditRow &row : finalReportRows(profile))
        out << "  " << marked(palette, row.mark, visibleText(row.text)) << '\n';
    for (const AuditRow &row : Stage1Foundations::findings(profile)) {
        if (row.mark == AuditRow::Mark::suggestion) // the missing tools are in the rows above
            out << "  " << marked(palette, row.mark, visibleText(row.text)) << '\n';
    }
    out.flush();
}

void printVerdict(QTextStream &out, const Verifier::Result &result, const VerifyVerdict &verdict, bool colour)
{
    const Palette palette {colour};
    out << '\n' << marked(palette, verdict.passed ? AuditRow::Mark::good : AuditRow::Mark::missing, palette.bold() + visibleText(verdict.headline) + palette.reset())
        << '\n';
    out << "  " << visibleText(verdict.detail) << '\n';
    if (result.loginShellTimedOut)
        out << "  " << marked(palette, AuditRow::Mark::missing, LoginShell::noAnswerText()) << '\n';
    out << "  java -version:\n";
    for (const QString &line : VerifyVerdict::shownOutput(result.javaVersionOutput).trimmed().split(QLatin1Char('\n')))
        out << "    " << visibleText(line) << '\n';
    out << "  JAVA_HOME: " << visibleText(VerifyVerdict::shownJavaHome(result.javaHomeValue)) << '\n';
    out.flush();
}

} // namespace DoctorReport
