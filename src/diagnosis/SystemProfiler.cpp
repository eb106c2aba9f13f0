#include "diagnosis/SystemProfiler.h"

#include "diagnosis/Probes.h"
#include "diagnosis/XcodeCLTProbe.h"

#include <QOperatingSystemVersion>
#include <QSysInfo>

#include <future>
#include <utility>

namespace {

QStringList miseLocations(const QString &home)
{
    return {QStringLiteral("/opt/homebrew/bin/mise"), home + QStringLiteral("/.local/bin/mise"), QStringLiteral("/usr/local/bin/mise")};
}

// Where installers put a command-line tool. An app started from the Finder has launchd's PATH,
// on which `which` finds none of them, so these folders are looked in first.
QStringList toolLocations(const QString &home, const QString &name)
{
    return {QStringLiteral("/opt/homebrew/bin/") + name, home + QStringLiteral("/.local/bin/") + name,
            QStringLiteral("/usr/local/bin/") + name};
}

constexpr const char *kIntelBrew = "/usr/local/bin/brew";

} // namespace

SystemProfiler::SystemProfiler(ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs,
                               std::chrono::milliseconds shellTimeLimit, OSVersionSource osVersion)
    : SystemProfiler(std::move(shell), std::move(fs), Platform {std::move(osVersion), &environmentShell}, shellTimeLimit)
{
}

SystemProfiler::SystemProfiler(ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs, Platform platform,
                               std::chrono::milliseconds shellTimeLimit)
    : m_shell(std::move(shell)), m_fs(std::move(fs)), m_shellTimeLimit(shellTimeLimit), m_platform(std::move(platform))
{
}

std::optional<QString> SystemProfiler::environmentShell()
{
    if (!qEnvironmentVariableIsSet("SHELL"))
        return std::nullopt;
    return qEnvironmentVariable("SHELL");
}

SystemProfile SystemProfiler::profile(ProcessCancellation *cancellation) const
{
    const CancellationBranches branches(cancellation, 7);
    const auto inParallel = [](auto work) { return std::async(std::launch::async, std::move(work)); };
    auto machine = inParallel([&] { return machineArchitecture(m_shell, branches[0]); });
    auto commandLineTools = inParallel([&] { return XcodeCLTProbe(m_shell).probe(branches[1]); });
    auto java = inParallel([&] { return Probes(m_shell, m_fs, m_shellTimeLimit).run(branches[2]); });
    // `which mise` only matters when no usual location has it, but asking costs nothing extra
    // when it runs beside everything else.
    auto miseOnPath = inParallel([&] { return lookUpTool(QStringLiteral("mise"), branches[3]); });
    auto claude = inParallel([&] { return lookUpTool(QStringLiteral("claude"), branches[4]); });
    auto codex = inParallel([&] { return lookUpTool(QStringLiteral("codex"), branches[5]); });
    auto aider = inParallel([&] { return lookUpTool(QStringLiteral("aider"), branches[6]); });

    SystemProfile profile;
    const QString home = m_fs->homeDirectory();
    profile.macosVersion = releaseVersion(m_platform.osVersion());
    profile.shell = shellFromPath(m_platform.shellPath());
    if (m_fs->fileExists(home + QStringLiteral("/.sdkman/bin/sdkman-init.sh")))
        profile.sdkmanRoot = home + QStringLiteral("/.sdkman");
    profile.jenvRoot = directoryIfPresent(home + QStringLiteral("/.jenv"));
    profile.asdfRoot = directoryIfPresent(home + QStringLiteral("/.asdf"));

    AITooling &ai = profile.aiTooling;
    ai.claudeCodeDesktop = applicationInstalled(QStringLiteral("Claude.app"));
    ai.cursor = applicationInstalled(QStringLiteral("Cursor.app"));
    ai.codexDesktop = applicationInstalled(QStringLiteral("Codex.app"));
    ai.vsCode = applicationInstalled(QStringLiteral("Visual Studio Code.app"));
    ai.windsurf = applicationInstalled(QStringLiteral("Windsurf.app"));
    ai.kiro = applicationInstalled(QStringLiteral("Kiro.app"));
    ai.antigravity = applicationInstalled(QStringLiteral("Antigravity.app"));
    ai.zed = applicationInstalled(QStringLiteral("Zed.app"));
    ai.replit = applicationInstalled(QStringLiteral("Replit.app"));
    ai.warpApp = applicationInstalled(QStringLiteral("Warp.app"));
    ai.intellij = applicationInstalled(QStringLiteral("IntelliJ IDEA.app")) || applicationInstalled(QStringLiteral("IntelliJ IDEA CE.app"));
    Terminals &terminals = profile.terminals;
    terminals.iterm = applicationInstalled(QStringLiteral("iTerm.app"));
    terminals.ghostty = applicationInstalled(QStringLiteral("Ghostty.app"));
    terminals.warp = ai.warpApp;
    terminals.hyper = applicationInstalled(QStringLiteral("Hyper.app"));
    terminals.alacritty = applicationInstalled(QStringLiteral("Alacritty.app"));
    terminals.kitty = applicationInstalled(QStringLiteral("kitty.app"));
    terminals.wezterm = applicationInstalled(QStringLiteral("WezTerm.app"));

    profile.miseExecutable = firstExecutable(miseLocations(home));
    if (!profile.miseExecutable)
        profile.miseExecutable = miseOnPath.get();
    ai.claudeCodeCLI = firstExecutable(toolLocations(home, QStringLiteral("claude"))) || claude.get();
    ai.codexCLI = firstExecutable(toolLocations(home, QStringLiteral("codex"))) || codex.get();
    ai.aider = firstExecutable(toolLocations(home, QStringLiteral("aider"))) || aider.get();
    profile.architecture = machine.get();
    profile.brewExecutable = findBrew(*m_fs);
    // Run natively on Apple silicon, an Intel Homebrew (brought over from an older Mac) refuses
    // to install anything: it is no Homebrew to install with.
    if (profile.architecture == Architecture::appleSilicon && profile.brewExecutable == QLatin1String(kIntelBrew))
        profile.intelHomebrewOnAppleSilicon = std::exchange(profile.brewExecutable, std::nullopt);
    profile.xcodeCommandLineToolsPath = commandLineTools.get();
    profile.javaState = java.get();
    return profile;
}

Architecture SystemProfiler::machineArchitecture(const ProgramRunner &shell, ProcessCancellation *cancellation)
{
    const Architecture reported =
        architectureFromMachine(shell.trimmedAnswer(QStringLiteral("/usr/bin/uname"), {QStringLiteral("-m")}, cancellation).value_or(QString()));
    if (reported != Architecture::intel)
        return reported;
    // An Intel Mac has no such key (sysctl fails) or says 0.
    const std::optional<QString> arm64 =
        shell.trimmedAnswer(QStringLiteral("/usr/sbin/sysctl"), {QStringLiteral("-n"), QStringLiteral("hw.optional.arm64")}, cancellation);
    return arm64 == QLatin1String("1") ? Architecture::appleSilicon : Architecture::intel;
}

MacOSVersion SystemProfiler::releaseVersion(MacOSVersion reported)
{
    if (reported.major == 16)
        reported.major = 26;
    return reported;
}

std::optional<QString> SystemProfiler::findBrew(const FileSystemOperating &fs)
{
    for (const char *candidate : {"/opt/homebrew/bin/brew", "/usr/local/bin/brew"}) {
        if (fs.isExecutableFile(QString::fromLatin1(candidate)))
            return QString::fromLatin1(candidate);
    }
    return std::nullopt;
}

std::optional<QString> SystemProfiler::findMise(const ProgramRunner &shell, const FileSystemOperating &fs)
{
    for (const QString &candidate : miseLocations(fs.homeDirectory())) {
        if (fs.isExecutableFile(candidate))
            return candidate;
    }
    std::optional<QString> answer = shell.trimmedAnswer(QStringLiteral("/usr/bin/which"), {QStringLiteral("mise")});
    if (answer && fs.isExecutableFile(*answer))
        return answer;
    return std::nullopt;
}

MacOSVersion SystemProfiler::platformOSVersion()
{
#if defined(Q_OS_MACOS)
    const QOperatingSystemVersion current = QOperatingSystemVersion::current();
    return {current.majorVersion(), std::max(0, current.minorVersion()), std::max(0, current.microVersion())};
#else
    // Elsewhere the distribution's version, e.g. Debian's "12"; parts it doesn't give are 0.
    const QStringList parts = QSysInfo::productVersion().split(QLatin1Char('.'));
    const auto part = [&parts](int index) { return parts.value(index).toInt(); };
    return {part(0), part(1), part(2)};
#endif
}

Shell SystemProfiler::shellFromPath(const std::optional<QString> &shellPath)
{
    const QString name = shellPath ? shellPath->section(QLatin1Char('/'), -1) : QStringLiteral("unknown");
    if (name == QLatin1String("zsh"))
        return Shell::zsh();
    if (name == QLatin1String("bash"))
        return Shell::bash();
    if (name == QLatin1String("fish"))
        return Shell::fish();
    return Shell::other(name);
}

Architecture SystemProfiler::architectureFromMachine(const QString &machine)
{
    if (machine == QLatin1String("arm64"))
        return Architecture::appleSilicon;
    if (machine == QLatin1String("x86_64"))
        return Architecture::intel;
    return Architecture::unknown;
}

std::optional<QString> SystemProfiler::firstExecutable(const QStringList &paths) const
{
    for (const QString &path : paths) {
        if (m_fs->isExecutableFile(path))
            return path;
    }
    return std::nullopt;
}

std::optional<QString> SystemProfiler::directoryIfPresent(const QString &path) const
{
    if (m_fs->fileExistence(path).isDirectory)
        return path;
    return std::nullopt;
}

bool SystemProfiler::applicationInstalled(const QString &bundleName) const
{
    return m_fs->fileExistence(QStringLiteral("/Applications/") + bundleName).isDirectory
        || m_fs->fileExistence(m_fs->homeDirectory() + QStringLiteral("/Applications/") + bundleName).isDirectory;
}

std::optional<QString> SystemProfiler::lookUpTool(const QString &name, ProcessCancellation *cancellation) const
{
    std::optional<QString> answer = m_shell.trimmedAnswer(QStringLiteral("/usr/bin/which"), {name}, cancellation);
    if (answer && m_fs->isExecutableFile(*answer))
        return answer;
    return std::nullopt;
}
