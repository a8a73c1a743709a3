#pragma once
// Error raised by the database layer. description() is what the routines show
// to the user as it stands: the engine's own text for ordinary SQL errors, or
// a Chinese explanation of an engine fault (busy, read-only, disk full, lost
// connection, …) with the engine's text after it as details.
#include "platform/ConnectionString.h"

#include <QSqlError>
#include <QString>
#include <stdexcept>

class DbError : public std::runtime_error {
public:
    // `code` is the engine's own error code when it gave one: the SQLSTATE on
    // PostgreSQL ("40P01"), the extended result code on SQLite ("5").
    explicit DbError(const QString &description, const QString &code = {})
        : std::runtime_error(description.toStdString()), m_description(description), m_code(code) {}
    const QString &description() const { return m_description; }
    const QString &code() const { return m_code; }

private:
    QString m_description;
    QString m_code;
};

// The text to show for a failed database call: the engine's message when it
// gave one, otherwise the driver's.
inline QString sqlErrorText(const QSqlError &error)
{
    const QString db = error.databaseText().trimmed();
    return db.isEmpty() ? error.text().trimmed() : db;
}

// Engine faults that a clerk gets explained in words of their own; every
// other error (syntax, constraint, …) is Other and keeps the engine's text.
enum class DbFault {
    Other,
    Busy,            // another workstation holds a lock
    ReadOnly,        // the database may not be written
    DiskFull,
    IoError,
    Conflict,        // deadlock or serialization failure: retrying may succeed
    ConnectionLost,  // the server ended the connection
    TransactionLost, // ... while a transaction was open: its work is gone
    CannotConnect,   // no connection could be made
};

// The fault an engine's error code stands for (SQLSTATE on PostgreSQL, result
// code, plain or extended, on SQLite).
DbFault dbFault(DbEngine engine, const QString &code);
// The text shown for an error of that kind: the engine's text alone for
// Other, otherwise a Chinese explanation followed by the engine's text.
QString dbFaultText(DbFault fault, const QString &engineText);
