#include "telemetry/SessionID.h"

#include <QRegularExpression>

QUuid SessionID::identity() const
{
    const QString key = QString::fromLatin1(kKey);
    if (const std::optional<QString> stored = m_store->stringValue(key)) {
        if (const std::optional<QUuid> uuid = parse(*stored))
            return *uuid;
    }
    const QUuid fresh = QUuid::createUuid();
    m_store->setString(key, canonicalText(fresh));
    return fresh;
}

QString SessionID::canonicalText(const QUuid &uuid)
{
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> SessionID::parse(const QString &text)
{
    static const QRegularExpression canonical(
        QStringLiteral("^[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}$"));
    if (!canonical.match(text).hasMatch())
        return std::nullopt;
    return QUuid::fromString(text);
}
