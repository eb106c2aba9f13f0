#pragma once

#include <QByteArray>
#include <QStringList>

#include <functional>
#include <utility>

/// Cuts a byte stream into lines at "\n", "\r\n" and a lone "\r" (progress bars redraw with "\r";
/// each redraw is a line of its own). Terminators are not part of a line. Chunks may end anywhere,
/// including between the "\r" and "\n" of one terminator. A line longer than kLongestLine comes
/// in pieces of at most that size, cut between UTF-8 characters, so output that never ends a
/// line cannot grow without bound.
class LineSplitter {
public:
    using Emit = std::function<void(const QByteArray &line)>;
    static constexpr qsizetype kLongestLine = 1 << 20;

    explicit LineSplitter(Emit onLine) : m_emit(std::move(onLine)) {}

    void feed(const char *data, qsizetype size);
    /// The stream has ended: hands over a last line that had no terminator.
    void finish();

private:
    void emitOverlongPieces();

    Emit m_emit;
    QByteArray m_partial;
    bool m_afterCarriageReturn = false;
};

/// Text already read whole, cut at the same terminators as LineSplitter: "\r\n", a lone "\r" and
/// "\n", so a transcript splits the same way whether it was streamed or captured.
[[nodiscard]] QStringList splitLines(const QString &text, Qt::SplitBehavior behavior = Qt::KeepEmptyParts);
