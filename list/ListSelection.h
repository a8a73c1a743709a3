#pragma once
// The selection of the bill list as a plain description of its grid, free of
// widgets: which bills the selected rows name, and whether the delete command
// may act on the current row.
//
// Grid rows are counted as the list grid counts them: row 0 is the header,
// rows 1 .. Rows-1 hold the bills, and the last of them is the totals row.
#include <QString>

#include <vector>

struct ListGridRow {
    QString interId;       // text of the row's finterid cell
    bool selected = false; // the row is part of the user's selection
};

struct ListGridState {
    // Grid rows 1 .. Rows-1 in order (rows[0] is grid row 1); the last one is
    // the totals row.
    std::vector<ListGridRow> rows;
    // Grid row number of the current row; below 1 when there is none.
    int currentRow = -1;

    // Number of grid rows, header row included.
    int gridRowCount() const { return int(rows.size()) + 1; }
    bool hasCurrentRow() const { return currentRow >= 1 && currentRow < gridRowCount(); }
    bool currentIsTotalsRow() const { return !rows.empty() && currentRow == gridRowCount() - 1; }
};

// The selected bills as their finterid values joined by ",", in grid order,
// each bill once even when it fills several rows. The totals row never
// counts, and neither does a row whose finterid cell is empty. Empty when the
// grid has no row below its header or no current row: the selection is only
// taken from a grid the user is working in.
QString buildSelectionList(const ListGridState &grid);

// The delete command acts only when the grid has a row below its header and
// the current row is not the totals row.
bool deleteMayAct(const ListGridState &grid);
