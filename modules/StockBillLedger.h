#pragma once
// The stock-in bills an invoice draws on, as every writer sees them: saving
// an invoice and changing its state (void, un-void, delete) lock the stock
// bills they move in one order and check that what the invoices together
// take stays within each stock bill's amount.
#include "platform/Amount.h"

#include <QString>

#include <map>
#include <optional>

class Connection;
class DbError;

// The condition under which a stock bill is open to invoicing: a stock-in
// bill (ftrantype 1), not void, not invoiced in full, and marked as one that
// may be invoiced (fISKP 1 or null). Begins with " and "; the columns carry
// `alias` ("b." for a joined icstockbill, empty for none).
QString openStockBillCondition(const QString &alias = {});
// The part of that condition the partial index ix_icstockbill_open is made
// with (kind, not void, the raw amounts differ): a statement with only this
// part reads the index alone, and its reader then keeps the rows for which
// completesOpenStockBill holds, which together is the whole condition.
QString openStockBillIndexCondition(const QString &alias = {});
// The rest of the condition for a row read under the index's part: its
// amount and invoiced amount (null as 0, as exact amounts: a real rounded to
// four places, as the condition's isnull rounds it) differ, and fISKP is
// null (no value) or 1.
bool completesOpenStockBill(const Amount &all, const Amount &invoiced, const std::optional<Amount> &invoiceable);

// A stock bill's amounts as read with its row locked.
struct LockedStockBill {
    QString billNo;
    Amount all;      // fAllAmount, null as 0
    Amount invoiced; // fKPAmount, null as 0
};

// Amounts per stock bill id, ascending: the order stock bills are locked in.
using StockAmounts = std::map<qint64, Amount>;

// Reads the stock bills `ids` (none of them 0) in ascending id order with
// their rows locked until the transaction ends, so that every saver and
// state operation waits for the others in the same order. On PostgreSQL the
// rows are selected for update; on SQLite the transaction must already hold
// the write lock (its first statement a write). Ids without a stock bill are
// absent from the result. Throws DbError.
std::map<qint64, LockedStockBill> lockStockBills(Connection &conn, const StockAmounts &ids);

// Whether `invoiced` (everything invoiced on the stock bill, this bill's
// entries included) stays within the stock bill's amount: not beyond it in
// size and not in the other direction (a red stock bill is negative). Zero
// always fits.
bool fitsStockBill(const Amount &invoiced, const Amount &all);

// Whether the engine dropped the transaction because of another one
// (deadlock, serialization failure, a busy database); running it again with
// the same data may succeed.
bool isTransientConflict(const DbError &error);

// How often a transaction dropped by a conflict is run again.
inline constexpr int kConflictAttempts = 5;
