#pragma once

#include "diagnosis/JDKInfo.h"
#include "diagnosis/SystemProfile.h"

#include <algorithm>
#include <initializer_list>

/// The Temurin major an install gets when Adoptium can't say which release is the latest LTS.
inline constexpr int kFallbackTemurinMajor = 25;

/// One fix the app can offer. Kinds 0-4 and 9 install Java, 5-8 set JAVA_HOME, and 10-11 serve
/// the system audit only.
class Remediation {
public:
    enum class Kind {
        installTemurinViaBrew,      // cask
        installViaSDKMAN,           // candidate
        installViaMise,             // versionName
        installViaPKG,              // version
        installViaPKGThenJEnv,      // version
        writeJavaHomeToZprofile,    // jdkPath
        setJavaHomeViaSDKMAN,       // candidate
        setJavaHomeViaMise,         // versionName
        setJavaHomeViaJenv,         // jdkPath, majorVersion
        installHomebrewThenTemurin, // temurinCask
        installWarpViaBrew,         // cask
        installHomebrew,
    };

    static Remediation installTemurinViaBrew(QString cask) { return {Kind::installTemurinViaBrew, std::move(cask)}; }
    static Remediation installViaSDKMAN(QString candidate) { return {Kind::installViaSDKMAN, std::move(candidate)}; }
    static Remediation installViaMise(QString version) { return {Kind::installViaMise, std::move(version)}; }
    static Remediation installViaPKG(int version) { return {Kind::installViaPKG, {}, version}; }
    static Remediation installViaPKGThenJEnv(int version) { return {Kind::installViaPKGThenJEnv, {}, version}; }
    static Remediation writeJavaHomeToZprofile(QString jdkPath) { return {Kind::writeJavaHomeToZprofile, std::move(jdkPath)}; }
    static Remediation setJavaHomeViaSDKMAN(QString candidate) { return {Kind::setJavaHomeViaSDKMAN, std::move(candidate)}; }
    static Remediation setJavaHomeViaMise(QString version) { return {Kind::setJavaHomeViaMise, std::move(version)}; }
    static Remediation setJavaHomeViaJenv(QString jdkPath, int majorVersion)
    {
        return {Kind::setJavaHomeViaJenv, std::move(jdkPath), majorVersion};
    }
    static Remediation installHomebrewThenTemurin(QString temurinCask)
    {
        return {Kind::installHomebrewThenTemurin, std::move(temurinCask)};
    }
    static Remediation installWarpViaBrew(QString cask) { return {Kind::installWarpViaBrew, std::move(cask)}; }
    static Remediation installHomebrew() { return {Kind::installHomebrew}; }

    [[nodiscard]] Kind kind() const { return m_kind; }
    // Payloads, each meaningful only for the kinds listed beside Kind above. All share one field,
    // so asking a kind for another's payload would quietly answer with the wrong thing: debug
    // builds stop there instead.
    [[nodiscard]] const QString &cask() const { return text({Kind::installTemurinViaBrew, Kind::installWarpViaBrew}); }
    [[nodiscard]] const QString &candidate() const { return text({Kind::installViaSDKMAN, Kind::setJavaHomeViaSDKMAN}); }
    [[nodiscard]] const QString &versionName() const // Mise's "temurin-21"
    {
        return text({Kind::installViaMise, Kind::setJavaHomeViaMise});
    }
    [[nodiscard]] const QString &temurinCask() const { return text({Kind::installHomebrewThenTemurin}); }
    [[nodiscard]] const QString &jdkPath() const { return text({Kind::writeJavaHomeToZprofile, Kind::setJavaHomeViaJenv}); }
    [[nodiscard]] int version() const // a Temurin major version
    {
        return number({Kind::installViaPKG, Kind::installViaPKGThenJEnv});
    }
    [[nodiscard]] int majorVersion() const { return number({Kind::setJavaHomeViaJenv}); }

    /// Whether the fix sets JAVA_HOME (and installs nothing).
    [[nodiscard]] bool setsJavaHome() const;
    /// Whether the fix is finished without checking Java afterwards (Warp, Homebrew alone).
    [[nodiscard]] bool needsNoJavaCheck() const;

    /// Stable identifier, e.g. "brew:temurin@21"; telemetry reports it.
    [[nodiscard]] QString id() const;
    /// How the fix works, e.g. "brew", "pkg+jenv"; the same for installing and setting JAVA_HOME
    /// through one tool. Telemetry and the doctor's JSON report it.
    [[nodiscard]] QString method() const;
    /// The primary button's label, offering the fix ("Install Temurin via Homebrew (recommended)").
    [[nodiscard]] QString title() const;
    /// The paragraph under the button.
    [[nodiscard]] QString explainer() const;
    /// The heading while the fix runs ("Installing Temurin via Homebrew"): the remediation sheet's
    /// title and the doctor's "==" line.
    [[nodiscard]] QString progressTitle() const;
    /// The line under the progress title; empty for the ~/.zprofile fix, whose sheet says its own.
    [[nodiscard]] QString progressExplainer() const;

    friend bool operator==(const Remediation &, const Remediation &) = default;

private:
    Remediation(Kind kind, QString text = {}, int number = 0) : m_kind(kind), m_text(std::move(text)), m_number(number) {}

    [[nodiscard]] const QString &text(std::initializer_list<Kind> holders) const
    {
        Q_ASSERT_X(std::find(holders.begin(), holders.end(), m_kind) != holders.end(), "Remediation", "no such payload for this kind");
        return m_text;
    }
    [[nodiscard]] int number(std::initializer_list<Kind> holders) const
    {
        Q_ASSERT_X(std::find(holders.begin(), holders.end(), m_kind) != holders.end(), "Remediation", "no such payload for this kind");
        return m_number;
    }

    Kind m_kind;
    QString m_text;
    int m_number;
};

/// The fix for a Mac without a JDK; `temurinMajor` is Adoptium's latest LTS, or
/// kFallbackTemurinMajor when that is unknown. An Intel Homebrew on Apple silicon is not Homebrew
/// here: such a Mac gets the package.
[[nodiscard]] Remediation remediationForMissingJDK(int temurinMajor, const SystemProfile &profile);
/// The fix for an installed JDK without JAVA_HOME. Homebrew is not consulted: a Homebrew Mac
/// gets the ~/.zprofile fix.
[[nodiscard]] Remediation remediationForUnsetHome(const JDKInfo &jdk, const SystemProfile &profile);
