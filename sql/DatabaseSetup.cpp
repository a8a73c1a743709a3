#include "sql/DatabaseSetup.h"

#include "platform/DbError.h"

#include <QFile>
#include <QFileInfo>

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

// A new SQLite database holds the books of a business: its file, and the
// journal files SQLite keeps beside it, are for their owner's eyes alone.
static void makeSqliteFilesPrivate(const Connection &conn)
{
    const QString path = conn.settings().database;
    if (conn.engine() != DbEngine::SQLite || path.isEmpty() || path.startsWith(u':'))
        return;
    for (const char *suffix : {"", "-journal", "-wal", "-shm"}) {
        const QString file = path + QString::fromLatin1(suffix);
        if (QFileInfo(file).isFile())
            QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    }
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
    makeSqliteFilesPrivate(conn);
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
