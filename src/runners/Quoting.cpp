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
    // Backslashes first: escaping the quotes first would double the backslashes that adds.
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    escaped.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return escaped;
}

} // namespace Quoting
