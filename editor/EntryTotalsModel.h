#pragma once
// The totals line under the entry grid (fps2): one row "合计" with the sums
// of the amount columns 3 to 6 of the entries, as exact decimals. A cell
// that is not a number counts as nothing. The sums are worked out when the
// line is next shown, not on every change of the entries.
#include "editor/EntryGridModel.h"
#include "platform/Amount.h"

#include <QAbstractTableModel>

#include <array>

class EntryTotalsModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit EntryTotalsModel(EntryGridModel *entries, QObject *parent = nullptr);

    // The sum of an amount column (3 to 6); 0 for any other column.
    Amount total(int gridColumn) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    void entriesChanged();
    void recompute() const;

    EntryGridModel *m_entries;
    mutable std::array<Amount, kEntryColumnCount> m_totals{};
    mutable bool m_stale = true;
};
