#include "modules/Session.h"
#include "list/BillStateOperations.h"
#include "support/StartedSession.h"

#include <QTest>

// Two workstations acting on the same bill: the one that comes second must
// notice that the bill changed after its checks, write nothing and name the
// bill, so that no stock bill's invoiced amount moves twice.
class TestConcurrentState : public QObject {
    Q_OBJECT

private slots:
    void secondWorkstation_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("otherStatement"); // what the other workstation did meanwhile
        QTest::addColumn<QString>("message");        // end of the refusal; empty: the operation goes through
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "void after void") << "cancel" << "update tblFP set fcancellation=1 where finterid=%1" << "的单据已经作废!操作不成功";
            engineRow(e, "void after audit") << "cancel" << "update tblFP set fchecker=1,fstatus=1 where finterid=%1" << "的单据已经审核!操作不成功";
            engineRow(e, "delete after void") << "delete" << "update tblFP set fcancellation=1 where finterid=%1" << "的单据作废!操作不成功";
            engineRow(e, "delete after delete") << "delete" << "delete from tblFP  where finterid in (%1)" << "数据读取错误！";
            // Another workstation touching a different bill changes nothing here.
            engineRow(e, "void after a change elsewhere") << "cancel" << "update tblFP set fNote='x' where finterid<>%1" << QString();
        }
    }
    void secondWorkstation()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, operation);
        QFETCH(QString, otherStatement);
        QFETCH(QString, message);
        StartedSession started(engine, TestDatabase::Content::Demo);
        QCOMPARE(started.startError, QString());
        TestDatabase &db = started.db;

        const QString start = session().gPeriodStartDate.toString(QStringLiteral("yyyy-MM-dd"));
        const qint64 bill = db.scalar(QStringLiteral(
            "select min(f.finterid) from tblFP f where f.fstatus=0 and f.fcancellation=0 and f.fdate>='%1' "
            "and exists (select 1 from tblFPEntry e where e.fInterId=f.finterid and e.fHXAmount<>0)").arg(start)).toLongLong();
        QVERIFY(bill > 0);
        const qint64 stock = db.scalar(QStringLiteral("select min(fStockInterId) from tblFPEntry where fInterId=%1 and fHXAmount<>0").arg(bill)).toLongLong();
        auto invoiced = [&] {
            return Amount::fromVariant(db.scalar(QStringLiteral("select fKPAmount from icstockbill where finterid=%1").arg(stock))).toString();
        };
        const QString before = invoiced();

        BillStateOperations ops;
        ops.setSelection(QString::number(bill));
        int calls = 0;
        ops.afterChecks = [&] {
            if (calls++ == 0)
                db.exec(otherStatement.arg(bill));
        };
        const StateOutcome outcome = operation == u"cancel" ? ops.cancelBill() : ops.deleteBill();
        const bool done = outcome.done;
        QVERIFY(!session().gConn);
        if (message.isEmpty()) {
            QVERIFY(done);
            // The stock bill now holds what the remaining valid invoices say.
            QCOMPARE(invoiced(), Amount::fromVariant(db.scalar(QStringLiteral(
                "select sum(e.fHXAmount) from tblFPEntry e inner join tblFP f on f.finterid=e.fInterId "
                "where f.fcancellation=0 and e.fStockInterId=%1").arg(stock))).toString());
            return;
        }
        QVERIFY(!done);
        QCOMPARE(int(outcome.messages.size()), 1);
        QVERIFY2(outcome.messages[0].text.endsWith(message), qPrintable(outcome.messages[0].text));
        // Nothing of ours was written: the stock bill kept its amount, and
        // no number was handed back.
        QCOMPARE(invoiced(), before);
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblBillNoAdd")).toInt(), 0);
    }
};

QTEST_MAIN(TestConcurrentState)
#include "tst_concurrentstate.moc"
