#include "sql/DatabaseSetup.h"

#include "platform/DbError.h"

#include <QFile>

// The scripts live in a resource of this static library; registering it
// explicitly keeps them reachable whatever the linker keeps of the library.
static void initSchemaResources()
{
    static const bool done = [] {
        Q_INIT_RESOURCE(purfp_sql_scripts);
        return true;
    }();
    Q_UNUSED(done);
}

namespace DatabaseSetup {

QString schemaScript(DbEngine engine)
{
    initSchemaResources();
    const QString path = engine == DbEngine::PostgreSQL ? QStringLiteral(":/sql/schema_postgresql.sql")
                                                        : QStringLiteral(":/sql/schema_sqlite.sql");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw DbError(QStringLiteral("无法读取数据库结构脚本: %1").arg(path));
    return QString::fromUtf8(file.readAll());
}

void createSchema(Connection &conn)
{
    const QString script = schemaScript(conn.engine());
    // One transaction: SQLite then writes the file once instead of once per
    // statement, and on PostgreSQL a failure leaves nothing half made.
    const bool ownTransaction = !conn.inTransaction();
    if (ownTransaction)
        conn.beginTrans();
    try {
        conn.executeScript(script);
    } catch (...) {
        if (ownTransaction)
            conn.rollbackTrans();
        throw;
    }
    if (ownTransaction)
        conn.commitTrans();
}

void dropSchema(Connection &conn)
{
    if (conn.engine() == DbEngine::PostgreSQL) {
        conn.executeNative(QStringLiteral("drop schema if exists public cascade"));
        conn.executeNative(QStringLiteral("create schema public"));
        return;
    }
    // Views first, so that no view is ever left naming a table that is gone.
    for (const char *kind : {"view", "table"}) {
        const QString type = QString::fromLatin1(kind);
        Recordset rs = conn.openRecordsetNative(
            QStringLiteral("select name from sqlite_master where type=? and name not like 'sqlite%' order by name"),
            {type});
        for (; !rs.eof(); rs.moveNext())
            conn.executeNative(QStringLiteral("drop %1 if exists \"%2\"").arg(type, rs.text(QStringLiteral("name"))));
    }
}

} // namespace DatabaseSetup
