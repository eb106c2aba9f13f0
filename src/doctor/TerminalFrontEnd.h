#pragma once

#include "runners/FixSequence.h"

#include <QTextStream>

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

    /// Every line shown, a progress line as its latest text.
    [[nodiscard]] const QStringList &lines() const { return m_lines; }

private:
    void endProgressLine();
    void showAddedLines(const FileAppendWriter::DiffPreview &preview);

    QTextStream &m_out;
    bool m_isTerminal;
    Asker m_ask;
    QStringList m_lines;
    bool m_inProgress = false;
};
