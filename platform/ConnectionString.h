#pragma once
// ADO-style connection strings: key=value pairs separated by ";", keys
// compared without regard to case.
//   Driver=SQLite;Database=/path/purfp.db
//   Driver=PostgreSQL;Server=host;Port=5432;Database=name;Uid=user;Pwd=secret
#include <QMap>
#include <QString>

enum class DbEngine { SQLite, PostgreSQL };

struct ConnectionString {
    DbEngine engine = DbEngine::SQLite;
    QString database;
    QString server;
    int port = 5432;
    QString user;
    QString password;

    // Throws DbError with a readable text when the string cannot be used.
    static ConnectionString parse(const QString &text);
    // The canonical text for the given settings (used by the host and tests).
    QString toString() const;
};
