#pragma once

#include <QString>

#include <optional>

/// Small persistent settings (the app's user defaults). Keys look like
/// "ferrowood.tarnwick.consented". Every method is safe to call from any thread, the setters
/// included. The setters are not const: code handed a const store can only read.
class KeyValueStoring {
public:
    virtual ~KeyValueStoring() = default;

    /// The string stored under `key`; nothing when unset.
    [[nodiscard]] virtual std::optional<QString> stringValue(const QString &key) const = 0;
    /// The boolean stored under `key`; false when unset or not a boolean.
    [[nodiscard]] virtual bool boolValue(const QString &key) const = 0;
    virtual void setString(const QString &key, const QString &value) = 0;
    virtual void setBool(const QString &key, bool value) = 0;
};
