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
        // A statement waits this long for another workstation's lock, then
        // fails as busy.
        db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(m_busyTimeoutMs));
        if (!db.open()) {
            const QSqlError error = db.lastError();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_name);
            throw DbError(dbFaultText(dbFault(DbEngine::SQLite, error.nativeErrorCode()), sqlErrorText(error)),
                          error.nativeErrorCode());
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
            const QSqlError error = db.lastError();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_name);
            throw DbError(dbFaultText(DbFault::CannotConnect, sqlErrorText(error)), error.nativeErrorCode());
        }
        QSqlQuery q(db);
        q.exec(QStringLiteral("set client_min_messages to warning"));
        q.exec(QStringLiteral("set datestyle to ISO, YMD"));
    }
    m_inTransaction = false;
    m_hadError = false;
    m_lost = false;
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
    m_lost = false;
}

bool Connection::connectionLost(const QSqlError &error) const
{
    if (m_settings.engine != DbEngine::PostgreSQL)
        return false;
    // The driver closes its side when it finds the connection bad.
    return dbFault(DbEngine::PostgreSQL, error.nativeErrorCode()) == DbFault::ConnectionLost
        || error.type() == QSqlError::ConnectionError || !database().isOpen();
}

void Connection::reopenIfLost()
{
    if (!m_lost || m_inTransaction)
        return;
    close();
    open();
}

void Connection::fail(const QSqlError &error)
{
    m_hadError = true;
    const QString code = error.nativeErrorCode();
    if (connectionLost(error)) {
        // Nothing is left to roll back: the server ended the session, and
        // with it any open transaction. The next command reconnects.
        const DbFault fault = m_inTransaction ? DbFault::TransactionLost : DbFault::ConnectionLost;
        m_inTransaction = false;
        m_lost = true;
        throw DbError(dbFaultText(fault, sqlErrorText(error)), code);
    }
    if (m_inTransaction) {
        database().rollback();
        m_inTransaction = false;
    }
    throw DbError(dbFaultText(dbFault(engine(), code), sqlErrorText(error)), code);
}

QSqlQuery Connection::start(const QString &sql, const QVariantList &params)
{
    if (holdsSeveralStatements(sql, engine()))
        throw DbError(QStringLiteral("一次只能执行一条SQL语句"));
    reopenIfLost();
    if (!isOpen())
        throw DbError(QStringLiteral("对象关闭时，不允许操作。"));
    for (bool again = false;; again = true) {
        QSqlError error;
        { // the query lets go of the connection before it may be reopened
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
            if (ok)
                return query;
            error = query.lastError();
        }
        // A connection the server dropped while idle has run nothing of this
        // statement: reconnect once and run it again. Inside a transaction
        // the earlier statements are lost with the session, so never.
        if (!again && !m_inTransaction && connectionLost(error)) {
            m_lost = true;
            reopenIfLost();
            continue;
        }
        fail(error);
    }
}

int Connection::run(const QString &sql, const QVariantList &params, Recordset *result)
{
    QSqlQuery query = start(sql, params);
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
    return RowReader(forwardQuery(sql));
}

QSqlQuery Connection::forwardQuery(const QString &sql)
{
    return start(translateSql(sql, engine()), {});
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
    if (m_inTransaction)
        throw DbError(QStringLiteral("连接上已有未结束的事务"));
    reopenIfLost();
    if (!isOpen())
        throw DbError(QStringLiteral("对象关闭时，不允许操作。"));
    for (bool again = false;; again = true) {
        QSqlDatabase db = database();
        if (db.transaction())
            break;
        const QSqlError error = db.lastError();
        db = QSqlDatabase();
        if (!again && connectionLost(error)) {
            m_lost = true;
            reopenIfLost();
            continue;
        }
        fail(error);
    }
    m_inTransaction = true;
}

void Connection::commitTrans()
{
    if (!m_inTransaction)
        throw DbError(QStringLiteral("没有可提交的事务"));
    if (!database().commit()) {
        // fail() rolls back what is left (or reports the session lost).
        fail(database().lastError());
    }
    m_inTransaction = false;
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

bool holdsSeveralStatements(QStringView sql, DbEngine engine)
{
    const bool pg = engine == DbEngine::PostgreSQL;
    const qsizetype n = sql.size();
    auto at = [&](qsizetype k) { return k < n ? sql[k] : QChar(); };
    auto isWord = [&](qsizetype from, qsizetype to, QStringView word) {
        return sql.mid(from, to - from).compare(word, Qt::CaseInsensitive) == 0;
    };
    bool ended = false; // a ";" has closed the first statement
    // SQLite's CREATE [TEMP] TRIGGER … BEGIN …; …; END: only the ";" after END
    // ends it. Tracked over the first three tokens.
    int tokens = 0;
    bool create = false, temp = false, trigger = false, afterEnd = false;
    qsizetype eStringAt = -1; // PostgreSQL E'…' (backslash escapes): where its quote is
    qsizetype i = 0;
    while (i < n) {
        const QChar c = sql[i];
        if (c.isSpace()) {
            ++i;
            continue;
        }
        // SQLite's driver runs nothing with more than blanks after the first
        // statement's ";", not even a comment: refuse it here in plain words.
        if (ended && !pg)
            return true;
        if (c == u'-' && at(i + 1) == u'-') {
            while (i < n && sql[i] != u'\n')
                ++i;
            continue;
        }
        if (c == u'/' && at(i + 1) == u'*') { // PostgreSQL nests block comments
            int depth = 1;
            i += 2;
            while (i < n && depth > 0) {
                if (sql[i] == u'*' && at(i + 1) == u'/') {
                    --depth;
                    i += 2;
                } else if (pg && sql[i] == u'/' && at(i + 1) == u'*') {
                    ++depth;
                    i += 2;
                } else {
                    ++i;
                }
            }
            continue;
        }
        if (c == u';') {
            if (!trigger || afterEnd)
                ended = true;
            afterEnd = false;
            ++i;
            continue;
        }
        if (ended)
            return true;
        ++tokens;
        afterEnd = false;
        if (c.isLetter() || c == u'_') {
            qsizetype j = i + 1;
            while (j < n && (sql[j].isLetterOrNumber() || sql[j] == u'_' || sql[j] == u'$'))
                ++j;
            if (!pg) {
                if (tokens == 1)
                    create = isWord(i, j, u"create");
                else if (tokens == 2 && create)
                    temp = isWord(i, j, u"temp") || isWord(i, j, u"temporary");
                if (create && ((tokens == 2 && !temp) || (tokens == 3 && temp)))
                    trigger = trigger || isWord(i, j, u"trigger");
                afterEnd = trigger && isWord(i, j, u"end");
            } else if (j == i + 1 && (c == u'e' || c == u'E')) {
                eStringAt = j;
            }
            i = j;
            continue;
        }
        if (c == u'\'' || c == u'"' || (!pg && (c == u'`' || c == u'['))) {
            const QChar close = c == u'[' ? QChar(u']') : c;
            const bool backslash = c == u'\'' && eStringAt == i;
            qsizetype j = i + 1;
            while (j < n) {
                if (backslash && sql[j] == u'\\') {
                    j += 2;
                } else if (sql[j] == close) {
                    if (close != u']' && at(j + 1) == close)
                        j += 2; // doubled: stands for itself
                    else
                        break;
                } else {
                    ++j;
                }
            }
            i = j + 1;
            continue;
        }
        if (pg && c == u'$') { // $tag$ … $tag$
            qsizetype j = i + 1;
            if (j < n && (sql[j].isLetter() || sql[j] == u'_'))
                while (j < n && (sql[j].isLetterOrNumber() || sql[j] == u'_'))
                    ++j;
            if (j < n && sql[j] == u'$') {
                const QStringView tag = sql.mid(i, j - i + 1);
                const qsizetype end = sql.indexOf(tag, j + 1);
                i = end < 0 ? n : end + tag.size();
                continue;
            }
        }
        ++i;
    }
    return false;
}
