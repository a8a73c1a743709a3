#pragma once
// The entry grid of the bill editor as a table model over plain entry rows.
// Grid rows and columns are counted from 1 as the grid counts them; the
// model's row 0 / column 0 are grid row 1 / column 1. Only column 6 (this
// invoice's amount) may be edited, and not while the grid is locked.
#include "editor/EntryRules.h"

#include <QAbstractTableModel>
#include <QColor>
#include <QStyledItemDelegate>

#include <vector>

class EntryGridModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit EntryGridModel(QObject *parent = nullptr);

    const std::vector<EntryRow> &rows() const { return m_rows; }
    void setRows(std::vector<EntryRow> rows);
    void appendRows(const std::vector<EntryRow> &rows);
    void clear();
    // Grid row count, as the grid's MaxRows.
    int gridRowCount() const { return int(m_rows.size()); }

    // 1-based access; out-of-range cells read "" and ignore writes.
    QString cellText(int gridRow, int gridColumn) const;
    void setCellText(int gridRow, int gridColumn, const QString &text);
    QString rowTag(int gridRow) const;

    bool isLocked() const { return m_locked; }
    void setLocked(bool locked);
    // Fore colour of every cell (red for a red invoice).
    void setForeground(const QColor &colour);
    QColor foreground() const { return m_foreground; }

    // Amount cells are shown with two decimals at least; the edit value is
    // the exact text.
    static QString displayAmount(const QString &text);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

signals:
    // The user changed a cell.
    void edited(int gridRow, int gridColumn);

private:
    std::vector<EntryRow> m_rows;
    bool m_locked = false;
    QColor m_foreground = Qt::black;
};

// The editor of the amount column: a line edit that takes a signed decimal
// number with up to four decimals.
class AmountDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};
