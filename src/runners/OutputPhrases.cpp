#include "runners/OutputPhrases.h"

void OutputPhrases::note(const QString &line)
{
    // "a password is required" alone means a refusal; with "a terminal is required" it means the
    // wrapper was bypassed. Callers test the bypass first.
    static const char *const refusals[] = {"a password is required", "sudo: a password is required", "user canceled",
                                           "sudo_askpass", "askpass", "authentication failed",
                                           "execution error: user canceled"};
    const QString lower = line.toLower();
    const auto mark = [&](const char *phrase, Phrase seen) {
        if (lower.contains(QLatin1String(phrase)))
            m_seen |= seen;
    };
    mark("not upgrading", notUpgrading);
    mark("already installed", alreadyInstalled);
    mark("a terminal is required", terminalRequired);
    mark("a password is required", passwordRequired);
    for (const char *phrase : refusals)
        mark(phrase, passwordRefused);
}
