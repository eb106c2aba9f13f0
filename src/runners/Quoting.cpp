#include "runners/Quoting.h"

namespace Quoting {

QString escapedForDoubleQuotes(const QString &text)
{
    QString escaped;
    escaped.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('"') || c == QLatin1Char('$') || c == QLatin1Char('`'))
            escaped.append(QLatin1Char('\\'));
        escaped.append(c);
    }
    return escaped;
}

QString shellQuoted(const QString &text)
{
    return QLatin1Char('"') + escapedForDoubleQuotes(text) + QLatin1Char('"');
}

QString escapedForAppleScript(const QString &text)
{
    // Line breaks as escapes too: a literal that spans lines can end a here-document it sits in.
    QString escaped;
    escaped.reserve(text.size() + 8);
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '\\': escaped.append(QLatin1String("\\\\")); break;
        case '"': escaped.append(QLatin1String("\\\"")); break;
        case '\n': escaped.append(QLatin1String("\\n")); break;
        case '\r': escaped.append(QLatin1String("\\r")); break;
        case '\t': escaped.append(QLatin1String("\\t")); break;
        default: escaped.append(c);
        }
    }
    return escaped;
}

} // namespace Quoting
