#pragma once
// The rows of the bill list: the columns configured for the bill type in
// tblFindInfoEntry (finterid and fbillno always first), the bills a query
// returns (at most 20000), and a last totals row "合计" with the summed
// columns added up as exact decimals.
//
// Only the shown columns and the three state columns are read, straight from
// the engine (sqlite3 and libpq through the connection's driver handle), and
// kept a column at a time as the engine gave them: whole numbers and reals
// as 8 bytes, everything else as its UTF-8 text. They are formatted when the
// view asks, so that filling 20000 rows costs little more than the engine
// stepping through them. Model row r is grid row r + 1 (the view's header is
// grid row 0); model column c is grid column c.
#include "platform/Amount.h"

#include <QAbstractTableModel>
#include <QByteArrayView>
#include <QColor>
#include <QList>
#include <QString>
#include <QVariant>

#include <vector>

class Connection;
class ListRowSource;

// The values of one list column for every bill row, in row order: a kind per
// row and the value's bytes one after another.
class ListColumnValues {
public:
    enum Kind : quint8 { Null, Integer, Real, Text };

    void shrink();
    void reserve(size_t rows);
    void addNull();
    void addInteger(qint64 value);
    void addReal(double value);
    void addText(const char *utf8, size_t size);

    Kind kind(int row) const { return Kind(m_kinds[size_t(row)]); }
    qint64 integer(int row) const;
    double real(int row) const;
    QByteArrayView bytes(int row) const;
    qint64 byteSize() const;

private:
    void addBytes(const void *data, size_t size);

    std::vector<quint8> m_kinds;
    std::vector<quint32> m_ends; // end of each row's bytes in m_bytes
    std::vector<char> m_bytes;
};

// One column of the list, from a row of tblFindInfoEntry.
struct ListColumn {
    QString field;   // view column (fFieldname)
    QString title;   // header (fTitleName)
    int align = 0;   // fAlign: 0 left, 1 centre, 2 right
    QString format;  // fDataFormat: "#,##0.00", "yyyy-MM-dd", ... or empty
    bool merge = false; // fIsMerge: equal neighbouring cells show as one
    bool sum = false;   // fIsSum: added up in the totals row
    bool operator==(const ListColumn &) const = default;
};

// The statements that describe the list of a bill type.
QString listColumnsStatement(int billTypeId);
QString hiddenFieldsStatement(const QString &userId, int billTypeId);

// The list's columns for a user: the rows of tblFindInfoEntry in fentryid
// order, led by finterid and fbillno (taken from their rows when the table
// has them, otherwise with default titles), without the fields that
// tblUserVisible (type 3) hides from a user who is not an administrator.
// The two leading columns are never hidden: the commands need them.
// Throws DbError.
QList<ListColumn> readListColumns(Connection &conn, int billTypeId, const QString &userId, bool isAdmin);

// A value as the list shows it under a format of tblFindInfoEntry: number
// formats ("0", "0.00", "#,##0.00", ...) round exactly half away from zero,
// date formats ("yyyy-MM-dd", "yyyy-mm-dd", ...) format dates; an empty
// format gives the value's plain text (exact decimals, dates yyyy-MM-dd).
// A value that does not suit the format keeps its plain text.
QString formatListValue(const QVariant &value, const QString &format);

// "共计:" bills "张单据," rows "条信息(取数时间" seconds "秒)", the seconds
// rounded to 2 decimals and written with 3.
QString listTitleLine(int bills, int rows, double seconds);

class BillListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    static constexpr int kMaxRows = 20000;
    static inline const QString kTotalsCaption = QStringLiteral("合计");

    // Row colours: not audited, audited, totals; text of void and red bills.
    static inline const QColor kOpenBackground{255, 255, 240};
    static inline const QColor kAuditedBackground{240, 255, 255};
    static inline const QColor kTotalsBackground{232, 232, 150};
    static inline const QColor kVoidForeground{162, 162, 162};
    static inline const QColor kRedForeground{200, 0, 0};

    explicit BillListModel(QObject *parent = nullptr);

    // New columns; the rows are dropped.
    void setColumns(const QList<ListColumn> &columns);
    const QList<ListColumn> &columns() const { return m_columns; }
    // Drops every row, the totals row too.
    void clearRows();

    // Runs the statement (module dialect) on the connection and takes its
    // rows, at most kMaxRows, then adds the totals row. Throws DbError; the
    // model is then empty.
    void fill(Connection &conn, const QString &statement);

    // Whether a fill has run (then the last row is the totals row).
    bool isFilled() const { return m_filled; }
    // Rows that hold bills, the totals row not counted.
    int dataRowCount() const { return m_rows; }
    // Distinct bills among those rows.
    int billCount() const { return m_bills; }
    bool isTotalsRow(int row) const { return m_filled && row == m_rows; }

    // The cell's text as the grid holds it: formatted, every row with its own
    // value (merging only changes what is painted). "合计" in column 0 of the
    // totals row and the totals in the summed columns.
    QString cellText(int row, int column) const;
    QString headerText(int column) const;
    // The raw value of a bill row's cell.
    QVariant cellValue(int row, int column) const;
    // The finterid of a bill row (text of column 0); "" for the totals row.
    QString interIdText(int row) const;
    // Exact total of a summed column; zero for the others.
    Amount total(int column) const;

    struct RowState {
        bool audited = false;
        bool isVoid = false;
        bool red = false;
    };
    RowState rowState(int row) const;

    // Whether the cell continues a run of equal cells above it in a merging
    // column (painted empty).
    bool continuesMerge(int row, int column) const;

    // Bytes held for the rows (values and their text), for measurements.
    qint64 approximateBytes() const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    enum Flag : quint8 { Audited = 1, Void = 2, Red = 4 };
    // The value as a QVariant, as Qt's drivers hand it over with high
    // precision: whole numbers as qint64, decimals and text as QString.
    QVariant at(int row, int column) const;
    void dropRows();
    void takeRows(ListRowSource &source);

    QList<ListColumn> m_columns;
    std::vector<ListColumnValues> m_values; // per column, bill rows only
    std::vector<quint8> m_flags;
    std::vector<Amount> m_totals;  // per column
    std::vector<bool> m_numeric;   // per column: the engine calls it a decimal number
    int m_rows = 0;
    int m_bills = 0;
    bool m_filled = false;
};
