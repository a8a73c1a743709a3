#pragma once
// The invoice's entry grid as plain data, and the checks that run before a
// bill is saved. One entry is a stock-in bill covered by the invoice together
// with the part of its amount that this invoice takes.
//
// Columns are counted as the grid counts them, from 1:
//   1 stock bill number (the stock bill's id rides along as the row's tag)
//   2 stock bill date
//   3 stock bill total
//   4 amount invoiced on the stock bill by other invoices
//   5 amount still open ("应开总额") = column 3 - column 4
//   6 this invoice's amount for the stock bill ("本次开票金额"), typed
//   7-10 no amount rule
// An empty amount cell counts as 0 everywhere.
#include "platform/Amount.h"

#include <QList>
#include <QString>

#include <optional>
#include <vector>

inline constexpr int kEntryColumnCount = 10;

enum EntryColumn {
    ColStockBillNo = 1,
    ColStockDate = 2,
    ColAllAmount = 3,
    ColInvoiced = 4,
    ColOpenAmount = 5,
    ColThisAmount = 6,
};

struct EntryRow {
    QString stockId; // icstockbill.finterid, the hidden tag of column 1
    // The texts of columns 1 .. n, as far as any was set: a row stays small
    // (the list itself is one pointer) so that a bill of thousands of rows
    // is read and moved without copying cells around.
    QList<QString> cells;

    // Column 1 .. 10; anything else reads as "" and is not written.
    const QString &cell(int column) const;
    void setCell(int column, const QString &text);

    // A row for an open stock bill as the fill offers it: columns 1-5 set,
    // column 6 empty.
    static EntryRow fromStockBill(const QString &stockId, const QString &billNo, const QString &date,
                                  Amount allAmount, Amount invoiced);
};

// One caption label of the laid-out header and the text of its field.
struct HeaderLabel {
    QString caption;
    bool required = false;
    QString text;
};

// Why a bill may not be saved. The form shows `message` with the exclamation
// icon and, when asked, puts the focus into the amount box.
struct EntryRefusal {
    QString message;
    bool focusAmount = false;
};

// The number in a text that the numeric test accepts (sign, decimals,
// thousands separators, exponent), as an exact amount. No value for text
// that is not a number or lies beyond what an amount holds.
std::optional<Amount> numericAmount(const QString &text);

// A grid cell: empty (or blanks) is 0; no value when it holds something that
// is not a number.
std::optional<Amount> cellAmount(const QString &text);

// Column 5 of a stock bill row: total minus the amount already invoiced, as
// text.
QString openAmountText(Amount allAmount, Amount invoiced);

// The pre-save check, in its order; stops at the first failure:
//  1. every required label whose field text is empty (blanks count as empty):
//     caption + "不能为空";
//  2. the total empty: "请录入金额！"; 3. not a number: "金额必须录入数字！",
//     a number beyond what may be entered: "金额超出允许的范围！";
//  4. per row, column 6 not a number or beyond what may be entered, then
//     |column 6| beyond |column 5|, then column 6 against the sign of
//     column 3;
//  5./6. the sum of column 6 beyond what may be entered, then beyond the
//     total in absolute value.
// Amounts are compared as exact decimals. What may be entered is at most
// Amount::MaxEnteredUnits in magnitude, so that it is stored exactly.
std::optional<EntryRefusal> checkEntries(const std::vector<HeaderLabel> &labels, const QString &amountText,
                                         const std::vector<EntryRow> &rows);

// The number of entry columns to freeze that an answer (or a stored value)
// asks for: a whole number from 0 to 5, so that the amount column of this
// invoice can always scroll into view. No value for anything else.
std::optional<int> frozenEntryColumns(const QString &answer);
