#include "diagnosis/Diagnosis.h"
#include "diagnosis/Remediation.h"

#include <gtest/gtest.h>

namespace {

const JDKInfo temurin21 {"21.0.2", "Eclipse Adoptium", "arm64", "/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"};
const JDKInfo zulu17 {"17.0.10", "Azul Systems, Inc.", "x86_64", "/Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home"};

// A profile built from the tools named, e.g. profileWith({"brew", "sdkman"}).
SystemProfile profileWith(const QStringList &tools)
{
    SystemProfile profile;
    const auto path = [&tools](const char *tool, const char *at) { return tools.contains(QLatin1String(tool)) ? std::optional(QString::fromLatin1(at)) : std::nullopt; };
    profile.brewExecutable = path("brew", "/opt/homebrew/bin/brew");
    profile.sdkmanRoot = path("sdkman", "/Users/ada/.sdkman");
    profile.miseExecutable = path("mise", "/opt/homebrew/bin/mise");
    profile.jenvRoot = path("jenv", "/Users/ada/.jenv");
    profile.asdfRoot = path("asdf", "/Users/ada/.asdf");
    profile.xcodeCommandLineToolsPath = path("clt", "/Library/Developer/CommandLineTools");
    profile.aiTooling.aider = tools.contains(QLatin1String("aider"));
    profile.aiTooling.intellij = tools.contains(QLatin1String("intellij"));
    profile.terminals.ghostty = tools.contains(QLatin1String("ghostty"));
    return profile;
}

} // namespace

TEST(DiagnosisRule, DecidesFromTheProbesInOrder)
{
    const struct {
        const char *name;
        ProbeBundle bundle;
        Diagnosis expected;
    } cases[] = {
        {"JDK and JAVA_HOME, even without java on the path",
         {std::nullopt, {temurin21}, {"temurin-21.jdk"}, QStringLiteral("/x")}, Diagnosis::noErrorsFound()},
        {"several JDKs without JAVA_HOME: the first listed, not the newest",
         {QStringLiteral("/usr/bin/java"), {zulu17, temurin21}, {"temurin-21.jdk", "zulu-17.jdk"}, std::nullopt},
         Diagnosis::D2_HomeUnset(zulu17)},
        {"nothing anywhere", {QStringLiteral("/usr/bin/java"), {}, {}, std::nullopt}, Diagnosis::D1_NoJDK()},
        {"no JDK and a silent login shell: still missing", {std::nullopt, {}, {}, std::nullopt, true}, Diagnosis::D1_NoJDK()},
        {"two unparsable entries, JAVA_HOME set anyway",
         {std::nullopt, {}, {"temurin-21.jdk", "zulu-17.jdk"}, QStringLiteral("/x")},
         Diagnosis::unknown(QStringLiteral("JavaVirtualMachines directory has entries (temurin-21.jdk, zulu-17.jdk) but "
                                           "/usr/libexec/java_home couldn't parse any JDKs — possible malformed install."))},
    };
    for (const auto &c : cases)
        EXPECT_EQ(diagnose(c.bundle), c.expected) << c.name;
}

TEST(RemediationForMissingJDK, PrefersHomebrewThenSDKMANMiseAndJEnv)
{
    const struct {
        QStringList tools;
        int major;
        Remediation expected;
    } cases[] = {
        {{"brew", "sdkman", "mise", "jenv"}, 21, Remediation::installTemurinViaBrew(QStringLiteral("temurin@21"))},
        {{"sdkman", "mise", "jenv"}, 21, Remediation::installViaSDKMAN(QStringLiteral("21-tem"))},
        {{"mise", "jenv"}, 21, Remediation::installViaMise(QStringLiteral("temurin-21"))},
        {{"jenv", "clt"}, 21, Remediation::installViaPKGThenJEnv(21)},
        {{"aider"}, 21, Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@21"))},
        {{"intellij"}, 21, Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@21"))},
        {{"ghostty"}, 21, Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@21"))},
        {{"clt"}, 21, Remediation::installHomebrewThenTemurin(QStringLiteral("temurin@21"))},
        {{"asdf"}, 21, Remediation::installViaPKG(21)}, // asdf alone is not a developer
        {{}, 21, Remediation::installViaPKG(21)},
    };
    for (const auto &c : cases)
        EXPECT_EQ(remediationForMissingJDK(c.major, profileWith(c.tools)), c.expected) << c.tools.join(u'+').toStdString();
}

TEST(RemediationForUnsetHome, PrefersSDKMANMiseJEnvAndOtherwiseTheProfile)
{
    JDKInfo odd = temurin21;
    const struct {
        QStringList tools;
        QString version;
        Remediation expected;
    } cases[] = {
        {{"brew", "sdkman", "mise"}, "21.0.2", Remediation::setJavaHomeViaSDKMAN(QStringLiteral("21.0.2-tem"))},
        {{"mise", "jenv"}, "21.0.2", Remediation::setJavaHomeViaMise(QStringLiteral("temurin-21.0.2"))},
        {{"jenv"}, "17.0.10", Remediation::setJavaHomeViaJenv(temurin21.path, 17)},
        {{"jenv"}, "1.8.0_321", Remediation::setJavaHomeViaJenv(temurin21.path, 1)},
        {{"jenv"}, "", Remediation::setJavaHomeViaJenv(temurin21.path, 25)},
        {{"jenv"}, "abc", Remediation::setJavaHomeViaJenv(temurin21.path, 25)},
        {{"jenv"}, "99999999999.0", Remediation::setJavaHomeViaJenv(temurin21.path, 25)},
        {{"brew", "clt"}, "21.0.2", Remediation::writeJavaHomeToZprofile(temurin21.path)}, // Homebrew is not asked
        {{}, "21.0.2", Remediation::writeJavaHomeToZprofile(temurin21.path)},
    };
    for (const auto &c : cases) {
        odd.version = c.version;
        EXPECT_EQ(remediationForUnsetHome(odd, profileWith(c.tools)), c.expected)
            << c.tools.join(u'+').toStdString() << " " << c.version.toStdString();
    }
}

TEST(Remediation, IdentifiersMethodsAndTheTextsThatCarryAPayload)
{
    // The rows the walk of every simulated Mac never reaches.
    const std::tuple<Remediation, const char *, const char *> cases[] = {
        {Remediation::installViaPKGThenJEnv(17), "pkg-jenv:17", "pkg+jenv"},
        {Remediation::setJavaHomeViaSDKMAN(QStringLiteral("21.0.2-tem")), "sdkman-home:21.0.2-tem", "sdkman"},
        {Remediation::setJavaHomeViaMise(QStringLiteral("temurin-21.0.2")), "mise-home:temurin-21.0.2", "mise"},
        {Remediation::setJavaHomeViaJenv(zulu17.path, 17), "jenv-home:17:/Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home", "jenv"},
        {Remediation::installWarpViaBrew(QStringLiteral("warp")), "brew:warp", "brew"},
        {Remediation::installHomebrew(), "homebrew", "homebrew"},
    };
    for (const auto &[remediation, id, method] : cases) {
        EXPECT_EQ(remediation.id(), QString::fromUtf8(id));
        EXPECT_EQ(remediation.method(), QString::fromUtf8(method)) << id;
    }
    // Two plain cask installs share an identifier on purpose.
    EXPECT_NE(Remediation::installWarpViaBrew(QStringLiteral("warp")), Remediation::installTemurinViaBrew(QStringLiteral("warp")));
    EXPECT_EQ(Remediation::installViaSDKMAN(QStringLiteral("25-tem")).explainer(),
              QStringLiteral("We detected SDKMAN. We'll run `sdk install java 25-tem` and set it as your default Java."));
    EXPECT_EQ(Remediation::installViaPKGThenJEnv(17).progressTitle(), QStringLiteral("Installing Temurin 17 and registering with jEnv"));
}
