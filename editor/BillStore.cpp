#include "editor/BillStore.h"

#include "editor/SqlValues.h"
#include "modules/Session.h"
#include "modules/TextHelpers.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/Transaction.h"

#include <tuple>

namespace {
const QString kReadError = QStringLiteral("数据读取错误!");

QString dateText(const QDate &date)
{
    return date.toString(QStringLiteral("yyyy-MM-dd"));
}

QString amountSql(const QString &text)
{
    return numericAmount(text).value_or(Amount()).toString();
}

QString entryAmountSql(const EntryRow &row)
{
    return row.amount(ColThisAmount).value_or(Amount()).toString();
}

// How often a counter or a released number is tried again when another
// workstation got in between.
constexpr int kAttempts = 5;

// Rows per statement of a set-based write: long enough that a bill of
// thousands of entries takes a handful of statements, short enough to stay
// within what every engine takes in one statement.
constexpr qsizetype kChunkRows = 500;
} // namespace

BillSettings BillSettings::fromSession(const Session &s)
{
    BillSettings b;
    b.loginUserId = s.gLoginUserId;
    b.billTypeId = s.gBillTypeId;
    b.currentYear = s.gCurrentYear;
    b.currentPeriod = s.gCurrentPeriod;
    b.periodStartDate = s.gPeriodStartDate;
    b.isUpdateBillNo = s.gIsUpdateBillNo;
    b.isAddDelNumber = s.gIsAddDelNumber;
    b.viewName = s.gViewName;
    return b;
}

QString renderBillNumber(const QString &templ, const QDate &date, int yearDigits, const QString &serial)
{
    QString number = templ;
    number.replace(QStringLiteral("月"), ZeroPad(QString::number(date.month()), 2));
    number.replace(QStringLiteral("日"), ZeroPad(QString::number(date.day()), 2));
    const QString year = ZeroPad(QString::number(date.year()), 4);
    number.replace(QStringLiteral("年"), yearDigits <= 0 ? QString() : year.right(std::min<int>(yearDigits, int(year.size()))));
    number.replace(QStringLiteral("序号"), serial);
    return number;
}

BillStore::BillStore(Connection &conn, BillSettings settings)
    : m_conn(conn), m_settings(std::move(settings))
{
}

// --- Checks ------------------------------------------------------------------

std::optional<StoreMessage> BillStore::insertChecks(const BillDraft &draft, const std::vector<HeaderLabel> &labels) const
{
    if (std::optional<EntryRefusal> r = checkEntries(labels, draft.amountText, draft.rows))
        return StoreMessage{r->message, 48, r->focusAmount};
    if (draft.date < m_settings.periodStartDate)
        return StoreMessage{QStringLiteral("不能保存以前期间的单据！"), 48};
    if (m_settings.isUpdateBillNo == 1 && draft.billNo.isEmpty())
        return StoreMessage{QStringLiteral("请输入单据编号!"), 48};
    return std::nullopt;
}

std::optional<StoreMessage> BillStore::updateChecks(const BillDraft &draft, const std::vector<HeaderLabel> &labels) const
{
    if (draft.date < m_settings.periodStartDate)
        return StoreMessage{QStringLiteral("不能保存以前期间的单据！"), 48};
    if (std::optional<EntryRefusal> r = checkEntries(labels, draft.amountText, draft.rows))
        return StoreMessage{r->message, 48, r->focusAmount};
    if (m_settings.isUpdateBillNo == 1 && draft.billNo.isEmpty())
        return StoreMessage{QStringLiteral("请输入单据编号!"), 48};
    return std::nullopt;
}

// --- Header statements -------------------------------------------------------

HeaderStatement BillStore::insertHeader(const BillDraft &draft) const
{
    HeaderStatement st;
    st.sql = QStringLiteral("insert into tblFP(finterid,fstatus,fcancellation");
    for (const HeaderValue &f : draft.fields)
        st.sql += u',' + f.fieldName;
    st.sql += QStringLiteral(",fdate,fOperator,ftrantype,fyear,fperiod,frob,fAmount,fbillNumber,fbillno) values(");

    st.tail = QStringLiteral(",0,0");
    for (const HeaderValue &f : draft.fields) {
        if (f.lookup) {
            const QString id = lookupItemId(f.value);
            st.tail += u',' + (id.isEmpty() ? QStringLiteral("0") : idText(id));
        } else {
            st.tail += QStringLiteral(",?");
            st.params << textValue(f.text);
        }
    }
    st.tail += QStringLiteral(",'") + dateText(draft.date) + QStringLiteral("',") + m_settings.loginUserId + u','
        + QString::number(m_settings.billTypeId) + u',' + QString::number(m_settings.currentYear) + u','
        + QString::number(m_settings.currentPeriod) + u',' + QString::number(draft.rob) + u',' + amountSql(draft.amountText)
        + QStringLiteral(",?,?) ");
    return st;
}

HeaderStatement BillStore::updateHeader(const BillDraft &draft) const
{
    HeaderStatement st;
    st.sql = QStringLiteral("update tblFP set fdate='") + dateText(draft.date) + QStringLiteral("',fbillno=?,")
        + QStringLiteral("fOperator=") + m_settings.loginUserId + QStringLiteral(",fAmount=") + amountSql(draft.amountText);
    st.params << textValue(draft.billNo);
    for (const HeaderValue &f : draft.fields) {
        if (f.lookup) {
            const QString id = lookupItemId(f.value);
            st.sql += u',' + f.fieldName + u'=' + (id.isEmpty() ? QStringLiteral("0") : idText(id));
        } else {
            st.sql += u',' + f.fieldName + QStringLiteral("=?");
            st.params << textValue(f.text);
        }
    }
    return st;
}

// --- Counters ----------------------------------------------------------------

// Each counter is taken with its update first: the update locks the counter
// row, so savers on other connections queue behind it, and each reads back
// the value its own update left. A counter row that does not exist yet is
// created with 1.
int BillStore::takeInterId()
{
    const int changed = m_conn.execute(QStringLiteral("update tblmaxNum set fmaxnum=fmaxnum+1 where ftablename='tblFP'"));
    if (changed > 0) {
        const Recordset rs = m_conn.openRecordset(QStringLiteral("select * from tblmaxNum where ftablename='tblFP'"));
        return int(rs.toInt(QStringLiteral("fmaxnum")));
    }
    m_conn.execute(QStringLiteral("insert into tblmaxNum(ftablename,fmaxnum) values('tblFP',1) "));
    return 1;
}

std::pair<QString, QString> BillStore::takeBillNumber(const QDate &date)
{
    const QString typeId = QString::number(m_settings.billTypeId);
    const QString rowSql = QStringLiteral("select * from tblMaxBillNo where ftypeid=") + typeId;
    auto render = [&](const Recordset &row, const QString &serial) {
        if (row.eof())
            return QString();
        const int yearDigits = row.isNull(QStringLiteral("fYLength")) ? 2 : int(row.toInt(QStringLiteral("fYLength")));
        return renderBillNumber(row.text(QStringLiteral("fPreLetter")), date, yearDigits, serial);
    };

    // A number released by a deleted bill is used first. Removing it is what
    // claims it: when another saver removed it first, the next one is tried.
    if (m_settings.isAddDelNumber == 1) {
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            const Recordset freed = m_conn.openRecordset(QStringLiteral("select top 1 * from tblBillNoAdd where fTypeId=") + typeId
                                                         + QStringLiteral(" order by finterid"));
            if (freed.eof())
                break;
            const QString serial = freed.text(QStringLiteral("fInterId"));
            const int removed = m_conn.execute(QStringLiteral("delete from tblBillNoAdd where  fTypeId=") + typeId
                                                   + QStringLiteral(" and finterid=?"),
                                               {textValue(serial)});
            if (removed > 0)
                return {render(m_conn.openRecordset(rowSql), serial), serial};
        }
    }

    const int changed = m_conn.execute(QStringLiteral("update tblMaxBillNo set fbillno=fbillno+1 where ftypeid=") + typeId);
    if (changed <= 0)
        return {}; // the kind has no numbering row
    const Recordset row = m_conn.openRecordset(rowSql);
    const QString serial = ZeroPad(QString::number(row.toInt(QStringLiteral("fbillno"))), int(row.toInt(QStringLiteral("flength"))));
    return {render(row, serial), serial};
}

BillStore::Allocation BillStore::allocate(const QDate &date)
{
    Allocation a;
    a.interId = takeInterId();
    std::tie(a.number, a.serial) = takeBillNumber(date);
    return a;
}

// On PostgreSQL, where several workstations save at once, the counters are
// taken in a short transaction of their own, so their rows stay locked only
// as long as it takes to advance them; they stay advanced when the bill then
// fails. Two savers creating the first counter row at once collide on its
// key; the loser takes the counters again. SQLite lets one writer at a time
// into the whole database, so a transaction of their own would buy nothing
// but another sync to disk: there the counters are the first statements of
// the bill's own transaction (taking the write lock first) and go back with
// it when the bill fails.
bool BillStore::countersApart() const
{
    return m_conn.engine() == DbEngine::PostgreSQL;
}

// --- Saving ------------------------------------------------------------------

// The entries' amounts per stock bill. Entries without a stock bill (no id,
// or 0) name none and are left out; several entries naming one stock bill
// count together.
StockAmounts BillStore::stockShares(const std::vector<EntryRow> &rows)
{
    StockAmounts shares;
    for (const EntryRow &row : rows) {
        const qint64 stock = idText(row.stockId()).toLongLong();
        if (stock != 0)
            shares[stock] += row.amount(ColThisAmount).value_or(Amount());
    }
    return shares;
}

// Runs `head` + rows + `tail` for every kChunkRows of `rows` (joined by
// commas); nothing for no rows.
void BillStore::executeInChunks(const QString &head, const QStringList &rows, const QString &tail)
{
    for (qsizetype from = 0; from < rows.size(); from += kChunkRows)
        m_conn.execute(head + rows.mid(from, kChunkRows).join(u',') + tail);
}

std::optional<StoreMessage> BillStore::writeBill(int interId, const std::vector<EntryRow> &rows, bool replacing,
                                                 const std::function<void()> &writeHeader)
{
    const QString id = QString::number(interId);

    // What the bill's stored entries took, given back below.
    StockAmounts oldShares;
    Amount oldTotal;
    bool hadEntries = false;
    if (replacing) {
        Recordset old = m_conn.openRecordset(QStringLiteral("select fstockinterid,fhxamount from tblFPEntry where finterid=") + id);
        for (; !old.eof(); old.moveNext()) {
            hadEntries = true;
            const Amount amount = old.amount(QStringLiteral("fhxamount"));
            oldTotal += amount;
            const qint64 stock = old.value(QStringLiteral("fstockinterid")).toLongLong();
            if (stock != 0)
                oldShares[stock] += amount;
        }
    }
    const StockAmounts newShares = stockShares(rows);

    // Every stock bill the save moves, old and new, locked in ascending order
    // before anything is written.
    StockAmounts moves = newShares;
    for (const auto &[stock, amount] : oldShares)
        moves[stock] -= amount;
    const std::map<qint64, LockedStockBill> locked = lockStockBills(m_conn, moves);

    // A stock bill this bill takes something from must still hold it: what
    // the other invoices took (its own old share given back) plus this
    // bill's entries stays within the stock bill's amount.
    for (const auto &[stock, share] : newShares) {
        const auto found = locked.find(stock);
        if (share.isZero() || found == locked.end())
            continue;
        const auto oldShare = oldShares.find(stock);
        const Amount others = found->second.invoiced - (oldShare == oldShares.end() ? Amount() : oldShare->second);
        const Amount now = found->second.invoiced;
        const Amount after = others + share;
        // A stock bill already invoiced beyond its amount (by data older than
        // these checks) may still be brought back towards it.
        const bool correction = !fitsStockBill(now, found->second.all) && after.abs() <= now.abs()
            && (after.isZero() || after.isNegative() == now.isNegative());
        if (!fitsStockBill(after, found->second.all) && !correction)
            return StoreMessage{QStringLiteral("入库单 ") + found->second.billNo + QStringLiteral(" 的未开票金额现为 ")
                                    + (found->second.all - others).toString() + QStringLiteral("，本次开票金额超出，保存不成功"),
                                48};
    }

    writeHeader();
    if (replacing)
        m_conn.execute(QStringLiteral("delete from tblFPEntry where finterid=") + id);
    // The entries in a few statements of many rows each, their values as the
    // single-row insert would splice them; the stock bills likewise, each
    // moved by the difference between the new entries and the old ones.
    Amount newTotal;
    QStringList values;
    for (size_t r = 0; r < rows.size(); ++r) {
        newTotal += rows[r].amount(ColThisAmount).value_or(Amount());
        values << u'(' + id + u',' + QString::number(r + 1) + u',' + idText(rows[r].stockId()) + u',' + entryAmountSql(rows[r]) + u')';
    }
    executeInChunks(QStringLiteral("insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values"), values, QString());
    values.clear();
    for (const auto &[stock, amount] : moves) {
        if (locked.count(stock))
            values << u'(' + QString::number(stock) + u',' + amount.toString() + u')';
    }
    executeInChunks(QStringLiteral("update icstockbill set fKPAmount=isnull(fKPAmount,0)+m.column2 from (values"), values,
                    QStringLiteral(") as m where icstockbill.finterid=m.column1"));
    // The invoice's matched amount moves once by the same difference.
    if (hadEntries || !rows.empty())
        m_conn.execute(QStringLiteral("update tblFP set fEndAmount=isnull(fEndAmount,0)+") + (newTotal - oldTotal).toString()
                       + QStringLiteral(" where finterid=") + id);
    return std::nullopt;
}

// The serial taken for a bill that was not saved goes back to the released
// numbers, as a deleted bill's does, so that no number is lost. Only where
// the counters were taken apart from the bill (on SQLite they went back with
// it).
void BillStore::releaseNumber(const Allocation &taken)
{
    if (!countersApart() || taken.serial.isEmpty())
        return;
    try {
        m_conn.execute(QStringLiteral("insert into tblBillNoAdd(finterid,ftypeid) values(?,") + QString::number(m_settings.billTypeId)
                           + u')',
                       {textValue(taken.serial)});
    } catch (const DbError &) {
        // The save's own failure is what the clerk is told about.
    }
}

// A run dropped by the engine for a conflict with another workstation
// (deadlock, serialization failure, busy database) leaves nothing behind and
// is run again, up to kConflictAttempts runs in all; any other error, and the
// conflict of the last run, goes to the caller. `mayRun`, when given, is
// asked before every run, outside its transaction; false ends the work.
void BillStore::runInTransaction(const std::function<RunEnd(Transaction &, int)> &unit, const std::function<bool()> &mayRun)
{
    for (int attempt = 1;; ++attempt) {
        if (mayRun && !mayRun())
            return;
        try {
            Transaction tx(m_conn);
            if (unit(tx, attempt) == RunEnd::Done)
                return;
        } catch (const DbError &e) {
            if (attempt >= kConflictAttempts || !isTransientConflict(e))
                throw;
        }
    }
}

SaveResult BillStore::insertBill(const HeaderStatement &header, const BillDraft &draft)
{
    SaveResult result;
    Allocation taken;
    try {
        if (m_settings.isUpdateBillNo == 1) {
            const Recordset rs = m_conn.openRecordset(QStringLiteral("select count(finterid) as finterid1 from tblFP where fbillno=?"),
                                                      {textValue(draft.billNo)});
            if (rs.toInt(QStringLiteral("finterid1")) != 0) {
                result.message = StoreMessage{QStringLiteral("单据编号不能重复!"), 48};
                return result;
            }
        }

        if (countersApart()) {
            for (int attempt = 1;; ++attempt) {
                try {
                    Transaction counters(m_conn);
                    taken = allocate(draft.date);
                    counters.commit();
                    break;
                } catch (const DbError &) {
                    if (attempt >= kAttempts)
                        throw;
                }
            }
        }

        // The id and number stay those taken above when the bill's
        // transaction runs again (on SQLite the counters are taken inside it
        // and went back with the dropped run).
        runInTransaction([&](Transaction &tx, int) {
            if (!countersApart())
                taken = allocate(draft.date);
            if (m_settings.isUpdateBillNo == 1)
                taken.number = draft.billNo;
            if (taken.number.isEmpty()) {
                // The kind has no numbering row: there is no number to save under.
                tx.rollback();
                result.message = StoreMessage{QStringLiteral("请输入单据编号!"), 48};
                return RunEnd::Done;
            }
            result.message = writeBill(taken.interId, draft.rows, false, [&] {
                QVariantList params = header.params;
                params << textValue(taken.serial) << textValue(taken.number);
                m_conn.execute(header.sql + QString::number(taken.interId) + header.tail, params);
            });
            if (result.message) {
                tx.rollback();
                releaseNumber(taken);
                return RunEnd::Done;
            }
            tx.commit();
            return RunEnd::Done;
        });
        if (result.message)
            return result;

        result.saved = true;
        result.interId = taken.interId;
        result.billNo = taken.number;
        result.serial = taken.serial;
    } catch (const DbError &e) {
        releaseNumber(taken);
        result = SaveResult{};
        result.message = StoreMessage{e.description(), 16};
    }
    return result;
}

std::optional<StoreMessage> BillStore::changeRefusal(int interId)
{
    const Recordset rs = m_conn.openRecordset(QStringLiteral("select fstatus,fcancellation,fdate from tblFP where finterid=")
                                              + QString::number(interId));
    if (rs.eof())
        return StoreMessage{kReadError, 16};
    if (rs.toInt(QStringLiteral("fstatus")) != 0)
        return StoreMessage{QStringLiteral("该单据已经审核,不能修改,操作不成功"), 48};
    if (rs.toInt(QStringLiteral("fcancellation")) != 0)
        return StoreMessage{QStringLiteral("该单据已经作废,不能修改,操作不成功！"), 48};
    const QDate stored = rs.date(QStringLiteral("fdate"));
    if (stored.isValid() && stored < m_settings.periodStartDate)
        return StoreMessage{QStringLiteral("不能修改以前期间的单据,操作不成功"), 48};
    return std::nullopt;
}

SaveResult BillStore::updateBill(const HeaderStatement &header, const BillDraft &draft, int interId)
{
    SaveResult result;
    const QString id = QString::number(interId);
    try {
        if (m_settings.isUpdateBillNo == 1) {
            const Recordset rs = m_conn.openRecordset(QStringLiteral("select * from tblFP where fBillNo=? and finterid<>") + id,
                                                      {textValue(draft.billNo)});
            if (!rs.eof()) {
                result.message = StoreMessage{QStringLiteral("编号不能重复!"), 16};
                return result;
            }
        }

        // The bill is checked again before every run: a run that finds it
        // claimed by another workstation learns from the check what happened.
        auto mayChange = [&] {
            result.message = changeRefusal(interId);
            return !result.message;
        };
        runInTransaction(
            [&](Transaction &tx, int attempt) {
                // Claims the bill for this transaction: the row stays locked
                // until the commit, and is only claimed while it is still
                // neither audited nor void. Another workstation that audited
                // or voided it since the check is noticed here, and the check
                // runs again to say what happened. Being a write, it also
                // takes SQLite's write lock before anything is read.
                const int claimed = m_conn.execute(QStringLiteral("update tblFP set fstatus=fstatus where finterid=") + id
                                                   + QStringLiteral(" and fstatus=0 and fcancellation=0"));
                if (claimed <= 0) {
                    tx.rollback();
                    if (attempt >= kAttempts) {
                        result.message = StoreMessage{kReadError, 16};
                        return RunEnd::Done;
                    }
                    return RunEnd::Again;
                }
                result.message = writeBill(interId, draft.rows, true, [&] {
                    m_conn.execute(header.sql + QStringLiteral(" where finterid=") + id, header.params);
                });
                if (result.message) {
                    tx.rollback();
                    return RunEnd::Done;
                }
                tx.commit();
                return RunEnd::Done;
            },
            mayChange);
        if (result.message)
            return result;

        result.saved = true;
        result.interId = interId;
        result.billNo = draft.billNo;
    } catch (const DbError &e) {
        result = SaveResult{};
        result.message = StoreMessage{e.description(), 16};
    }
    return result;
}
