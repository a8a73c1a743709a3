#pragma once
// Auditing purchase invoices: every listed bill is checked first (not audited
// yet, not of an earlier period, not void), then all of them are audited by
// one update, or none is.
#include "platform/Connection.h"

#include <QDate>
#include <QString>

#include <optional>

struct Session;

// Audits the bills of `ids` (finterid values joined by commas) as the logged-in
// user. True when all of them were audited. Otherwise nothing was changed and a
// message has been shown: a refused bill or an unknown list with the
// exclamation icon, a database error with the critical icon. The connection is
// closed on every path.
bool CheckBills(Session &s, const QString &ids);

// True when a bill's fcancellation marks it void: 1 in an integer column, or
// true / -1 from a yes/no column.
bool isVoidFlag(const QVariant &value);

// The parts of CheckBills, usable on any connection and free of dialogs, so
// that each step can be exercised on its own.

// The refusal for the first row (in the recordset's order) that may not be
// audited, checked in the order status, period, void; none when all pass.
// Rows are those of "select fstatus,fcancellation,fdate,fbillno from tblFP".
std::optional<QString> auditRefusal(const Recordset &rows, const QDate &periodStart);

// The audit update inside a transaction, counted: commits and returns true
// when exactly `expectedRows` bills went from not audited to audited; rolls
// back and returns false when fewer did (another user audited or removed one
// of them after they were checked).
bool applyAudit(Connection &conn, const QString &ids, const QString &checkerId, int expectedRows);

struct AuditOutcome {
    bool audited = false;
    QString refusal; // shown with the exclamation icon when not audited
};
// Check and update on `conn`. Database errors are thrown as DbError.
AuditOutcome auditBills(Connection &conn, const QString &ids, const QString &checkerId, const QDate &periodStart);
