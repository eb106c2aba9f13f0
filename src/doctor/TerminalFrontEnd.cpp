#include "doctor/TerminalFrontEnd.h"

void TerminalFrontEnd::endProgressLine()
{
    if (m_inProgress && m_isTerminal)
        m_out << '\n';
    m_inProgress = false;
}

void TerminalFrontEnd::line(const QString &text)
{
    endProgressLine();
    m_lines.append(text);
    m_out << text << '\n';
    m_out.flush();
}

void TerminalFrontEnd::progress(const QString &text)
{
    // One line updated in place on a terminal; a line each elsewhere (a log keeps them all).
    if (m_inProgress)
        m_lines.last() = text;
    else
        m_lines.append(text);
    if (m_isTerminal)
        m_out << "\r\033[K" << text;
    else
        m_out << text << '\n';
    m_inProgress = true;
    m_out.flush();
}

void TerminalFrontEnd::showAddedLines(const FileAppendWriter::DiffPreview &preview)
{
    for (const QString &added : preview.linesAdded)
        m_out << "  + " << added << '\n';
}

bool TerminalFrontEnd::confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview)
{
    endProgressLine();
    for (const QString &text : FixSequence::zshrcOfferText(preview))
        m_out << text << '\n';
    showAddedLines(preview);
    return m_ask(QStringLiteral("Apply ~/.zshrc change?"));
}

bool TerminalFrontEnd::confirmZprofileWrite(const FileAppendWriter::DiffPreview &preview)
{
    endProgressLine();
    m_out << "Set `JAVA_HOME` in `~/.zprofile`\n"
          << "Review the change before we write it. Your current file is backed up to `~/.zprofile.bak`.\n";
    if (preview.wasCreated)
        m_out << "Creating `~/.zprofile` (didn't exist before).\n";
    m_out << "Backup: `" << preview.backupPath << "`\n";
    showAddedLines(preview);
    return m_ask(QStringLiteral("Apply this change to ~/.zprofile?"));
}

bool TerminalFrontEnd::confirmShellenvAppend(const FileAppendWriter::DiffPreview &preview)
{
    endProgressLine();
    m_out << "Homebrew is installed. Its shellenv line in `~/.zprofile` puts brew on PATH in new shells.\n";
    if (preview.wasCreated)
        m_out << "Creating `~/.zprofile` (didn't exist before).\n";
    m_out << "Backup: `" << preview.backupPath << "`\n";
    showAddedLines(preview);
    return m_ask(QStringLiteral("Append brew shellenv to ~/.zprofile?"));
}
