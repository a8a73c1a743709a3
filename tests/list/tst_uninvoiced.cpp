// Received, not yet invoiced: the report over stock bills made for each
// case, and the form over the demo data.
#include "list/UninvoicedBills.h"
#include "list/frmUninvoiced.h"

#include "modules/FormLauncher.h"
#include "support/StartedSession.h"

#include <QFile>
#include <QLineEdit>
#include <QTest>

class TestUninvoiced : public QObject {
    Q_OBJECT

    // Two suppliers; stock bills open, invoiced in full, void, not to be
    // invoiced, of another kind, with null amounts, red.
    static void writeStockBills(TestDatabase &db)
    {
        db.exec(QStringLiteral("insert into tblItem (fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values "
                               "(100,'01','甲,\"商行\"',4,1,0),(101,'02','乙供应商',4,1,0)"));
        db.exec(QStringLiteral(
            "insert into icstockbill (finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) values "
            "(1,'S01','2025-03-05',100,1,0,100,0,1),(2,'S02','2025-03-01',100,1,0,200,50,null),"
            "(3,'S03','2025-03-01',100,1,0,80,80,1),(4,'S04','2025-03-02',100,1,1,70,0,1),(5,'S05','2025-03-02',100,1,0,60,0,0),"
            "(6,'S06','2025-03-02',100,2,0,60,0,1),(7,'S07','2025-04-10',100,1,0,10.01,null,1),"
            "(8,'R01','2025-03-03',101,1,0,-40,-10,1),(9,'S09','2025-03-01',101,1,0,33.33,null,null)"));
    }

private slots:
    void report_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("supplier");
        QTest::addColumn<QString>("asOf");
        QTest::addColumn<QString>("bills");      // per supplier, "|" between suppliers
        QTest::addColumn<QString>("open");       // per supplier, then the overall total
        QTest::addColumn<QString>("csvLine");    // a line the CSV holds
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "all") << "" << "" << "S02,S01,S07|S09,R01" << "260.01,3.33,263.34"
                                << "01,\"甲,\"\"商行\"\"\",S02,2025-03-01,200.00,50.00,150.00";
            engineRow(e, "as of a day") << "" << "2025-03-31" << "S02,S01|S09,R01" << "250.00,3.33,253.33"
                                        << "02,乙供应商,R01,2025-03-03,-40.00,-10.00,-30.00";
            engineRow(e, "as of the first") << "" << "2025-03-01" << "S02|S09" << "150.00,33.33,183.33" << "";
            engineRow(e, "one supplier") << " 02 " << "" << "S09,R01" << "3.33,3.33" << "02,乙供应商,S09,2025-03-01,33.33,0.00,33.33";
            engineRow(e, "code with a quote") << "0'1" << "" << "" << "0.00" << "";
        }
    }
    void report()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, supplier);
        QFETCH(QString, asOf);
        QFETCH(QString, bills);
        QFETCH(QString, open);
        QFETCH(QString, csvLine);
        TestDatabase db(engine);
        writeStockBills(db);
        const UninvoicedReport r = readUninvoiced(db.conn(), {supplier, QDate::fromString(asOf, Qt::ISODate)});
        QStringList gotBills, gotOpen;
        int count = 0;
        for (const UninvoicedSupplier &s : r.suppliers) {
            QStringList numbers;
            Amount sum;
            for (const UninvoicedBill &b : s.bills) {
                numbers << b.billNo;
                sum += b.open();
            }
            gotBills << numbers.join(u',');
            QCOMPARE(s.open, sum);
            gotOpen << s.open.toFixed(2);
            count += int(s.bills.size());
        }
        gotOpen << r.open.toFixed(2);
        QCOMPARE(gotBills.join(u'|'), bills);
        QCOMPARE(gotOpen.join(u','), open);
        QCOMPARE(r.open, r.amount - r.invoiced);

        const QStringList csv = QString::fromUtf8(uninvoicedCsv(r)).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(csv.value(0), QStringLiteral("供应商代码,供应商名称,入库单号,日期,金额,已开票金额,未开票金额"));
        QCOMPARE(csv.size(), count + 1);
        if (!csvLine.isEmpty())
            QVERIFY2(csv.contains(csvLine), qPrintable(csv.join(u'\n')));
    }

    void form_data() { addEngineRows(); }
    void form()
    {
        QFETCH(DbEngine, engine);
        StartedSession ss(engine, TestDatabase::Content::Demo, smallDemo());
        QCOMPARE(ss.startError, QString());
        QList<QStringList> opened;
        FormLauncher::setStockBillInvoiceOpener([&](const QString &supplier, const QString &bill) { opened << QStringList{supplier, bill}; });
        auto *f = new frmUninvoiced;
        QVERIFY(f->cmdQuery_Click());
        const UninvoicedReport &all = f->report();
        QVERIFY(all.billCount > 0);
        // A line per bill, a subtotal per supplier, the total.
        QCOMPARE(int(f->lines().size()), all.billCount + int(all.suppliers.size()) + 1);

        // A subtotal line opens nothing; a bill line its bill.
        const UninvoicedSupplier &first = all.suppliers.front();
        f->vsf1_DblClick(int(first.bills.size()));
        QVERIFY(opened.isEmpty());
        const QString firstBill = first.bills.front().stockBillId;
        const QString firstSupplier = first.supplierId;
        const QString firstNumber = first.number;
        f->vsf1_DblClick(0);
        QCOMPARE(opened, (QList<QStringList>{{firstSupplier, firstBill}}));

        // The supplier filter.
        f->findChild<QLineEdit *>(QStringLiteral("txtSupplier"))->setText(firstNumber);
        QVERIFY(f->cmdQuery_Click());
        QCOMPARE(int(f->report().suppliers.size()), 1);
        QCOMPARE(f->report().suppliers.front().supplierId, firstSupplier);

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
