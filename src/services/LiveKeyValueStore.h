#pragma once

#include "services/KeyValueStoring.h"

#include <memory>

class QSettings;

/// KeyValueStoring over QSettings: the app's defaults domain on a Mac, an INI file elsewhere.
class LiveKeyValueStore final : public KeyValueStoring {
public:
    /// The app's own settings.
    LiveKeyValueStore();
    /// Settings kept in the INI file at `iniPath` (tests, and tools that share a store).
    explicit LiveKeyValueStore(QString iniPath);

    [[nodiscard]] std::optional<QString> stringValue(const QString &key) const override;
    [[nodiscard]] bool boolValue(const QString &key) const override;
    void setString(const QString &key, const QString &value) override;
    void setBool(const QString &key, bool value) override;

private:
    std::unique_ptr<QSettings> open() const;

    QString m_iniPath; // empty: the app's native settings
};
