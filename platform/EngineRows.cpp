#include "platform/EngineRows.h"

#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/PostgresBinary.h"
#include "platform/SqlDialect.h"

#include <QSqlDriver>

#include <libpq-fe.h>
#include <sqlite3.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

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

// The statement prepared on the connection's SQLite handle, with its
// columns; false when there is no such handle or the statement is refused.
bool prepareSqlite(Connection &conn, const QString &sql, sqlite3 *&db, sqlite3_stmt *&stmt)
{
    db = driverHandle<sqlite3>(conn, {"sqlite3*"});
    if (!db)
        return false;
    const QByteArray text = sql.toUtf8();
    const char *tail = nullptr;
    if (sqlite3_prepare_v2(db, text.constData(), int(text.size()), &stmt, &tail) != SQLITE_OK || !stmt
        || !QByteArrayView(tail, text.constEnd() - tail).trimmed().isEmpty()) { // more after the first statement
        sqlite3_finalize(stmt);
        stmt = nullptr;
        return false;
    }
    return true;
}

// The handle when it can run a statement of its own now: connected, no
// transaction open.
PGconn *idlePostgres(Connection &conn)
{
    PGconn *pg = driverHandle<PGconn>(conn, {"PGconn*", "pg_conn*"});
    if (!pg || conn.inTransaction() || PQstatus(pg) != CONNECTION_OK || PQtransactionStatus(pg) != PQTRANS_IDLE)
        return nullptr;
    return pg;
}

// Types whose binary form is read here: int8 int2 int4 numeric text varchar
// bpchar date.
bool readsBinary(Oid type)
{
    switch (type) {
    case 20: case 21: case 23: case 1700: case 25: case 1043: case 1042: case 1082: return true;
    default: return false;
    }
}

} // namespace

std::unique_ptr<EngineRows> EngineRows::open(Connection &conn, const QString &sql)
{
    std::unique_ptr<EngineRows> rows(new EngineRows);
    if (conn.engine() == DbEngine::SQLite) {
        if (!prepareSqlite(conn, sql, rows->m_db, rows->m_stmt))
            return nullptr;
        rows->setSqliteColumns();
        return rows;
    }
    PGconn *pg = idlePostgres(conn);
    if (!pg)
        return nullptr;
    PGresult *result = PQexec(pg, sql.toUtf8().constData());
    if (PQresultStatus(result) != PGRES_TUPLES_OK) {
        PQclear(result);
        return nullptr;
    }
    rows->m_result = result;
    rows->m_rows = PQntuples(result);
    rows->setPostgresColumns(result);
    return rows;
}

void EngineRows::setSqliteColumns()
{
    const int columns = sqlite3_column_count(m_stmt);
    for (int i = 0; i < columns; ++i) {
        m_names.push_back(QString::fromUtf8(sqlite3_column_name(m_stmt, i)));
        m_types.push_back(sqliteType(sqlite3_column_decltype(m_stmt, i)));
    }
}

void EngineRows::setPostgresColumns(pg_result *result)
{
    const int columns = PQnfields(result);
    for (int i = 0; i < columns; ++i) {
        m_names.push_back(QString::fromUtf8(PQfname(result, i)));
        m_types.push_back(postgresType(PQftype(result, i)));
        m_oids.push_back(PQftype(result, i));
    }
}

std::unique_ptr<EngineRows> EngineRows::openEach(Connection &conn, const QString &sql, std::vector<QVariantList> sets)
{
    std::unique_ptr<EngineRows> rows(new EngineRows);
    if (conn.engine() == DbEngine::SQLite) {
        if (!prepareSqlite(conn, sql, rows->m_db, rows->m_stmt))
            return nullptr;
        const int parameters = sqlite3_bind_parameter_count(rows->m_stmt);
        for (const QVariantList &set : sets)
            if (set.size() != parameters)
                return nullptr;
        rows->setSqliteColumns();
        rows->m_sets = std::move(sets);
        return rows;
    }
    PGconn *pg = idlePostgres(conn);
    if (!pg || !PQenterPipelineMode(pg))
        return nullptr;
    rows->m_pg = pg; // from here the destructor leaves the pipeline
    // The statement prepared (unnamed) and described in one round trip.
    const QByteArray text = numberedPlaceholders(sql).toUtf8();
    if (!PQsendPrepare(pg, "", text.constData(), 0, nullptr) || !PQsendDescribePrepared(pg, "") || !PQpipelineSync(pg))
        return nullptr;
    ++rows->m_syncs;
    PGresult *prepared = rows->nextResult();
    PGresult *described = prepared ? rows->nextResult() : nullptr;
    const bool usable = PQresultStatus(prepared) == PGRES_COMMAND_OK && PQresultStatus(described) == PGRES_COMMAND_OK;
    const int parameters = usable ? PQnparams(described) : -1;
    if (usable)
        rows->setPostgresColumns(described);
    PQclear(prepared);
    PQclear(described);
    if (!usable || std::any_of(sets.begin(), sets.end(), [parameters](const QVariantList &set) { return set.size() != parameters; }))
        return nullptr;
    rows->m_binary = std::all_of(rows->m_oids.begin(), rows->m_oids.end(), readsBinary);
    rows->m_texts.resize(rows->m_oids.size());
    rows->m_sets = std::move(sets);
    return rows;
}

// The next result of the pipeline, past the ends of statements; a group's
// end (PGRES_PIPELINE_SYNC) counted off. Null when nothing more can come.
pg_result *EngineRows::nextResult()
{
    int ends = 0;
    while (m_syncs > 0) {
        PGresult *result = PQgetResult(m_pg);
        if (!result) {
            // One null ends each statement's results; two in a row, or a
            // connection gone, mean nothing more will come.
            if (++ends > 1 || PQstatus(m_pg) != CONNECTION_OK)
                return nullptr;
            continue;
        }
        if (PQresultStatus(result) == PGRES_PIPELINE_SYNC)
            --m_syncs;
        return result;
    }
    return nullptr;
}

void EngineRows::leavePipeline()
{
    PQclear(m_result);
    m_result = nullptr;
    // What was sent is read and dropped (no more than a few groups).
    while (PGresult *result = nextResult())
        PQclear(result);
    PQexitPipelineMode(m_pg);
    m_pg = nullptr;
}

EngineRows::~EngineRows()
{
    if (m_pg)
        leavePipeline();
    sqlite3_finalize(m_stmt);
    PQclear(m_result);
}

namespace {

// A bound value as libpq takes it in text form; null for a null.
std::optional<QByteArray> parameterText(const QVariant &value)
{
    if (value.isNull())
        return std::nullopt;
    switch (value.typeId()) {
    case QMetaType::QDate:
        return value.toDate().toString(Qt::ISODate).toLatin1();
    case QMetaType::Bool:
        return QByteArray(value.toBool() ? "true" : "false");
    case QMetaType::Double:
        return QByteArray::number(value.toDouble(), 'g', 17);
    default:
        return value.toString().toUtf8();
    }
}

void bindSqlite(sqlite3_stmt *stmt, int index, const QVariant &value)
{
    switch (value.isNull() ? QMetaType::UnknownType : value.typeId()) {
    case QMetaType::UnknownType:
        sqlite3_bind_null(stmt, index);
        break;
    case QMetaType::Int: case QMetaType::LongLong: case QMetaType::UInt: case QMetaType::Bool:
        sqlite3_bind_int64(stmt, index, value.toLongLong());
        break;
    case QMetaType::Double:
        sqlite3_bind_double(stmt, index, value.toDouble());
        break;
    default: {
        const QByteArray text = parameterText(value).value_or(QByteArray());
        sqlite3_bind_text(stmt, index, text.constData(), int(text.size()), SQLITE_TRANSIENT);
    }
    }
}

[[noreturn]] void throwPostgres(PGconn *pg, PGresult *result)
{
    const char *state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    const QString code = QString::fromLatin1(state ? state : "");
    const QString message = QString::fromUtf8(result ? PQresultErrorMessage(result) : PQerrorMessage(pg)).trimmed();
    PQclear(result);
    throw DbError(dbFaultText(dbFault(DbEngine::PostgreSQL, code), message.isEmpty() ? QString::fromUtf8(PQerrorMessage(pg)).trimmed() : message),
                  code);
}

} // namespace

void EngineRows::sendAhead()
{
    // Groups of sets, each ending in a sync that sends it; four groups on
    // their way at most, so the server always has the next one and what
    // waits to be read stays small.
    constexpr size_t kGroup = 16;
    constexpr int kGroupsAhead = 4;
    std::vector<std::optional<QByteArray>> texts;
    std::vector<const char *> values;
    while (m_syncs < kGroupsAhead && m_sent < m_sets.size()) {
        for (const size_t end = std::min(m_sets.size(), m_sent + kGroup); m_sent < end; ++m_sent) {
            const QVariantList &set = m_sets[m_sent];
            texts.clear();
            values.clear();
            for (const QVariant &value : set)
                texts.push_back(parameterText(value));
            for (const std::optional<QByteArray> &text : texts)
                values.push_back(text ? text->constData() : nullptr);
            if (!PQsendQueryPrepared(m_pg, "", int(values.size()), values.data(), nullptr, nullptr, m_binary ? 1 : 0))
                throwPostgres(m_pg, nullptr);
        }
        if (!PQpipelineSync(m_pg))
            throwPostgres(m_pg, nullptr);
        ++m_syncs;
    }
}

bool EngineRows::nextSet()
{
    m_row = -1;
    m_rows = 0;
    if (m_set >= m_sets.size())
        return false;
    if (!m_pg) {
        sqlite3_reset(m_stmt);
        sqlite3_clear_bindings(m_stmt);
        const QVariantList &set = m_sets[m_set++];
        for (int i = 0; i < set.size(); ++i)
            bindSqlite(m_stmt, i + 1, set[i]);
        return true;
    }
    PQclear(m_result);
    m_result = nullptr;
    for (;;) {
        sendAhead();
        PGresult *result = nextResult();
        switch (PQresultStatus(result)) {
        case PGRES_PIPELINE_SYNC:
            PQclear(result);
            continue;
        case PGRES_TUPLES_OK:
            m_result = result;
            m_rows = PQntuples(result);
            ++m_set;
            return true;
        default:
            throwPostgres(m_pg, result);
        }
    }
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
    if (m_result || m_pg)
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

EngineRows::Cell EngineRows::binaryCell(int column) const
{
    Cell c;
    if (PQgetisnull(m_result, m_row, column))
        return c;
    const char *value = PQgetvalue(m_result, m_row, column);
    std::string &text = m_texts[size_t(column)];
    switch (m_oids[size_t(column)]) {
    case 20: case 21: case 23: // int8 int2 int4
        c.kind = Integer;
        c.integer = PostgresBinary::bigEndian(value, PQgetlength(m_result, m_row, column));
        return c;
    case 1700: { // numeric
        const PostgresBinary::Numeric number(value);
        if (const std::optional<qint64> scaled = number.scaled()) {
            c.kind = Fixed;
            c.integer = *scaled;
            c.scale = number.places;
            return c;
        }
        number.text(text);
        break;
    }
    case 1082: // date
        PostgresBinary::dateText(qint32(PostgresBinary::bigEndian(value, 4)), text);
        break;
    default: // text, as it is
        c.kind = Text;
        c.text = value;
        c.size = size_t(PQgetlength(m_result, m_row, column));
        return c;
    }
    c.kind = Text;
    c.text = text.data();
    c.size = text.size();
    return c;
}

EngineRows::Cell EngineRows::cell(int column) const
{
    if (m_binary)
        return binaryCell(column);
    return m_result ? postgresCell(m_result, m_row, column) : sqliteCell(m_stmt, column);
}

void EngineRows::row(Cell *cells) const
{
    const int columns = columnCount();
    if (m_binary) {
        for (int c = 0; c < columns; ++c)
            cells[c] = binaryCell(c);
    } else if (m_result) {
        for (int c = 0; c < columns; ++c)
            cells[c] = postgresCell(m_result, m_row, c);
    } else {
        for (int c = 0; c < columns; ++c)
            cells[c] = sqliteCell(m_stmt, c);
    }
}

QByteArrayView EngineRows::text(int column) const
{
    if (m_binary) {
        const Cell c = binaryCell(column);
        if (c.kind == Text || c.kind == Null)
            return c.bytes();
        std::string &text = m_texts[size_t(column)];
        char buffer[24];
        const quint64 magnitude = c.integer < 0 ? 0 - quint64(c.integer) : quint64(c.integer);
        text.assign(buffer, std::to_chars(buffer, buffer + sizeof buffer, magnitude).ptr);
        if (c.kind == Fixed) { // the whole digits, a point, `scale` decimals
            if (int(text.size()) <= c.scale)
                text.insert(0, size_t(c.scale + 1) - text.size(), '0');
            if (c.scale > 0)
                text.insert(text.size() - size_t(c.scale), 1, '.');
        }
        if (c.integer < 0)
            text.insert(0, 1, '-');
        return QByteArrayView(text.data(), qsizetype(text.size()));
    }
    if (m_result)
        return QByteArrayView(PQgetvalue(m_result, m_row, column), PQgetlength(m_result, m_row, column));
    const char *text = reinterpret_cast<const char *>(sqlite3_column_text(m_stmt, column));
    return QByteArrayView(text, sqlite3_column_bytes(m_stmt, column));
}
