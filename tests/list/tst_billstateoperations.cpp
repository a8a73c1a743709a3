// Deleting, un-auditing, voiding and un-voiding the bills selected in the
// list, and the menu commands that run them.
#include "list/BillStateOperations.h"
#include "list/ListSelection.h"

#include "modules/Session.h"
#include "platform/Amount.h"
#include "platform/DbError.h"
#include "support/CaseRows.h"
#include "support/TestSession.h"

#include <QMap>
#include <QRandomGenerator>
#include <QTest>

#include <array>

namespace {
const QDate kPeriodStart(2024, 3, 1);
const QDate kCurrent(2024, 3, 12);
const QDate kEarlier(2024, 2, 27);

enum Op { Delete, UnCheck, Cancel, UnCancel };

StateOutcome runOp(BillStateOperations &ops, int op)
{
    switch (op) {
    case Delete: return ops.deleteBill();
    case UnCheck: return ops.unCheckBill();
    case Cancel: return ops.cancelBill();
    case UnCancel: return ops.unCancelBill();
    }
    return {};
}

// One text per row of the tables the operations write, nulls kept apart from
// zeros, so that "nothing written" can be compared whole.
QStringList tableRows(Connection &conn, const QString &sql)
{
    QStringList lines;
    Recordset rs = conn.openRecordset(sql);
    for (; !rs.eof(); rs.moveNext()) {
        QStringList cells;
        for (int c = 0; c < rs.fieldCount(); ++c) {
            const QVariant v = rs.value(c);
            cells << (v.isNull() ? QStringLiteral("null") : Recordset::variantText(v));
        }
        lines << cells.join(u'|');
    }
    lines.sort();
    return lines;
}

QStringList snapshot(Connection &conn)
{
    QStringList all;
    all << tableRows(conn, QStringLiteral("select finterid,fbillno,fstatus,fchecker,fcancellation,fbillNumber from tblFP"));
    all << tableRows(conn, QStringLiteral("select fInterId,fEntryId,fStockInterId,fHXAmount from tblFPEntry"));
    // Amounts as exact decimals: the engines differ in how they print them.
    Recordset rs = conn.openRecordset(QStringLiteral("select finterid,fKPAmount from icstockbill"));
    QStringList stock;
    for (; !rs.eof(); rs.moveNext())
        stock << rs.text(QStringLiteral("finterid")) + u'|'
                + (rs.isNull(QStringLiteral("fKPAmount")) ? QStringLiteral("null") : rs.amount(QStringLiteral("fKPAmount")).toString());
    stock.sort();
    all << stock;
    all << tableRows(conn, QStringLiteral("select finterid,ftypeid from tblBillNoAdd"));
    return all;
}

// A grid with the given bills selected on rows 1.., a totals row after them,
// and the first row current.
ListGridState gridOf(const QList<int> &ids)
{
    ListGridState grid;
    for (int id : ids)
        grid.rows.push_back({QString::number(id), true});
    grid.rows.push_back({QString(), false});
    grid.currentRow = 1;
    return grid;
}

QString joinIds(const QList<int> &ids)
{
    QStringList parts;
    for (int id : ids)
        parts << QString::number(id);
    return parts.join(u',');
}

struct Entry {
    int stockId;       // -1: null fStockInterId
    QString amount;    // SQL literal: "12.5" or "null"
};

struct Env {
    TestSession ts; // first: resets the session before the database exists
    TestDatabase db;
    BillStateOperations ops{TestSession::session()};
    StateOutcome last; // of the last run()

    explicit Env(DbEngine engine, TestDatabase::Content content = TestDatabase::Content::Schema)
        : db(engine, content)
    {
        if (content != TestDatabase::Content::Demo) {
            Session &s = TestSession::session();
            s.DBConnectionString = db.connectionString();
            s.gPeriodStartDate = kPeriodStart;
            s.gLoginUserId = QStringLiteral("1");
            s.IsAdmin = 1;
        }
    }
    // Demo data: the session comes from the host's settings and the database.
    QString start(int userId = Demo::kAdminUserId, bool admin = true)
    {
        ts.writeHostSettings(db.connectionString(), userId, admin);
        return ts.start();
    }

    // kpAmount: SQL literal, "null" for an empty column.
    void addStock(int id, const QString &kpAmount)
    {
        db.exec(QStringLiteral("insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) "
                               "values(%1,'WIN%1','2024-01-15',7,1,0,50000,%2,1)").arg(id).arg(kpAmount));
    }
    // serial: SQL literal of fbillNumber.
    void addInvoice(int id, int status, int cancellation, const QDate &date, const QList<Entry> &entries,
                    const QString &serial = QString())
    {
        const QString serialSql = serial.isNull() ? QStringLiteral("'%1'").arg(id, 4, 10, QLatin1Char('0')) : serial;
        db.exec(QStringLiteral("insert into tblFP(finterid,fbillno,fstatus,fchecker,fcancellation,fyear,fperiod,fdate,ftrantype,frob,fAmount,fbillNumber) "
                               "values(%1,'FP-%1',%2,%3,%4,%5,%6,'%7',71,0,100,%8)")
                    .arg(id).arg(status).arg(status == 1 ? 3 : 0).arg(cancellation).arg(date.year()).arg(date.month())
                    .arg(date.toString(QStringLiteral("yyyy-MM-dd")), serialSql));
        int line = 0;
        for (const Entry &e : entries)
            db.exec(QStringLiteral("insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values(%1,%2,%3,%4)")
                        .arg(id).arg(++line).arg(e.stockId < 0 ? QStringLiteral("null") : QString::number(e.stockId), e.amount));
    }
    Amount kp(int stockId)
    {
        return Amount::fromVariant(db.scalar(QStringLiteral("select fKPAmount from icstockbill where finterid=%1").arg(stockId)));
    }
    int count(const QString &sql) { return db.scalar(sql).toInt(); }
    bool run(int op)
    {
        last = runOp(ops, op);
        return last.done;
    }
    const std::vector<ListMessage> &messages() const { return last.messages; }

    // An operation that wrote nothing and showed nothing itself: its one
    // message, and the tables as they were before it.
    void expectRefused(const QString &text, int icon, const QStringList &before)
    {
        QCOMPARE(messages(), (std::vector<ListMessage>{{text, icon}}));
        QVERIFY(ts.prompts().messages().empty());
        QCOMPARE(snapshot(db.conn()), before);
        QVERIFY(!TestSession::session().gConn);
    }
};
// Bills 1 and 2 pass; bill 3 has the status, void flag and period given.
// The selection and the one message of the refusal, with its icon.
struct Refusal { const char *name; int op, status, cancellation; bool earlier; const char *message, *selection = "1,2,3"; int icon = Prompt::Exclamation; };
// A menu command on bills 1-3: status and void flag of each, whether it
// succeeds, the last message, tblFP afterwards (finterid|fstatus|fchecker|
// fcancellation) and the stock bill's invoiced amount afterwards (100 before).
struct Command { const char *name; ListCommand command; int status, cancellation; bool succeeds; const char *message; QStringList rows; int invoiced; };
// Stock bill 501 holds fAllAmount `all`, of which a valid invoice took `other`;
// bill 1 names it for `own` ("" for none). kpAfter: 501 afterwards, empty when
// refused; open: the open amount the refusal names.
struct Bound { const char *name; int op, all; const char *other, *own, *kpAfter, *open; };
// Grid rows' finterid cells (the last being the totals row), which are
// selected, the current row, and the list the operations get.
struct Selection { const char *name; QStringList ids; QList<bool> selected; int current; QString list; };
} // namespace
Q_DECLARE_METATYPE(Refusal)
Q_DECLARE_METATYPE(Command)
Q_DECLARE_METATYPE(Bound)
Q_DECLARE_METATYPE(Selection)
// The operation on bill 1, what another workstation did to the bills right
// after the operation's checks, and the end of the refusal (empty: the
// operation goes through).
struct Second { const char *name; int op; QString otherStatement, message; };
Q_DECLARE_METATYPE(Second)

class TestBillStateOperations : public QObject {
    Q_OBJECT

private slots:
    void selectionList_data()
    {
        addCaseRows<Selection>({
            {"selected rows in grid order", {"18", "12", "15", ""}, {true, false, true, false}, 1, "18,15"},
            {"a bill on several rows is listed once", {"12", "12", "15", "12", ""}, {true, true, true, true, false}, 2, "12,15"},
            {"an id that begins another id is still listed", {"12", "1", "121", "1", ""}, {true, true, true, true, false}, 1, "12,1,121"},
            {"the totals row never counts", {"7", "8"}, {true, true}, 1, "7"},
            {"nothing selected", {"7", "8", ""}, {false, false, false}, 1, ""},
            {"no current row", {"7", "8", ""}, {true, true, false}, -1, ""},
            {"current row outside the grid", {"7", "8", ""}, {true, true, false}, 4, ""},
            {"current row on the totals row still selects", {"7", "8", ""}, {true, false, false}, 3, "7"},
            {"header row only", {}, {}, 1, ""},
            {"a row without id is skipped", {"7", " ", "9", ""}, {true, true, true, false}, 1, "7,9"},
        });
    }

    void selectionList()
    {
        QFETCH(Selection, row);
        ListGridState grid;
        for (int i = 0; i < row.ids.size(); ++i)
            grid.rows.push_back({row.ids[i], row.selected[i]});
        grid.currentRow = row.current;
        QCOMPARE(buildSelectionList(grid), row.list);
    }

    void refusals_data()
    {
        const char *read = "数据读取错误！", *none = "999998,999999";
        const int critical = Prompt::Critical, exclamation = Prompt::Exclamation;
        addEngineCaseRows<Refusal>({
            {"delete audited", Delete, 1, 0, false, "编号为:FP-3的单据已经审核!操作不成功"},
            {"delete audited before earlier and void", Delete, 1, 1, true, "编号为:FP-3的单据已经审核!操作不成功"},
            {"delete earlier before void", Delete, 0, 1, true, "编号为:FP-3的单据为以前期间的单据，不能删除!操作不成功"},
            {"delete void", Delete, 0, 1, false, "编号为:FP-3的单据作废!操作不成功"},
            {"delete void flag as yes/no", Delete, 0, -1, false, "编号为:FP-3的单据作废!操作不成功"},
            {"un-audit not audited", UnCheck, 0, 1, true, "编号为:FP-3的单据未审核!操作不成功"},
            {"un-audit earlier before void", UnCheck, 1, 1, true, "编号为:FP-3的单据为以前期间的单据，不能反审核!操作不成功"},
            {"un-audit void", UnCheck, 1, 1, false, "编号为:FP-3的单据已经作废!操作不成功"},
            {"void audited before earlier", Cancel, 1, 0, true, "编号为:FP-3的单据已经审核!操作不成功"},
            {"void earlier before void", Cancel, 0, 1, true, "编号为:FP-3的单据为以前期间的单据，不能作废!操作不成功"},
            {"void already void", Cancel, 0, 1, false, "编号为:FP-3的单据已经作废!操作不成功"},
            {"void flag as yes/no already void", Cancel, 0, -1, false, "编号为:FP-3的单据已经作废!操作不成功"},
            {"un-void audited void", UnCancel, 1, 1, false, "编号为:FP-3的单据已经审核!操作不成功"},
            {"un-void earlier", UnCancel, 0, 1, true, "编号为:FP-3的单据为以前期间的单据，不能取消作废!操作不成功"},
            {"un-void not void", UnCancel, 0, 0, false, "编号为:FP-3的单据未作废!操作不成功"},
            // No bill found: the reverse operations say so with the critical icon.
            {"delete empty selection", Delete, 0, 0, false, read, "", exclamation},
            {"delete unknown ids", Delete, 0, 0, false, read, none, exclamation},
            {"un-audit empty selection", UnCheck, 1, 0, false, read, "", critical},
            {"un-audit unknown ids", UnCheck, 1, 0, false, read, none, critical},
            {"void empty selection", Cancel, 0, 0, false, read, "", exclamation},
            {"void unknown ids", Cancel, 0, 0, false, read, none, exclamation},
            {"un-void empty selection", UnCancel, 0, 1, false, read, "", critical},
            {"un-void unknown ids", UnCancel, 0, 1, false, read, none, critical},
        });
    }

    void refusals()
    {
        QFETCH(DbEngine, engine);
        QFETCH(Refusal, row);
        const Refusal &c = row;
        // Two bills the operation may act on, then the refused one: the batch
        // stops at the third and writes nothing for the first two either.
        const int passStatus = c.op == UnCheck ? 1 : 0;
        const int passCancellation = c.op == UnCancel ? 1 : 0;
        Env env(engine);
        env.addStock(501, QStringLiteral("1000"));
        env.addStock(502, QStringLiteral("null"));
        env.addInvoice(1, passStatus, passCancellation, kCurrent, {{501, QStringLiteral("100")}});
        env.addInvoice(2, passStatus, passCancellation, kCurrent, {{501, QStringLiteral("200")}, {502, QStringLiteral("33.33")}});
        env.addInvoice(3, c.status, c.cancellation, c.earlier ? kEarlier : kCurrent, {{502, QStringLiteral("5")}});
        const QStringList before = snapshot(env.db.conn());

        env.ops.setSelection(QString::fromLatin1(c.selection));
        QVERIFY(!env.run(c.op));
        env.expectRefused(QString::fromUtf8(c.message), c.icon, before);
    }

    // Failures first, each writing nothing; then the delete that returns the
    // serials and takes the amounts back, on the same connection.
    void deleteReturnsSerialsAndTakesBackAmounts_data() { addEngineRows(); }
    void deleteReturnsSerialsAndTakesBackAmounts()
    {
        QFETCH(DbEngine, engine);
        Session &s = TestSession::session();
        Env env(engine);
        env.addStock(501, QStringLiteral("1000"));
        env.addStock(502, QStringLiteral("77.77"));
        env.addStock(503, QStringLiteral("40"));
        // Bill 1 names stock bill 501 twice: each entry is taken back.
        env.addInvoice(1, 0, 0, kCurrent, {{501, QStringLiteral("100.1")}, {501, QStringLiteral("200.2")}, {502, QStringLiteral("33.33")}});
        env.addInvoice(2, 0, 0, kCurrent, {{502, QStringLiteral("44.44")}});
        env.addInvoice(3, 0, 0, kCurrent, {});
        // Not selected: must stay, entries and amounts included.
        env.addInvoice(4, 0, 0, kCurrent, {{503, QStringLiteral("40")}});
        env.db.exec(QStringLiteral("insert into tblBillNoAdd(finterid,ftypeid) values('0004',72)"));
        const QStringList before = snapshot(env.db.conn());

        // A selection that is no list of ids: the engine's own text.
        QString engineText;
        try {
            env.db.conn().openRecordset(QStringLiteral("select * from tblFP where finterid in (1,x)"));
        } catch (const DbError &e) {
            engineText = e.description();
        }
        QVERIFY(!engineText.isEmpty());
        env.ops.setSelection(QStringLiteral("1,x"));
        QVERIFY(!env.run(UnCancel));
        env.expectRefused(engineText, Prompt::Critical, before);

        // Without the table of released numbers, returning the serials fails
        // after the amounts of the bills have been taken back.
        env.db.exec(QStringLiteral("alter table tblBillNoAdd rename to tblBillNoAddAway"));
        env.ops.setSelection(QStringLiteral("1,2,3"));
        const bool deleted = env.run(Delete);
        env.db.exec(QStringLiteral("alter table tblBillNoAddAway rename to tblBillNoAdd"));
        QVERIFY(!deleted);
        const auto messages = env.messages();
        QCOMPARE(int(messages.size()), 1);
        QCOMPARE(messages[0].icon, int(Prompt::Critical));
        QVERIFY(!messages[0].text.isEmpty());
        QCOMPARE(snapshot(env.db.conn()), before);
        QVERIFY(!s.gConn);

        QVERIFY(env.run(Delete));
        QVERIFY(env.messages().empty());
        QVERIFY(!s.gConn);
        QCOMPARE(env.kp(501), Amount::parse(QStringLiteral("699.7")).value());
        QCOMPARE(env.kp(502), Amount::fromInt(0));
        QCOMPARE(env.kp(503), Amount::fromInt(40));
        QCOMPARE(env.count(QStringLiteral("select count(*) from tblFP where finterid in (1,2,3)")), 0);
        QCOMPARE(env.count(QStringLiteral("select count(*) from tblFPEntry where fInterId in (1,2,3)")), 0);
        QCOMPARE(env.count(QStringLiteral("select count(*) from tblFPEntry where fInterId=4")), 1);

        QStringList released = tableRows(env.db.conn(), QStringLiteral("select finterid,ftypeid from tblBillNoAdd"));
        QCOMPARE(released, (QStringList{"0001|71", "0002|71", "0003|71", "0004|72"}));
        QCOMPARE(env.last.billNumbers, QStringLiteral("0001,0002,0003,"));
    }

    void commands_data()
    {
        const char *voidRefused = "编号为:FP-1的单据已经作废!操作不成功";
        addEngineCaseRows<Command>({
            {"delete", ListCommand::Delete, 0, 0, true, "删除成功!", {"3|0|0|0"}, 80},
            {"audit", ListCommand::Audit, 0, 0, true, "审核成功!", {"1|1|1|0", "2|1|1|0", "3|0|0|0"}, 100},
            {"audit refused", ListCommand::Audit, 0, 1, false, voidRefused, {"1|0|0|1", "2|0|0|1", "3|0|0|1"}, 100},
            {"un-audit", ListCommand::UnAudit, 1, 0, true, "反审核成功!", {"1|0|0|0", "2|0|0|0", "3|1|3|0"}, 100},
            {"void", ListCommand::Void, 0, 0, true, "作废成功!", {"1|0|0|1", "2|0|0|1", "3|0|0|0"}, 80},
            {"un-void", ListCommand::UnVoid, 0, 1, true, "反作废成功!", {"1|0|0|0", "2|0|0|0", "3|0|0|1"}, 120},
            {"void refused", ListCommand::Void, 0, 1, false, voidRefused, {"1|0|0|1", "2|0|0|1", "3|0|0|1"}, 100},
        });
    }

    void commands()
    {
        QFETCH(DbEngine, engine);
        QFETCH(Command, row);
        Session &s = TestSession::session();
        const Command &c = row;
        Env env(engine);
        env.addStock(501, QStringLiteral("100"));
        for (int id = 1; id <= 3; ++id)
            env.addInvoice(id, c.status, c.cancellation, kCurrent, {{501, QStringLiteral("10")}});

        // Bill 1 fills two rows of the grid; bill 3 is shown but not selected.
        ListGridState grid = gridOf({1, 1, 2, 3});
        grid.rows[3].selected = false;
        QVERIFY(env.ops.mayRun(c.command, grid));
        // A user who holds only the right to void is refused the others silently.
        env.db.exec(QStringLiteral("insert into tblUserPrivillenge(fuserid,fNumber) values(1,'Q06')"));
        s.IsAdmin = 0;
        QCOMPARE(env.ops.mayRun(c.command, grid), c.command == ListCommand::Void);
        s.IsAdmin = 1;
        // On the totals row, or in a grid with no rows, delete does not act.
        ListGridState onTotals = grid;
        onTotals.currentRow = 5;
        QCOMPARE(env.ops.mayRun(c.command, onTotals), c.command != ListCommand::Delete);
        QCOMPARE(env.ops.mayRun(c.command, ListGridState()), c.command != ListCommand::Delete);
        const StateOutcome outcome = env.ops.runCommand(c.command, grid);
        QCOMPARE(outcome.done, c.succeeds);
        QCOMPARE(env.ops.selection(), QStringLiteral("1,2"));

        // The audit routine reports its own refusals; the others return them.
        const ListMessage last = outcome.messages.empty()
            ? ListMessage{env.ts.prompts().lastMessage().text, env.ts.prompts().lastMessage().icon}
            : outcome.messages.back();
        QCOMPARE(last, (ListMessage{QString::fromUtf8(c.message), c.succeeds ? Prompt::Information : Prompt::Exclamation}));
        QCOMPARE(env.ts.prompts().messages().empty(), !outcome.messages.empty());
        QCOMPARE(tableRows(env.db.conn(), QStringLiteral("select finterid,fstatus,fchecker,fcancellation from tblFP")), c.rows);
        QCOMPARE(env.kp(501), Amount::fromInt(c.invoiced));
        QVERIFY(!s.gConn);
    }

    void randomSequenceKeepsInvoicedAmounts_data() { addEngineRows(); }
    void randomSequenceKeepsInvoicedAmounts()
    {
        QFETCH(DbEngine, engine);
        Session &s = TestSession::session();
        Env env(engine, TestDatabase::Content::Demo);
        QCOMPARE(env.start(), QString());
        Connection &conn = env.db.conn();
        const QString periodStart = s.gPeriodStartDate.toString(QStringLiteral("yyyy-MM-dd"));
        auto ids = [&](const QString &where) {
            QList<int> result;
            for (Recordset rs = conn.openRecordset(QStringLiteral("select finterid from tblFP where ") + where); !rs.eof(); rs.moveNext())
                result << int(rs.toInt(QStringLiteral("finterid")));
            return result;
        };
        // Every stock bill's invoiced amount is the sum of the entries of the
        // non-void invoices that name it.
        auto checkInvariant = [&](const QString &step) {
            QMap<int, Amount> expected, actual;
            for (Recordset rs = conn.openRecordset(QStringLiteral("select finterid,fKPAmount from icstockbill")); !rs.eof(); rs.moveNext()) {
                expected.insert(int(rs.toInt(QStringLiteral("finterid"))), Amount());
                actual.insert(int(rs.toInt(QStringLiteral("finterid"))), rs.amount(QStringLiteral("fKPAmount")));
            }
            for (Recordset rs = conn.openRecordset(QStringLiteral("select e.fStockInterId,e.fHXAmount from tblFPEntry e "
                                                                  "inner join tblFP f on f.finterid=e.fInterId where f.fcancellation=0"));
                 !rs.eof(); rs.moveNext())
                expected[int(rs.toInt(QStringLiteral("fStockInterId")))] += rs.amount(QStringLiteral("fHXAmount"));
            for (auto it = expected.cbegin(); it != expected.cend(); ++it)
                if (actual.value(it.key()) != it.value())
                    return step + QStringLiteral(": stock bill %1 has %2, entries say %3").arg(it.key()).arg(actual.value(it.key()).toString(), it.value().toString());
            return QString();
        };
        QString broken = checkInvariant(QStringLiteral("demo data"));
        QVERIFY2(broken.isEmpty(), qPrintable(broken));
        const QList<int> all = ids(QStringLiteral("1=1"));

        QRandomGenerator rng(20240311);
        int successes[4] = {0, 0, 0, 0};
        int failures = 0;
        for (int step = 0; step < 60; ++step) {
            const int op = std::array<int, 5>{Delete, Cancel, Cancel, UnCancel, UnCancel}[rng.bounded(5)];
            // Half of the selections come from the bills the operation may act
            // on, so that batches succeed too; the rest from anywhere.
            const QList<int> open = ids(QStringLiteral("fstatus=0 and fdate>='%1' and fcancellation=%2").arg(periodStart).arg(op == UnCancel ? 1 : 0));
            const QList<int> &pool = rng.bounded(2) == 0 && !open.isEmpty() ? open : all;
            QList<int> selection;
            for (int n = 1 + int(rng.bounded(4)); n > 0; --n)
                selection << (rng.bounded(20) == 0 ? 900000 + int(rng.bounded(1000)) : pool[int(rng.bounded(pool.size()))]);
            env.ops.setSelection(joinIds(selection));
            const QString label = QStringLiteral("step %1 op %2 (%3)").arg(step).arg(op).arg(joinIds(selection));
            const bool done = env.run(op);
            // Done without a word, or refused with one message, never half-way.
            QVERIFY2(int(env.messages().size()) == (done ? 0 : 1), qPrintable(label));
            QVERIFY2(!s.gConn, qPrintable(label));
            done ? ++successes[op] : ++failures;
            broken = checkInvariant(label);
            QVERIFY2(broken.isEmpty(), qPrintable(broken));
        }
        // The sequence exercised every operation both ways.
        QVERIFY(successes[Delete] > 0 && successes[Cancel] > 0 && successes[UnCancel] > 0 && failures > 0);
    }

    // Un-void puts amounts back only while each stock bill can still take them
    // (another invoice may have taken them while the bill was void); entries
    // without a stock bill or without an amount never move an invoiced amount,
    // whatever the operation. Bill 1 is dated on the first day of the period,
    // which is still open.
    void stockBillBounds_data()
    {
        addEngineCaseRows<Bound>({
            {"un-void after another took it", UnCancel, 50000, "30000", "30000", "", "20000"},
            {"un-void with room left", UnCancel, 50000, "20000", "30000", "50000", ""},
            {"un-void red after another took it", UnCancel, -50000, "-30000", "-30000", "", "-20000"},
            {"un-void without stock bill", UnCancel, 50000, "30000", "", "30000", ""},
            {"void without stock bill", Cancel, 50000, "30000", "", "30000", ""},
            {"delete without stock bill", Delete, 50000, "30000", "", "30000", ""},
        });
    }

    void stockBillBounds()
    {
        QFETCH(DbEngine, engine);
        QFETCH(Bound, row);
        const Bound &c = row;
        Env env(engine);
        // Stock bill 0 stands for what entries without a stock bill must not reach.
        env.addStock(0, QStringLiteral("5"));
        env.addStock(501, QString::fromLatin1(c.other));
        env.db.exec(QStringLiteral("update icstockbill set fAllAmount=%1 where finterid=501").arg(c.all));
        env.addInvoice(2, 0, 0, kCurrent, {{501, QString::fromLatin1(c.other)}});
        QList<Entry> entries{{0, QStringLiteral("70000")}, {-1, QStringLiteral("70000")}, {501, QStringLiteral("null")}};
        if (*c.own)
            entries << Entry{501, QString::fromLatin1(c.own)};
        env.addInvoice(1, 0, c.op == UnCancel ? 1 : 0, kPeriodStart, entries);
        const QStringList before = snapshot(env.db.conn());

        env.ops.setSelection(QStringLiteral("1"));
        if (!*c.kpAfter) {
            QVERIFY(!env.run(c.op));
            env.expectRefused(QStringLiteral("入库单 WIN501 的未开票金额现为 %1，取消作废的开票金额超出，操作不成功").arg(QString::fromLatin1(c.open)),
                              Prompt::Exclamation, before);
            return;
        }
        QVERIFY(env.run(c.op));
        QCOMPARE(env.kp(501), Amount::parse(QString::fromLatin1(c.kpAfter)).value());
        QCOMPARE(env.kp(0), Amount::fromInt(5));
    }

    // The workstation that comes second must notice that the bill changed
    // after its checks, write nothing and name the bill, so that no stock
    // bill's invoiced amount moves twice.
    void secondWorkstation_data()
    {
        addEngineCaseRows<Second>({
            {"void after void", Cancel, "update tblFP set fcancellation=1 where finterid=1", "的单据已经作废!操作不成功"},
            {"void after audit", Cancel, "update tblFP set fchecker=1,fstatus=1 where finterid=1", "的单据已经审核!操作不成功"},
            {"delete after void", Delete, "update tblFP set fcancellation=1 where finterid=1", "的单据作废!操作不成功"},
            {"delete after delete", Delete, "delete from tblFP  where finterid in (1)", "数据读取错误！"},
            // Another workstation touching a different bill changes nothing here.
            {"void after a change elsewhere", Cancel, "update tblFP set fNote='x' where finterid<>1", QString()},
        });
    }

    void secondWorkstation()
    {
        QFETCH(DbEngine, engine);
        QFETCH(Second, row);
        Env env(engine);
        env.addStock(501, QStringLiteral("150"));
        env.addInvoice(1, 0, 0, kCurrent, {{501, QStringLiteral("100")}});
        env.addInvoice(2, 0, 0, kCurrent, {{501, QStringLiteral("50")}});
        env.ops.setSelection(QStringLiteral("1"));
        int calls = 0;
        env.ops.afterChecks = [&] {
            if (calls++ == 0)
                env.db.exec(row.otherStatement);
        };
        QCOMPARE(env.run(row.op), row.message.isEmpty());
        QVERIFY(!TestSession::session().gConn);
        // Done: the stock bill holds what the other valid invoice says.
        // Refused: nothing of ours was written, no number was handed back.
        QCOMPARE(env.kp(501), Amount::fromInt(row.message.isEmpty() ? 50 : 150));
        QCOMPARE(env.count(QStringLiteral("select count(*) from tblBillNoAdd")), 0);
        if (!row.message.isEmpty()) {
            QCOMPARE(int(env.messages().size()), 1);
            QVERIFY2(env.messages()[0].text.endsWith(row.message), qPrintable(env.messages()[0].text));
        }
    }
};

QTEST_GUILESS_MAIN(TestBillStateOperations)
#include "tst_billstateoperations.moc"
