#pragma once

#include "services/KeyValueStoring.h"

#include <QUuid>

#include <memory>
#include <optional>

/// The anonymous identity that ties one Mac's events together. Despite the name it outlives the
/// session: it is made on first use, stored, and never rotated.
class SessionID {
public:
    static constexpr const char *kKey = "ferrowood.tarnwick.session_id";

    explicit SessionID(std::shared_ptr<KeyValueStoring> store) : m_store(std::move(store)) {}

    /// The stored identity; a new one (stored at once) when there is none or it doesn't parse.
    [[nodiscard]] QUuid identity() const;

    /// Canonical text: upper-case hex, 8-4-4-4-12, no braces.
    [[nodiscard]] static QString canonicalText(const QUuid &uuid);
    /// Reads canonical text in either case; nothing for anything else (braces included).
    [[nodiscard]] static std::optional<QUuid> parse(const QString &text);

private:
    std::shared_ptr<KeyValueStoring> m_store;
};
