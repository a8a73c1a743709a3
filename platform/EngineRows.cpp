#include "platform/EngineRows.h"

#include "platform/Connection.h"
#include "platform/DbError.h"

#include <QSqlDriver>

#include <libpq-fe.h>
#include <sqlite3.h>

namespace {

// The driver's handle when it is of one of the types named (PGconn is a name
// of struct pg_conn, which Qt may report either way).
template <typename Handle>
Handle *driverHandle(Connection &conn, std::initializer_list<const char *> typeNames)
{
    const QVariant handle = conn.database().driver()->handle();
    if (!handle.isValid())
        return nullptr;
    for (const char *name : typeNames)
        if (qstrcmp(handle.typeName(), name) == 0)
            return *static_cast<Handle *const *>(handle.constData());
    return nullptr;
}

// By the declared type, compared as Qt's driver compares it (in lower case),
// without a QString per column.
EngineRows::ColumnType sqliteType(const char *declared)
{
    const QLatin1StringView type(declared);
    if (type.startsWith(QLatin1StringView("numeric"), Qt::CaseInsensitive))
        return EngineRows::Decimal;
    for (const char *floating : {"double", "float", "real"})
        if (type.compare(QLatin1StringView(floating), Qt::CaseInsensitive) == 0)
            return EngineRows::Floating;
    return EngineRows::Other;
}

EngineRows::ColumnType postgresType(Oid type)
{
    switch (type) {
    case 20: case 21: case 23: return EngineRows::Whole;        // int8 int2 int4
    case 1700: return EngineRows::Decimal;                      // numeric
    case 700: case 701: return EngineRows::Floating;            // float4 float8
    case 16: return EngineRows::Boolean;                        // bool
    case 25: case 1043: case 1042: return EngineRows::Character; // text varchar bpchar
    case 1082: return EngineRows::Date;                         // date
    default: return EngineRows::Other;
    }
}

} // namespace

std::unique_ptr<EngineRows> EngineRows::open(Connection &conn, const QString &sql)
{
    std::unique_ptr<EngineRows> rows(new EngineRows);
    if (conn.engine() == DbEngine::SQLite) {
        sqlite3 *db = driverHandle<sqlite3>(conn, {"sqlite3*"});
        if (!db)
            return nullptr;
        const QByteArray text = sql.toUtf8();
        sqlite3_stmt *stmt = nullptr;
        const char *tail = nullptr;
        if (sqlite3_prepare_v2(db, text.constData(), int(text.size()), &stmt, &tail) != SQLITE_OK || !stmt
            || !QByteArrayView(tail, text.constEnd() - tail).trimmed().isEmpty()) { // more after the first statement
            sqlite3_finalize(stmt);
            return nullptr;
        }
        rows->m_db = db;
        rows->m_stmt = stmt;
        const int columns = sqlite3_column_count(stmt);
        for (int i = 0; i < columns; ++i) {
            rows->m_names.push_back(QString::fromUtf8(sqlite3_column_name(stmt, i)));
            rows->m_types.push_back(sqliteType(sqlite3_column_decltype(stmt, i)));
        }
        return rows;
    }
    PGconn *pg = driverHandle<PGconn>(conn, {"PGconn*", "pg_conn*"});
    if (!pg || conn.inTransaction() || PQstatus(pg) != CONNECTION_OK || PQtransactionStatus(pg) != PQTRANS_IDLE)
        return nullptr;
    PGresult *result = PQexec(pg, sql.toUtf8().constData());
    if (PQresultStatus(result) != PGRES_TUPLES_OK) {
        PQclear(result);
        return nullptr;
    }
    rows->m_result = result;
    rows->m_rows = PQntuples(result);
    const int columns = PQnfields(result);
    for (int i = 0; i < columns; ++i) {
        rows->m_names.push_back(QString::fromUtf8(PQfname(result, i)));
        rows->m_types.push_back(postgresType(PQftype(result, i)));
    }
    return rows;
}

EngineRows::~EngineRows()
{
    sqlite3_finalize(m_stmt);
    PQclear(m_result);
}

int EngineRows::columnIndex(const QString &name) const
{
    for (int i = 0; i < columnCount(); ++i)
        if (m_names[size_t(i)].compare(name, Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

bool EngineRows::next()
{
    if (m_result)
        return ++m_row < m_rows;
    const int rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    const QString code = QString::number(sqlite3_extended_errcode(m_db));
    throw DbError(dbFaultText(dbFault(DbEngine::SQLite, code), QString::fromUtf8(sqlite3_errmsg(m_db))), code);
}

namespace {

EngineRows::Cell postgresCell(pg_result *result, int row, int column)
{
    EngineRows::Cell c;
    if (PQgetisnull(result, row, column))
        return c;
    c.kind = EngineRows::Text;
    c.text = PQgetvalue(result, row, column);
    c.size = size_t(PQgetlength(result, row, column));
    return c;
}

EngineRows::Cell sqliteCell(sqlite3_stmt *stmt, int column)
{
    EngineRows::Cell c;
    switch (sqlite3_column_type(stmt, column)) {
    case SQLITE_NULL:
        break;
    case SQLITE_INTEGER:
        c.kind = EngineRows::Integer;
        c.integer = sqlite3_column_int64(stmt, column);
        break;
    case SQLITE_FLOAT:
        c.kind = EngineRows::Real;
        c.real = sqlite3_column_double(stmt, column);
        break;
    default:
        c.kind = EngineRows::Text;
        c.text = reinterpret_cast<const char *>(sqlite3_column_text(stmt, column));
        c.size = size_t(sqlite3_column_bytes(stmt, column));
    }
    return c;
}

} // namespace

EngineRows::Cell EngineRows::cell(int column) const
{
    return m_result ? postgresCell(m_result, m_row, column) : sqliteCell(m_stmt, column);
}

void EngineRows::row(Cell *cells) const
{
    const int columns = columnCount();
    if (m_result) {
        for (int c = 0; c < columns; ++c)
            cells[c] = postgresCell(m_result, m_row, c);
    } else {
        for (int c = 0; c < columns; ++c)
            cells[c] = sqliteCell(m_stmt, c);
    }
}

QByteArrayView EngineRows::text(int column) const
{
    if (m_result)
        return QByteArrayView(PQgetvalue(m_result, m_row, column), PQgetlength(m_result, m_row, column));
    const char *text = reinterpret_cast<const char *>(sqlite3_column_text(m_stmt, column));
    return QByteArrayView(text, sqlite3_column_bytes(m_stmt, column));
}
