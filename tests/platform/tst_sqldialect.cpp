#include "platform/SqlDialect.h"

#include <QTest>

class TestSqlDialect : public QObject {
    Q_OBJECT
private slots:
    void translate_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("sqlite");
        QTest::addColumn<QString>("postgres");
        QTest::newRow("top at the head")
            << "select top 20000 * from vPurFP where 1=1  order by fdate,fbillno,finterid"
            << "select * from vPurFP where 1=1  order by fdate,fbillno,finterid limit 20000"
            << "select * from vPurFP where 1=1  order by fdate,fbillno,finterid limit 20000";
        QTest::newRow("top with trailing blank")
            << "select top 1 * from tblBillNoAdd where fTypeId=71 order by finterid "
            << "select * from tblBillNoAdd where fTypeId=71 order by finterid limit 1"
            << "select * from tblBillNoAdd where fTypeId=71 order by finterid limit 1";
        QTest::newRow("top in a sub-select")
            << "select * from (select top 3 finterid from tblFP order by finterid) as a"
            << "select * from (select finterid from tblFP order by finterid limit 3) as a"
            << "select * from (select finterid from tblFP order by finterid limit 3) as a";
        QTest::newRow("isnull two arguments")
            << "update icstockbill set fKPAmount=isnull(fKPAmount,0)+-12.5 where finterid=3"
            << "update icstockbill set fKPAmount=vb_isnull(fKPAmount,0)+-12.5 where finterid=3"
            << "update icstockbill set fKPAmount=isnull(fKPAmount,0)+-12.5 where finterid=3";
        QTest::newRow("isnull inside iif, upper case, blank before bracket")
            << "select iif(ISNULL (a.fbatchno)=true,'',a.fbatchno) as fbatchno from tblTimeStock as a"
            << "select iif(vb_isnull (a.fbatchno)=true,'',a.fbatchno) as fbatchno from tblTimeStock as a"
            << "select iif(ISNULL (a.fbatchno)=true,'',a.fbatchno) as fbatchno from tblTimeStock as a";
        // Rows that neither engine changes.
        for (const char *same : {"select * from tblFP where fNote='select top 5 isnull(x)' and fbillno like '%isnull(%' ",
                                 "select fisnull, isnullx(1), a.isnull from t", "select top from t",
                                 "delete from tblFP  where finterid in (1,2)"})
            QTest::newRow(same) << same << same << same;
    }
    void translate()
    {
        QFETCH(QString, sql);
        QFETCH(QString, sqlite);
        QFETCH(QString, postgres);
        QCOMPARE(translateSql(sql, DbEngine::SQLite), sqlite);
        QCOMPARE(translateSql(sql, DbEngine::PostgreSQL), postgres);
    }
};

QTEST_GUILESS_MAIN(TestSqlDialect)
#include "tst_sqldialect.moc"
