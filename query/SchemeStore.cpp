#include "query/SchemeStore.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/DbError.h"
#include "platform/Transaction.h"

namespace SchemeStore {

namespace {
// Opens the shared connection; false when it cannot be opened.
bool open(Session &s)
{
    try {
        return OpenConnection(s);
    } catch (const DbError &) {
        return false;
    }
}

void keepError(const DbError &e, QString *error)
{
    if (error)
        *error = e.description();
}

// The user id is kept as text; bind it as a number when it is one, so the
// column's type decides nothing on either engine.
QVariant userIdValue(const QString &userId)
{
    bool ok = false;
    const qlonglong id = userId.trimmed().toLongLong(&ok);
    return ok ? QVariant(id) : QVariant(userId);
}
// Scheme ids and user ids go into the statements unquoted, so only a whole
// number is let in: anything else could not name a row anyway.
bool isWholeNumber(const QString &text)
{
    bool ok = false;
    text.trimmed().toLongLong(&ok);
    return ok;
}

// An empty cell is stored as an empty text, not as null.
QString storedText(const QString &text)
{
    return text.isNull() ? QStringLiteral("") : text;
}
} // namespace

QString listStatement(int billTypeId, const QString &userId)
{
    return QStringLiteral("select fname,finterid from tblProject where fType=") + QString::number(billTypeId)
        + QStringLiteral(" and fUserId=") + userId;
}

QString maxIdStatement()
{
    return QStringLiteral(" select isnull(max(finterid),0) as finterid from tblProject ");
}

QStringList deleteStatements(const QString &id)
{
    return {QStringLiteral("delete from tblproject where finterid=") + id,
            QStringLiteral("delete from tblprojectentry where finterid=") + id};
}

QString loadStatement(const QString &id, int billTypeId)
{
    return QStringLiteral("select * from tblprojectEntry where finterid=") + id + QStringLiteral(" and ftype='")
        + QString::number(billTypeId) + QStringLiteral("'") + QStringLiteral(" order by fline ");
}

QString storedConditionStatement(const QString &userId, int billTypeId)
{
    return QStringLiteral("select isnull(fsql,'') as fsql from tblFindSeek where fuserid=") + userId
        + QStringLiteral(" and ftypeid=") + QString::number(billTypeId);
}

void readStoredCondition(Session &s)
{
    // The user id goes in unquoted: a login that is no number has no row.
    if (!isWholeNumber(s.gLoginUserId))
        return;
    if (!open(s))
        return;
    try {
        s.gConn->openRecordset(storedConditionStatement(s.gLoginUserId.trimmed(), s.gBillTypeId));
    } catch (const DbError &) {
    }
}

QList<Scheme> list(Session &s, QString *error)
{
    QList<Scheme> schemes;
    if (!isWholeNumber(s.gLoginUserId))
        return schemes;
    ConnectionScope scope(s);
    if (!open(s))
        return schemes;
    try {
        Recordset rs = s.gConn->openRecordset(listStatement(s.gBillTypeId, s.gLoginUserId.trimmed()));
        for (; !rs.eof(); rs.moveNext())
            schemes.append({rs.text(QStringLiteral("fname")), rs.text(QStringLiteral("finterid"))});
    } catch (const DbError &e) {
        keepError(e, error);
        return {};
    }
    return schemes;
}

SaveResult save(Session &s, const QString &name, const ConditionTable &conditions)
{
    if (name.isEmpty())
        return {SaveResult::NameMissing, 0, {}};
    ConnectionScope scope(s);
    if (!open(s))
        return {};
    Connection &conn = *s.gConn;
    try {
        // Header and lines go in together: a failure part-way keeps neither.
        Transaction transaction(conn);
        Recordset rs = conn.openRecordset(maxIdStatement());
        const int id = int(rs.eof() ? 0 : rs.toInt(QStringLiteral("finterid"))) + 1;

        conn.addRow(QStringLiteral("tblproject"), {{QStringLiteral("finterid"), id},
                                                   {QStringLiteral("ftype"), int(s.gBillTypeId)},
                                                   {QStringLiteral("fname"), name},
                                                   {QStringLiteral("fUserid"), userIdValue(s.gLoginUserId)}});

        const int last = conditions.lastUsedRow();
        for (int r = 1; r <= last; ++r) {
            QList<std::pair<QString, QVariant>> columns{{QStringLiteral("finterid"), id},
                                                        {QStringLiteral("ftype"), int(s.gBillTypeId)},
                                                        {QStringLiteral("fline"), r}};
            for (int c = 1; c <= ConditionTable::kColumns; ++c)
                columns.append({QStringLiteral("f%1col").arg(c), storedText(conditions.cell(r, c))});
            conn.addRow(QStringLiteral("tblprojectEntry"), columns);
        }
        transaction.commit();
        return {SaveResult::Saved, id, {}};
    } catch (const DbError &e) {
        return {SaveResult::NotDone, 0, e.description()};
    }
}

bool remove(Session &s, const QString &id, QString *error)
{
    if (!isWholeNumber(id))
        return false;
    ConnectionScope scope(s);
    if (!open(s))
        return false;
    try {
        Transaction transaction(*s.gConn);
        for (const QString &statement : deleteStatements(id.trimmed()))
            s.gConn->execute(statement);
        transaction.commit();
    } catch (const DbError &e) {
        keepError(e, error);
        return false;
    }
    return true;
}

bool load(Session &s, const QString &id, ConditionTable &conditions, QString *error)
{
    if (!isWholeNumber(id))
        return false;
    ConnectionScope scope(s);
    if (!open(s))
        return false;
    conditions.clear();
    try {
        Recordset rs = s.gConn->openRecordset(loadStatement(id.trimmed(), s.gBillTypeId));
        for (; !rs.eof(); rs.moveNext()) {
            const int row = int(rs.toInt(QStringLiteral("fline")));
            for (int c = 1; c <= ConditionTable::kColumns; ++c)
                conditions.setCell(row, c, rs.text(QStringLiteral("f%1col").arg(c)));
        }
    } catch (const DbError &e) {
        keepError(e, error);
        return false;
    }
    return true;
}

} // namespace SchemeStore
