#include "services/Utf8.h"

#include <QStringDecoder>

std::optional<QString> decodeUtf8(const QByteArray &bytes)
{
    // Stateless: a truncated sequence at the end is an error, not something to wait for.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

QString decodeUtf8Lossily(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    return decoder(bytes);
}
