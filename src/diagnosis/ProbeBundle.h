#pragma once

#include "diagnosis/JDKInfo.h"

#include <QStringList>

#include <optional>

/// The raw facts about a Mac's Java installation; the diagnosis decides from these alone.
struct ProbeBundle {
    /// Where `java` resolves on the app's own path; absent when `which` failed or said nothing.
    std::optional<QString> whichJava;
    /// The JDKs `java_home -V` lists, in its order.
    QList<JDKInfo> installedJDKs;
    /// The entry names of /Library/Java/JavaVirtualMachines; empty when missing or unreadable.
    QStringList jvmDirContents;
    /// JAVA_HOME as a login shell sees it; absent when unset or blank.
    std::optional<QString> javaHomeInActiveShell;
    /// The login shell did not answer within its time limit (something in ~/.zprofile waits), so
    /// javaHomeInActiveShell is unknown rather than unset.
    bool loginShellTimedOut = false;

    friend bool operator==(const ProbeBundle &, const ProbeBundle &) = default;
};
