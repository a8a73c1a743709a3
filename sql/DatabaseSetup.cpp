#include "sql/DatabaseSetup.h"

#include "platform/DbError.h"
#include "platform/Transaction.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <optional>

// The schema source lives in a resource of this static library; registering it
// explicitly keeps it reachable whatever the linker keeps of the library.
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

QString engineSchemaScript(const QString &source, DbEngine engine)
{
    const bool pg = engine == DbEngine::PostgreSQL;
    // The engine's type for each type word; amounts are exact numerics on both.
    auto engineType = [pg](QStringView word) -> QString {
        if (word == u"amount")
            return pg ? QStringLiteral("numeric(19,4)") : QStringLiteral("numeric");
        if (word == u"date")
            return pg ? QStringLiteral("date") : QStringLiteral("text");
        if (word == u"bytes")
            return pg ? QStringLiteral("bytea") : QStringLiteral("blob");
        return {};
    };
    static const QRegularExpression marker(QStringLiteral("^\\s*--\\s*@(\\w*)\\s*$"));
    static const QRegularExpression typeWord(QStringLiteral("@(\\w*)"));

    const QStringList lines = source.split(u'\n');
    QStringList out;
    QString block; // engine of the open block, empty outside one
    qsizetype blockLine = 0;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString &line = lines[i];
        const QString lineNo = QString::number(i + 1);
        const QRegularExpressionMatch m = marker.match(line);
        if (m.hasMatch()) {
            const QString word = m.captured(1);
            if (word == u"end") {
                if (block.isEmpty())
                    throw DbError(QStringLiteral("数据库结构脚本第 %1 行: @end 之前没有对应的引擎段落").arg(lineNo));
                block.clear();
            } else if (word == u"sqlite" || word == u"postgresql") {
                if (!block.isEmpty())
                    throw DbError(QStringLiteral("数据库结构脚本第 %1 行: 引擎段落不能嵌套").arg(lineNo));
                block = word;
                blockLine = i + 1;
            } else {
                throw DbError(QStringLiteral("数据库结构脚本第 %1 行: 未知的标记 @%2").arg(lineNo, word));
            }
            continue;
        }
        if (!block.isEmpty() && (block == u"postgresql") != pg)
            continue;
        // Type words count in the statement part of the line only: comments
        // may mention them.
        const qsizetype comment = line.indexOf(QStringLiteral("--"));
        const QString code = comment < 0 ? line : line.left(comment);
        QString translated;
        qsizetype from = 0;
        for (auto it = typeWord.globalMatch(code); it.hasNext();) {
            const QRegularExpressionMatch w = it.next();
            const QString type = engineType(w.capturedView(1));
            if (type.isEmpty())
                throw DbError(QStringLiteral("数据库结构脚本第 %1 行: 未知的类型词 @%2").arg(lineNo, w.captured(1)));
            translated += QStringView(code).mid(from, w.capturedStart() - from);
            translated += type;
            from = w.capturedEnd();
        }
        translated += QStringView(line).mid(from);
        out << translated;
    }
    if (!block.isEmpty())
        throw DbError(QStringLiteral("数据库结构脚本第 %1 行的 @%2 段落没有以 @end 结束").arg(QString::number(blockLine), block));
    return out.join(u'\n');
}

QString schemaSource()
{
    initSchemaResources();
    const QString path = QStringLiteral(":/sql/schema.sql");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw DbError(QStringLiteral("无法读取数据库结构脚本: %1").arg(path));
    return QString::fromUtf8(file.readAll());
}

QString schemaScript(DbEngine engine)
{
    return engineSchemaScript(schemaSource(), engine);
}

// Whether a statement of the schema script creates an index.
static bool isIndexStatement(const QString &statement)
{
    static const QRegularExpression index(QStringLiteral("^\\s*create\\s+(unique\\s+)?index\\b"),
                                          QRegularExpression::CaseInsensitiveOption);
    QStringList code = statement.split(u'\n');
    while (!code.isEmpty() && (code.first().trimmed().isEmpty() || code.first().trimmed().startsWith(QStringLiteral("--"))))
        code.removeFirst();
    return index.match(code.join(u'\n')).hasMatch();
}

// The statements of the engine's script that create indexes, or the others.
static QString scriptPart(DbEngine engine, bool indexes)
{
    QStringList part;
    for (const QString &statement : splitSqlScript(schemaScript(engine)))
        if (isIndexStatement(statement) == indexes)
            part << statement;
    return part.join(QStringLiteral(";\n"));
}

void createSchema(Connection &conn, Indexes indexes)
{
    const QString script = indexes == Indexes::WithTables ? schemaScript(conn.engine()) : scriptPart(conn.engine(), false);
    // One transaction: SQLite then writes the file once instead of once per
    // statement, and on PostgreSQL a failure leaves nothing half made.
    std::optional<Transaction> transaction;
    if (!conn.inTransaction())
        transaction.emplace(conn);
    conn.executeScript(script);
    if (transaction)
        transaction->commit();
    makeSqliteFilesPrivate(conn);
}

void createIndexes(Connection &conn)
{
    std::optional<Transaction> transaction;
    if (!conn.inTransaction())
        transaction.emplace(conn);
    conn.executeScript(scriptPart(conn.engine(), true));
    if (transaction)
        transaction->commit();
}

int rebuildIndexes(Connection &conn)
{
    static const QRegularExpression name(QStringLiteral("\\bindex\\s+(\\w+)\\s+on\\b"), QRegularExpression::CaseInsensitiveOption);
    std::optional<Transaction> transaction;
    if (!conn.inTransaction())
        transaction.emplace(conn);
    int made = 0;
    for (const QString &statement : splitSqlScript(scriptPart(conn.engine(), true))) {
        const QRegularExpressionMatch m = name.match(statement);
        if (!m.hasMatch())
            throw DbError(QStringLiteral("数据库结构脚本中的索引语句没有名称: %1").arg(statement.simplified()));
        conn.executeNative(QStringLiteral("drop index if exists ") + m.captured(1));
        conn.executeNative(statement);
        ++made;
    }
    if (transaction)
        transaction->commit();
    return made;
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
