#pragma once

#include "diagnosis/ProbeBundle.h"

#include <optional>

enum class Architecture { appleSilicon, intel, unknown };

/// The architecture as Adoptium names its builds: "x64" for Intel, otherwise "aarch64".
[[nodiscard]] QString adoptiumArchitecture(Architecture architecture);

struct MacOSVersion {
    int major = 0;
    int minor = 0;
    int patch = 0;

    friend bool operator==(const MacOSVersion &, const MacOSVersion &) = default;
};

/// The user's login shell.
struct Shell {
    enum class Kind { other, zsh, bash, fish };

    Kind kind = Kind::other;
    QString name; // for `other`: the program's name, e.g. "tcsh"

    static Shell other(QString name) { return {Kind::other, std::move(name)}; }
    static Shell zsh() { return {Kind::zsh, {}}; }
    static Shell bash() { return {Kind::bash, {}}; }
    static Shell fish() { return {Kind::fish, {}}; }

    friend bool operator==(const Shell &, const Shell &) = default;
};

/// AI coding tools found on the Mac; any of them marks a developer.
struct AITooling {
    bool claudeCodeDesktop = false;
    bool cursor = false;
    bool codexDesktop = false;
    bool vsCode = false;
    bool windsurf = false;
    bool kiro = false;
    bool antigravity = false;
    bool zed = false;
    bool replit = false;
    bool warpApp = false;
    bool intellij = false;
    bool claudeCodeCLI = false;
    bool codexCLI = false;
    bool aider = false;

    [[nodiscard]] bool any() const;
    friend bool operator==(const AITooling &, const AITooling &) = default;
};

/// Terminal apps other than Apple's found on the Mac.
struct Terminals {
    bool iterm = false;
    bool ghostty = false;
    bool warp = false;
    bool hyper = false;
    bool alacritty = false;
    bool kitty = false;
    bool wezterm = false;

    [[nodiscard]] bool any() const;
    friend bool operator==(const Terminals &, const Terminals &) = default;
};

/// One snapshot of the Mac's developer setup.
struct SystemProfile {
    Architecture architecture = Architecture::unknown;
    MacOSVersion macosVersion;
    Shell shell = Shell::other(QStringLiteral("unknown"));
    /// The `brew` the fixes use (the program, not its prefix folder).
    std::optional<QString> brewExecutable;
    /// An Intel Homebrew's `brew` in /usr/local on Apple silicon, where it refuses to install
    /// when run natively: reported, but never used (brewExecutable is then absent).
    std::optional<QString> intelHomebrewOnAppleSilicon;
    std::optional<QString> sdkmanRoot;
    std::optional<QString> miseExecutable;
    std::optional<QString> jenvRoot;
    std::optional<QString> asdfRoot;
    std::optional<QString> xcodeCommandLineToolsPath;
    ProbeBundle javaState;
    AITooling aiTooling;
    Terminals terminals;

    /// Someone who writes software: any version manager but asdf, any AI tool, any alternative
    /// terminal, or the Command Line Tools.
    [[nodiscard]] bool likelyDeveloper() const;

    friend bool operator==(const SystemProfile &, const SystemProfile &) = default;
};
