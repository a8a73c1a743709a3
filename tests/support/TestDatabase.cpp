#include "support/TestDatabase.h"

#include "platform/DbError.h"
#include "sql/DatabaseSetup.h"

#include <QCoreApplication>

namespace {
// One PostgreSQL database per test process, created on first use.
QString postgresDatabaseString()
{
    static QString connection;
    if (!connection.isEmpty())
        return connection;
    ConnectionString server = ConnectionString::parse(qEnvironmentVariable("PURFP_TEST_PG"));
    const QString name = QStringLiteral("purfp_t_%1").arg(QCoreApplication::applicationPid());
    {
        Connection admin(server.toString());
        admin.open();
        admin.executeNative(QStringLiteral("drop database if exists %1").arg(name));
        admin.executeNative(QStringLiteral("create database %1 encoding 'UTF8' template template0").arg(name));
    }
    server.database = name;
    connection = server.toString();
    return connection;
}
} // namespace

bool TestDatabase::postgresConfigured()
{
    return !qEnvironmentVariableIsEmpty("PURFP_TEST_PG");
}

QList<DbEngine> TestDatabase::engines()
{
    QList<DbEngine> list{DbEngine::SQLite};
    if (postgresConfigured())
        list << DbEngine::PostgreSQL;
    return list;
}

const char *TestDatabase::engineName(DbEngine engine)
{
    return engine == DbEngine::SQLite ? "sqlite" : "postgresql";
}

TestDatabase::TestDatabase(DbEngine engine, Content content, const DemoOptions &demo)
    : m_engine(engine)
{
    if (engine == DbEngine::SQLite) {
        ConnectionString cs;
        cs.engine = DbEngine::SQLite;
        cs.database = m_dir.filePath(QStringLiteral("purfp.db"));
        m_connectionString = cs.toString();
        m_conn = std::make_unique<Connection>(m_connectionString, Connection::OpenMode::CreateIfMissing);
        m_conn->open();
    } else {
        m_connectionString = postgresDatabaseString();
        m_conn = std::make_unique<Connection>(m_connectionString);
        m_conn->open();
        DatabaseSetup::dropSchema(*m_conn);
    }
    if (content != Content::Empty)
        DatabaseSetup::createSchema(*m_conn);
    if (content == Content::Demo) {
        DemoOptions dated = demo;
        if (!dated.today.isValid())
            dated.today = testToday();
        m_summary = generateDemoData(*m_conn, dated);
    }
}

TestDatabase::~TestDatabase()
{
    m_conn->close();
}

QVariant TestDatabase::scalar(const QString &sql)
{
    Recordset rs = m_conn->openRecordset(sql);
    return rs.eof() ? QVariant() : rs.value(0);
}

void addEngineRows()
{
    QTest::addColumn<DbEngine>("engine");
    for (DbEngine e : TestDatabase::engines())
        QTest::newRow(TestDatabase::engineName(e)) << e;
}

QString engineTag(DbEngine engine, const QString &caseName)
{
    return QString::fromLatin1(TestDatabase::engineName(engine)) + u'/' + caseName;
}

QTestData &engineRow(DbEngine engine, const QString &caseName)
{
    return QTest::newRow(qPrintable(engineTag(engine, caseName))) << engine;
}
