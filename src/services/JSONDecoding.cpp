#include "services/JSONDecoding.h"

#include <cmath>
#include <limits>

namespace json {

namespace {

[[noreturn]] void missing(const QString &key)
{
    throw DecodingError(QStringLiteral("The data couldn't be read because the key “%1” is missing.").arg(key));
}

[[noreturn]] void wrongType(const QString &key, const char *expected)
{
    throw DecodingError(QStringLiteral("The data couldn't be read because “%1” isn't %2.").arg(key, QLatin1String(expected)));
}

} // namespace

QJsonDocument parse(const QByteArray &bytes)
{
    QJsonParseError error {};
    QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        throw DecodingError(QStringLiteral("The data couldn't be read because it isn't valid JSON (%1 at offset %2).")
                                .arg(error.errorString())
                                .arg(error.offset));
    return document;
}

QJsonObject object(const QJsonValue &value, const QString &what)
{
    if (!value.isObject())
        wrongType(what, "an object");
    return value.toObject();
}

QJsonArray array(const QJsonValue &value, const QString &what)
{
    if (!value.isArray())
        wrongType(what, "an array");
    return value.toArray();
}

QString string(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        missing(key);
    if (!value.isString())
        wrongType(key, "a string");
    return value.toString();
}

std::optional<qint64> asInteger(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    // Qt keeps integers it parsed as 64-bit integers; toDouble() may round them, toInteger() not.
    const double number = value.toDouble();
    const qint64 whole = value.toInteger();
    if (std::trunc(number) != number || static_cast<double>(whole) != number)
        return std::nullopt;
    return whole;
}

qint64 integer(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        missing(key);
    const std::optional<qint64> whole = asInteger(value);
    if (!whole)
        wrongType(key, "a whole number");
    return *whole;
}

} // namespace json
