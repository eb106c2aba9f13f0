#include "doctor/TerminalText.h"

#include <algorithm>

QString visibleText(const QString &text)
{
    const auto isControl = [](char16_t c) { return (c < 0x20 && c != u'\t') || (c >= 0x7f && c <= 0x9f); };
    if (std::none_of(text.cbegin(), text.cend(), [&](QChar c) { return isControl(c.unicode()); }))
        return text;
    QString shown;
    shown.reserve(text.size() + 8);
    for (const QChar c : text) {
        const char16_t code = c.unicode();
        if (!isControl(code))
            shown.append(c);
        else if (code < 0x20)
            shown.append(QLatin1Char('^')).append(QChar(code + 0x40));
        else if (code == 0x7f)
            shown.append(QLatin1String("^?"));
        else
            shown.append(QStringLiteral("\\x%1").arg(static_cast<int>(code), 2, 16, QLatin1Char('0')));
    }
    return shown;
}
