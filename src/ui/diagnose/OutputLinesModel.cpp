#include "ui/diagnose/OutputLinesModel.h"

int OutputLinesModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_lines.size()); }

QVariant OutputLinesModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const QString &line = m_lines.at(index.row());
    if (role == TextRole || role == Qt::DisplayRole)
        return line;
    if (role == IsRetryRole)
        return line.contains(QStringLiteral("Retrying with `brew reinstall"));
    return {};
}

QHash<int, QByteArray> OutputLinesModel::roleNames() const { return {{TextRole, "line"}, {IsRetryRole, "isRetry"}}; }

void OutputLinesModel::append(const QStringList &lines)
{
    if (lines.isEmpty())
        return;
    beginInsertRows({}, int(m_lines.size()), int(m_lines.size() + lines.size() - 1));
    m_lines.append(lines);
    endInsertRows();
}

void OutputLinesModel::replaceLast(const QString &line)
{
    if (m_lines.isEmpty()) {
        append({line});
        return;
    }
    m_lines.last() = line;
    const QModelIndex last = index(int(m_lines.size() - 1));
    emit dataChanged(last, last);
}
