#pragma once

#include <QString>

#include <stdexcept>

/// Base of our own errors: each carries a message a person can read, which is what screens and
/// the doctor show.
class Error : public std::runtime_error {
public:
    explicit Error(const QString &message) : std::runtime_error(message.toStdString()), m_message(message) {}
    [[nodiscard]] QString message() const { return m_message; }

private:
    QString m_message;
};
