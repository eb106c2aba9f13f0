#include "services/LineSplitter.h"

#include <QRegularExpression>

#include <algorithm>

void LineSplitter::feed(const char *data, qsizetype size)
{
    const char *cursor = data;
    const char *const end = data + size;
    while (cursor < end) {
        if (m_afterCarriageReturn) {
            m_afterCarriageReturn = false;
            if (*cursor == '\n') { // the second half of "\r\n"
                ++cursor;
                continue;
            }
        }
        const char *terminator = std::find_if(cursor, end, [](char c) { return c == '\n' || c == '\r'; });
        m_partial.append(cursor, terminator - cursor);
        emitOverlongPieces();
        if (terminator == end)
            return;
        m_afterCarriageReturn = *terminator == '\r';
        m_emit(m_partial);
        m_partial.clear();
        cursor = terminator + 1;
    }
}

void LineSplitter::finish()
{
    if (!m_partial.isEmpty())
        m_emit(m_partial);
    m_partial.clear();
    m_afterCarriageReturn = false;
}

void LineSplitter::emitOverlongPieces()
{
    while (m_partial.size() > kLongestLine) {
        // Back up over continuation bytes (10xxxxxx) so no character is split between pieces.
        qsizetype cut = kLongestLine;
        while (cut > kLongestLine - 4 && (static_cast<unsigned char>(m_partial.at(cut)) & 0xC0) == 0x80)
            --cut;
        if ((static_cast<unsigned char>(m_partial.at(cut)) & 0xC0) == 0x80)
            cut = kLongestLine; // not UTF-8 anyway
        m_emit(m_partial.left(cut));
        m_partial.remove(0, cut);
    }
}

QStringList splitLines(const QString &text, Qt::SplitBehavior behavior)
{
    static const QRegularExpression lineBreak(QStringLiteral("\r\n|\r|\n"));
    return text.split(lineBreak, behavior);
}
