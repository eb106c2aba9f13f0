#pragma once

#include <QString>

#include <cstdint>

/// What a remediation screen shows of a running command: output lines, then exactly one of
/// `completed` or `canceled`.
struct StreamEvent {
    enum class Kind { output, completed, canceled };

    Kind kind = Kind::output;
    QString text;              // for output
    std::int32_t exitCode = 0; // for completed; -1 when the program could not be started

    static StreamEvent output(QString text) { return {Kind::output, std::move(text), 0}; }
    static StreamEvent completed(std::int32_t exitCode) { return {Kind::completed, {}, exitCode}; }
    static StreamEvent canceled() { return {Kind::canceled, {}, 0}; }

    [[nodiscard]] bool isTerminal() const { return kind != Kind::output; }

    friend bool operator==(const StreamEvent &, const StreamEvent &) = default;
};
