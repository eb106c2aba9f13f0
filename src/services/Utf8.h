#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The text of `bytes`, or nothing when they are not valid UTF-8.
[[nodiscard]] std::optional<QString> decodeUtf8(const QByteArray &bytes);
/// The text of `bytes` for showing: a byte-order mark is dropped and every byte that is not part
/// of valid UTF-8 shows as U+FFFD. Never for writing back.
[[nodiscard]] QString decodeUtf8Lossily(const QByteArray &bytes);
