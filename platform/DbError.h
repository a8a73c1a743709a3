#pragma once
// Error raised by the database layer; what() is the engine's own text, which
// the routines show to the user as it stands.
#include <QSqlError>
#include <QString>
#include <stdexcept>

class DbError : public std::runtime_error {
public:
    explicit DbError(const QString &description)
        : std::runtime_error(description.toStdString()), m_description(description) {}
    const QString &description() const { return m_description; }

private:
    QString m_description;
};

// The text to show for a failed database call: the engine's message when it
// gave one, otherwise the driver's.
inline QString sqlErrorText(const QSqlError &error)
{
    const QString db = error.databaseText().trimmed();
    return db.isEmpty() ? error.text().trimmed() : db;
}
