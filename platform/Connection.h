#pragma once
// A database connection over Qt SQL. Statements given to execute() and
// openRecordset() pass through translateSql() first; scripts that are already
// written for the engine go through executeNative(). Each call runs exactly
// one statement: a text that holds a second one is refused before anything
// runs. Every failure throws DbError (see dbFaultText for its text). A
// statement that fails inside a transaction rolls the transaction back before
// the error is thrown. A server that ended the connection is reconnected to
// once and the statement run again, unless a transaction was open: then the
// error says the transaction's work is lost.
#include "platform/ConnectionString.h"
#include "platform/Recordset.h"
#include "platform/RowReader.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringView>
#include <QVariantList>

#include <utility>

class Connection {
public:
    enum class OpenMode { ExistingOnly, CreateIfMissing };

    // Parses the string; throws DbError when it is malformed.
    explicit Connection(const QString &connectionString, OpenMode mode = OpenMode::ExistingOnly);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void open();
    void close();
    bool isOpen() const;
    // How long a SQLite statement waits for another connection's lock before
    // it fails as busy; applies from the next open.
    void setBusyTimeout(int milliseconds) { m_busyTimeoutMs = milliseconds; }
    // Has the engine failed a command on this connection since it was opened?
    bool hadError() const { return m_hadError; }
    // May an open connection that has been idle be used again? A SQLite
    // connection must still see the file it opened (not one deleted or put
    // in its place); a PostgreSQL one answers a trivial query when
    // `probeServer` is set.
    bool stillUsable(bool probeServer);
    DbEngine engine() const { return m_settings.engine; }
    const ConnectionString &settings() const { return m_settings; }

    // Runs one statement; `params` bind "?" placeholders in order. Returns the
    // number of rows affected (-1 when the engine does not say).
    int execute(const QString &sql, const QVariantList &params = {});
    // Reads the whole result of a query.
    Recordset openRecordset(const QString &sql, const QVariantList &params = {});
    // Runs a query for a forward-only read, row by row (no snapshot).
    RowReader readRows(const QString &sql);
    // The same read as the engine's own query, for readers that walk a large
    // result column by column themselves (the bill list).
    QSqlQuery forwardQuery(const QString &sql);
    // Inserts one row of named columns (values bound, never spliced).
    void addRow(const QString &table, const QList<std::pair<QString, QVariant>> &columns);

    // Engine-specific text, not translated. A script may hold several
    // statements and runs them one by one; the others take one statement.
    void executeScript(const QString &script);
    int executeNative(const QString &sql, const QVariantList &params = {});
    Recordset openRecordsetNative(const QString &sql, const QVariantList &params = {});

    void beginTrans();
    void commitTrans();
    void rollbackTrans();
    bool inTransaction() const { return m_inTransaction; }

    // For benchmarks and tests that compare against the engine itself.
    QSqlDatabase database() const;

private:
    int run(const QString &sql, const QVariantList &params, Recordset *result);
    // Executes one statement, reconnecting once when the server has dropped
    // an idle connection; returns the active query.
    QSqlQuery start(const QString &sql, const QVariantList &params);
    // Reopens a connection that the server ended, outside a transaction.
    void reopenIfLost();
    bool connectionLost(const QSqlError &error) const;
    [[noreturn]] void fail(const QSqlError &error);

    ConnectionString m_settings;
    OpenMode m_mode;
    QString m_name;
    bool m_inTransaction = false;
    bool m_hadError = false;
    bool m_lost = false; // the server ended the connection
    int m_busyTimeoutMs = 10'000;
    // Identity (device, inode) of the SQLite file when it was opened.
    std::pair<quint64, quint64> m_fileId{0, 0};
};

// Splits an engine script into statements at ";" outside quotes, comments
// and PostgreSQL dollar-quoted bodies.
QStringList splitSqlScript(const QString &script);
// Does the text hold a second statement after the first one's ";" (outside
// quotes, quoted identifiers and comments)? A trailing ";" is not one; the
// ";" inside a SQLite trigger's BEGIN … END body are part of it. One pass
// over the characters, nothing allocated.
bool holdsSeveralStatements(QStringView sql, DbEngine engine);
