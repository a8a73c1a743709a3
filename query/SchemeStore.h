#pragma once
// Saved query schemes: a user's condition grid kept under a name in
// tblProject (one row a scheme) and tblprojectEntry (one row a grid row).
// The routines work on the session's connection, opening it on entry and
// closing it on every exit. A connection that cannot be opened makes them do
// nothing; a failed statement ends the routine and hands back the engine's
// text for the dialog to show (critical icon). Asking for the name,
// confirming and reporting success belong to the dialog, with the texts
// below.
#include "query/ConditionModel.h"

#include <QList>
#include <QString>
#include <QStringList>

struct Session;

namespace SchemeStore {

inline const QString kNamePrompt = QStringLiteral("请输入方案名称");
inline const QString kNameMissing = QStringLiteral("请输入方案名称!");
inline const QString kSaved = QStringLiteral("方案保存成功!");
inline const QString kConfirmDelete = QStringLiteral("确定要删除吗?");
inline const QString kDeleted = QStringLiteral("删除成功!");

// One row of the scheme list: the name in column 1, the id in column 2.
struct Scheme {
    QString name;
    QString id;
    bool operator==(const Scheme &) const = default;
};

// The statements, for the routines and for checks against the schema.
QString listStatement(int billTypeId, const QString &userId);
QString maxIdStatement();
QStringList deleteStatements(const QString &id);
QString loadStatement(const QString &id, int billTypeId);
QString storedConditionStatement(const QString &userId, int billTypeId);

// The session user's schemes of the session's bill type, in the order the
// database returns them; empty on failure or for a user id that is no
// whole number. `error` receives the text of a failed statement.
QList<Scheme> list(Session &s, QString *error = nullptr);

struct SaveResult {
    enum Status { Saved, NameMissing, NotDone };
    Status status = NotDone;
    int id = 0;
    QString error; // the text of a failed statement
};
// Stores the grid under `name` with the next free id (global over users and
// bill types), rows 1 up to the last row holding text. An empty name writes
// nothing. Names need not be unique.
SaveResult save(Session &s, const QString &name, const ConditionTable &conditions);

// Deletes the scheme with that id, whoever owns it. An id that is not a
// whole number (empty too) does nothing. True when the statements ran.
bool remove(Session &s, const QString &id, QString *error = nullptr);

// Clears the grid and fills the rows the scheme stored, hidden columns
// included. True when the scheme was read; the grid is left untouched when
// the id is not a whole number or the connection cannot be opened.
bool load(Session &s, const QString &id, ConditionTable &conditions, QString *error = nullptr);

// Reads the session user's stored default condition, as every find does;
// nothing uses it yet. The shared connection is left open for the fill that
// follows, which closes it; a connection or database that does not answer is
// left for that fill to report.
void readStoredCondition(Session &s);

} // namespace SchemeStore
