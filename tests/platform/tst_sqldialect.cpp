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
        QTest::newRow("quoted text untouched")
            << "select * from tblFP where fNote='select top 5 isnull(x)' and fbillno like '%isnull(%' "
            << "select * from tblFP where fNote='select top 5 isnull(x)' and fbillno like '%isnull(%' "
            << "select * from tblFP where fNote='select top 5 isnull(x)' and fbillno like '%isnull(%' ";
        QTest::newRow("doubled quote inside text")
            << "select * from t where a='it''s isnull(' and isnull(b,0)=0"
            << "select * from t where a='it''s isnull(' and vb_isnull(b,0)=0"
            << "select * from t where a='it''s isnull(' and isnull(b,0)=0";
        QTest::newRow("column merely named like the function")
            << "select fisnull, isnullx(1), a.isnull from t"
            << "select fisnull, isnullx(1), a.isnull from t"
            << "select fisnull, isnullx(1), a.isnull from t";
        QTest::newRow("top without a number is left alone")
            << "select top from t"
            << "select top from t"
            << "select top from t";
        QTest::newRow("no change")
            << "delete from tblFP  where finterid in (1,2)"
            << "delete from tblFP  where finterid in (1,2)"
            << "delete from tblFP  where finterid in (1,2)";
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
