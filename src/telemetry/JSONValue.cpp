#include "telemetry/JSONValue.h"

#include "services/JSONDecoding.h"

#include <QJsonArray>
#include <QJsonObject>

QJsonValue JSONValue::toJson() const
{
    switch (kind()) {
    case Kind::string: return std::get<QString>(m_value);
    case Kind::integer: return std::get<qint64>(m_value);
    case Kind::floating: return std::get<double>(m_value);
    case Kind::boolean: return std::get<bool>(m_value);
    case Kind::array: {
        QJsonArray array;
        for (const JSONValue &element : std::get<JSONArray>(m_value))
            array.append(element.toJson());
        return array;
    }
    case Kind::object: return ::toJson(std::get<JSONObject>(m_value));
    case Kind::null: return QJsonValue(QJsonValue::Null);
    }
    Q_UNREACHABLE();
}

JSONObject JSONValue::toObject() const
{
    if (const auto *members = std::get_if<JSONObject>(&m_value))
        return *members;
    return {};
}

QJsonObject toJson(const JSONObject &object)
{
    QJsonObject json;
    for (auto it = object.cbegin(); it != object.cend(); ++it)
        json.insert(it.key(), it.value().toJson());
    return json;
}

JSONValue JSONValue::fromJson(const QJsonValue &value)
{
    if (value.isNull())
        return null();
    if (value.isBool())
        return value.toBool();
    if (value.isDouble()) {
        if (const std::optional<qint64> whole = json::asInteger(value))
            return *whole;
        return value.toDouble();
    }
    if (value.isString())
        return value.toString();
    if (value.isArray()) {
        JSONArray array;
        for (const QJsonValue &element : value.toArray())
            array.append(fromJson(element));
        return array;
    }
    if (value.isObject()) {
        JSONObject object;
        const QJsonObject json = value.toObject();
        for (auto it = json.constBegin(); it != json.constEnd(); ++it)
            object.insert(it.key(), fromJson(it.value()));
        return object;
    }
    throw DecodingError(QStringLiteral("Unknown JSONValue"));
}
