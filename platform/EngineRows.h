#pragma once
// The rows of one statement read through the engine's own API (sqlite3 on
// SQLite, libpq on PostgreSQL) on the handle of the connection's driver,
// without a QVariant per cell: the bill list and a bill's entries read
// thousands of rows this way. Each reader turns the cells into values of its
// own; only the access to the engine is here.
#include <QByteArrayView>
#include <QString>
#include <QVariantList>

#include <memory>
#include <string>
#include <vector>

class Connection;
struct sqlite3;
struct sqlite3_stmt;
struct pg_conn;
struct pg_result;

class EngineRows {
public:
    enum Kind : quint8 { Null, Integer, Real, Text, Fixed };
    // One cell as the engine hands it over; `text` stays valid until the
    // next row. On PostgreSQL every value that is not null is text, except
    // in rows that come in binary form (see openEach): whole numbers are
    // Integer, decimals Fixed (their text when they have more digits than
    // that holds), dates their text as the server writes it.
    struct Cell {
        Kind kind = Null;
        qint64 integer = 0; // a Fixed is integer / 10^scale, exactly
        int scale = 0;
        double real = 0;
        const char *text = nullptr;
        size_t size = 0;
        QByteArrayView bytes() const { return QByteArrayView(text, qsizetype(size)); }
    };
    // A column's type as the engine names it. SQLite tells only decimals
    // ("numeric…") and reals ("double", "float", "real") apart, by the
    // declared type as Qt's driver reads it; PostgreSQL tells all of them.
    enum ColumnType : quint8 { Other, Whole, Decimal, Floating, Boolean, Character, Date };

    // Runs `sql` (already translated for the connection's engine). Null when
    // the handle cannot take it: no such handle, several statements, a
    // transaction open on the server, a statement the engine refuses; the
    // caller then runs it through the connection, which reconnects to a
    // server that dropped the session or says what failed.
    static std::unique_ptr<EngineRows> open(Connection &conn, const QString &sql);
    // Runs `sql` (already translated, "?" placeholders) once for each set of
    // values of `sets` in turn, prepared once; nextSet() moves to the rows
    // of the next set. On PostgreSQL the statements go through a pipeline a
    // few sets ahead of the rows being read, so that the server reads the
    // next sets while the caller takes these, and the rows come in binary
    // form when every column is of a type read here (whole numbers,
    // decimals, text, dates): nothing for the server to write out as text
    // and for the reader to parse back. Null as for open(), or when a set
    // does not match the placeholders. The connection serves nothing else
    // until the reader is gone.
    static std::unique_ptr<EngineRows> openEach(Connection &conn, const QString &sql, std::vector<QVariantList> sets);
    ~EngineRows();
    EngineRows(const EngineRows &) = delete;
    EngineRows &operator=(const EngineRows &) = delete;

    int columnCount() const { return int(m_names.size()); }
    const QString &columnName(int column) const { return m_names[size_t(column)]; }
    // -1 when there is no such column; names compared without regard to case.
    int columnIndex(const QString &name) const;
    ColumnType columnType(int column) const { return m_types[size_t(column)]; }
    // The engine calls the column a decimal or real number.
    bool isDecimal(int column) const { return m_types[size_t(column)] == Decimal || m_types[size_t(column)] == Floating; }

    // Of a reader from openEach: moves to the next set, whose rows next()
    // then gives; false after the last set. Throws DbError.
    bool nextSet();
    // Moves to the next row; false after the last (of the set). A failure
    // while stepping throws DbError.
    bool next();
    Cell cell(int column) const;
    // Every cell of the row, columnCount() of them, into `cells`.
    void row(Cell *cells) const;
    // The engine's own text of a cell of any kind (a real as SQLite writes
    // it); valid until the next row.
    QByteArrayView text(int column) const;

private:
    EngineRows() = default;
    void setSqliteColumns();
    void setPostgresColumns(pg_result *result);
    // Sends the statements of the next sets, while fewer than a few groups
    // of them are on their way.
    void sendAhead();
    pg_result *nextResult();
    Cell binaryCell(int column) const;
    void leavePipeline();

    sqlite3 *m_db = nullptr;
    sqlite3_stmt *m_stmt = nullptr;
    pg_result *m_result = nullptr;
    pg_conn *m_pg = nullptr; // in pipeline mode while set (openEach)
    int m_rows = 0;
    int m_row = -1;
    std::vector<QString> m_names;
    std::vector<ColumnType> m_types;
    std::vector<QVariantList> m_sets;
    size_t m_set = 0;  // sets whose rows have been reached
    size_t m_sent = 0; // sets sent to the server
    int m_syncs = 0;   // groups sent whose end has not been read
    bool m_binary = false;
    std::vector<unsigned> m_oids;             // the columns' types, for binary rows
    mutable std::vector<std::string> m_texts; // a binary cell's text, per column
};
