#include "platform/ConnectionString.h"

#include "platform/DbError.h"

namespace {
QMap<QString, QString> splitPairs(const QString &text)
{
    QMap<QString, QString> pairs;
    for (const QString &part : text.split(u';', Qt::SkipEmptyParts)) {
        const QString item = part.trimmed();
        if (item.isEmpty())
            continue;
        const qsizetype eq = item.indexOf(u'=');
        if (eq <= 0)
            throw DbError(QStringLiteral("连接字符串格式错误: \"%1\" 不是 键=值 的形式").arg(item));
        pairs.insert(item.left(eq).trimmed().toLower(), item.mid(eq + 1).trimmed());
    }
    return pairs;
}

QString firstOf(const QMap<QString, QString> &pairs, std::initializer_list<const char *> keys)
{
    for (const char *key : keys) {
        const auto it = pairs.find(QString::fromLatin1(key));
        if (it != pairs.end())
            return it.value();
    }
    return {};
}
} // namespace

ConnectionString ConnectionString::parse(const QString &text)
{
    if (text.trimmed().isEmpty())
        throw DbError(QStringLiteral("未设置数据库连接字符串"));
    const auto pairs = splitPairs(text);
    ConnectionString cs;
    const QString driver = firstOf(pairs, {"driver", "provider"}).toLower();
    if (driver.isEmpty() || driver == u"sqlite" || driver == u"sqlite3")
        cs.engine = DbEngine::SQLite;
    else if (driver == u"postgresql" || driver == u"postgres" || driver == u"psql" || driver == u"pgsql")
        cs.engine = DbEngine::PostgreSQL;
    else
        throw DbError(QStringLiteral("不支持的数据库驱动: %1").arg(firstOf(pairs, {"driver", "provider"})));
    cs.database = firstOf(pairs, {"database", "data source", "dbq", "initial catalog"});
    cs.server = firstOf(pairs, {"server", "host", "hostname"});
    cs.user = firstOf(pairs, {"uid", "user id", "user", "username"});
    cs.password = firstOf(pairs, {"pwd", "password"});
    const QString port = firstOf(pairs, {"port"});
    if (!port.isEmpty()) {
        bool ok = false;
        cs.port = port.toInt(&ok);
        if (!ok || cs.port <= 0 || cs.port > 65535)
            throw DbError(QStringLiteral("连接字符串中的端口无效: %1").arg(port));
    }
    if (cs.database.isEmpty())
        throw DbError(QStringLiteral("连接字符串中缺少 Database"));
    if (cs.engine == DbEngine::PostgreSQL && cs.server.isEmpty())
        cs.server = QStringLiteral("localhost");
    return cs;
}

QString ConnectionString::toString() const
{
    if (engine == DbEngine::SQLite)
        return QStringLiteral("Driver=SQLite;Database=%1").arg(database);
    return QStringLiteral("Driver=PostgreSQL;Server=%1;Port=%2;Database=%3;Uid=%4;Pwd=%5")
        .arg(server).arg(port).arg(database, user, password);
}
