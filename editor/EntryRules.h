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

// One row of the grid, kept compactly so that a bill of thousands of rows is
// read, shown and moved without a text object per cell: the stock bill's id
// as a number, the amount columns as amounts whose text is made when a cell
// is read, and texts only for the bill number, the date and what was set
// that is not an amount's own shortest text. Every cell reads back exactly
// the text it was given.
class EntryRow {
public:
    // icstockbill.finterid, the hidden tag of column 1.
    QString stockId() const;
    void setStockId(const QString &id);
    void setStockId(qint64 id);

    // Column 1 .. 10; anything else reads as "" and is not written.
    QString cell(int column) const;
    void setCell(int column, const QString &text);
    // Column 1 as `length` characters of `texts` from `from`: the rows of a
    // loaded bill share one text of all their stock bill numbers rather than
    // holding one each. stockBillNo() reads it without a copy.
    void setStockBillNo(const QString &texts, qsizetype from, qsizetype length);
    QStringView stockBillNo() const;
    // An amount column (3 to 6) set to the amount's text (Amount::toString):
    // the out-of-range amount empties the cell.
    void setAmount(int column, Amount amount);
    // The cell's value as cellAmount reads its text.
    std::optional<Amount> amount(int column) const;
    // The amount whose shortest text the cell holds, when it was set so (by
    // setAmount, or by setCell with exactly that text); none otherwise.
    std::optional<Amount> heldAmount(int column) const;

    // A row for an open stock bill as the fill offers it: columns 1-5 set,
    // column 6 empty.
    static EntryRow fromStockBill(const QString &stockId, const QString &billNo, const QString &date,
                                  Amount allAmount, Amount invoiced);

private:
    static constexpr int kFirstAmount = ColAllAmount;
    static constexpr int kLastAmount = ColThisAmount;

    qint64 m_stockNumber = 0;
    bool m_stockIsNumber = false; // else the id is m_stockText
    quint8 m_held = 0;            // bit c - 3: column c holds m_amounts[c - 3]
    Amount m_amounts[kLastAmount - kFirstAmount + 1];
    QString m_stockText;
    QString m_billNo; // column 1, or the text it is part of
    qsizetype m_billNoFrom = 0;
    qsizetype m_billNoLength = -1; // -1: all of m_billNo
    QString m_date;   // column 2
    // The texts of columns 3 .. 10 that are no held amount, from column 3
    // as far as any was set: most rows have none.
    QList<QString> m_texts;
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
