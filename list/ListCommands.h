#pragma once
// The parts of the bill list's commands that need no window: filling the
// list for the session, describing the grid to the state operations, the
// lists handed back in selection mode, and the locked-column answer.
#include "list/BillStateOperations.h"
#include "list/ListSelection.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

class BillListModel;

// Fills the model for the session: the columns of the session's bill type
// for the session's user, then the rows of `statement` (module dialect) on
// the shared connection, which is opened for the work and closed after it.
// A database error gives its message (critical icon); a statement the
// engine refuses leaves the rows the model held.
std::optional<ListMessage> fillBillList(Session &s, BillListModel &model, const QString &statement);

// The grid as the state operations see it: every model row (the totals row
// last) with its finterid and whether it is selected; `currentRow` is the
// model row of the current cell, -1 for none.
ListGridState listGridState(const BillListModel &model, const std::vector<bool> &selectedRows, int currentRow);

// The finterid of every bill row, each bill once, in grid order (what the
// editor browses through when opened from the list).
QStringList listBillIds(const BillListModel &model);

// What selection mode hands back: the selected bills' finterid values and,
// as the second list, their bill numbers, both joined by ",", each bill
// once, the totals row never. No value when no bill row is selected.
struct SelectionReturn {
    QString ids;
    QString billNumbers;
};
std::optional<SelectionReturn> selectionReturn(const BillListModel &model, const std::vector<bool> &selectedRows);

// The selected bills' finterid values in grid order, each once, for the
// batch print commands; empty when no bill row is selected.
QList<qint32> selectedBillIds(const BillListModel &model, const std::vector<bool> &selectedRows);

// The number of columns to lock that an answer (or a stored value) asks for:
// a whole number greater than 0 that leaves at least one column free after
// it and the two leading columns. No value otherwise ("abc", "0", too many).
std::optional<int> lockedColumnCount(const QString &answer, int gridColumnCount);
