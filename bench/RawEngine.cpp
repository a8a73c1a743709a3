#include "RawEngine.h"

#include "platform/Connection.h"
#include "sql/DemoData.h"

#include <QElapsedTimer>

#include <libpq-fe.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

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
