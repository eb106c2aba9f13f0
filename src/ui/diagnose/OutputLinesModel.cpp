#include "ui/diagnose/OutputLinesModel.h"

int OutputLinesModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_ends.size()); }

QVariant OutputLinesModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    if (role == TextRole || role == Qt::DisplayRole)
        return line(index.row());
    if (role == IsRetryRole)
        return line(index.row()).contains(QStringLiteral("Retrying with `brew reinstall"));
    return {};
}

QHash<int, QByteArray> OutputLinesModel::roleNames() const { return {{TextRole, "line"}, {IsRetryRole, "isRetry"}}; }

QString OutputLinesModel::line(int row) const
{
    if (row < 0 || size_t(row) >= m_ends.size())
        return {};
    const qsizetype begin = row == 0 ? 0 : m_ends[size_t(row) - 1];
    return QString::fromUtf8(m_text.constData() + begin, m_ends[size_t(row)] - begin);
}

QStringList OutputLinesModel::lines() const
{
    QStringList all;
    all.reserve(qsizetype(m_ends.size()));
    for (int row = 0; row < rowCount(); ++row)
        all.append(line(row));
    return all;
}

QString OutputLinesModel::text() const
{
    QByteArray joined;
    joined.reserve(m_text.size() + qsizetype(m_ends.size()));
    qsizetype begin = 0;
    for (const qsizetype end : m_ends) {
        if (begin > 0)
            joined.append('\n');
        joined.append(m_text.constData() + begin, end - begin);
        begin = end;
    }
    return QString::fromUtf8(joined);
}

void OutputLinesModel::append(const QStringList &lines)
{
    if (lines.isEmpty())
        return;
    beginInsertRows({}, rowCount(), rowCount() + int(lines.size()) - 1);
    for (const QString &line : lines) {
        m_text.append(line.toUtf8());
        m_ends.push_back(m_text.size());
    }
    endInsertRows();
}

void OutputLinesModel::replaceLast(const QString &line)
{
    if (m_ends.empty()) {
        append({line});
        return;
    }
    m_text.truncate(m_ends.size() == 1 ? 0 : m_ends[m_ends.size() - 2]);
    m_text.append(line.toUtf8());
    m_ends.back() = m_text.size();
    const QModelIndex last = index(rowCount() - 1);
    emit dataChanged(last, last);
}
