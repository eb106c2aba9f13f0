#include "diagnosis/Remediation.h"

#include <algorithm>

namespace {

// The leading number of a version such as "17.0.10"; the fall-back LTS when there is none.
int majorOf(const QString &version)
{
    const QStringList pieces = version.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (pieces.isEmpty())
        return kFallbackTemurinMajor;
    bool isNumber = false;
    const int major = pieces.first().toInt(&isNumber, 10);
    const bool digitsOnly = std::all_of(pieces.first().cbegin(), pieces.first().cend(),
                                        [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); });
    return isNumber && digitsOnly ? major : kFallbackTemurinMajor;
}

} // namespace

Remediation remediationForMissingJDK(int temurinMajor, const SystemProfile &profile)
{
    const QString major = QString::number(temurinMajor);
    if (profile.brewExecutable)
        return Remediation::installTemurinViaBrew(QStringLiteral("temurin@") + major);
    if (profile.sdkmanRoot)
        return Remediation::installViaSDKMAN(major + QStringLiteral("-tem"));
    if (profile.miseExecutable)
        return Remediation::installViaMise(QStringLiteral("temurin-") + major);
    if (profile.jenvRoot)
        return Remediation::installViaPKGThenJEnv(temurinMajor);
    // Java does not wait on a Homebrew move: with an Intel Homebrew on Apple silicon the package
    // installs it, and the audit offers Homebrew in /opt/homebrew.
    if (profile.likelyDeveloper() && !profile.intelHomebrewOnAppleSilicon)
        return Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@") + major);
    return Remediation::installViaPKG(temurinMajor);
}

Remediation remediationForUnsetHome(const JDKInfo &jdk, const SystemProfile &profile)
{
    if (profile.sdkmanRoot)
        return Remediation::setJavaHomeViaSDKMAN(jdk.version + QStringLiteral("-tem"));
    if (profile.miseExecutable)
        return Remediation::setJavaHomeViaMise(QStringLiteral("temurin-") + jdk.version);
    if (profile.jenvRoot)
        return Remediation::setJavaHomeViaJenv(jdk.path, majorOf(jdk.version));
    return Remediation::writeJavaHomeToZprofile(jdk.path);
}

bool Remediation::setsJavaHome() const
{
    return m_kind == Kind::writeJavaHomeToZprofile || m_kind == Kind::setJavaHomeViaSDKMAN || m_kind == Kind::setJavaHomeViaMise
        || m_kind == Kind::setJavaHomeViaJenv;
}

bool Remediation::needsNoJavaCheck() const
{
    return m_kind == Kind::installWarpViaBrew || m_kind == Kind::installHomebrew;
}

QString Remediation::id() const
{
    switch (m_kind) {
    case Kind::installTemurinViaBrew: return QStringLiteral("brew:") + m_text;
    case Kind::installViaSDKMAN: return QStringLiteral("sdkman:") + m_text;
    case Kind::installViaMise: return QStringLiteral("mise:") + m_text;
    case Kind::installViaPKG: return QStringLiteral("pkg:") + QString::number(m_number);
    case Kind::installViaPKGThenJEnv: return QStringLiteral("pkg-jenv:") + QString::number(m_number);
    case Kind::writeJavaHomeToZprofile: return QStringLiteral("zprofile:") + m_text;
    case Kind::setJavaHomeViaSDKMAN: return QStringLiteral("sdkman-home:") + m_text;
    case Kind::setJavaHomeViaMise: return QStringLiteral("mise-home:") + m_text;
    case Kind::setJavaHomeViaJenv: return QStringLiteral("jenv-home:") + QString::number(m_number) + QLatin1Char(':') + m_text;
    case Kind::installHomebrewThenTemurin: return QStringLiteral("homebrew+brew:") + m_text;
    case Kind::installWarpViaBrew: return QStringLiteral("brew:") + m_text; // a plain cask install, like Temurin's
    case Kind::installHomebrew: return QStringLiteral("homebrew");
    }
    Q_UNREACHABLE();
}

QString Remediation::method() const
{
    switch (m_kind) {
    case Kind::installTemurinViaBrew: return QStringLiteral("brew");
    case Kind::installViaSDKMAN: return QStringLiteral("sdkman");
    case Kind::installViaMise: return QStringLiteral("mise");
    case Kind::installViaPKG: return QStringLiteral("pkg");
    case Kind::installViaPKGThenJEnv: return QStringLiteral("pkg+jenv");
    case Kind::writeJavaHomeToZprofile: return QStringLiteral("zprofile");
    case Kind::setJavaHomeViaSDKMAN: return QStringLiteral("sdkman");
    case Kind::setJavaHomeViaMise: return QStringLiteral("mise");
    case Kind::setJavaHomeViaJenv: return QStringLiteral("jenv");
    case Kind::installHomebrewThenTemurin: return QStringLiteral("homebrew");
    case Kind::installWarpViaBrew: return QStringLiteral("brew");
    case Kind::installHomebrew: return QStringLiteral("homebrew");
    }
    Q_UNREACHABLE();
}

QString Remediation::title() const
{
    switch (m_kind) {
    case Kind::installTemurinViaBrew: return QStringLiteral("Install Temurin via Homebrew (recommended)");
    case Kind::installViaSDKMAN: return QStringLiteral("Install Temurin via SDKMAN (recommended)");
    case Kind::installViaMise: return QStringLiteral("Install Temurin via Mise (recommended)");
    case Kind::installViaPKG: return QStringLiteral("Install Temurin (recommended)");
    case Kind::installViaPKGThenJEnv: return QStringLiteral("Install Temurin and register with jEnv (recommended)");
    case Kind::writeJavaHomeToZprofile: return QStringLiteral("Set JAVA_HOME in ~/.zprofile (recommended)");
    case Kind::setJavaHomeViaSDKMAN: return QStringLiteral("Set JAVA_HOME via SDKMAN (recommended)");
    case Kind::setJavaHomeViaMise: return QStringLiteral("Set JAVA_HOME via Mise (recommended)");
    case Kind::setJavaHomeViaJenv: return QStringLiteral("Set JAVA_HOME via jEnv (recommended)");
    case Kind::installHomebrewThenTemurin: return QStringLiteral("Install Homebrew + Java (recommended for developers)");
    case Kind::installWarpViaBrew: return QStringLiteral("Install Warp (recommended)");
    case Kind::installHomebrew: return QStringLiteral("Install Homebrew (recommended)");
    }
    Q_UNREACHABLE();
}

QString Remediation::explainer() const
{
    switch (m_kind) {
    case Kind::installTemurinViaBrew:
        return QStringLiteral("Easiest path — one command, handles updates and uninstalls cleanly. Native Apple Silicon builds.");
    case Kind::installViaSDKMAN:
        return QStringLiteral("We detected SDKMAN. We'll run `sdk install java ") + m_text
            + QStringLiteral("` and set it as your default Java.");
    case Kind::installViaMise:
        return QStringLiteral("We detected Mise. We'll run `mise install java@") + m_text
            + QStringLiteral("` and set it as your global Java.");
    case Kind::installViaPKG:
        return QStringLiteral("No Homebrew or other developer tooling detected. We'll download the Temurin installer directly from Adoptium and run it for you.");
    case Kind::installViaPKGThenJEnv:
        return QStringLiteral("We detected jEnv. We'll install Temurin from Adoptium, then register it with jEnv (`jenv add` + `jenv global`).");
    case Kind::writeJavaHomeToZprofile:
        return QStringLiteral("We'll append two `export` lines to your `~/.zprofile`, after showing you a diff and backing up the existing file to `~/.zprofile.bak`.");
    case Kind::setJavaHomeViaSDKMAN:
        return QStringLiteral("Sets your default Java via `sdk default java <X>-tem` so JAVA_HOME points to the right Java installation in every new shell.");
    case Kind::setJavaHomeViaMise:
        return QStringLiteral("Runs `mise use -g java@<version>` and ensures Mise's activate hook is in your `~/.zshrc` so JAVA_HOME gets set.");
    case Kind::setJavaHomeViaJenv:
        return QStringLiteral("Enables jEnv's export plugin and ensures your `~/.zshrc` sources jEnv so JAVA_HOME gets set in every new shell.");
    case Kind::installHomebrewThenTemurin:
        return QStringLiteral("Easiest long-term — Homebrew manages updates and uninstalls cleanly. We'll install Homebrew first (which also installs Xcode Command Line Tools), then Temurin via Homebrew.");
    case Kind::installWarpViaBrew:
        return QStringLiteral("We'll install Warp via Homebrew — one command, native Apple Silicon build.");
    case Kind::installHomebrew:
        return QStringLiteral("We'll run the official Homebrew install script. macOS will prompt you for your password. Homebrew will also install Xcode Command Line Tools as part of its setup if they aren't already installed.");
    }
    Q_UNREACHABLE();
}

QString Remediation::progressTitle() const
{
    switch (m_kind) {
    case Kind::installTemurinViaBrew: return QStringLiteral("Installing Temurin via Homebrew");
    case Kind::installViaSDKMAN: return QStringLiteral("Installing Temurin via SDKMAN");
    case Kind::installViaMise: return QStringLiteral("Installing Temurin via Mise");
    case Kind::installViaPKG: return QStringLiteral("Installing Temurin %1 (direct PKG)").arg(m_number);
    case Kind::installViaPKGThenJEnv: return QStringLiteral("Installing Temurin %1 and registering with jEnv").arg(m_number);
    case Kind::writeJavaHomeToZprofile: return QStringLiteral("Set JAVA_HOME");
    case Kind::setJavaHomeViaSDKMAN: return QStringLiteral("Setting JAVA_HOME via SDKMAN");
    case Kind::setJavaHomeViaMise: return QStringLiteral("Setting JAVA_HOME via Mise");
    case Kind::setJavaHomeViaJenv: return QStringLiteral("Setting JAVA_HOME via jEnv");
    case Kind::installHomebrewThenTemurin: return QStringLiteral("Installing Homebrew + Temurin");
    case Kind::installWarpViaBrew: return QStringLiteral("Installing Warp via Homebrew");
    case Kind::installHomebrew: return QStringLiteral("Installing Homebrew");
    }
    Q_UNREACHABLE();
}

QString Remediation::progressExplainer() const
{
    switch (m_kind) {
    case Kind::installTemurinViaBrew: return QStringLiteral("macOS will ask for your password so brew can install Temurin to /Library/Java/JavaVirtualMachines/.");
    case Kind::installViaSDKMAN: return QStringLiteral("Running `sdk install java <X>-tem` via your login zsh.");
    case Kind::installViaMise: return QStringLiteral("Running `mise install java@temurin-<X>` and `mise use -g`.");
    case Kind::installViaPKG: return QStringLiteral("We'll download the Temurin installer from Adoptium, verify its checksum, and ask macOS for permission to install.");
    case Kind::installViaPKGThenJEnv: return QStringLiteral("PKG install first, then `jenv add` and `jenv global`. macOS will ask for your password for the installer step.");
    case Kind::writeJavaHomeToZprofile: return QString();
    case Kind::setJavaHomeViaSDKMAN: return QStringLiteral("Running `sdk default java <X>-tem`.");
    case Kind::setJavaHomeViaMise: return QStringLiteral("Running `mise use -g java@temurin-<X>` and ensuring `~/.zshrc` activates Mise.");
    case Kind::setJavaHomeViaJenv: return QStringLiteral("Enabling jEnv's export plugin and registering your Java installation.");
    case Kind::installHomebrewThenTemurin: return QStringLiteral("Two phases: install Homebrew first (with Xcode Command Line Tools as a side-effect if needed), then install Temurin via Homebrew.");
    case Kind::installWarpViaBrew: return QStringLiteral("Homebrew will install Warp to /Applications/.");
    case Kind::installHomebrew: return QStringLiteral("Running the official Homebrew install script. macOS will ask for your password; if Xcode Command Line Tools aren't installed, a separate Apple dialog will appear during install.");
    }
    Q_UNREACHABLE();
}
