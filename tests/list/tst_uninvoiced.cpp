// Received, not yet invoiced: the report over stock bills made for each
// case, and the form over the demo data.
#include "list/UninvoicedBills.h"
#include "list/frmUninvoiced.h"

#include "modules/FormLauncher.h"
#include "editor/BillStore.h"
#include "platform/Clock.h"
#include "platform/SqlDialect.h"
#include "platform/Transaction.h"
#include "support/CaseRows.h"
#include "support/StartedSession.h"

#include <QFile>
#include <QLineEdit>
#include <QTest>
#include <QTreeView>

// The report for a supplier code and a day: the bills per supplier ("|"
// between suppliers), the open amount per supplier then overall, and a line
// the CSV holds.
struct Report { const char *name; QString supplier, asOf, bills, open, csvLine; };
Q_DECLARE_METATYPE(Report)
struct Plan { const char *name; QString (*sql)(DbEngine); };
Q_DECLARE_METATYPE(Plan)

class TestUninvoiced : public QObject {
    Q_OBJECT

    // Two suppliers; stock bills open, invoiced in full, void, not to be
    // invoiced, of another kind, with null amounts, red; one without a
    // supplier, one of a supplier that is not there.
    static void writeStockBills(TestDatabase &db)
    {
        db.exec(QStringLiteral("insert into tblItem (fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values "
                               "(100,'01','甲,\"商行\"',4,1,0),(101,'02','乙供应商',4,1,0)"));
        db.exec(QStringLiteral(
            "insert into icstockbill (finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) values "
            "(1,'S01','2025-03-05',100,1,0,100,0,1),(2,'S02','2025-03-01',100,1,0,200,50,null),"
            "(3,'S03','2025-03-01',100,1,0,80,80,1),(4,'S04','2025-03-02',100,1,1,70,0,1),(5,'S05','2025-03-02',100,1,0,60,0,0),"
            "(6,'S06','2025-03-02',100,2,0,60,0,1),(7,'S07','2025-04-10',100,1,0,10.01,null,1),"
            "(8,'R01','2025-03-03',101,1,0,-40,-10,1),(9,'S09','2025-03-01',101,1,0,33.33,null,null),"
            "(10,'N01','2025-03-04',null,1,0,5,0,1),(11,'D01','2025-03-04',999,1,0,7,0,1),"
            // Invoiced in full once the real's drift is rounded away; a flag
            // that is neither 1 nor null.
            "(12,'S12','2025-03-01',101,1,0,0.1+0.2,0.3,1),(13,'S13','2025-03-01',101,1,0,9,0,2),"
            // Without a number.
            "(14,null,'2025-03-06',101,1,0,1,0,1)"));
    }

private slots:
    // Bills without a supplier come first on SQLite, after the missing
    // supplier on PostgreSQL (as each engine sorts a null).
    void report_data()
    {
        addEngineCaseRows<Report>({
            {"all", "", "", "N01|D01|S02,S01,S07|S09,R01,", "5.00,7.00,260.01,4.33,276.34", "01,\"甲,\"\"商行\"\"\",S02,2025-03-01,200.00,50.00,150.00"},
            {"as of a day", "", "2025-03-31", "N01|D01|S02,S01|S09,R01,", "5.00,7.00,250.00,4.33,266.33", ",,D01,2025-03-04,7.00,0.00,7.00"},
            {"as of the first", "", "2025-03-01", "S02|S09", "150.00,33.33,183.33", "02,乙供应商,S09,2025-03-01,33.33,0.00,33.33"},
            {"one supplier", " 02 ", "", "S09,R01,", "4.33,4.33", "02,乙供应商,R01,2025-03-03,-40.00,-10.00,-30.00"},
            // PostgreSQL's rows through the connection: not on the engine's handle.
            {"in a transaction", "", "2025-03-31", "N01|D01|S02,S01|S09,R01,", "5.00,7.00,250.00,4.33,266.33", "02,乙供应商,,2025-03-06,1.00,0.00,1.00"},
            {"code with a quote", "0'1", "", "", "0.00", ""},
        });
    }
    void report()
    {
        QFETCH(DbEngine, engine);
        QFETCH(Report, row);
        auto [name, supplier, asOf, bills, open, csvLine] = row;
        if (engine == DbEngine::PostgreSQL) {
            bills.replace(QStringLiteral("N01|D01"), QStringLiteral("D01|N01"));
            open.replace(QStringLiteral("5.00,7.00"), QStringLiteral("7.00,5.00"));
        }
        TestDatabase db(engine);
        writeStockBills(db);
        const UninvoicedFilter filter{supplier, QDate::fromString(asOf, Qt::ISODate)};
        std::optional<Transaction> transaction;
        if (QByteArrayView(name) == "in a transaction")
            transaction.emplace(db.conn());
        const UninvoicedTotals t = readUninvoicedTotals(db.conn(), filter);
        const UninvoicedTotals ids = readUninvoicedTotals(db.conn(), filter, false);
        QCOMPARE(ids.suppliers.size(), t.suppliers.size());
        QStringList gotBills, gotOpen;
        QByteArray csv = uninvoicedCsvHeader();
        for (size_t i = 0; i < t.suppliers.size(); ++i) {
            const UninvoicedSupplier &s = t.suppliers[i];
            QCOMPARE(ids.suppliers[i].supplierId, s.supplierId);
            QStringList numbers;
            Amount sum;
            for (const UninvoicedBill &b : readUninvoicedBills(db.conn(), s, filter.asOf)) {
                numbers << b.billNo;
                sum += b.open();
            }
            gotBills << numbers.join(u',');
            QCOMPARE(s.open, sum);
            QCOMPARE(s.billCount, numbers.size());
            gotOpen << s.open.toFixed(2);
            readUninvoicedRows(db.conn(), s, filter.asOf, [&](const UninvoicedRow &r) { appendUninvoicedCsv(csv, uninvoicedCsvSupplier(s), r); });
        }
        gotOpen << t.open.toFixed(2);
        QCOMPARE(gotBills.join(u'|'), bills);
        QCOMPARE(gotOpen.join(u','), open);
        QCOMPARE(t.open, t.amount - t.invoiced);

        const QStringList lines = QString::fromUtf8(csv).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.value(0), QStringLiteral("供应商代码,供应商名称,入库单号,日期,金额,已开票金额,未开票金额"));
        QCOMPARE(lines.size(), t.billCount + 1);
        if (!csvLine.isEmpty())
            QVERIFY2(lines.contains(csvLine), qPrintable(lines.join(u'\n')));
        // The sheet: the header, bills and a subtotal per supplier, the total.
        QList<QStringList> sheet;
        uninvoicedSheetRows(db.conn(), t, filter.asOf, [&](const QStringList &r) { sheet << r; });
        QCOMPARE(sheet.size(), t.billCount + int(t.suppliers.size()) + 2);
        QCOMPARE(sheet.last(), uninvoicedTotalCells(t));
    }

    // The report's statements and the editor's list of open bills are
    // answered from the index of open bills alone (on PostgreSQL with
    // sequential scans off, as on a table large enough to matter).
    void plans_data()
    {
        addEngineCaseRows<Plan>({
            {"totals", [](DbEngine e) { return uninvoicedTotalsSql({}, e); }},
            {"suppliers", [](DbEngine e) { return uninvoicedTotalsSql({}, e, false); }},
            {"a supplier's bills", [](DbEngine e) { return uninvoicedBillsSql(true, QDate(2025, 3, 31), e); }},
            {"the editor's open bills", [](DbEngine) { return openStockBillsSql(QStringLiteral("100"), QStringLiteral("1,2")); }},
        });
    }
    void plans()
    {
        QFETCH(DbEngine, engine);
        QFETCH(Plan, row);
        TestDatabase db(engine);
        writeStockBills(db);
        const bool sqlite = engine == DbEngine::SQLite;
        if (!sqlite)
            db.conn().executeNative(QStringLiteral("set enable_seqscan=off"));
        QString sql = translateSql(row.sql(engine), engine);
        if (sqlite) {
            sql.replace(u'?', QStringLiteral("100"));
        } else if (sql.contains(u'?')) {
            // The plan the server keeps for the prepared statement, whatever
            // the supplier.
            db.conn().executeNative(QStringLiteral("prepare bills as ") + numberedPlaceholders(sql));
            db.conn().executeNative(QStringLiteral("set plan_cache_mode=force_generic_plan"));
            sql = QStringLiteral("execute bills(100)");
        }
        const Recordset plan = db.conn().openRecordsetNative((sqlite ? QStringLiteral("explain query plan ") : QStringLiteral("explain ")) + sql);
        QStringList lines;
        for (int r = 0; r < plan.recordCount(); ++r)
            lines << plan.valueAt(r, sqlite ? 3 : 0).toString();
        const QString joined = lines.join(u'\n');
        QVERIFY2(joined.contains(sqlite ? QStringLiteral("COVERING INDEX ix_icstockbill_open") : QStringLiteral("Index Only Scan using ix_icstockbill_open")),
                 qPrintable(joined));
        QVERIFY2(!joined.contains(QStringLiteral("TEMP B-TREE")) && !joined.contains(QStringLiteral("Sort")), qPrintable(joined));
    }

    void form_data() { addEngineRows(); }
    void form()
    {
        QFETCH(DbEngine, engine);
        StartedSession ss(engine, TestDatabase::Content::Demo, smallDemo());
        QCOMPARE(ss.startError, QString());
        QList<QStringList> opened;
        FormLauncher::setStockBillInvoiceOpener([&](const QString &supplier, const QString &bill) { opened << QStringList{supplier, bill}; });
        auto *f = new frmUninvoiced(ss.ts.session());
        QVERIFY(f->cmdQuery_Click());
        const UninvoicedTotals &all = f->totals();
        QAbstractItemModel *m = f->model();
        QCOMPARE(m->rowCount(), int(all.suppliers.size()) + 1); // the total last
        // A supplier's bills are read when it is expanded.
        const UninvoicedSupplier first = all.suppliers.front(); // a copy: the next query replaces the totals
        QCOMPARE(m->rowCount(m->index(0, 0)), 0);
        f->findChild<QTreeView *>(QStringLiteral("vsf1"))->expand(m->index(0, 0));
        QCOMPARE(m->rowCount(m->index(0, 0)), first.billCount);
        const QString firstBill = readUninvoicedBills(ss.conn(), first, Clock::today()).front().stockBillId;

        // A supplier or the total opens nothing; a bill its bill, and the
        // supplier is open again after the totals are read again.
        f->vsf1_DblClick(m->index(0, 0));
        f->vsf1_DblClick(m->index(m->rowCount() - 1, 2));
        QVERIFY(opened.isEmpty());
        f->vsf1_DblClick(m->index(0, 3, m->index(0, 0)));
        QCOMPARE(opened, (QList<QStringList>{{first.supplierId, firstBill}}));
        QCOMPARE(m->rowCount(m->index(0, 0)), first.billCount);

        // The supplier filter.
        f->findChild<QLineEdit *>(QStringLiteral("txtSupplier"))->setText(first.number);
        QVERIFY(f->cmdQuery_Click());
        QCOMPARE(int(f->totals().suppliers.size()), 1);
        QCOMPARE(f->totals().suppliers.front().supplierId, first.supplierId);

        const QString file = ss.ts.folder() + QStringLiteral("/未开票");
        ss.prompts().fileNames.push_back(file);
        f->cmdExcel_Click();
        QCOMPARE(ss.prompts().lastMessage().text, QStringLiteral("导出成功!"));
        QFile book(file + QStringLiteral(".xlsx"));
        QVERIFY(book.open(QIODevice::ReadOnly) && book.read(2) == "PK");
        delete f;
        FormLauncher::setStockBillInvoiceOpener({});
    }
};

QTEST_MAIN(TestUninvoiced)
#include "tst_uninvoiced.moc"
