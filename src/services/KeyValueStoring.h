#pragma once

#include <QString>

#include <optional>

/// Small persistent settings (the app's user defaults). Keys look like
/// "ferrowood.tarnwick.consented". Safe to call from any thread.
class KeyValueStoring {
public:
    virtual ~KeyValueStoring() = default;

    /// The string stored under `key`; nothing when unset.
    [[nodiscard]] virtual std::optional<QString> stringValue(const QString &key) const = 0;
    /// The boolean stored under `key`; false when unset or not a boolean.
    [[nodiscard]] virtual bool boolValue(const QString &key) const = 0;
    virtual void setString(const QString &key, const QString &value) const = 0;
    virtual void setBool(const QString &key, bool value) const = 0;
};
