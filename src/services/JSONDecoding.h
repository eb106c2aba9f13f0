#pragma once

#include "services/Error.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>
#include <stdexcept>

/// JSON that is not what we expected: unparsable, a missing key, a value of the wrong type.
class DecodingError : public Error {
public:
    using Error::Error;
};

/// Strict readers for JSON we decode into our own types; each throws DecodingError saying what
/// was wrong and where.
namespace json {

/// Parses `bytes` as one JSON document.
[[nodiscard]] QJsonDocument parse(const QByteArray &bytes);
[[nodiscard]] QJsonObject object(const QJsonValue &value, const QString &what);
[[nodiscard]] QJsonArray array(const QJsonValue &value, const QString &what);
[[nodiscard]] QString string(const QJsonObject &object, const QString &key);
/// A whole number that fits 64 bits ("3", "3.0"; not "3.5").
[[nodiscard]] qint64 integer(const QJsonObject &object, const QString &key);
/// Whether a JSON number is a whole number that fits 64 bits, and which.
[[nodiscard]] std::optional<qint64> asInteger(const QJsonValue &value);

} // namespace json
