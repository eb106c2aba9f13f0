#include "diagnosis/SystemProfile.h"

bool AITooling::any() const
{
    return claudeCodeDesktop || cursor || codexDesktop || vsCode || windsurf || kiro || antigravity || zed || replit
        || warpApp || intellij || claudeCodeCLI || codexCLI || aider;
}

bool Terminals::any() const
{
    return iterm || ghostty || warp || hyper || alacritty || kitty || wezterm;
}

bool SystemProfile::likelyDeveloper() const
{
    // asdf deliberately does not count.
    return brewExecutable || sdkmanRoot || miseExecutable || jenvRoot || aiTooling.any() || terminals.any()
        || xcodeCommandLineToolsPath;
}

QString adoptiumArchitecture(Architecture architecture)
{
    // An unknown processor gets what almost every Mac sold today runs.
    return architecture == Architecture::intel ? QStringLiteral("x64") : QStringLiteral("aarch64");
}
