#pragma once
// A forward-only read of a query result, row by row, for results too large
// to be worth a snapshot (a bill's thousand entries). Fields are found by
// name without regard to case, once, and read by index on each row. Meant
// for reads outside a transaction: a failure does not roll one back.
#include <QSqlQuery>
#include <QString>
#include <QVariant>

class RowReader {
public:
    // Runs by Connection::readRows.
    explicit RowReader(QSqlQuery query);

    // Moves to the next row; false after the last. A failure while reading
    // throws DbError.
    bool next();
    // -1 when the result has no such field.
    int fieldIndex(const QString &name) const;
    QVariant value(int column) const { return m_query.value(column); }

private:
    QSqlQuery m_query;
};
