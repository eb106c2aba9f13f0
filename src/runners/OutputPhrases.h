#pragma once

#include <QString>

/// What a privileged run's output said, noted line by line as the lines arrive: a long run keeps
/// these few facts, never its output. Phrases are found case-insensitively within one line.
class OutputPhrases {
public:
    void note(const QString &line);

    /// "Not upgrading … already installed": Homebrew has the cask already.
    [[nodiscard]] bool saysAlreadyInstalled() const { return has(notUpgrading) && has(alreadyInstalled); }
    /// No terminal and no askpass: sudo was called past our wrapper.
    [[nodiscard]] bool saysSudoBypassedWrapper() const { return has(terminalRequired) && has(passwordRequired); }
    /// The password dialog was dismissed or authentication failed: a cancel, not a failure.
    [[nodiscard]] bool saysPasswordRefused() const { return has(passwordRefused); }

private:
    enum Phrase : unsigned {
        notUpgrading = 1u << 0,
        alreadyInstalled = 1u << 1,
        terminalRequired = 1u << 2,
        passwordRequired = 1u << 3,
        passwordRefused = 1u << 4,
    };
    [[nodiscard]] bool has(Phrase phrase) const { return (m_seen & phrase) != 0; }

    unsigned m_seen = 0;
};
