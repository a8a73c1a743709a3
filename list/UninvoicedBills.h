#pragma once
// What has been received but not yet invoiced: per supplier, every stock-in
// bill that is open to invoicing (the condition the editor's fill offers
// bills under) with its amount, what has been invoiced on it and what is
// still open, with a total per supplier and over all of them.
//
// It is read in two steps, both from the index of open stock bills: the
// totals per supplier (what the form shows first), then the bills of one
// supplier at a time in the report's order, handed over as they are read so
// that a report of a million bills is never held in memory.
#include "platform/Amount.h"
#include "platform/ConnectionString.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

class Connection;

struct UninvoicedFilter {
    QString supplierNumber; // a supplier's code; empty for every supplier
    QDate asOf;             // bills dated up to this day; invalid for all
};

struct UninvoicedSupplier {
    QString supplierId;  // icstockbill.fsupplyid; empty when null
    QString number;      // tblItem.fnumber; empty when there is no such supplier
    QString name;
    int billCount = 0;
    Amount amount, invoiced, open; // the bills' totals
};

// The suppliers with open bills, by code (then id), and the overall total.
struct UninvoicedTotals {
    std::vector<UninvoicedSupplier> suppliers;
    Amount amount, invoiced, open;
    int billCount = 0;
};

// One bill as the engine hands it over; the texts stay valid during the
// call that receives it.
struct UninvoicedRow {
    qint64 stockBillId = 0;     // icstockbill.finterid
    QByteArrayView billNo;      // empty when null
    QByteArrayView date;        // yyyy-MM-dd
    Amount amount;              // fAllAmount, null as 0
    Amount invoiced;            // fKPAmount, null as 0
};

// A bill as the form keeps it.
struct UninvoicedBill {
    QString stockBillId;
    QString billNo;
    QString date;
    Amount amount, invoiced;
    Amount open() const { return amount - invoiced; }
};

// The statements, for the engine given (the bench and the plan checks run
// them as they are): the open bills per supplier with their count and sums
// (on SQLite one row per bill in supplier id order, summed by the reader,
// because SQLite sums decimals as binary reals), or without `amounts` only
// the ids of the suppliers that have open bills; the codes and names of
// suppliers `ids` in the report's order; the bills of one supplier (its id
// bound to the one placeholder, or without `ofSupplier` the bills without
// one) in the report's order. On SQLite the rows of the totals and of a
// supplier's bills are read under the index's part of the open condition;
// the readers keep those that complete it.
QString uninvoicedTotalsSql(const UninvoicedFilter &filter, DbEngine engine, bool amounts = true);
QString uninvoicedNamesSql(const QStringList &supplierIds);
QString uninvoicedBillsSql(bool ofSupplier, const QDate &asOf, DbEngine engine);

// Reads the totals; without `amounts` only the suppliers, their counts and
// amounts left at zero: what a reader that sums the bills as it reads them
// needs, found with a seek per supplier instead of a read of every bill.
// Throws DbError.
UninvoicedTotals readUninvoicedTotals(Connection &conn, const UninvoicedFilter &filter, bool amounts = true);
// Hands over the bills of `supplier` dated up to `asOf` in the report's
// order (oldest first, then by number and id). Throws DbError.
void readUninvoicedRows(Connection &conn, const UninvoicedSupplier &supplier, const QDate &asOf,
                        const std::function<void(const UninvoicedRow &)> &take);
// The same for each supplier of `suppliers` in turn, `done` after the last
// bill of each (of one without bills too). On PostgreSQL the server reads
// the next suppliers' bills while these are handed over.
void readUninvoicedRows(Connection &conn, const std::vector<UninvoicedSupplier> &suppliers, const QDate &asOf,
                        const std::function<void(size_t supplier, const UninvoicedRow &)> &take,
                        const std::function<void(size_t supplier)> &done = {});
std::vector<UninvoicedBill> readUninvoicedBills(Connection &conn, const UninvoicedSupplier &supplier, const QDate &asOf);

// UTF-8 CSV: the header line, then one line per bill, amounts with two
// decimals; a field holding a comma, a quote or a line break is quoted, its
// quotes doubled.
QByteArray uninvoicedCsvHeader();
// A supplier's two fields with their commas, the start of each of its lines.
QByteArray uninvoicedCsvSupplier(const UninvoicedSupplier &supplier);
void appendUninvoicedCsv(QByteArray &out, QByteArrayView supplierFields, const UninvoicedRow &bill);
// The amount as toFixed(2) writes it, without a string of its own.
void appendUninvoicedAmount(QByteArray &out, Amount amount);

// The grid's columns: code, name, bill number, date, amount, invoiced, open.
QStringList uninvoicedHeader();
// A supplier's line (its bill count in the number column), a bill's line,
// a supplier's subtotal line and the overall total line.
QStringList uninvoicedSupplierCells(const UninvoicedSupplier &supplier);
QStringList uninvoicedBillCells(const UninvoicedSupplier &supplier, const UninvoicedBill &bill);
QStringList uninvoicedSubtotalCells(const UninvoicedSupplier &supplier);
QStringList uninvoicedTotalCells(const UninvoicedTotals &totals);
// The whole report as the rows of a sheet, handed over as they are read:
// the header, each supplier's bills followed by its subtotal, the total
// last. Throws DbError.
void uninvoicedSheetRows(Connection &conn, const UninvoicedTotals &totals, const QDate &asOf,
                         const std::function<void(const QStringList &)> &take);
