#include "modules/BillAudit.h"

#include "modules/Session.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Transaction.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"

namespace {
const QString kReadError = QStringLiteral("数据读取错误！");

QString refusal(const Recordset &rows, const char *reason)
{
    return QStringLiteral("编号为:") + rows.text(QStringLiteral("fbillno")) + QString::fromUtf8(reason);
}
} // namespace

bool isVoidFlag(const QVariant &value)
{
    if (value.isNull())
        return false;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = Recordset::variantText(value).trimmed().toLower();
    return text == u"1" || text == u"-1" || text == u"true";
}

std::optional<QString> auditRefusal(const Recordset &rows, const QDate &periodStart)
{
    Recordset rs = rows;
    for (rs.moveFirst(); !rs.eof(); rs.moveNext()) {
        if (rs.toInt(QStringLiteral("fstatus")) == 1)
            return refusal(rs, "的单据已经审核!操作不成功");
        // A bill without a date is not of an earlier period.
        const QDate date = rs.date(QStringLiteral("fdate"));
        if (date.isValid() && date < periodStart)
            return refusal(rs, "的单据为以前期间的单据，不能审核!操作不成功");
        if (isVoidFlag(rs.value(QStringLiteral("fcancellation"))))
            return refusal(rs, "的单据已经作废!操作不成功");
    }
    return std::nullopt;
}

// Between the check and the update another workstation may audit one of the
// bills. The update therefore only touches bills that are still not audited
// and runs in a transaction: if it changes fewer rows than were checked, the
// bills overlap with an audit that got there first, and the whole update is
// rolled back so that the list stays all-or-nothing. On PostgreSQL a
// concurrent update of the same row waits for the other transaction and then
// re-evaluates the condition; SQLite lets one writer at a time in. Either way
// each bill is audited exactly once, and the loser learns it from the count.
bool applyAudit(Connection &conn, const QString &ids, const QString &checkerId, int expectedRows)
{
    Transaction transaction(conn);
    const int changed = conn.execute(QStringLiteral("update tblFP set fchecker=") + checkerId
                                     + QStringLiteral(",fstatus=1 where finterid in (") + ids + QStringLiteral(")")
                                     + QStringLiteral(" and isnull(fstatus,0)<>1"));
    if (changed != expectedRows)
        return false;
    transaction.commit();
    return true;
}

AuditOutcome auditBills(Connection &conn, const QString &ids, const QString &checkerId, const QDate &periodStart)
{
    // A lost race is followed by a fresh check, which then names the bill
    // that was audited meanwhile. Only bills that keep changing under us
    // exhaust the attempts.
    constexpr int kAttempts = 3;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const Recordset rows = conn.openRecordset(QStringLiteral("select fstatus,fcancellation,fdate,fbillno from tblFP where finterid in (")
                                                  + ids + QStringLiteral(")"));
        if (rows.isEmpty())
            return {false, kReadError};
        if (std::optional<QString> refused = auditRefusal(rows, periodStart))
            return {false, *refused};
        if (applyAudit(conn, ids, checkerId, rows.recordCount()))
            return {true, {}};
    }
    return {false, kReadError};
}

bool CheckBills(Session &s, const QString &ids)
{
    ConnectionScope scope(s);
    try {
        OpenConnection(s);
        const AuditOutcome outcome = auditBills(*s.gConn, ids, s.gLoginUserId, s.gPeriodStartDate);
        if (!outcome.audited)
            Prompt::msgBox(outcome.refusal, Prompt::Exclamation, s.msgTitle);
        return outcome.audited;
    } catch (const DbError &e) {
        Prompt::msgBox(e.description(), Prompt::Critical, s.msgTitle);
        return false;
    }
}
