#include "list/ListSelection.h"

#include <QSet>
#include <QStringList>

QString buildSelectionList(const ListGridState &grid)
{
    if (grid.gridRowCount() <= 1 || !grid.hasCurrentRow())
        return {};

    QStringList ids;
    QSet<QString> seen;
    // Grid rows 1 .. Rows-2: the last row holds the totals.
    const int lastBillRow = int(grid.rows.size()) - 1;
    for (int i = 0; i < lastBillRow; ++i) {
        const ListGridRow &row = grid.rows[size_t(i)];
        if (!row.selected)
            continue;
        const QString id = row.interId.trimmed();
        // An empty id would break the in-list of every statement.
        if (id.isEmpty() || seen.contains(id))
            continue;
        seen.insert(id);
        ids << id;
    }
    return ids.join(u',');
}

bool deleteMayAct(const ListGridState &grid)
{
    return grid.gridRowCount() > 1 && !grid.currentIsTotalsRow();
}
