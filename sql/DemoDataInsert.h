#pragma once
// How the demo data generator writes its rows: the values of a row, and a
// bulk insert that binds them (on SQLite through its own interface).
#include "platform/DbError.h"

#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace DemoInsert {

// A value of a demo row: null, a whole number, text (UTF-8) or bytes. Short
// texts (dates, amounts, numbers, most names) stay inside the value, so that
// writing millions of rows allocates nothing per value.
class Value {
public:
    enum Kind : quint8 { Null, Integer, Text, Blob };
    Value() = default;
    Value(int n) : m_kind(Integer), m_integer(n) {}
    Value(qint64 n) : m_kind(Integer), m_integer(n) {}
    Value(const QString &text)
    {
        const QByteArray bytes = text.toUtf8();
        setBytes(bytes.constData(), size_t(bytes.size()));
        m_kind = Text;
    }
    Value(const QVariant &v)
    {
        if (v.isNull())
            return;
        switch (v.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
            m_kind = Integer;
            m_integer = v.toLongLong();
            break;
        case QMetaType::QByteArray:
            *this = blob(v.toByteArray());
            break;
        default:
            *this = Value(v.toString());
        }
    }
    static Value blob(const QByteArray &bytes)
    {
        Value v;
        v.setBytes(bytes.constData(), size_t(bytes.size()));
        v.m_kind = Blob;
        return v;
    }
    // `prefix` followed by `n` padded with zeros to at least `width` digits.
    static Value code(const char *prefix, qint64 n, int width)
    {
        char digits[24];
        int count = 0;
        do {
            digits[count++] = char('0' + n % 10);
            n /= 10;
        } while (n > 0);
        char text[48];
        size_t size = std::strlen(prefix);
        std::memcpy(text, prefix, size);
        for (int k = count; k < width; ++k)
            text[size++] = '0';
        while (count > 0)
            text[size++] = digits[--count];
        return Value::text(text, size);
    }
    static Value text(const char *utf8, size_t size)
    {
        Value v;
        v.setBytes(utf8, size);
        v.m_kind = Text;
        return v;
    }
    // 'yyyy-MM-dd'.
    static Value date(const QDate &d)
    {
        int y = 0, m = 0, day = 0;
        d.getDate(&y, &m, &day);
        char text[10] = {char('0' + y / 1000 % 10), char('0' + y / 100 % 10), char('0' + y / 10 % 10), char('0' + y % 10), '-',
                         char('0' + m / 10), char('0' + m % 10), '-', char('0' + day / 10), char('0' + day % 10)};
        return Value::text(text, sizeof text);
    }

    Kind kind() const { return m_kind; }
    qint64 integer() const { return m_integer; }
    const char *data() const { return m_heap.isNull() ? m_inline : m_heap.constData(); }
    size_t size() const { return m_size; }
    QVariant toVariant() const
    {
        switch (m_kind) {
        case Null: return {};
        case Integer: return m_integer;
        case Text: return QString::fromUtf8(data(), qsizetype(m_size));
        case Blob: return QByteArray(data(), qsizetype(m_size));
        }
        return {};
    }

private:
    void setBytes(const char *bytes, size_t size)
    {
        m_size = size;
        if (size <= sizeof m_inline)
            std::memcpy(m_inline, bytes, size);
        else
            m_heap = QByteArray(bytes, qsizetype(size));
    }

    Kind m_kind = Null;
    qint64 m_integer = 0;
    size_t m_size = 0;
    char m_inline[40];
    QByteArray m_heap;
};

// Amounts are generated in cents and written as exact decimal text, as
// Amount writes them (no trailing zeros).
inline Value money(qint64 cents)
{
    char buffer[32];
    char *end = buffer + sizeof buffer;
    char *p = end;
    quint64 magnitude = cents < 0 ? 0 - quint64(cents) : quint64(cents);
    quint64 fraction = magnitude % 100;
    quint64 whole = magnitude / 100;
    if (fraction != 0) {
        if (fraction % 10 != 0)
            *--p = char('0' + fraction % 10);
        *--p = char('0' + fraction / 10);
        *--p = '.';
    }
    do {
        *--p = char('0' + whole % 10);
        whole /= 10;
    } while (whole != 0);
    if (cents < 0)
        *--p = '-';
    return Value::text(p, size_t(end - p));
}

inline Value nullValue()
{
    return Value();
}

// Insert through one prepared statement of many rows that is reused for
// every batch of rows; the rows left over at the end go through a second
// statement. Values are always bound, never spliced into the text. Many rows
// per statement save a round trip per row on PostgreSQL and most of the work
// of running a statement on SQLite, which is written through its own
// interface on the connection's handle.
class BulkInsert {
public:
    BulkInsert(const QSqlDatabase &db, const QString &table, const QStringList &columns)
        : m_db(db), m_table(table), m_columns(columns), m_batchRows(std::max<int>(1, 960 / int(columns.size())))
    {
        const QVariant handle = db.driver()->handle();
        if (handle.isValid() && qstrcmp(handle.typeName(), "sqlite3*") == 0)
            m_sqlite = *static_cast<sqlite3 *const *>(handle.constData());
        m_pending.reserve(size_t(m_batchRows) * size_t(columns.size()));
    }
    ~BulkInsert() { sqlite3_finalize(m_full); }
    BulkInsert(const BulkInsert &) = delete;
    BulkInsert &operator=(const BulkInsert &) = delete;

    void add(std::initializer_list<Value> row)
    {
        Q_ASSERT(qsizetype(row.size()) == m_columns.size());
        m_pending.insert(m_pending.end(), row.begin(), row.end());
        if (m_pending.size() == size_t(m_batchRows) * size_t(m_columns.size()))
            flush(m_batchRows);
    }

    void finish()
    {
        if (!m_pending.empty())
            flush(int(m_pending.size() / size_t(m_columns.size())));
    }

private:
    QString statement(int rows) const
    {
        const QString one = u'(' + QStringList(m_columns.size(), QStringLiteral("?")).join(u',') + u')';
        return QStringLiteral("insert into %1(%2) values ").arg(m_table, m_columns.join(u',')) + QStringList(rows, one).join(u',');
    }

    void flush(int rows)
    {
        if (m_sqlite)
            flushSqlite(rows);
        else
            flushDriver(rows);
        m_pending.clear();
    }

    void flushSqlite(int rows)
    {
        sqlite3_stmt *stmt = rows == m_batchRows ? m_full : nullptr;
        if (!stmt) {
            const QByteArray sql = statement(rows).toUtf8();
            if (sqlite3_prepare_v2(m_sqlite, sql.constData(), int(sql.size()), &stmt, nullptr) != SQLITE_OK)
                failSqlite();
            if (rows == m_batchRows)
                m_full = stmt;
        }
        int i = 0;
        for (const Value &v : m_pending) {
            ++i;
            switch (v.kind()) {
            case Value::Null: sqlite3_bind_null(stmt, i); break;
            case Value::Integer: sqlite3_bind_int64(stmt, i, v.integer()); break;
            case Value::Text: sqlite3_bind_text(stmt, i, v.data(), int(v.size()), SQLITE_STATIC); break;
            case Value::Blob: sqlite3_bind_blob(stmt, i, v.data(), int(v.size()), SQLITE_STATIC); break;
            }
        }
        const int rc = sqlite3_step(stmt);
        sqlite3_reset(stmt);
        if (stmt != m_full)
            sqlite3_finalize(stmt);
        if (rc != SQLITE_DONE)
            failSqlite();
    }

    void flushDriver(int rows)
    {
        QSqlQuery tail(m_db);
        QSqlQuery &query = rows == m_batchRows ? m_driverFull : tail;
        if (rows != m_batchRows || !m_driverPrepared) {
            query = QSqlQuery(m_db);
            if (!query.prepare(statement(rows)))
                fail(query);
            m_driverPrepared = m_driverPrepared || rows == m_batchRows;
        }
        for (size_t i = 0; i < m_pending.size(); ++i)
            query.bindValue(int(i), m_pending[i].toVariant());
        if (!query.exec())
            fail(query);
    }

    [[noreturn]] void fail(const QSqlQuery &query)
    {
        throw DbError(sqlErrorText(query.lastError()));
    }

    [[noreturn]] void failSqlite()
    {
        const QString code = QString::number(sqlite3_extended_errcode(m_sqlite));
        throw DbError(dbFaultText(dbFault(DbEngine::SQLite, code), QString::fromUtf8(sqlite3_errmsg(m_sqlite))), code);
    }

    QSqlDatabase m_db;
    QString m_table;
    QStringList m_columns;
    int m_batchRows;
    sqlite3 *m_sqlite = nullptr;
    sqlite3_stmt *m_full = nullptr;
    QSqlQuery m_driverFull;
    bool m_driverPrepared = false;
    std::vector<Value> m_pending;
};

} // namespace DemoInsert
