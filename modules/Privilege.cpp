#include "modules/Privilege.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"

bool HasPrivilege(Session &s, const QString &code)
{
    if (s.IsAdmin == 1)
        return true;
    // The user id is a number and goes into the statement unquoted.
    const QString sql = QStringLiteral("select fuserid from tblUserPrivillenge  where fuserid=") + s.gLoginUserId
        + QStringLiteral("  and fNumber='") + code + QStringLiteral("'");
    bool granted = false;
    try {
        OpenConnection(s);
        granted = !s.gConn->openRecordset(sql).eof();
    } catch (const DbError &e) {
        // On this path the shared connection stays open until the next
        // CloseConnection, as callers of this routine have always found it.
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return false;
    }
    CloseConnection(s);
    return granted;
}
