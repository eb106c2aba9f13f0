#pragma once

#include "diagnosis/SystemProfile.h"

/// One line of what the audit found.
struct AuditRow {
    enum class Mark { good, missing, suggestion }; // ✓, ✗, →
    Mark mark = Mark::good;
    QString text;

    friend bool operator==(const AuditRow &, const AuditRow &) = default;
};

/// Stage 1 of the audit: Homebrew, the Xcode Command Line Tools and the macOS version.
struct Stage1Foundations {
    static constexpr const char *kId = "stage_1_foundations";
    /// Nothing to do: Homebrew and the tools are there and, on Apple silicon, macOS is at most
    /// one release behind the current one.
    [[nodiscard]] static bool isAlreadyOk(const SystemProfile &profile);
    /// What the stage's page reports, in its order. An Intel Homebrew on Apple silicon gets a
    /// row of its own after "Homebrew missing.", saying where it is and why it is not used.
    [[nodiscard]] static QList<AuditRow> findings(const SystemProfile &profile);
    /// Two or more releases behind the current one, on Apple silicon.
    [[nodiscard]] static bool macOSIsBehind(const SystemProfile &profile);
    /// How many releases Apple shipped after this Mac's (0 when it is current or newer).
    [[nodiscard]] static int releasesBehind(const SystemProfile &profile);
    /// The row about an Intel Homebrew found at `brewPath` on Apple silicon.
    [[nodiscard]] static QString intelHomebrewText(const QString &brewPath);
};

/// Stage 2 of the audit: a terminal recommendation.
struct Stage2Terminal {
    static constexpr const char *kId = "stage_2_terminal";
    [[nodiscard]] static bool isAlreadyOk(const SystemProfile &profile) { return profile.terminals.warp; }
};

/// The closing report's rows: the tools, Homebrew, and the terminal.
[[nodiscard]] QList<AuditRow> finalReportRows(const SystemProfile &profile);
