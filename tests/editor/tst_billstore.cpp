// Saving, loading and filling invoices through the bill store, on every engine.
#include "editor/BillStore.h"
#include "editor/SaveCommands.h"

#include "modules/Session.h"
#include "platform/DbError.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QSet>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <latch>
#include <thread>

namespace {
const QDate kPeriodStart(2025, 1, 1);
const QDate kBillDate(2025, 1, 20);
const QString kNote = QStringLiteral("O'Brien 说\"好\"; --");

BillSettings settings()
{
    BillSettings s;
    s.loginUserId = QStringLiteral("2");
    s.billTypeId = 71;
    s.currentYear = 2025;
    s.currentPeriod = 1;
    s.periodStartDate = kPeriodStart;
    return s;
}

// Users, two suppliers, a department, the numbering row, the header layout
// of the demo, and stock-in bills of every kind the fill must tell apart.
void seed(Connection &c)
{
    c.execute(QStringLiteral("insert into tblUser(fuserid,fname,fisadmin) values(1,'管理员',1)"));
    c.execute(QStringLiteral("insert into tblUser(fuserid,fname,fisadmin) values(2,'张会计',0)"));
    c.execute(QStringLiteral("insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(10,'04.001','甲供应商',4,1,0)"));
    c.execute(QStringLiteral("insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(11,'04.002','乙供应商',4,1,0)"));
    c.execute(QStringLiteral("insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(20,'02.01','采购部',2,1,0)"));
    c.execute(QStringLiteral("insert into tblMaxBillNo(ftypeid,fNewBillName,fbillno,fPreLetter,flength,fYLength) values(71,'采购发票',0,'CGFP年月序号',4,4)"));
    const char *layout[] = {
        "insert into tblBillInfo(ftypeid,findex,fitemclassid,fcaption,ftop,fleft,fwidth,ftabindex,fisvisible,FFieldName,fFieldType,fCanNull) values(71,1,4,'供应商',72,90,260,1,1,'fSupplyId',1,0)",
        "insert into tblBillInfo(ftypeid,findex,fitemclassid,fcaption,ftop,fleft,fwidth,ftabindex,fisvisible,FFieldName,fFieldType,fCanNull) values(71,2,2,'部门',72,470,200,2,1,'fDeptId',1,1)",
        "insert into tblBillInfo(ftypeid,findex,fitemclassid,fcaption,ftop,fleft,fwidth,ftabindex,fisvisible,FFieldName,fFieldType,fCanNull) values(71,3,0,'发票号码',102,90,260,3,1,'fInvoiceNo',0,0)",
        "insert into tblBillInfo(ftypeid,findex,fitemclassid,fcaption,ftop,fleft,fwidth,ftabindex,fisvisible,FFieldName,fFieldType,fCanNull) values(71,4,0,'备注',102,470,200,4,1,'fNote',0,1)",
    };
    for (const char *sql : layout)
        c.execute(QString::fromUtf8(sql));
    // id, date, supplier, kind, void, total, invoiced, invoiceable
    const char *stock[] = {
        "101,'WIN101','2025-01-05',10,1,0,1000,null,null",  // offered, nothing invoiced yet
        "102,'WIN102','2025-01-03',10,1,0,500,200,1",       // offered with 300 open
        "103,'WIN103','2025-01-07',10,1,0,-300,0,1",        // red, offered
        "104,'WIN104','2025-01-02',10,1,0,400,400,1",       // fully invoiced
        "105,'WIN105','2025-01-02',10,1,0,400,0,0",         // not invoiceable
        "106,'WIN106','2025-01-02',10,1,1,400,0,1",         // void
        "107,'WIN107','2025-01-02',10,2,0,400,0,1",         // another kind
        "108,'WIN108','2025-01-02',11,1,0,400,0,1",         // another supplier
        "109,'WIN109','2025-01-02',10,1,0,null,null,1",     // nothing to invoice
    };
    for (const char *values : stock)
        c.execute(QStringLiteral("insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) values(")
                  + QString::fromLatin1(values) + u')');
}

EntryRow entry(const QString &stockId, const QString &all, const QString &invoiced, const QString &amount)
{
    EntryRow row = EntryRow::fromStockBill(stockId, QStringLiteral("WIN") + stockId, QStringLiteral("2025-01-05"), *Amount::parse(all),
                                           *Amount::parse(invoiced));
    row.setCell(ColThisAmount, amount);
    return row;
}

// The row's stock bill id and its ten cells, as the grid shows them.
QString rowText(const EntryRow &row)
{
    QStringList texts{row.stockId()};
    for (int c = 1; c <= kEntryColumnCount; ++c)
        texts << row.cell(c);
    return texts.join(u'|');
}

BillDraft draft(const QString &total, std::vector<EntryRow> rows)
{
    BillDraft d;
    d.date = kBillDate;
    d.amountText = total;
    d.fields = {{QStringLiteral("fSupplyId"), true, QStringLiteral("04.001"), QStringLiteral("04.001&**&10"), QStringLiteral("甲供应商")},
                {QStringLiteral("fDeptId"), true, QString(), QString(), QString()},
                {QStringLiteral("fInvoiceNo"), false, QStringLiteral("FP'0001"), QString(), QString()},
                {QStringLiteral("fNote"), false, kNote, QString(), QString()}};
    d.rows = std::move(rows);
    return d;
}

std::vector<HeaderLabel> labels(const BillDraft &d)
{
    return {{QStringLiteral("供应商"), true, d.fields[0].text}, {QStringLiteral("发票号码"), true, d.fields[2].text}};
}

QString amountAt(TestDatabase &db, const QString &sql)
{
    return Amount::fromVariant(db.scalar(sql)).toString();
}

QString kp(TestDatabase &db, int stockId)
{
    const QVariant v = db.scalar(QStringLiteral("select fKPAmount from icstockbill where finterid=") + QString::number(stockId));
    return v.isNull() ? QStringLiteral("null") : Amount::fromVariant(v).toString();
}

qint64 count(TestDatabase &db, const QString &sql)
{
    return db.scalar(sql).toLongLong();
}

// Every row of the tables a save touches, as text, so "nothing written" can be
// compared whole.
QStringList snapshot(TestDatabase &db)
{
    QStringList all;
    const char *tables[] = {
        "select finterid,fbillno,fstatus,fcancellation,fdate,fAmount,fEndAmount,fSupplyId,fInvoiceNo,fNote,fOperator from tblFP",
        "select fInterId,fEntryId,fStockInterId,fHXAmount from tblFPEntry",
        "select finterid,fKPAmount from icstockbill",
    };
    for (const char *sql : tables) {
        Recordset rs = db.conn().openRecordset(QString::fromLatin1(sql));
        for (; !rs.eof(); rs.moveNext()) {
            QStringList cells;
            for (int c = 0; c < rs.fieldCount(); ++c) {
                const QVariant v = rs.value(c);
                if (v.isNull())
                    cells << QStringLiteral("null");
                else if (rs.fieldName(c).contains(QStringLiteral("amount"), Qt::CaseInsensitive))
                    cells << Amount::fromVariant(v).toString();
                else
                    cells << Recordset::variantText(v);
            }
            all << cells.join(u'|');
        }
    }
    all.sort();
    return all;
}

void refuseThirdEntry(TestDatabase &db)
{
    if (db.engine() == DbEngine::SQLite) {
        db.conn().executeNative(QStringLiteral("create trigger trg_refuse_third before insert on tblFPEntry when new.fEntryId = 3 "
                                               "begin select raise(abort, 'third entry refused'); end"));
    } else {
        db.conn().executeNative(QStringLiteral("create function refuse_third() returns trigger language plpgsql as $$ begin "
                                               "if new.fEntryId = 3 then raise exception 'third entry refused'; end if; return new; end $$"));
        db.conn().executeNative(QStringLiteral("create trigger trg_refuse_third before insert on tblFPEntry for each row execute function refuse_third()"));
    }
}

SaveResult insert(BillStore &store, const BillDraft &d)
{
    return store.insertBill(store.insertHeader(d), d);
}

SaveResult update(BillStore &store, const BillDraft &d, int id)
{
    return store.updateBill(store.updateHeader(d), d, id);
}

// Entries as "stock:amount,...", each row showing its stock bill as the fill
// left it (nothing invoiced yet); an empty stock id names no stock bill.
std::vector<EntryRow> entries(const QString &list)
{
    std::vector<EntryRow> rows;
    for (const QString &item : list.split(u',', Qt::SkipEmptyParts)) {
        const QStringList parts = item.split(u':');
        rows.push_back(entry(parts[0], parts[1].startsWith(u'-') ? QStringLiteral("-300") : QStringLiteral("1000"), QStringLiteral("0"), parts[1]));
    }
    return rows;
}

// Every serial the counter gave, and the `released` ones waiting before,
// belongs to a saved bill or is released for reuse, exactly once.
void expectNoNumberLost(TestDatabase &db, int released = 0)
{
    const QString serials = QStringLiteral("(select fbillNumber as n from tblFP union all select finterid from tblBillNoAdd where ftypeid=71) t");
    const qint64 counter = count(db, QStringLiteral("select fbillno from tblMaxBillNo where ftypeid=71"));
    QCOMPARE(count(db, QStringLiteral("select count(*) from ") + serials), counter + released);
    QCOMPARE(count(db, QStringLiteral("select count(distinct n) from ") + serials), counter + released);
}

// Every stock bill's invoiced amount is the sum of the entries of the
// non-void invoices naming it, and within the stock bill's amount; every
// invoice's matched amount is the sum of its entries.
void expectStockBillsConsistent(TestDatabase &db, const QString &ids)
{
    QCOMPARE(count(db, QStringLiteral("select count(*) from tblFP f where isnull(f.fEndAmount,0) <> "
                                      "(select isnull(sum(e.fHXAmount),0) from tblFPEntry e where e.fInterId=f.finterid)")),
             0);
    QCOMPARE(count(db, QStringLiteral("select count(*) from icstockbill b where b.finterid in (%1) and isnull(b.fKPAmount,0) <> "
                                      "(select isnull(sum(e.fHXAmount),0) from tblFPEntry e inner join tblFP f on f.finterid=e.fInterId "
                                      "where f.fcancellation=0 and e.fStockInterId=b.finterid)").arg(ids)),
             0);
    QCOMPARE(count(db, QStringLiteral("select count(*) from icstockbill where finterid in (%1) and "
                                      "abs(isnull(fKPAmount,0))>abs(isnull(fAllAmount,0))").arg(ids)),
             0);
}

// `threads` workstations, each on its own connection, start together and
// save `rounds` bills each, made by `make(thread, round)`. Returns how many
// were saved; a refusal that `expected` does not accept, and every error,
// fails the test.
int runSavers(TestDatabase &db, const BillSettings &s, int threads, int rounds, const std::function<BillDraft(int, int)> &make,
              const std::function<bool(const StoreMessage &)> &expected = {})
{
    std::atomic<int> saved{0};
    std::vector<QString> errors(static_cast<size_t>(threads));
    std::latch start(threads);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            try {
                Connection conn(db.connectionString());
                conn.open();
                BillStore store(conn, s);
                start.arrive_and_wait();
                for (int round = 0; round < rounds; ++round) {
                    const SaveResult r = insert(store, make(t, round));
                    if (r.saved)
                        ++saved;
                    else if (!expected || !expected(*r.message))
                        errors[size_t(t)] += r.message->text + u'\n';
                }
            } catch (const DbError &e) {
                errors[size_t(t)] += e.description();
            }
        });
    }
    for (std::thread &w : workers)
        w.join();
    for (const QString &e : errors)
        if (!e.isEmpty())
            qWarning("%s", qPrintable(e));
    return std::all_of(errors.begin(), errors.end(), [](const QString &e) { return e.isEmpty(); }) ? saved.load() : -1;
}
// The rows of the data-driven tests below, one value per row.
struct NumberingCase { QString setup; bool reuse; QStringList numbers; int firstId; int counter; }; // setup: statements split by ";"
struct RefusalCase { QString change; bool newBill; QString message; int icon; }; // no change: the number is made the first bill's
struct SaveCommandCase { int user; QString total; QString date; QString newMessage; QString changeMessage; };
// `first`: an invoice saved before, which `modify` changes instead of adding one; refused
// naming `refusedStock` with `open` left; `overInvoiced` put on WIN101 by hand in between.
struct BoundCase { QString first; bool modify; QString rows; QString refusedStock; QString open; int overInvoiced = 0; };
// Stock bills 500, 501, ... of the amounts `stock`; each invoice has `perBill` entries on stock bills
// `stride` apart, of `take` (varied when empty) in their direction; `released` numbers wait.
struct SaversCase { int threads; int rounds; QList<int> stock; int perBill; int stride; QString take; int released; int saved; };
} // namespace
Q_DECLARE_METATYPE(NumberingCase)
Q_DECLARE_METATYPE(RefusalCase)
Q_DECLARE_METATYPE(SaveCommandCase)
Q_DECLARE_METATYPE(BoundCase)
Q_DECLARE_METATYPE(SaversCase)

class TestBillStore : public QObject {
    Q_OBJECT

private slots:
    // Numbers and ids of new bills: the counters are created with the first
    // bill, a proposal on screen is not what is saved, released numbers go
    // first when the kind reuses them, the year may be cut to two digits. A
    // bill without entries leaves its matched amount null.
    void numbering_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<NumberingCase>("c");
        const QStringList plain{"CGFP2025010001", "CGFP2025010002", "CGFP2025010003"};
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "first bill creates the counters") << NumberingCase{"", false, plain, 1, 3};
            engineRow(e, "counter continues, proposal ignored")
                << NumberingCase{"insert into tblmaxNum(ftablename,fmaxnum) values('tblFP',41);"
                                 "insert into tblFP(finterid,fbillno,fstatus,fcancellation) values(41,'TAKEN',0,0)",
                                 false, plain, 42, 3};
            engineRow(e, "released numbers first, of this kind only")
                << NumberingCase{"insert into tblBillNoAdd(finterid,ftypeid) values('0009',71);insert into tblBillNoAdd(finterid,ftypeid) values('0007',71);"
                                 "insert into tblBillNoAdd(finterid,ftypeid) values('0001',1)",
                                 true, {"CGFP2025010007", "CGFP2025010009", "CGFP2025010001"}, 1, 1};
            engineRow(e, "two-digit year") << NumberingCase{"update tblMaxBillNo set fYLength=2,fPreLetter='P年-月-日/序号'", false,
                                                            {"P25-01-20/0001", "P25-01-20/0002", "P25-01-20/0003"}, 1, 3};
        }
    }
    void numbering()
    {
        QFETCH(DbEngine, engine);
        QFETCH(NumberingCase, c);
        const auto &[setup, reuse, numbers, firstId, counter] = c;
        TestDatabase db(engine);
        seed(db.conn());
        for (const QString &sql : setup.split(u';', Qt::SkipEmptyParts))
            db.exec(sql);
        BillSettings s = settings();
        s.isAddDelNumber = reuse ? 1 : 0;
        BillStore store(db.conn(), s);
        BillDraft d = draft(QStringLiteral("10"), {});
        QVERIFY(!store.insertChecks(d, labels(d))); // with numbers not typed, none is asked for
        d.billNo = QStringLiteral("TAKEN");
        for (int n = 0; n < numbers.size(); ++n) {
            const SaveResult r = insert(store, d);
            QVERIFY2(r.saved, qPrintable(r.message ? r.message->text : QString()));
            QCOMPARE(r.interId, firstId + n);
            QCOMPARE(r.billNo, numbers[n]);
            QCOMPARE(db.scalar(QStringLiteral("select fbillno from tblFP where finterid=%1").arg(r.interId)).toString(), numbers[n]);
            QVERIFY(db.scalar(QStringLiteral("select fEndAmount from tblFP where finterid=%1").arg(r.interId)).isNull());
        }
        QCOMPARE(count(db, QStringLiteral("select fmaxnum from tblmaxNum where ftablename='tblFP'")), firstId + numbers.size() - 1);
        QCOMPARE(count(db, QStringLiteral("select fbillno from tblMaxBillNo where ftypeid=71")), counter);
        QCOMPARE(count(db, QStringLiteral("select count(*) from tblBillNoAdd where ftypeid=71")), 0);
        QCOMPARE(count(db, QStringLiteral("select count(*) from tblBillNoAdd where ftypeid=1")), reuse ? 1 : 0);
    }

    // A save that may not go through writes nothing and takes no id: typed
    // numbers that exist already (two texts, two icons), and a bill that may
    // no longer change.
    void refusalWritesNothing_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<RefusalCase>("c");
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "duplicate number, insert") << RefusalCase{"", true, "单据编号不能重复!", 48};
            engineRow(e, "duplicate number, update") << RefusalCase{"", false, "编号不能重复!", 16};
            engineRow(e, "audited") << RefusalCase{"update tblFP set fstatus=1,fchecker=1", false, "该单据已经审核,不能修改,操作不成功", 48};
            engineRow(e, "void") << RefusalCase{"update tblFP set fcancellation=1", false, "该单据已经作废,不能修改,操作不成功！", 48};
            engineRow(e, "earlier period") << RefusalCase{"update tblFP set fdate='2024-12-31'", false, "不能修改以前期间的单据,操作不成功", 48};
            engineRow(e, "audited and void") << RefusalCase{"update tblFP set fstatus=1,fcancellation=1", false, "该单据已经审核,不能修改,操作不成功", 48};
            engineRow(e, "gone") << RefusalCase{"delete from tblFP", false, "数据读取错误!", 16};
        }
    }
    void refusalWritesNothing()
    {
        QFETCH(DbEngine, engine);
        QFETCH(RefusalCase, c);
        const auto &[change, newBill, message, icon] = c;
        TestDatabase db(engine);
        seed(db.conn());
        BillSettings s = settings();
        s.isUpdateBillNo = change.isEmpty() ? 1 : 0;
        BillStore store(db.conn(), s);
        BillDraft a = draft(QStringLiteral("100"), {entry("101", "1000", "0", "100")});
        a.billNo = QStringLiteral("NO'1");
        BillDraft b = draft(QStringLiteral("50"), {entry("102", "500", "200", "50")});
        b.billNo = QStringLiteral("NO-2");
        QVERIFY(insert(store, a).saved);
        const SaveResult second = insert(store, b);
        QVERIFY(second.saved);
        QCOMPARE(db.scalar(QStringLiteral("select fbillno from tblFP where finterid=1")).toString(), change.isEmpty() ? a.billNo : QStringLiteral("CGFP2025010001"));

        if (change.isEmpty()) { // typed numbers must be typed
            BillDraft empty = b;
            empty.billNo.clear();
            QCOMPARE(store.insertChecks(empty, labels(empty)).value().text, QStringLiteral("请输入单据编号!"));
            QCOMPARE(store.updateChecks(empty, labels(empty)).value().text, QStringLiteral("请输入单据编号!"));
        }

        b.billNo = change.isEmpty() ? a.billNo : second.billNo;
        if (!change.isEmpty())
            db.exec(change + QStringLiteral(" where finterid=2"));
        b.rows = {entry("102", "500", "200", "300")};
        b.amountText = QStringLiteral("300");
        const QStringList before = snapshot(db);
        const qint64 ids = count(db, QStringLiteral("select fmaxnum from tblmaxNum"));
        const SaveResult r = newBill ? insert(store, b) : update(store, b, second.interId);
        QVERIFY(!r.saved);
        QCOMPARE(r.message->text, message);
        QCOMPARE(r.message->icon, icon);
        QCOMPARE(snapshot(db), before);
        QCOMPARE(count(db, QStringLiteral("select fmaxnum from tblmaxNum")), ids);
    }

    // Loading a saved bill gives back its own share, so saving it again
    // unchanged leaves every total as it was; changed amounts move by the
    // difference only.
    void modifyKeepsTotals_data() { addEngineRows(); }
    void modifyKeepsTotals()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine);
        seed(db.conn());
        BillStore store(db.conn(), settings());
        QVERIFY(insert(store, draft(QStringLiteral("900"), {entry("101", "1000", "0", "600"), entry("103", "-300", "0", "-100")})).saved);
        QVERIFY(insert(store, draft(QStringLiteral("300"), {entry("101", "1000", "600", "150")})).saved);
        QCOMPARE(kp(db, 101), QStringLiteral("750"));
        // An empty lookup is stored as 0; the entries in grid order.
        Recordset h = db.conn().openRecordset(QStringLiteral("select * from tblFP where finterid=1"));
        QCOMPARE(h.toInt(QStringLiteral("fDeptId")), 0);
        QCOMPARE(h.toInt(QStringLiteral("ftrantype")), 71);
        QCOMPARE(h.amount(QStringLiteral("fEndAmount")).toString(), QStringLiteral("500"));
        QCOMPARE(count(db, QStringLiteral("select fStockInterId from tblFPEntry where fInterId=1 and fEntryId=2")), 103);

        HeaderLayout layout = readHeaderLayout(db.conn(), 71, QStringLiteral("2"), false);
        std::optional<LoadedBill> bill = store.loadBill(1, layout);
        QVERIFY(bill);
        QCOMPARE(bill->billNo, QStringLiteral("CGFP2025010001"));
        QCOMPARE(bill->billerName, QStringLiteral("张会计"));
        QCOMPARE(bill->amountText, QStringLiteral("900"));
        QCOMPARE(bill->fields[0].value, QStringLiteral("04.001&**&10"));
        QCOMPARE(bill->fields[0].name, QStringLiteral("甲供应商"));
        QCOMPARE(bill->fields[1].value, QString());
        QCOMPARE(bill->fields[3].text, kNote);
        QCOMPARE(int(bill->rows.size()), 2);
        // Number, date, total, what the other invoice took, open with the
        // bill's own share given back, the bill's own share.
        QCOMPARE(rowText(bill->rows[0]), QStringLiteral("101|WIN101|2025-01-05|1000|150|850|600||||"));
        QCOMPARE(bill->rows[1].cell(ColOpenAmount), QStringLiteral("-300"));

        BillDraft again;
        again.billNo = bill->billNo;
        again.date = bill->date;
        again.amountText = bill->amountText;
        again.fields = bill->fields;
        again.rows = bill->rows;
        const QStringList before = snapshot(db);
        QVERIFY(!store.updateChecks(again, labels(again)));
        QVERIFY(update(store, again, 1).saved);
        QCOMPARE(snapshot(db), before);

        again.rows[0].setCell(ColThisAmount, QStringLiteral("850"));
        again.rows[1].setCell(ColThisAmount, QString()); // stored as 0
        again.fields[3].text = QStringLiteral("改过的备注");
        QVERIFY(update(store, again, 1).saved);
        QCOMPARE(kp(db, 101), QStringLiteral("1000"));
        QCOMPARE(kp(db, 103), QStringLiteral("0"));
        QCOMPARE(amountAt(db, QStringLiteral("select fEndAmount from tblFP where finterid=1")), QStringLiteral("850"));
        QCOMPARE(amountAt(db, QStringLiteral("select fHXAmount from tblFPEntry where fInterId=1 and fEntryId=2")), QStringLiteral("0"));
        QVERIFY(!db.scalar(QStringLiteral("select fHXAmount from tblFPEntry where fInterId=1 and fEntryId=2")).isNull());
        QCOMPARE(db.scalar(QStringLiteral("select fNote from tblFP where finterid=1")).toString(), QStringLiteral("改过的备注"));
        QCOMPARE(amountAt(db, QStringLiteral("select fEndAmount from tblFP where finterid=2")), QStringLiteral("150"));

        QVERIFY(!store.loadBill(99, layout));
    }

    // A bill of more entries than one statement of the save writes, each on
    // a stock bill of its own but two on one: saved, loaded as it was saved, and saved again with other
    // amounts, every total following the entries.
    void manyEntries_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<int>("entries");
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "one statement's worth") << 498;
            engineRow(e, "three statements' worth") << 1201;
        }
    }
    void manyEntries()
    {
        QFETCH(DbEngine, engine);
        QFETCH(int, entries);
        TestDatabase db(engine);
        seed(db.conn());
        BillStore store(db.conn(), settings());
        BillDraft d = draft(QStringLiteral("100000"), {entry("101", "1000", "0.2", "0.1"), entry("101", "1000", "0.1", "0.2")});
        db.conn().beginTrans(); // one sync to disk for all of them
        for (int i = 1000; i < 1000 + entries; ++i) {
            const QString billNo = (i % 5 ? QStringLiteral("WIN") : QStringLiteral("入库")) + QString::number(i);
            db.exec(QStringLiteral("insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) "
                                   "values(%1,'%3','2025-01-05',10,1,0,100,%2,1)").arg(i).arg(i % 3 ? "null" : "0", billNo));
            d.rows.push_back(entry(QString::number(i), "100", "0", QStringLiteral("%1.%2").arg(i % 7 + 1).arg(i % 9 + 1)));
            d.rows.back().setCell(ColStockBillNo, billNo);
        }
        db.conn().commitTrans();
        const QString ids = QStringLiteral("select finterid from icstockbill where finterid=101 or finterid>=1000");
        QVERIFY(insert(store, d).saved);
        QCOMPARE(count(db, QStringLiteral("select count(*) from tblFPEntry")), entries + 2);
        expectStockBillsConsistent(db, ids);
        QCOMPARE(kp(db, 101), QStringLiteral("0.3"));
        std::optional<LoadedBill> bill = store.loadBill(1, readHeaderLayout(db.conn(), 71, QStringLiteral("2"), false));
        QCOMPARE(bill.value().rows.size(), d.rows.size());
        for (size_t r = 0; r < d.rows.size(); ++r)
            QCOMPARE(rowText(bill->rows[r]), rowText(d.rows[r]));

        d.billNo = bill->billNo;
        for (size_t r = 0; r < d.rows.size(); ++r)
            d.rows[r].setCell(ColThisAmount, r % 2 ? QString() : QStringLiteral("0.5") + QString::number(r % 10));
        QVERIFY(update(store, d, 1).saved);
        expectStockBillsConsistent(db, ids);
    }

    // The database refuses the third entry: nothing of the bill stays, on
    // insert as on update.
    void failedSaveLeavesNothing_data() { addEngineRows(); }
    void failedSaveLeavesNothing()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine);
        seed(db.conn());
        BillStore store(db.conn(), settings());
        const SaveResult kept = insert(store, draft(QStringLiteral("500"), {entry("101", "1000", "0", "100"), entry("102", "500", "200", "50")}));
        QVERIFY(kept.saved);
        refuseThirdEntry(db);

        const QStringList before = snapshot(db);
        const BillDraft three = draft(QStringLiteral("500"), {entry("101", "1000", "100", "10"), entry("102", "500", "250", "20"),
                                                              entry("103", "-300", "0", "-30")});
        const SaveResult r = insert(store, three);
        QVERIFY(!r.saved);
        QVERIFY2(r.message->text.contains(QStringLiteral("third entry refused")), qPrintable(r.message->text));
        QCOMPARE(r.message->icon, 16);
        QCOMPARE(snapshot(db), before);
        QVERIFY(!db.conn().inTransaction());
        // On PostgreSQL the counters were taken in a transaction of their own
        // and stay advanced; on SQLite they went back with the bill.
        const qint64 taken = engine == DbEngine::PostgreSQL ? 2 : 1;
        QCOMPARE(count(db, QStringLiteral("select fmaxnum from tblmaxNum where ftablename='tblFP'")), taken);
        QCOMPARE(count(db, QStringLiteral("select fbillno from tblMaxBillNo where ftypeid=71")), taken);
        // A number the failed bill took is released, not lost.
        expectNoNumberLost(db);

        BillDraft changed = three;
        changed.billNo = kept.billNo;
        const SaveResult u = update(store, changed, kept.interId);
        QVERIFY(!u.saved);
        QCOMPARE(u.message->icon, 16);
        QCOMPARE(snapshot(db), before);

        // The connection is usable afterwards.
        QVERIFY(insert(store, draft(QStringLiteral("5"), {entry("101", "1000", "100", "5")})).saved);
        QCOMPARE(kp(db, 101), QStringLiteral("105"));
    }

    // The stock bills are checked again at save, as they are in the
    // database then: what other invoices took (and, on modify, this bill's
    // own old share given back) plus this bill's entries must stay within
    // each stock bill's amount, in its direction. A refusal names the stock
    // bill and its open amount and writes nothing.
    void stockBillBound_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<BoundCase>("c");
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "beyond what is left") << BoundCase{"", false, "102:301", "WIN102", "300"};
            engineRow(e, "exactly what is left") << BoundCase{"", false, "102:300", "", ""};
            engineRow(e, "one stock bill named twice") << BoundCase{"", false, "101:600,101:500", "WIN101", "1000"};
            engineRow(e, "after another invoice") << BoundCase{"101:700", false, "101:400", "WIN101", "300"};
            engineRow(e, "red beyond") << BoundCase{"", false, "103:-301", "WIN103", "-300"};
            engineRow(e, "red against its direction") << BoundCase{"", false, "103:50", "WIN103", "-300"};
            engineRow(e, "red within") << BoundCase{"103:-100", false, "103:-200", "", ""};
            engineRow(e, "modify unchanged when full") << BoundCase{"101:1000,103:-300", true, "101:1000,103:-300", "", ""};
            engineRow(e, "modify beyond") << BoundCase{"101:1000", true, "101:1001", "WIN101", "1000"};
            engineRow(e, "no stock bill") << BoundCase{"", false, ":50,0:20", "", ""};
            // Every kind of write at once: entries added, moved between
            // stock bills, one stock bill named twice, one left to zero.
            engineRow(e, "modify, every kind of write") << BoundCase{"101:300,102:100,103:-50", true, "101:200,101:150,103:-250,:5", "", ""};
            // A stock bill invoiced beyond its amount before these checks
            // existed: lowering an invoice on it is a correction and goes
            // through; raising it does not.
            engineRow(e, "over-invoiced, lowered") << BoundCase{"101:1000", true, "101:900", "", "", 200};
            engineRow(e, "over-invoiced, raised") << BoundCase{"101:900", true, "101:950", "WIN101", "800", 200};
        }
    }
    void stockBillBound()
    {
        QFETCH(DbEngine, engine);
        QFETCH(BoundCase, c);
        const auto &[first, modify, rows, refusedStock, open, overInvoiced] = c;
        TestDatabase db(engine);
        seed(db.conn());
        // A stock bill with id 0, which entries without a stock bill must not reach.
        db.exec(QStringLiteral("insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) "
                               "values(0,'WIN0','2025-01-02',10,1,0,100,5,1)"));
        // WIN102 has 300 left, no invoice of ours having taken any of it.
        db.exec(QStringLiteral("update icstockbill set fAllAmount=300,fKPAmount=0 where finterid=102"));
        BillStore store(db.conn(), settings());
        const SaveResult kept = insert(store, draft(QStringLiteral("-5000"), entries(first)));
        QVERIFY(kept.saved);
        if (overInvoiced)
            db.exec(QStringLiteral("update icstockbill set fKPAmount=fKPAmount+%1 where finterid=101").arg(overInvoiced));

        const QStringList before = snapshot(db);
        BillDraft d = draft(QStringLiteral("-5000"), entries(rows));
        d.billNo = kept.billNo;
        const SaveResult r = modify ? update(store, d, kept.interId) : insert(store, d);
        expectNoNumberLost(db);
        if (refusedStock.isEmpty()) {
            QVERIFY2(r.saved, qPrintable(r.message ? r.message->text : QString()));
            QCOMPARE(kp(db, 0), QStringLiteral("5"));
            if (overInvoiced) // lowered by what the invoice gave up
                QCOMPARE(kp(db, 101), QStringLiteral("1100"));
            else
                expectStockBillsConsistent(db, QStringLiteral("101,102,103"));
            return;
        }
        QVERIFY(!r.saved);
        QCOMPARE(r.message->text, QStringLiteral("入库单 ") + refusedStock + QStringLiteral(" 的未开票金额现为 ") + open
                                      + QStringLiteral("，本次开票金额超出，保存不成功"));
        QCOMPARE(r.message->icon, 48);
        QCOMPARE(snapshot(db), before);
    }

    void fillOffersOpenStockBills_data() { addEngineRows(); }
    void fillOffersOpenStockBills()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine);
        seed(db.conn());
        BillStore store(db.conn(), settings());
        // Invoiced in full, the stored total off by a float's last digit.
        db.exec(QStringLiteral("insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) "
                               "values(110,'WIN110','2025-01-02',10,1,0,0.3,0.1,1)"));
        db.exec(QStringLiteral("update icstockbill set fKPAmount=fKPAmount+0.2 where finterid=110"));

        std::vector<EntryRow> grid = store.openStockBills(QStringLiteral("10"), {});
        QStringList ids;
        for (const EntryRow &r : grid)
            ids << r.stockId();
        QCOMPARE(ids, (QStringList{"102", "101", "103"})); // oldest first
        QCOMPARE(grid[0].cell(ColInvoiced), QStringLiteral("200"));
        QCOMPARE(grid[0].cell(ColOpenAmount), QStringLiteral("300"));
        QCOMPARE(grid[1].cell(ColInvoiced), QStringLiteral("0"));   // null read as 0
        QCOMPARE(grid[1].cell(ColOpenAmount), QStringLiteral("1000"));
        QCOMPARE(grid[2].cell(ColOpenAmount), QStringLiteral("-300"));
        QCOMPARE(grid[2].cell(ColStockDate), QStringLiteral("2025-01-07"));

        // A second press adds nothing; a row the user put in by hand is
        // neither repeated nor a reason to break the statement.
        QVERIFY(store.openStockBills(QStringLiteral("10"), grid).empty());
        std::vector<EntryRow> partial{grid[1]};
        partial.push_back(EntryRow{});
        const std::vector<EntryRow> more = store.openStockBills(QStringLiteral("10"), partial);
        QCOMPARE(int(more.size()), 2);
        QCOMPARE(more[0].stockId(), QStringLiteral("102"));
        QCOMPARE(more[1].stockId(), QStringLiteral("103"));

        // A bill invoiced in full is no longer offered.
        QVERIFY(insert(store, draft(QStringLiteral("300"), {entry("102", "500", "200", "300")})).saved);
        QCOMPARE(int(store.openStockBills(QStringLiteral("10"), {}).size()), 2);
        QCOMPARE(int(store.openStockBills(QStringLiteral("11"), {}).size()), 1);
        QVERIFY(store.openStockBills(QStringLiteral("12"), {}).empty());
    }

    void hiddenFieldsPerUser_data() { addEngineRows(); }
    void hiddenFieldsPerUser()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine);
        seed(db.conn());
        db.exec(QStringLiteral("insert into tblUserVisible(fUserid,fFieldName,ftype,fbilltypeid) values(2,'fnote',1,71)"));
        db.exec(QStringLiteral("insert into tblUserVisible(fUserid,fFieldName,ftype,fbilltypeid) values(2,'fDeptId',3,71)"));
        db.exec(QStringLiteral("update tblBillInfo set fisvisible=0 where findex=3"));
        const HeaderLayout clerk = readHeaderLayout(db.conn(), 71, QStringLiteral("2"), false);
        QVERIFY(clerk.fields[0].visible);
        QVERIFY(clerk.fields[1].visible); // type 3 belongs to the list
        QVERIFY(!clerk.fields[2].visible);
        QVERIFY(!clerk.fields[3].visible);
        const HeaderLayout admin = readHeaderLayout(db.conn(), 71, QStringLiteral("2"), true);
        QVERIFY(admin.fields[3].visible);
        QCOMPARE(clerk.supplierIndex(), 0);
        QCOMPARE(clerk.labelOrder(), (std::vector<int>{0, 2, 1, 3}));
        QVERIFY(clerk.fields[0].isLookup() && clerk.fields[0].required());
        QVERIFY(!clerk.fields[3].isLookup() && !clerk.fields[3].required());
    }

    // The save commands on the session: the right first, then the checks in
    // the order of each path, each refusal handed back once.
    void saveCommands_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<SaveCommandCase>("c");
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "saved") << SaveCommandCase{2, "100", "2025-01-20", "", ""};
            engineRow(e, "no right") << SaveCommandCase{7, "100", "2025-01-20", "", ""};
            // The entries are checked before the period on a new bill, after it on a changed one.
            engineRow(e, "both refused") << SaveCommandCase{2, "", "2024-12-31", "请录入金额！", "不能保存以前期间的单据！"};
        }
    }
    void saveCommands()
    {
        QFETCH(DbEngine, engine);
        QFETCH(SaveCommandCase, c);
        const auto &[user, total, date, newMessage, changeMessage] = c;
        TestDatabase db(engine);
        seed(db.conn());
        db.exec(QStringLiteral("insert into tblUserPrivillenge(fuserid,fNumber) values(2,'Q01')"));
        db.exec(QStringLiteral("insert into tblUserPrivillenge(fuserid,fNumber) values(2,'Q02')"));
        TestSession t;
        t.writeHostSettings(db.connectionString(), user, false);
        QCOMPARE(t.start(), QString());
        Session &s = TestSession::session();
        s.gPeriodStartDate = kPeriodStart;

        BillDraft d = draft(total, {entry("101", "1000", "0", "100")});
        d.date = QDate::fromString(date, Qt::ISODate);
        const bool allowed = user == 2;
        const bool valid = newMessage.isEmpty();
        const SaveOutcome created = prepareInsert(s, d, labels(d));
        QCOMPARE(created.saved, allowed && valid);
        QCOMPARE(created.message ? created.message->text : QString(), newMessage);
        if (!valid)
            QCOMPARE(created.message->icon, 48);
        QCOMPARE(count(db, QStringLiteral("select count(*) from tblFP")), created.saved ? 1 : 0);
        QVERIFY(!s.gConn); // the shared connection is closed again

        db.exec(QStringLiteral("insert into tblFP(finterid,fbillno,fstatus,fcancellation,fdate) values(50,'OLD',0,0,'2025-01-10')"));
        const SaveOutcome changed = prepareUpdate(s, d, labels(d), 50);
        QCOMPARE(changed.saved, allowed && valid);
        QCOMPARE(changed.message ? changed.message->text : QString(), changeMessage);
        QVERIFY(t.prompts().messageTexts().isEmpty()); // the form shows what comes back
        QCOMPARE(kp(db, 101), allowed && valid ? QStringLiteral("200") : QStringLiteral("null"));
    }

    // Workstations saving at once, each on its own connection, against the
    // same stock bills, odd ones naming them in descending order: no stock
    // bill is invoiced beyond its amount, every save either goes through or
    // is refused naming a stock bill and leaves nothing behind, no save
    // fails for a deadlock, ids and numbers stay unique, released numbers go
    // to one bill each, no number is lost, and every total is the sum of
    // the entries it counts.
    void concurrentSaves_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<SaversCase>("c");
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "eight full-amount savers") << SaversCase{8, 2, {1000, -1000}, 2, 1, "1000", 0, 1};
            engineRow(e, "two savers in opposite order") << SaversCase{2, 100, {1000000, -1000000}, 2, 1, "1", 0, 200};
            engineRow(e, "eight savers, released numbers")
                << SaversCase{8, 50, QList<int>(12, 1000000), 3, 4, "", 20, 400};
        }
    }
    void concurrentSaves()
    {
        QFETCH(DbEngine, engine);
        QFETCH(SaversCase, c);
        TestDatabase db(engine);
        seed(db.conn());
        const int stocks = int(c.stock.size());
        for (int i = 0; i < stocks; ++i)
            db.exec(QStringLiteral("insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) "
                                   "values(%1,'S%1','2025-01-02',10,1,0,%2,null,1)").arg(500 + i).arg(c.stock[i]));
        for (int i = 1; i <= c.released; ++i)
            db.exec(QStringLiteral("insert into tblBillNoAdd(finterid,ftypeid) values('%1',71)").arg(9000 + i));
        BillSettings s = settings();
        s.isAddDelNumber = c.released ? 1 : 0;
        const int saved = runSavers(db, s, c.threads, c.rounds, [&](int t, int b) {
            // Each row as the fill showed it: nothing invoiced yet.
            std::vector<EntryRow> rows;
            for (int k = 0; k < c.perBill; ++k) {
                const int i = (t + b + k * c.stride) % stocks;
                const QString amount = c.take.isEmpty() ? QStringLiteral("%1.%2").arg(t + 1).arg(b % 100, 2, 10, QLatin1Char('0')) : c.take;
                rows.push_back(entry(QString::number(500 + i), QString::number(c.stock[i]), "0", c.stock[i] < 0 ? u'-' + amount : amount));
            }
            std::sort(rows.begin(), rows.end(), [&](const EntryRow &x, const EntryRow &y) { return t % 2 ? y.stockId() < x.stockId() : x.stockId() < y.stockId(); });
            return draft(QStringLiteral("100"), rows);
        }, [](const StoreMessage &m) {
            return m.text.startsWith(QStringLiteral("入库单 S50")) && m.text.endsWith(QStringLiteral("，本次开票金额超出，保存不成功")) && m.icon == 48;
        });
        QCOMPARE(saved, c.saved);
        QCOMPARE(count(db, QStringLiteral("select count(distinct fbillno) from tblFP")), c.saved);
        QCOMPARE(count(db, QStringLiteral("select count(*) from tblFPEntry")), c.perBill * c.saved);
        QCOMPARE(count(db, QStringLiteral("select count(*) from tblFP where fbillNumber like '90%'")), c.released);
        expectStockBillsConsistent(db, QStringLiteral("select finterid from icstockbill where finterid>=500"));
        expectNoNumberLost(db, c.released);
    }
};

QTEST_GUILESS_MAIN(TestBillStore)
#include "tst_billstore.moc"
