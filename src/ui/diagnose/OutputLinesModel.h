#pragma once

#include <QAbstractListModel>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

/// The lines a fix printed, in arrival order, for a list view that creates delegates only for
/// the rows in sight. Rows arrive in batches (one insert per frame), never one signal per line.
class OutputLinesModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by a sheet model")
public:
    enum Role { TextRole = Qt::UserRole + 1, IsRetryRole };

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    void append(const QStringList &lines);
    /// A progress line ("Downloaded 12.0 MB of …") that took the place of the last row.
    void replaceLast(const QString &line);
    [[nodiscard]] const QStringList &lines() const { return m_lines; }

private:
    QStringList m_lines;
};
