#include "services/LiveKeyValueStore.h"

#include <QSettings>

#include <memory>

namespace {

// On a Mac QSettings turns "/" in a key into "." (and would store a "." as "·"), so a key written
// as "ferrowood/tarnwick/consented" lands in the defaults exactly as ferrowood.tarnwick.consented.
QString settingsKey(const QString &key)
{
    QString path = key;
    return path.replace(QLatin1Char('.'), QLatin1Char('/'));
}

} // namespace

LiveKeyValueStore::LiveKeyValueStore() = default;

LiveKeyValueStore::LiveKeyValueStore(QString iniPath) : m_iniPath(std::move(iniPath)) {}

std::unique_ptr<QSettings> LiveKeyValueStore::open() const
{
    // One QSettings per call: separate instances are safe on separate threads, and each reads
    // what other processes have written since.
    if (!m_iniPath.isEmpty())
        return std::make_unique<QSettings>(m_iniPath, QSettings::IniFormat);
    return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                       QStringLiteral("ferrowood.com"), QStringLiteral("Tarnwick"));
}

std::optional<QString> LiveKeyValueStore::stringValue(const QString &key) const
{
    const QVariant value = open()->value(settingsKey(key));
    if (!value.isValid())
        return std::nullopt;
    return value.toString();
}

bool LiveKeyValueStore::boolValue(const QString &key) const
{
    const QVariant value = open()->value(settingsKey(key));
    // The Mac's defaults give back a real boolean; an INI file gives back the text "true".
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = value.toString();
    return text == QLatin1String("true") || text == QLatin1String("1");
}

void LiveKeyValueStore::setString(const QString &key, const QString &value)
{
    auto settings = open();
    settings->setValue(settingsKey(key), value);
    settings->sync();
}

void LiveKeyValueStore::setBool(const QString &key, bool value)
{
    auto settings = open();
    settings->setValue(settingsKey(key), value);
    settings->sync();
}
