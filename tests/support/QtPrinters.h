#pragma once

#include <QStringList>

#include <ostream>

// Readable Qt values in test failures, instead of their bytes.
inline void PrintTo(const QString &text, std::ostream *out) { *out << '"' << text.toStdString() << '"'; }
inline void PrintTo(const QByteArray &bytes, std::ostream *out) { *out << '"' << bytes.toStdString() << '"'; }
inline void PrintTo(const QStringList &list, std::ostream *out)
{
    *out << (list.isEmpty() ? "[]" : "[\"" + list.join(QStringLiteral("\", \"")).toStdString() + "\"]");
}
