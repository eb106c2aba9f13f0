#pragma once

#include <QAbstractListModel>
#include <QByteArray>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <vector>

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
    [[nodiscard]] QString line(int row) const;
    [[nodiscard]] QStringList lines() const;
    /// Every row, one per line, as the person copies them.
    [[nodiscard]] QString text() const;

private:
    // A long install prints hundreds of thousands of lines: kept as UTF-8 back to back with the
    // offset where each row ends, that is about a byte a character, where a QString per row
    // costs two plus a header and an allocation.
    QByteArray m_text;
    std::vector<qsizetype> m_ends;
};
