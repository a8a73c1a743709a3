#pragma once
// Error raised by the database layer; what() is the engine's own text, which
// the routines show to the user as it stands.
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
