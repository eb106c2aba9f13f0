#pragma once

#include <QJsonValue>
#include <QList>
#include <QMap>
#include <QString>

#include <variant>

class JSONValue;
using JSONObject = QMap<QString, JSONValue>;
using JSONArray = QList<JSONValue>;

/// A closed set of JSON values, as telemetry sends and stores them. Numbers keep their kind:
/// a whole number is an int, anything else a double.
class JSONValue {
public:
    enum class Kind { string, integer, floating, boolean, array, object, null };

    JSONValue() : m_value(std::monostate {}) {} // null
    JSONValue(const char *text) : m_value(QString::fromUtf8(text)) {}
    JSONValue(QString text) : m_value(std::move(text)) {}
    JSONValue(qint64 number) : m_value(number) {}
    JSONValue(int number) : m_value(static_cast<qint64>(number)) {}
    JSONValue(double number) : m_value(number) {}
    JSONValue(bool flag) : m_value(flag) {}
    JSONValue(JSONArray values) : m_value(std::move(values)) {}
    JSONValue(JSONObject values) : m_value(std::move(values)) {}
    static JSONValue null() { return {}; }

    [[nodiscard]] Kind kind() const { return static_cast<Kind>(m_value.index()); }
    /// The members of an object; empty for anything else.
    [[nodiscard]] JSONObject toObject() const;
    [[nodiscard]] QJsonValue toJson() const;
    /// Reads one value, trying null, bool, integer, double, string, array and object in turn.
    /// Throws DecodingError ("Unknown JSONValue") for anything else.
    [[nodiscard]] static JSONValue fromJson(const QJsonValue &value);

    friend bool operator==(const JSONValue &, const JSONValue &) = default;

private:
    // The order matches Kind.
    std::variant<QString, qint64, double, bool, JSONArray, JSONObject, std::monostate> m_value;
};

[[nodiscard]] QJsonObject toJson(const JSONObject &object);
