#pragma once
// Error raised by the database layer; what() is the engine's own text, which
// the routines show to the user as it stands.
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
