#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The text of `bytes`, or nothing when they are not valid UTF-8.
[[nodiscard]] std::optional<QString> decodeUtf8(const QByteArray &bytes);
