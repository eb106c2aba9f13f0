#include "doctor/TerminalFrontEnd.h"

#include "doctor/TerminalText.h"

void TerminalFrontEnd::keep(const QString &text)
{
    if (m_first.size() < kKeptFirst) {
        m_first.append(text);
        return;
    }
    m_last.push_back(text);
    if (static_cast<qsizetype>(m_last.size()) > kKeptLast) {
        m_last.pop_front();
        ++m_notKept;
    }
}

void TerminalFrontEnd::replaceLastKept(const QString &text)
{
    if (!m_last.empty())
        m_last.back() = text;
    else if (!m_first.isEmpty())
        m_first.last() = text;
}

QStringList TerminalFrontEnd::lines() const
{
    QStringList lines = m_first;
    if (m_notKept > 0)
        lines.append(QStringLiteral("… %1 lines not shown").arg(m_notKept));
    lines.reserve(lines.size() + static_cast<qsizetype>(m_last.size()));
    for (const QString &line : m_last)
        lines.append(line);
    return lines;
}

void TerminalFrontEnd::endProgressLine()
{
    if (m_inProgress && m_isTerminal)
        m_out << '\n';
    m_inProgress = false;
}

void TerminalFrontEnd::line(const QString &text)
{
    endProgressLine();
    keep(text);
    m_out << visibleText(text) << '\n';
    m_out.flush();
}

void TerminalFrontEnd::progress(const QString &text)
{
    // One line updated in place on a terminal; a line each elsewhere (a log keeps them all).
    if (m_inProgress)
        replaceLastKept(text);
    else
        keep(text);
    if (m_isTerminal)
        m_out << "\r\033[K" << visibleText(text);
    else
        m_out << visibleText(text) << '\n';
    m_inProgress = true;
    m_out.flush();
}

void TerminalFrontEnd::showZprofileChange(const FileAppendWriter::DiffPreview &preview)
{
    const FixSequence::ZprofileOffer offer = FixSequence::zprofileOfferText(preview);
    if (!offer.createdNote.isEmpty())
        m_out << offer.createdNote << '\n';
    m_out << visibleText(offer.backupLine) << '\n';
    for (const QString &added : preview.linesAdded)
        m_out << "  + " << visibleText(added) << '\n';
}

bool TerminalFrontEnd::confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview)
{
    endProgressLine();
    for (const QString &text : FixSequence::zshrcOfferText(preview))
        m_out << visibleText(text) << '\n';
    for (const QString &added : preview.linesAdded)
        m_out << "  + " << visibleText(added) << '\n';
    return m_ask(QStringLiteral("Apply ~/.zshrc change?"));
}

bool TerminalFrontEnd::confirmZprofileWrite(const FileAppendWriter::DiffPreview &preview)
{
    endProgressLine();
    const FixSequence::ZprofileOffer offer = FixSequence::zprofileOfferText(preview);
    m_out << offer.title << '\n' << offer.detail << '\n';
    showZprofileChange(preview);
    return m_ask(QStringLiteral("Apply this change to ~/.zprofile?"));
}

bool TerminalFrontEnd::confirmShellenvAppend(const FileAppendWriter::DiffPreview &preview)
{
    endProgressLine();
    m_out << "Homebrew is installed. Its shellenv line in `~/.zprofile` puts brew on PATH in new shells.\n";
    showZprofileChange(preview);
    return m_ask(QStringLiteral("Append brew shellenv to ~/.zprofile?"));
}

void TerminalFrontEnd::installFinishing()
{
    m_installOutlivedCancel = true;
    FixSequence::FrontEnd::installFinishing();
}
