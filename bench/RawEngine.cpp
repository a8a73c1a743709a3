#include "RawEngine.h"

#include "platform/Connection.h"
#include "platform/SqlDialect.h"
#include "sql/DemoData.h"

#include <QElapsedTimer>

#include <libpq-fe.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numeric>

namespace {

[[noreturn]] void fail(const char *what, const char *detail)
{
    std::fprintf(stderr, "raw engine: %s: %s\n", what, detail ? detail : "");
    std::exit(1);
}

} // namespace

RawEngine::RawEngine(const ConnectionString &settings)
    : m_engine(settings.engine)
{
    if (m_engine == DbEngine::SQLite) {
        if (sqlite3_open_v2(settings.database.toUtf8().constData(), &m_sqlite, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
            fail("open", sqlite3_errmsg(m_sqlite));
        return;
    }
    const QString info = QStringLiteral("host=%1 port=%2 dbname=%3 user=%4 password=%5")
                             .arg(settings.server, QString::number(settings.port), settings.database, settings.user, settings.password);
    m_pg = PQconnectdb(info.toUtf8().constData());
    if (PQstatus(m_pg) != CONNECTION_OK)
        fail("connect", PQerrorMessage(m_pg));
}

RawEngine::~RawEngine()
{
    if (m_sqlite)
        sqlite3_close(m_sqlite);
    if (m_pg)
        PQfinish(m_pg);
}

// The positions of the named columns among `names`, or every position.
static std::vector<int> pickColumns(const QStringList &names, const QStringList &wanted)
{
    std::vector<int> picked;
    for (int i = 0; i < names.size(); ++i)
        if (wanted.isEmpty() || wanted.contains(names[i], Qt::CaseInsensitive))
            picked.push_back(i);
    return picked;
}

// Steps through every row of `stmt`, reading the columns `picked`.
static void readSqliteRows(sqlite3_stmt *stmt, const std::vector<int> &picked, RawResult &result)
{
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        ++result.rows;
        for (int c : picked) {
            switch (sqlite3_column_type(stmt, c)) {
            case SQLITE_INTEGER:
            case SQLITE_FLOAT:
                result.numbers.push_back(sqlite3_column_double(stmt, c));
                break;
            case SQLITE_NULL:
                break;
            default:
                result.texts.emplace_back(reinterpret_cast<const char *>(sqlite3_column_text(stmt, c)), size_t(sqlite3_column_bytes(stmt, c)));
            }
        }
    }
}

RawResult RawEngine::query(const QString &sql, const QStringList &columns)
{
    RawResult result;
    const QByteArray text = sql.toUtf8();
    QStringList names;
    if (m_engine == DbEngine::SQLite) {
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(m_sqlite, text.constData(), int(text.size()), &stmt, nullptr) != SQLITE_OK)
            fail("prepare", sqlite3_errmsg(m_sqlite));
        for (int c = 0; c < sqlite3_column_count(stmt); ++c)
            names << QString::fromUtf8(sqlite3_column_name(stmt, c));
        const std::vector<int> picked = pickColumns(names, columns);
        result.columns = int(picked.size());
        readSqliteRows(stmt, picked, result);
        sqlite3_finalize(stmt);
        return result;
    }
    PGresult *res = PQexec(m_pg, text.constData());
    if (PQresultStatus(res) != PGRES_TUPLES_OK)
        fail("query", PQerrorMessage(m_pg));
    result.rows = PQntuples(res);
    for (int c = 0; c < PQnfields(res); ++c)
        names << QString::fromUtf8(PQfname(res, c));
    const std::vector<int> picked = pickColumns(names, columns);
    result.columns = int(picked.size());
    for (int r = 0; r < result.rows; ++r)
        for (int c : picked) {
            if (PQgetisnull(res, r, c))
                continue;
            const Oid type = PQftype(res, c);
            // int2, int4, int8, float4, float8, numeric
            if (type == 21 || type == 23 || type == 20 || type == 700 || type == 701 || type == 1700)
                result.numbers.push_back(std::strtod(PQgetvalue(res, r, c), nullptr));
            else
                result.texts.emplace_back(PQgetvalue(res, r, c), size_t(PQgetlength(res, r, c)));
        }
    PQclear(res);
    return result;
}

namespace {

std::int64_t bigEndian(const char *p, int bytes)
{
    std::uint64_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = (v << 8) | static_cast<unsigned char>(p[i]);
    const int unused = 64 - 8 * bytes;
    return unused ? std::int64_t(v << unused) >> unused : std::int64_t(v);
}

// A binary numeric as a double: base-10000 groups from 10000^weight.
double binaryNumeric(const char *p)
{
    const int groups = int(bigEndian(p, 2)), weight = int(bigEndian(p + 2, 2));
    double value = 0;
    for (int i = 0; i < groups; ++i)
        value = value * 10000 + double(bigEndian(p + 8 + 2 * i, 2));
    value *= std::pow(10000.0, weight - groups + 1);
    return bigEndian(p + 4, 2) == 0x4000 ? -value : value;
}

} // namespace

int RawEngine::queryEach(const QString &sql, const std::vector<std::vector<std::string>> &sets)
{
    int rows = 0;
    RawResult result;
    if (m_engine == DbEngine::SQLite) {
        const QByteArray text = sql.toUtf8();
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(m_sqlite, text.constData(), int(text.size()), &stmt, nullptr) != SQLITE_OK)
            fail("prepare", sqlite3_errmsg(m_sqlite));
        std::vector<int> every(size_t(sqlite3_column_count(stmt)));
        std::iota(every.begin(), every.end(), 0);
        for (const auto &set : sets) {
            sqlite3_reset(stmt);
            for (size_t i = 0; i < set.size(); ++i)
                sqlite3_bind_text(stmt, int(i + 1), set[i].c_str(), int(set[i].size()), SQLITE_STATIC);
            result = RawResult();
            readSqliteRows(stmt, every, result);
            rows += result.rows;
        }
        sqlite3_finalize(stmt);
        return rows;
    }
    const QByteArray text = numberedPlaceholders(sql).toUtf8();
    if (!PQenterPipelineMode(m_pg))
        fail("pipeline", PQerrorMessage(m_pg));
    PQsendPrepare(m_pg, "", text.constData(), 0, nullptr);
    PQsendDescribePrepared(m_pg, "");
    PQpipelineSync(m_pg);
    // Each statement's results end in a null; a group's end is its own result.
    auto next = [&] {
        PGresult *res = PQgetResult(m_pg);
        return res ? res : PQgetResult(m_pg);
    };
    PGresult *prepared = next();
    PGresult *described = next();
    if (PQresultStatus(prepared) != PGRES_COMMAND_OK || PQresultStatus(described) != PGRES_COMMAND_OK)
        fail("prepare", PQerrorMessage(m_pg));
    std::vector<Oid> types;
    for (int c = 0; c < PQnfields(described); ++c)
        types.push_back(PQftype(described, c));
    PQclear(prepared);
    PQclear(described);
    PQclear(next()); // the sync
    bool binary = true;
    for (Oid t : types)
        binary = binary && (t == 20 || t == 21 || t == 23 || t == 1700 || t == 25 || t == 1043 || t == 1042 || t == 1082);
    size_t sent = 0, read = 0;
    int groups = 0;
    std::vector<const char *> values;
    while (read < sets.size()) {
        while (groups < 4 && sent < sets.size()) {
            for (const size_t end = std::min(sets.size(), sent + 16); sent < end; ++sent) {
                values.clear();
                for (const auto &v : sets[sent])
                    values.push_back(v.c_str());
                PQsendQueryPrepared(m_pg, "", int(values.size()), values.data(), nullptr, nullptr, binary ? 1 : 0);
            }
            PQpipelineSync(m_pg);
            ++groups;
        }
        PGresult *res = next();
        const ExecStatusType status = PQresultStatus(res);
        if (status == PGRES_PIPELINE_SYNC) {
            --groups;
            PQclear(res);
            continue;
        }
        if (status != PGRES_TUPLES_OK)
            fail("query", PQerrorMessage(m_pg));
        ++read;
        result = RawResult();
        const int n = PQntuples(res);
        rows += n;
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < int(types.size()); ++c) {
                if (PQgetisnull(res, r, c))
                    continue;
                const char *v = PQgetvalue(res, r, c);
                const int length = PQgetlength(res, r, c);
                switch (binary ? types[size_t(c)] : 0) {
                case 20: case 21: case 23: case 1082: // whole numbers, days
                    result.numbers.push_back(double(bigEndian(v, length)));
                    break;
                case 1700:
                    result.numbers.push_back(binaryNumeric(v));
                    break;
                case 25: case 1043: case 1042:
                    result.texts.emplace_back(v, size_t(length));
                    break;
                default: // text form
                    if (types[size_t(c)] == 21 || types[size_t(c)] == 23 || types[size_t(c)] == 20 || types[size_t(c)] == 1700)
                        result.numbers.push_back(std::strtod(v, nullptr));
                    else
                        result.texts.emplace_back(v, size_t(length));
                }
            }
        PQclear(res);
    }
    while (groups > 0) { // the last group's end
        PGresult *res = next();
        if (!res)
            break;
        groups -= PQresultStatus(res) == PGRES_PIPELINE_SYNC;
        PQclear(res);
    }
    PQexitPipelineMode(m_pg);
    return rows;
}

void RawEngine::exec(const QString &sql)
{
    const QByteArray text = sql.toUtf8();
    if (m_engine == DbEngine::SQLite) {
        char *error = nullptr;
        if (sqlite3_exec(m_sqlite, text.constData(), nullptr, nullptr, &error) != SQLITE_OK)
            fail("exec", error);
        return;
    }
    PGresult *res = PQexec(m_pg, text.constData());
    const ExecStatusType status = PQresultStatus(res);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        fail("exec", PQerrorMessage(m_pg));
    PQclear(res);
}

void RawEngine::execPrepared(const QString &sql, const std::vector<std::vector<std::string>> &rows)
{
    exec(QStringLiteral("begin"));
    runPrepared(sql, rows);
    exec(QStringLiteral("commit"));
}

void RawEngine::runPrepared(const QString &sql, const std::vector<std::vector<std::string>> &rows)
{
    const QByteArray text = sql.toUtf8();
    if (m_engine == DbEngine::SQLite) {
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(m_sqlite, text.constData(), int(text.size()), &stmt, nullptr) != SQLITE_OK)
            fail("prepare", sqlite3_errmsg(m_sqlite));
        for (const auto &row : rows) {
            for (size_t i = 0; i < row.size(); ++i)
                sqlite3_bind_text(stmt, int(i + 1), row[i].c_str(), int(row[i].size()), SQLITE_STATIC);
            if (sqlite3_step(stmt) != SQLITE_DONE)
                fail("step", sqlite3_errmsg(m_sqlite));
            sqlite3_reset(stmt);
        }
        sqlite3_finalize(stmt);
    } else {
        PGresult *prepared = PQprepare(m_pg, "raw_bench", text.constData(), 0, nullptr);
        if (PQresultStatus(prepared) != PGRES_COMMAND_OK)
            fail("prepare", PQerrorMessage(m_pg));
        PQclear(prepared);
        std::vector<const char *> values;
        for (const auto &row : rows) {
            values.clear();
            for (const auto &v : row)
                values.push_back(v.c_str());
            PGresult *res = PQexecPrepared(m_pg, "raw_bench", int(values.size()), values.data(), nullptr, nullptr, 0);
            const ExecStatusType status = PQresultStatus(res);
            if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
                fail("exec prepared", PQerrorMessage(m_pg));
            PQclear(res);
        }
        exec(QStringLiteral("deallocate raw_bench"));
    }
}

double medianOf(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

QString benchSqliteFile(const QString &path)
{
    ConnectionString cs;
    cs.engine = DbEngine::SQLite;
    cs.database = path;
    return cs.toString();
}

QString benchPostgresDatabase(const QString &server, const QString &name)
{
    ConnectionString cs = ConnectionString::parse(server);
    Connection admin(cs.toString());
    admin.open();
    if (admin.openRecordsetNative(QStringLiteral("select 1 from pg_database where datname=?"), {name}).eof())
        admin.executeNative(QStringLiteral("create database %1 encoding 'UTF8' template template0").arg(name));
    cs.database = name;
    return cs.toString();
}

void ensureDemoDatabase(const QString &connectionString, int invoices)
{
    Connection conn(connectionString, Connection::OpenMode::CreateIfMissing);
    conn.open();
    if (conn.engine() == DbEngine::PostgreSQL) {
        if (!conn.openRecordsetNative(QStringLiteral("select 1 from pg_tables where tablename='tblfp'")).eof())
            return;
    } else if (!conn.openRecordsetNative(QStringLiteral("select 1 from sqlite_master where name='tblFP'")).eof()) {
        return;
    }
    std::printf("creating %d invoices ...\n", invoices);
    std::fflush(stdout);
    QElapsedTimer timer;
    timer.start();
    createDemoDatabase(conn, DemoOptions::scaled(invoices));
    // The planner's statistics and the map of pages every reader sees, as
    // the server's own vacuum leaves them on a database in use; before it,
    // reads from an index alone look no cheaper than reading the table.
    if (conn.engine() == DbEngine::PostgreSQL)
        conn.executeNative(QStringLiteral("vacuum analyze"));
    std::printf("  done in %.1f s\n", double(timer.elapsed()) / 1000);
}
