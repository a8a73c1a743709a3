#include "platform/Connection.h"

#include "platform/DbError.h"
#include "platform/SqlDialect.h"
#include "platform/SqliteFunctions.h"

#include <QAtomicInt>
#include <QFile>
#include <QFileInfo>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include <sqlite3.h>
#include <sys/stat.h>

namespace {
QAtomicInt connectionCounter;

std::pair<quint64, quint64> fileIdentity(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {0, 0};
    return {quint64(info.st_dev), quint64(info.st_ino)};
}

} // namespace

Connection::Connection(const QString &connectionString, OpenMode mode)
    : m_settings(ConnectionString::parse(connectionString)), m_mode(mode)
{
    m_name = QStringLiteral("purfp_%1").arg(connectionCounter.fetchAndAddRelaxed(1));
}

Connection::~Connection()
{
    close();
}

QSqlDatabase Connection::database() const
{
    return QSqlDatabase::database(m_name, false);
}

bool Connection::isOpen() const
{
    return QSqlDatabase::contains(m_name) && database().isOpen();
}

void Connection::open()
{
    if (isOpen())
        return;
    if (m_settings.engine == DbEngine::SQLite) {
        if (m_mode == OpenMode::ExistingOnly && !QFileInfo::exists(m_settings.database))
            throw DbError(QStringLiteral("数据库文件不存在: %1").arg(m_settings.database));
        if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE")))
            throw DbError(QStringLiteral("缺少 SQLite 数据库驱动 (libqt6sql6-sqlite)"));
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
        db.setDatabaseName(m_settings.database);
        db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=10000"));
        if (!db.open()) {
            const QString text = sqlErrorText(db.lastError());
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_name);
            throw DbError(text);
        }
        const QVariant handle = db.driver()->handle();
        sqlite3 *raw = handle.isValid() && qstrcmp(handle.typeName(), "sqlite3*") == 0
            ? *static_cast<sqlite3 *const *>(handle.constData()) : nullptr;
        if (!raw || !registerSqliteFunctions(raw)) {
            db.close();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_name);
            throw DbError(QStringLiteral("无法在 SQLite 连接上注册函数"));
        }
        m_fileId = fileIdentity(m_settings.database);
    } else {
        if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL")))
            throw DbError(QStringLiteral("缺少 PostgreSQL 数据库驱动 (libqt6sql6-psql)"));
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), m_name);
        db.setHostName(m_settings.server);
        db.setPort(m_settings.port);
        db.setDatabaseName(m_settings.database);
        db.setUserName(m_settings.user);
        db.setPassword(m_settings.password);
        db.setConnectOptions(QStringLiteral("connect_timeout=10"));
        if (!db.open()) {
            const QString text = sqlErrorText(db.lastError());
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_name);
            throw DbError(text);
        }
        QSqlQuery q(db);
        q.exec(QStringLiteral("set client_min_messages to warning"));
        q.exec(QStringLiteral("set datestyle to ISO, YMD"));
    }
    m_inTransaction = false;
}

bool Connection::stillUsable(bool probeServer)
{
    if (!isOpen() || m_inTransaction)
        return false;
    if (m_settings.engine == DbEngine::SQLite)
        return m_fileId != std::pair<quint64, quint64>{0, 0} && fileIdentity(m_settings.database) == m_fileId;
    if (!probeServer)
        return true;
    QSqlQuery q(database());
    return q.exec(QStringLiteral("select 1")) && q.next();
}

void Connection::close()
{
    if (!QSqlDatabase::contains(m_name))
        return;
    {
        QSqlDatabase db = database();
        if (m_inTransaction && db.isOpen())
            db.rollback();
        db.close();
    }
    QSqlDatabase::removeDatabase(m_name);
    m_inTransaction = false;
}

void Connection::fail(const QSqlError &error)
{
    if (m_inTransaction) {
        database().rollback();
        m_inTransaction = false;
    }
    throw DbError(sqlErrorText(error), error.nativeErrorCode());
}

int Connection::run(const QString &sql, const QVariantList &params, Recordset *result)
{
    if (!isOpen())
        throw DbError(QStringLiteral("对象关闭时，不允许操作。"));
    QSqlQuery query(database());
    query.setForwardOnly(true);
    query.setNumericalPrecisionPolicy(QSql::HighPrecision);
    bool ok;
    if (params.isEmpty()) {
        ok = query.exec(sql);
    } else {
        ok = query.prepare(sql);
        if (ok) {
            for (const QVariant &p : params)
                query.addBindValue(p);
            ok = query.exec();
        }
    }
    if (!ok)
        fail(query.lastError());
    if (result) {
        const QSqlRecord record = query.record();
        QStringList names;
        names.reserve(record.count());
        for (int i = 0; i < record.count(); ++i)
            names << record.fieldName(i);
        std::vector<QVariant> cells;
        const int columns = int(names.size());
        while (query.next()) {
            for (int i = 0; i < columns; ++i)
                cells.push_back(query.value(i));
        }
        if (query.lastError().isValid())
            fail(query.lastError());
        *result = Recordset(names, std::move(cells));
    }
    return query.numRowsAffected();
}

int Connection::execute(const QString &sql, const QVariantList &params)
{
    return run(translateSql(sql, engine()), params, nullptr);
}

Recordset Connection::openRecordset(const QString &sql, const QVariantList &params)
{
    Recordset rs;
    run(translateSql(sql, engine()), params, &rs);
    return rs;
}

RowReader Connection::readRows(const QString &sql)
{
    if (!isOpen())
        throw DbError(QStringLiteral("对象关闭时，不允许操作。"));
    const QString translated = translateSql(sql, engine());
    QSqlQuery query(database());
    query.setForwardOnly(true);
    query.setNumericalPrecisionPolicy(QSql::HighPrecision);
    if (!query.exec(translated))
        fail(query.lastError());
    return RowReader(std::move(query));
}

int Connection::executeNative(const QString &sql, const QVariantList &params)
{
    return run(sql, params, nullptr);
}

Recordset Connection::openRecordsetNative(const QString &sql, const QVariantList &params)
{
    Recordset rs;
    run(sql, params, &rs);
    return rs;
}

void Connection::addRow(const QString &table, const QList<std::pair<QString, QVariant>> &columns)
{
    QStringList names;
    QStringList marks;
    QVariantList values;
    for (const auto &[name, value] : columns) {
        names << name;
        marks << QStringLiteral("?");
        values << value;
    }
    executeNative(QStringLiteral("insert into %1(%2) values(%3)").arg(table, names.join(u','), marks.join(u',')), values);
}

void Connection::executeScript(const QString &script)
{
    for (const QString &statement : splitSqlScript(script))
        executeNative(statement);
}

void Connection::beginTrans()
{
    if (!isOpen())
        throw DbError(QStringLiteral("对象关闭时，不允许操作。"));
    if (m_inTransaction)
        throw DbError(QStringLiteral("连接上已有未结束的事务"));
    QSqlDatabase db = database();
    if (!db.transaction())
        throw DbError(sqlErrorText(db.lastError()));
    m_inTransaction = true;
}

void Connection::commitTrans()
{
    if (!m_inTransaction)
        throw DbError(QStringLiteral("没有可提交的事务"));
    QSqlDatabase db = database();
    m_inTransaction = false;
    if (!db.commit()) {
        const QSqlError error = db.lastError();
        db.rollback();
        throw DbError(sqlErrorText(error), error.nativeErrorCode());
    }
}

void Connection::rollbackTrans()
{
    if (!m_inTransaction)
        return;
    m_inTransaction = false;
    database().rollback();
}

QStringList splitSqlScript(const QString &script)
{
    QStringList statements;
    QString current;
    const qsizetype n = script.size();
    qsizetype i = 0;
    auto flush = [&] {
        const QString s = current.trimmed();
        if (!s.isEmpty())
            statements << s;
        current.clear();
    };
    while (i < n) {
        const QChar c = script[i];
        if (c == u'-' && i + 1 < n && script[i + 1] == u'-') { // line comment
            while (i < n && script[i] != u'\n')
                ++i;
            continue;
        }
        if (c == u'\'' || c == u'"') {
            qsizetype j = i + 1;
            while (j < n && !(script[j] == c && !(j + 1 < n && script[j + 1] == c)))
                j += (script[j] == c) ? 2 : 1;
            current += QStringView(script).mid(i, std::min(j + 1, n) - i);
            i = j + 1;
            continue;
        }
        if (c == u'$') { // $tag$ ... $tag$
            qsizetype j = i + 1;
            while (j < n && (script[j].isLetterOrNumber() || script[j] == u'_'))
                ++j;
            if (j < n && script[j] == u'$') {
                const QString tag = script.mid(i, j - i + 1);
                const qsizetype close = script.indexOf(tag, j + 1);
                const qsizetype end = close < 0 ? n : close + tag.size();
                current += QStringView(script).mid(i, end - i);
                i = end;
                continue;
            }
        }
        if (c == u';') {
            flush();
            ++i;
            continue;
        }
        current += c;
        ++i;
    }
    flush();
    return statements;
}
