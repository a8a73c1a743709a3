#pragma once
// A database connection over Qt SQL. Statements given to execute() and
// openRecordset() pass through translateSql() first; scripts that are already
// written for the engine go through executeNative(). Every failure throws
// DbError with the engine's own text. A statement that fails inside a
// transaction rolls the transaction back before the error is thrown.
#include "platform/ConnectionString.h"
#include "platform/Recordset.h"
#include "platform/RowReader.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>
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
    // Inserts one row of named columns (values bound, never spliced).
    void addRow(const QString &table, const QList<std::pair<QString, QVariant>> &columns);

    // Engine-specific text, not translated; may hold several statements.
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
    [[noreturn]] void fail(const QSqlError &error);

    ConnectionString m_settings;
    OpenMode m_mode;
    QString m_name;
    bool m_inTransaction = false;
    // Identity (device, inode) of the SQLite file when it was opened.
    std::pair<quint64, quint64> m_fileId{0, 0};
};

// Splits an engine script into statements at ";" outside quotes, comments
// and PostgreSQL dollar-quoted bodies.
QStringList splitSqlScript(const QString &script);
