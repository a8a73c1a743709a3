#pragma once
// A fresh database for one test, made from the schema scripts: a SQLite file
// in a temporary folder, or the test process's own PostgreSQL database (reset
// to an empty public schema) when PURFP_TEST_PG names a server.
#include "platform/Connection.h"
#include "sql/DemoData.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The day the tests live on: demo data and the component's clock both count
// from it, so that what the demo holds "this month" or "last month" does not
// change with the day the tests run.
inline QDate testToday()
{
    return QDate(2026, 11, 24);
}

class TestDatabase {
public:
    enum class Content { Empty, Schema, Demo };

    explicit TestDatabase(DbEngine engine, Content content = Content::Schema, const DemoOptions &demo = {});
    ~TestDatabase();

    DbEngine engine() const { return m_engine; }
    QString connectionString() const { return m_connectionString; }
    // A connection of the test's own, open, for setting up and checking data.
    Connection &conn() { return *m_conn; }
    const DemoSummary &demoSummary() const { return m_summary; }
    QString folder() const { return m_dir.path(); }

    // Runs statements in the module's dialect on the test's connection.
    void exec(const QString &sql) { m_conn->execute(sql); }
    QVariant scalar(const QString &sql);

    static bool postgresConfigured();
    // The engines every database test runs on.
    static QList<DbEngine> engines();
    static const char *engineName(DbEngine engine);

private:
    DbEngine m_engine;
    QTemporaryDir m_dir;
    QString m_connectionString;
    std::unique_ptr<Connection> m_conn;
    DemoSummary m_summary;
};

// Adds the DbEngine column and one row per engine, tag "sqlite"/"postgresql".
void addEngineRows();
// For data-driven tests with cases of their own: rows "<engine>/<case>".
QString engineTag(DbEngine engine, const QString &caseName);
// A row "<engine>/<case>" of a data table whose first column is the engine,
// that column already filled in.
QTestData &engineRow(DbEngine engine, const QString &caseName);

Q_DECLARE_METATYPE(DbEngine)
