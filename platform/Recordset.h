#pragma once
// A static snapshot of a query result: read whole when opened, walked with
// eof()/moveNext(), fields addressed by name without regard to case.
#include "platform/Amount.h"

#include <QDate>
#include <QHash>
#include <QStringList>
#include <QVariant>

#include <vector>

class Recordset {
public:
    Recordset() = default;
    Recordset(const QStringList &fieldNames, std::vector<QVariant> cells);

    bool eof() const { return m_position >= recordCount(); }
    bool isEmpty() const { return recordCount() == 0; }
    void moveNext() { ++m_position; }
    void moveFirst() { m_position = 0; }
    int position() const { return m_position; }
    void setPosition(int row) { m_position = row; }
    int recordCount() const { return m_fieldNames.isEmpty() ? 0 : int(m_cells.size() / m_fieldNames.size()); }

    int fieldCount() const { return int(m_fieldNames.size()); }
    QString fieldName(int column) const { return m_fieldNames.value(column); }
    const QStringList &fieldNames() const { return m_fieldNames; }
    // -1 when the recordset has no such field.
    int fieldIndex(const QString &name) const;
    bool hasField(const QString &name) const { return fieldIndex(name) >= 0; }

    // Values of the current row. An unknown field name throws DbError, as a
    // misspelt column would on any database.
    QVariant value(const QString &name) const;
    QVariant value(int column) const;
    QVariant valueAt(int row, int column) const { return m_cells[size_t(row) * m_fieldNames.size() + column]; }
    bool isNull(const QString &name) const;
    // Null reads as "", dates as yyyy-MM-dd.
    QString text(const QString &name) const;
    // Null and non-numeric text read as 0.
    qint64 toInt(const QString &name) const;
    // Null reads as 0.
    Amount amount(const QString &name) const;
    // A date column or 'yyyy-MM-dd' text; null or unreadable gives an invalid date.
    QDate date(const QString &name) const;

    static QString variantText(const QVariant &value);
    static QDate variantDate(const QVariant &value);

private:
    int requireField(const QString &name) const;

    QStringList m_fieldNames;
    QHash<QString, int> m_index; // lower-case name -> column
    std::vector<QVariant> m_cells; // row-major
    int m_position = 0;
};
