#pragma once

#include <QList>
#include <QString>

/// One JDK as the system's Java locator lists it.
struct JDKInfo {
    QString version;      // e.g. "21.0.2"
    QString vendor;       // e.g. "Eclipse Adoptium"
    QString architecture; // e.g. "arm64" or "x86_64"
    QString path;         // the JDK's home directory

    friend bool operator==(const JDKInfo &, const JDKInfo &) = default;
};

/// Turns `java_home -V` output into JDK records, in listed order. Lines that are not JDK entries
/// (the header, the default path at the end, blank lines, messages) are skipped, not errors.
[[nodiscard]] QList<JDKInfo> parseJavaHomeListing(const QString &listing);
