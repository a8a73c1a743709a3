#pragma once
// What has been received but not yet invoiced: per supplier, every stock-in
// bill that is open to invoicing (the condition the editor's fill offers
// bills under) with its amount, what has been invoiced on it and what is
// still open, with a total per supplier and over all of them.
#include "platform/Amount.h"

#include <QByteArray>
#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <vector>

class Connection;

struct UninvoicedBill {
    QString stockBillId; // icstockbill.finterid
    QString billNo;
    QString date;        // yyyy-MM-dd
    Amount amount;       // fAllAmount, null as 0
    Amount invoiced;     // fKPAmount, null as 0
    Amount open() const { return amount - invoiced; }
};

struct UninvoicedSupplier {
    QString supplierId;  // tblItem.fitemid
    QString number;
    QString name;
    std::vector<UninvoicedBill> bills; // oldest first, then by number
    Amount amount, invoiced, open;     // the bills' totals
};

struct UninvoicedReport {
    std::vector<UninvoicedSupplier> suppliers; // by supplier code
    Amount amount, invoiced, open;
    int billCount = 0;
};

struct UninvoicedFilter {
    QString supplierNumber; // a supplier's code; empty for every supplier
    QDate asOf;             // bills dated up to this day; invalid for all
};

// The statement: open stock bills with their supplier's code and name, in
// the report's order.
QString uninvoicedSql(const UninvoicedFilter &filter);
// Reads the report. Throws DbError.
UninvoicedReport readUninvoiced(Connection &conn, const UninvoicedFilter &filter);

// The report as UTF-8 CSV: the header line, then one line per bill, amounts
// with two decimals; a field holding a comma, a quote or a line break is
// quoted, its quotes doubled.
QByteArray uninvoicedCsv(const UninvoicedReport &report);

// The report as a grid: one line per bill, a subtotal line after each
// supplier and the overall total last.
struct UninvoicedLine {
    QStringList cells;  // code, name, bill number, date, amount, invoiced, open
    int supplier = -1;  // index into the report's suppliers
    int bill = -1;      // index into that supplier's bills; -1 on total lines
};
QStringList uninvoicedHeader();
std::vector<UninvoicedLine> uninvoicedLines(const UninvoicedReport &report);
