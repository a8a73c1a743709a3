#pragma once
// The database engine itself, without Qt SQL: sqlite3's C API on a SQLite
// file, libpq on a PostgreSQL server. The benchmarks time the component
// against these on the same data in the same run.
#include "platform/ConnectionString.h"

#include <QString>
#include <QStringList>

#include <string>
#include <vector>

struct sqlite3;
struct pg_conn;

// Every value of a result, read into memory as the engine hands it over:
// numbers as numbers, text as bytes. Reading every column is what makes the
// comparison fair against a reader that converts what it reads.
struct RawResult {
    int rows = 0;
    int columns = 0;
    std::vector<double> numbers;     // one per numeric cell
    std::vector<std::string> texts;  // one per text cell
};

class RawEngine {
public:
    // Opens the database the connection string names; exits with a message
    // when it cannot.
    explicit RawEngine(const ConnectionString &settings);
    ~RawEngine();
    RawEngine(const RawEngine &) = delete;
    RawEngine &operator=(const RawEngine &) = delete;

    DbEngine engine() const { return m_engine; }
    // Runs a statement written for this engine (already translated) and
    // reads every column of every row, or only the named ones (names
    // compared without regard to case).
    RawResult query(const QString &sql, const QStringList &columns = {});
    // Runs a statement ("?" placeholders) once for each row of values, in
    // order, and reads every column of every row as query() does; returns
    // the rows read. What EngineRows::openEach does, the same way: prepared
    // once; on PostgreSQL through a pipeline, groups of 16 statements, four
    // groups ahead of the rows being read, rows in binary form when every
    // column is a whole number, a decimal, text or a date.
    int queryEach(const QString &sql, const std::vector<std::vector<std::string>> &sets);
    // Runs a statement that returns no rows; exits on failure.
    void exec(const QString &sql);
    // Runs one statement many times with the given parameter rows, prepared
    // once and bound per row ("?" placeholders on SQLite, $1.. on
    // PostgreSQL), inside one transaction.
    void execPrepared(const QString &sql, const std::vector<std::vector<std::string>> &rows);
    // The same inside the caller's transaction (exec("begin") .. "commit").
    void runPrepared(const QString &sql, const std::vector<std::vector<std::string>> &rows);

    sqlite3 *sqliteHandle() const { return m_sqlite; }
    pg_conn *pgHandle() const { return m_pg; }

private:
    DbEngine m_engine;
    sqlite3 *m_sqlite = nullptr;
    pg_conn *m_pg = nullptr;
};

// Milliseconds of the median of `values`.
double medianOf(std::vector<double> values);

// The databases the benchmarks run on: a SQLite file's connection string; a
// database `name` on the PostgreSQL server of `server`, created when
// missing; N demo invoices written into a database that does not hold the
// schema yet (one that does is taken as it is).
QString benchSqliteFile(const QString &path);
QString benchPostgresDatabase(const QString &server, const QString &name);
void ensureDemoDatabase(const QString &connectionString, int invoices);
