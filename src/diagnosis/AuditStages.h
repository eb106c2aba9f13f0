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
    /// one version behind (26).
    [[nodiscard]] static bool isAlreadyOk(const SystemProfile &profile);
    /// What the stage's page reports, in its order.
    [[nodiscard]] static QList<AuditRow> findings(const SystemProfile &profile);
    [[nodiscard]] static bool macOSIsBehind(const SystemProfile &profile);
};

/// Stage 2 of the audit: a terminal recommendation.
struct Stage2Terminal {
    static constexpr const char *kId = "stage_2_terminal";
    [[nodiscard]] static bool isAlreadyOk(const SystemProfile &profile) { return profile.terminals.warp; }
};

/// The closing report's rows: the tools, Homebrew, and the terminal.
[[nodiscard]] QList<AuditRow> finalReportRows(const SystemProfile &profile);
