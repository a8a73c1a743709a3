#pragma once
// The stock batches of one goods item (tblTimeStock), as the batch picker
// lists them, and finding a batch by part of its number.
#include <QString>

#include <vector>

class Connection;

// One stock row of the goods: the returned batch number, the batch again
// (shown), the unit's name and the quantity, as the grid shows them.
struct BatchRow {
    QString batchNo;
    QString batch;
    QString unitName;
    QString qty;
};

// The statement that lists the stock rows of a goods item. The id is put into
// the text as the caller holds it.
QString batchListSql(const QString &itemId);
// Reads the stock rows of the goods on an open connection; a null batch
// number comes back as "", a null quantity as "". Throws DbError.
std::vector<BatchRow> readBatchRows(Connection &conn, const QString &itemId);
// The grid row (1 = first data row) of the first batch whose text contains
// `text`; an empty text finds the first data row. 0 when nothing matches
// (or there are no rows).
int findBatchRow(const std::vector<BatchRow> &rows, const QString &text);
