#pragma once
// Whether the logged-in user holds one of this module's privilege codes
// (gRightPrefix followed by two digits, e.g. "Q04" to audit bills).
#include <QString>

struct Session;

// Administrators (IsAdmin = 1) hold every code without a database read.
// Otherwise the code is granted when tblUserPrivillenge has a row for
// gLoginUserId and the code. On a database error the message is shown with
// the critical icon and false returned; on that path the shared connection is
// deliberately left open (the next CloseConnection closes it). On success it
// is closed.
bool HasPrivilege(Session &s, const QString &code);
