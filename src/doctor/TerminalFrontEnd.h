#pragma once

#include "runners/FixSequence.h"

#include <QTextStream>

#include <atomic>
#include <deque>
#include <functional>

/// A fix's lines on a terminal (or a pipe), and its questions asked there.
class TerminalFrontEnd final : public FixSequence::FrontEnd {
public:
    using Asker = std::function<bool(const QString &question)>;

    TerminalFrontEnd(QTextStream &out, bool isTerminal, Asker ask) : m_out(out), m_isTerminal(isTerminal), m_ask(std::move(ask)) {}

    void line(const QString &text) override;
    void progress(const QString &text) override;
    bool confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview) override;
    bool confirmZprofileWrite(const FileAppendWriter::DiffPreview &preview) override;
    bool confirmShellenvAppend(const FileAppendWriter::DiffPreview &preview) override;
    void installFinishing() override;

    /// Whether a cancel came while a privileged install ran, which was then let finish: the fix's
    /// outcome is that install's, not a cancel.
    [[nodiscard]] bool installOutlivedCancel() const { return m_installOutlivedCancel; }

    /// The lines shown, a progress line as its latest text, for the report. Endless output is
    /// kept to its first kKeptFirst and last kKeptLast lines, with a line between saying how many
    /// are not shown; the terminal still sees every line as it arrives.
    [[nodiscard]] QStringList lines() const;

    static constexpr qsizetype kKeptFirst = 200;
    static constexpr qsizetype kKeptLast = 800;

private:
    void keep(const QString &text);
    void replaceLastKept(const QString &text);

    void endProgressLine();
    /// Whether ~/.zprofile is new, where its backup goes, and the lines that would be added.
    void showZprofileChange(const FileAppendWriter::DiffPreview &preview);

    QTextStream &m_out;
    bool m_isTerminal;
    Asker m_ask;
    QStringList m_first;
    std::deque<QString> m_last;
    qint64 m_notKept = 0;
    bool m_inProgress = false;
    std::atomic<bool> m_installOutlivedCancel {false};
};
