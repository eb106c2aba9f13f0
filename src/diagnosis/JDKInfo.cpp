#include "diagnosis/JDKInfo.h"

#include "services/LineSplitter.h"

#include <QRegularExpression>

QList<JDKInfo> parseJavaHomeListing(const QString &listing)
{
    // An entry: indented version, (architecture), "vendor" - "display name" and the home path.
    // Vendors and names are not ours: a quote inside one must not cost the line. The vendor ends
    // at the first `" - "`; the name runs to the last quote that blanks and a "/" follow.
    static const QRegularExpression entry(
        QString::fromLatin1(R"re(^\s+(\S+)\s+\(([^)]+)\)\s+"(.*?)"\s+-\s+".*"\s+(/.+)$)re"));
    QList<JDKInfo> jdks;
    for (const QString &line : splitLines(listing)) {
        const QRegularExpressionMatch match = entry.match(line);
        if (match.hasMatch())
            jdks.append({match.captured(1), match.captured(3), match.captured(2), match.captured(4).trimmed()});
    }
    return jdks;
}
