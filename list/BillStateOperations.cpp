#include "list/BillStateOperations.h"

#include "modules/Session.h"
#include "modules/StockBillLedger.h"
#include "modules/BillAudit.h"
#include "modules/ConnectionRoutines.h"
#include "modules/Privilege.h"
#include "platform/Amount.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/Prompt.h"
#include "platform/Transaction.h"

#include <optional>

namespace {
const QString kReadError = QStringLiteral("数据读取错误！");

// How each routine reads its bills and what it refuses. The checks run in
// this order for every row: audit state, period, void state.
struct RoutineRules {
    const char *headerSql;   // completed by the selection and ")"
    int readErrorIcon;       // icon of "数据读取错误！"
    bool refuseAudited;      // true: refuse audited bills; false: refuse unaudited ones
    const char *auditReason;
    const char *periodReason;
    bool refuseVoid;         // true: refuse void bills; false: refuse valid ones
    const char *voidReason;
    const char *unchangedState; // the header state the checks let through, as a condition
};

const RoutineRules kDeleteRules{
    "select fstatus,fbillno,fcancellation,fyear,fperiod,fdate,fbillnumber from tblFP where finterid in (",
    Prompt::Exclamation,
    true, "的单据已经审核!操作不成功",
    "的单据为以前期间的单据，不能删除!操作不成功",
    true, "的单据作废!操作不成功",
    " and isnull(fstatus,0)<>1 and isnull(fcancellation,0) not in (1,-1)",
};
// The reverse operations report an unreadable selection with the critical
// icon, the forward ones with the exclamation icon.
const RoutineRules kUnCheckRules{
    "select * from tblFP where finterid in (",
    Prompt::Critical,
    false, "的单据未审核!操作不成功",
    "的单据为以前期间的单据，不能反审核!操作不成功",
    true, "的单据已经作废!操作不成功",
    " and fstatus=1 and isnull(fcancellation,0) not in (1,-1)",
};
const RoutineRules kCancelRules{
    "select * from tblFP where finterid in (",
    Prompt::Exclamation,
    true, "的单据已经审核!操作不成功",
    "的单据为以前期间的单据，不能作废!操作不成功",
    true, "的单据已经作废!操作不成功",
    " and isnull(fstatus,0)<>1 and isnull(fcancellation,0) not in (1,-1)",
};
const RoutineRules kUnCancelRules{
    "select * from tblFP where finterid in (",
    Prompt::Critical,
    true, "的单据已经审核!操作不成功",
    "的单据为以前期间的单据，不能取消作废!操作不成功",
    false, "的单据未作废!操作不成功",
    " and isnull(fstatus,0)<>1 and isnull(fcancellation,0) in (1,-1)",
};

// The reason the current row is refused, or none.
std::optional<QString> refusal(const RoutineRules &rules, const Recordset &row, const QDate &periodStart)
{
    const bool audited = row.toInt(QStringLiteral("fstatus")) == 1;
    if (audited == rules.refuseAudited)
        return QString::fromUtf8(rules.auditReason);
    // A bill without a date does not belong to an earlier period.
    const QDate date = row.date(QStringLiteral("fdate"));
    if (date.isValid() && date < periodStart)
        return QString::fromUtf8(rules.periodReason);
    if (isVoidFlag(row.value(QStringLiteral("fcancellation"))) == rules.refuseVoid)
        return QString::fromUtf8(rules.voidReason);
    return std::nullopt;
}

QString inList(const QString &ids)
{
    return QStringLiteral(" in (") + ids + QStringLiteral(")");
}

// Moves each matched stock bill's invoiced amount by the entries of the
// selected bills: sign -1 takes the amounts back (delete, void), +1 puts them
// back (un-void). The entries are summed per stock bill, the stock bills
// locked in ascending id order and each updated once. Entries without a stock
// bill (none, or 0) touch no stock bill; an empty amount moves nothing.
// Putting amounts back must leave every stock bill within its amount: when
// one cannot take them back any more (another invoice took them while these
// were void), nothing is moved and the refusal naming it is returned.
std::optional<QString> adjustInvoicedAmounts(Connection &conn, const QString &ids, int sign)
{
    Recordset entries = conn.openRecordset(QStringLiteral("select fstockinterid,fhxamount from tblFPEntry where finterid")
                                           + inList(ids));
    StockAmounts moves;
    for (; !entries.eof(); entries.moveNext()) {
        const qint64 stock = entries.value(QStringLiteral("fstockinterid")).toLongLong();
        if (stock != 0)
            moves[stock] += sign < 0 ? -entries.amount(QStringLiteral("fhxamount")) : entries.amount(QStringLiteral("fhxamount"));
    }
    const std::map<qint64, LockedStockBill> locked = lockStockBills(conn, moves);
    if (sign > 0) {
        for (const auto &[stock, amount] : moves) {
            const auto found = locked.find(stock);
            if (amount.isZero() || found == locked.end() || fitsStockBill(found->second.invoiced + amount, found->second.all))
                continue;
            return QStringLiteral("入库单 ") + found->second.billNo + QStringLiteral(" 的未开票金额现为 ")
                + (found->second.all - found->second.invoiced).toString() + QStringLiteral("，取消作废的开票金额超出，操作不成功");
        }
    }
    for (const auto &[stock, amount] : moves) {
        if (locked.count(stock))
            conn.execute(QStringLiteral("update icstockbill set fkpamount=isnull(fkpamount,0)+") + amount.toString()
                         + QStringLiteral(" where finterid=") + QString::number(stock));
    }
    return std::nullopt;
}

struct CommandRules {
    const char *rightCode;
    const char *successMessage;
};

CommandRules commandRules(ListCommand command)
{
    switch (command) {
    case ListCommand::Delete: return {"03", "删除成功!"};
    case ListCommand::Audit: return {"04", "审核成功!"};
    case ListCommand::UnAudit: return {"05", "反审核成功!"};
    case ListCommand::Void: return {"06", "作废成功!"};
    case ListCommand::UnVoid: return {"07", "反作废成功!"};
    }
    return {"", ""};
}
} // namespace

const QString BillStateOperations::kConfirmDelete = QStringLiteral("确定要删除所选定的单据吗?");

StateOutcome BillStateOperations::deleteBill()
{
    return runRoutine(Routine::Delete);
}

StateOutcome BillStateOperations::unCheckBill()
{
    return runRoutine(Routine::UnCheck);
}

StateOutcome BillStateOperations::cancelBill()
{
    return runRoutine(Routine::Cancel);
}

StateOutcome BillStateOperations::unCancelBill()
{
    return runRoutine(Routine::UnCancel);
}

StateOutcome BillStateOperations::runRoutine(Routine routine)
{
    StateOutcome outcome;
    ConnectionScope scope(m_session);
    try {
        OpenConnection(m_session);
        checkAndApply(routine, outcome);
    } catch (const DbError &e) {
        // The transaction, if one was open, has been rolled back on the way.
        outcome.done = false;
        outcome.messages.push_back({e.description(), Prompt::Critical});
    }
    return outcome;
}

void BillStateOperations::checkAndApply(Routine routine, StateOutcome &outcome)
{
    Session &s = m_session;
    Connection &conn = *s.gConn;
    const RoutineRules &rules = routine == Routine::Delete ? kDeleteRules
        : routine == Routine::UnCheck                      ? kUnCheckRules
        : routine == Routine::Cancel                       ? kCancelRules
                                                           : kUnCancelRules;
    const QString ids = m_selection;

    // Another workstation may change one of the bills between the checks
    // and the statements. The statement phase therefore starts by taking the
    // header rows in the state the checks saw; when fewer rows answer, the
    // transaction is dropped and the checks run again, so they name the bill
    // that changed instead of taking its amounts back twice. A transaction
    // the engine drops for a conflict with another workstation (deadlock,
    // serialization failure) is run again the same way, checks included.
    constexpr int kAttempts = 3;
    int changedAttempts = 0;
    for (int conflicts = 0;; ) {
        std::optional<Transaction> transaction;
        for (;;) {
            if (routine == Routine::Delete)
                outcome.billNumbers.clear();

            // An empty selection names no bill; it is answered like a selection
            // whose bills are all gone (an empty in-list is not valid SQL everywhere).
            Recordset rows;
            if (!ids.trimmed().isEmpty())
                rows = conn.openRecordset(QString::fromUtf8(rules.headerSql) + ids + QStringLiteral(")"));
            if (rows.isEmpty()) {
                outcome.messages.push_back({kReadError, rules.readErrorIcon});
                return;
            }

            for (rows.moveFirst(); !rows.eof(); rows.moveNext()) {
                if (routine == Routine::Delete)
                    outcome.billNumbers += rows.text(QStringLiteral("fbillnumber")) + u',';
                if (std::optional<QString> reason = refusal(rules, rows, s.gPeriodStartDate)) {
                    outcome.messages.push_back({QStringLiteral("编号为:") + rows.text(QStringLiteral("fbillno")) + *reason,
                                                Prompt::Exclamation});
                    return;
                }
            }

            if (afterChecks)
                afterChecks();
            // Being a write, the claim also takes SQLite's write lock before
            // the stock bills are read.
            transaction.emplace(conn);
            const int held = conn.execute(QStringLiteral("update tblFP set fstatus=fstatus where finterid") + inList(ids)
                                          + QString::fromUtf8(rules.unchangedState));
            if (held == rows.recordCount())
                break;
            transaction->rollback();
            if (++changedAttempts == kAttempts) {
                outcome.messages.push_back({kReadError, rules.readErrorIcon});
                return;
            }
        }
        try {
            if (std::optional<QString> refused = applyStatements(routine, outcome.billNumbers)) {
                transaction->rollback();
                outcome.messages.push_back({*refused, Prompt::Exclamation});
                return;
            }
            transaction->commit();
            outcome.done = true;
            return;
        } catch (const DbError &e) {
            transaction->rollback();
            if (++conflicts >= kConflictAttempts || !isTransientConflict(e))
                throw;
        }
    }
}

// The statements below run one by one; they are wrapped in the caller's
// transaction so that a database error part-way leaves no half-done batch
// (stock bills adjusted for bills that were not voided or deleted).
std::optional<QString> BillStateOperations::applyStatements(Routine routine, const QString &billNumbers)
{
    Session &s = m_session;
    Connection &conn = *s.gConn;
    const QString ids = m_selection;
    switch (routine) {
    case Routine::Delete: {
        adjustInvoicedAmounts(conn, ids, -1);
        // Return the serial numbers for reuse by bill numbering. A bill
        // without a serial returns nothing: an empty released number would
        // be offered first and produce a bill number without its sequence.
        QString numbers = billNumbers;
        numbers.chop(1);
        const QStringList pieces = numbers.split(u',');
        for (const QString &piece : pieces) {
            if (piece.isEmpty())
                continue;
            conn.execute(QStringLiteral("insert into tblBillNoAdd(finterid,ftypeid) values(?,") + QString::number(s.gBillTypeId)
                             + QStringLiteral(")"),
                         {piece});
        }
        conn.execute(QStringLiteral("delete from tblFP  where finterid") + inList(ids));
        conn.execute(QStringLiteral("delete from tblFPentry  where finterid") + inList(ids));
        break;
    }
    case Routine::UnCheck:
        conn.execute(QStringLiteral("update tblFP set fchecker=0,fstatus=0 where finterid") + inList(ids));
        break;
    case Routine::Cancel:
        adjustInvoicedAmounts(conn, ids, -1);
        conn.execute(QStringLiteral("update tblFP set fcancellation=1 where finterid") + inList(ids));
        break;
    case Routine::UnCancel:
        if (std::optional<QString> refused = adjustInvoicedAmounts(conn, ids, +1))
            return refused;
        conn.execute(QStringLiteral("update tblFP set fcancellation=0 where finterid") + inList(ids));
        break;
    }
    return std::nullopt;
}

bool BillStateOperations::mayRun(ListCommand command, const ListGridState &grid) const
{
    if (!HasPrivilege(m_session, m_session.gRightPrefix + QString::fromLatin1(commandRules(command).rightCode)))
        return false;
    return command != ListCommand::Delete || deleteMayAct(grid);
}

StateOutcome BillStateOperations::runCommand(ListCommand command, const ListGridState &grid)
{
    // A grid without bill rows or without a current row gives an empty
    // selection, never the one of an earlier command.
    m_selection = buildSelectionList(grid);

    StateOutcome outcome;
    switch (command) {
    case ListCommand::Delete: outcome = deleteBill(); break;
    case ListCommand::UnAudit: outcome = unCheckBill(); break;
    case ListCommand::Void: outcome = cancelBill(); break;
    case ListCommand::UnVoid: outcome = unCancelBill(); break;
    case ListCommand::Audit:
        if (m_selection.isEmpty())
            // What the audit routine says when it finds none of the bills.
            outcome.messages.push_back({kReadError, Prompt::Exclamation});
        else
            outcome.done = CheckBills(m_session, m_selection);
        break;
    }

    if (outcome.done)
        outcome.messages.push_back({QString::fromUtf8(commandRules(command).successMessage), Prompt::Information});
    return outcome;
}
