#include "platform/Connection.h"
#include "platform/DbError.h"
#include "support/TestDatabase.h"

#include <QTest>

#include <map>
#include <memory>

// Every shape of statement the module sends, run unchanged through the
// dialect layer on the demo database of each engine. Both engines hold the
// same generated data, so where PostgreSQL is configured each query must
// also give the same rows on both.
class TestStatementShapes : public QObject {
    Q_OBJECT

    std::map<DbEngine, std::unique_ptr<TestDatabase>> m_db;

    // Cell text that means the same on both engines: amounts compared as
    // exact decimals, Booleans as 0/1, dates as yyyy-MM-dd.
    static QString normalised(const QVariant &v)
    {
        if (v.typeId() == QMetaType::Bool)
            return v.toBool() ? QStringLiteral("1") : QStringLiteral("0");
        const QString text = Recordset::variantText(v);
        // Codes such as '0009' are text, not numbers.
        const bool codeLike = text.size() > 1 && text[0] == u'0' && text[1].isDigit();
        if (const auto amount = Amount::parse(text); amount && !codeLike && !text.contains(u','))
            return amount->toString();
        return text;
    }
    static QStringList rows(Recordset &rs)
    {
        QStringList out;
        for (rs.moveFirst(); !rs.eof(); rs.moveNext()) {
            QStringList cells;
            for (int c = 0; c < rs.fieldCount(); ++c)
                cells << normalised(rs.value(c));
            out << cells.join(u'|');
        }
        // Engines order ties and nulls differently; the rows must agree, not their order.
        out.sort();
        return out;
    }

private slots:
    void initTestCase()
    {
        for (DbEngine e : TestDatabase::engines())
            m_db[e] = std::make_unique<TestDatabase>(e, TestDatabase::Content::Demo);
    }
    void cleanupTestCase() { m_db.clear(); }

    void queries_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<int>("minimumRows");
        QTest::newRow("list: top, year/month, isnull, abs")
            << "select top 20000 * from vPurFP where 1=1  and ( fbillno like '%0%' escape '\\'  and fAmount >0) and year(fdate)>=2000"
               " and fstatus=0 and fcancellation=0 and isnull(fEndAmount,0)<>0 and abs(isnull(fAmount,0))>abs(isnull(fEndAmount,0))"
               " order by fdate,fbillno,finterid" << 1;
        QTest::newRow("list: matched in full, odd blanks")
            << "select top 20000 * from vPurFP where 1=1  and    abs(isnull(fAmount,0))<=abs(isnull(fEndAmount,0))  order by fdate,fbillno,finterid" << 1;
        QTest::newRow("list: simple page dates and like")
            << "select top 20000 * from vPurFP where 1=1  and ( fdate>='2000-01-01'   and fdate<='2100-12-31'  and fSupplyIdName like '%公司%' escape '\\'  ) order by fdate,fbillno,finterid" << 1;
        QTest::newRow("list: text is null, is not null")
            << "select top 20000 * from vPurFP where 1=1  and ( fInvoiceNo  is not null  or fNote  is null ) order by fdate,fbillno,finterid" << 1;
        QTest::newRow("list: red, unmatched")
            << "select top 20000 * from vPurFP where 1=1  and frob=1 and isnull(fEndAmount,0)=0  order by fdate,fbillno,finterid" << 0;
        QTest::newRow("released number, top 1")
            << "select top 1 * from tblBillNoAdd where fTypeId=71 order by finterid" << 0;
        QTest::newRow("batches: iif over one-argument isnull")
            << "select a.fqty,iif(isnull(a.fbatchno)=true,'',a.fbatchno) as fbatchno,b.fname as fUnitName from tblTimeStock as a"
               " left  join tblMeasureUnit as b on a.funitid=b.fitemid  where a.fitemid=(select min(fitemid) from tblTimeStock) order by a.fbatchno " << 1;
        QTest::newRow("goods lookup: parenthesised joins")
            << "select a.*,b.fA as fA1,b.fB as fB1,b.fC as fC1,b.fD as fD1,b.fE as fE1,b.fF as fF1,b.fG as fG1"
               ",b.fH as fH1,c.fNumber as fHNumber1,c.fname as fHName1,isnull(b.fUnit,'') as fUnit   from ((vICItem as a "
               " left outer join icitem as b on a.fitemid=b.fitemid)  left outer join tblitem as c on b.fH=c.fitemid) where a.fislock=0 "
               " and a.fNumber<>''" << 1;
        QTest::newRow("basic data lookup")
            << "select * from tblItem where fitemclassid=4 and fisdetail=1  and fislock=0 and fNumber<>''" << 1;
        QTest::newRow("editor entries: derived table")
            << "select a.fHXAmount1,isnull(b.fbillno,'') as fbillno,b.finterid,b.fdate,isnull(b.fAllAmount,0) as fAllAmount,isnull(b.fKPAmount,0) as fKPAmount from "
               " (select fHXAmount as fHXAmount1,isnull(fStockInterId,0) as fStockInterId,fentryid from tblFPEntry where fInterId=(select min(fInterId) from tblFPEntry)) as a"
               " left outer join icstockbill as b on    a.fStockInterId=b.finterid  order by a.fentryid " << 1;
        QTest::newRow("open stock bills of a supplier")
            << "select finterid,fbillno,isnull(fAllAmount,0) as fAllAmount,isnull(fKPAmount,0) as fKPAmount,fdate from icstockbill where fsupplyid="
               "(select min(fsupplyid) from icstockbill) and ftrantype=1 and fcancellation=0 and isnull(fAllAmount,0)<>isnull(fKPAmount,0) and isnull(fISKP,1)=1  "
               " and finterid not in (1,2)  order by fdate " << 1;
        QTest::newRow("period start, isnull with a date")
            << "select isnull(fstartdate,'1900-01-01') as fstartdate from tblPeriod where fYear=(select max(fYear) from tblPeriod) and fPeriod=1" << 1;
        QTest::newRow("default template") << "select * from tblBillPrint where ftypeid=71 and isnull(fisdefault,1)=1 " << 1;
        QTest::newRow("scheme id") << " select isnull(max(finterid),0) as finterid from tblProject " << 1;
        QTest::newRow("scheme rows, quoted number") << "select * from tblprojectEntry where finterid=1 and ftype='71' order by fline " << 0;
        QTest::newRow("stored condition") << "select isnull(fsql,'') as fsql from tblFindSeek where fuserid=1 and ftypeid=71" << 0;
        QTest::newRow("query catalogue") << "select a.*,isnull(b.fItemType,0) as fItemType from tblFindInfoentry2 as a "
                                            " left outer join tblItemclass as b on a.fitemclassid=b.fitemclassid  where a.ftypeid=71 order by a.fentryid" << 4;
        QTest::newRow("privilege, double blanks") << "select fuserid from tblUserPrivillenge  where fuserid=2  and fNumber='Q01'" << 1;
    }
    void queries()
    {
        QFETCH(QString, sql);
        QFETCH(int, minimumRows);
        QStringList reference;
        bool first = true;
        for (auto &[engine, db] : m_db) {
            Recordset rs;
            try {
                rs = db->conn().openRecordset(sql);
            } catch (const DbError &e) {
                QFAIL(qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(TestDatabase::engineName(engine)), e.description())));
            }
            QVERIFY2(rs.recordCount() >= minimumRows, TestDatabase::engineName(engine));
            const QStringList got = rows(rs);
            if (first)
                reference = got;
            else
                QCOMPARE(got, reference);
            first = false;
        }
    }

    void writes_data()
    {
        QTest::addColumn<QStringList>("statements");
        QTest::addColumn<QString>("check");   // query after the writes
        QTest::addColumn<QString>("expected"); // its first row, cells joined by |
        QTest::newRow("amounts with +-")
            << QStringList{"update icstockbill set fKPAmount=0 where finterid=1",
                           "update icstockbill set fKPAmount=isnull(fKPAmount,0)+33.33 where finterid=1",
                           "update icstockbill set fKPAmount=isnull(fKPAmount,0)+-0.11 where finterid=1",
                           "update icstockbill set fkpamount=isnull(fkpamount,0)+-33.22 where finterid=1"}
            << "select isnull(fKPAmount,0) as a from icstockbill where finterid=1 and isnull(fKPAmount,0)=isnull(0,0)" << "0";
        QTest::newRow("header insert and update, entries")
            << QStringList{"insert into tblFP(finterid,fstatus,fcancellation,fSupplyId,fDeptId,fInvoiceNo,fNote,fdate,fOperator,ftrantype,fyear,fperiod,frob,fAmount,fbillNumber,fbillno) "
                           "values(900001,0,0,0,0,'NO.1','备注','2026-11-22',1,71,2026,11,0,100.5,'9001','CGFP9001') ",
                           "update tblFP set fdate='2026-11-21',fbillno='CGFP9001',fOperator=1,fAmount=120,fInvoiceNo='NO.2',fNote='改',fSupplyId=0,fDeptId=0 where finterid=900001",
                           "insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values(900001,1,1,0)",
                           "update tblFP set fEndAmount=isnull(fEndAmount,0)+12.5 where finterid=900001",
                           "update tblFP set fEndAmount=isnull(fEndAmount,0)+-2.5 where finterid=900001"}
            << "select fdate,fInvoiceNo,fAmount,fEndAmount from tblFP where finterid=900001" << "2026-11-21|NO.2|120|10";
        QTest::newRow("numbers released and taken")
            << QStringList{"insert into tblBillNoAdd(finterid,ftypeid) values('0012',71)",
                           "insert into tblBillNoAdd(finterid,ftypeid) values('0009',71)",
                           "delete from tblBillNoAdd where  fTypeId=71 and finterid='0012'",
                           "update tblMaxBillNo set fbillno=fbillno+1 where ftypeid=71"}
            << "select top 1 * from tblBillNoAdd where fTypeId=71 order by finterid" << "0009|71";
        QTest::newRow("audit, un-audit, void in lists")
            << QStringList{"update tblFP set fchecker=1,fstatus=1 where finterid in (1,2)",
                           "update tblFP set fchecker=0,fstatus=0 where finterid in (2)",
                           "update tblFP set fcancellation=1 where finterid in (2)"}
            << "select fstatus,fcancellation from tblFP where finterid in (2)" << "0|1";
        QTest::newRow("delete with double blanks")
            << QStringList{"delete from tblFP  where finterid in (3)", "delete from tblFPentry  where finterid in (3)"}
            << "select count(*) as n from tblFPEntry where finterid=3" << "0";
        QTest::newRow("grid layout rows")
            << QStringList{"delete from t_GS_tableinfo where ftablename='g' and ftype=0 ",
                           "insert into t_GS_tableinfo(ftablename,fwidth,fsequence,ftype) values('g',120,0,0)",
                           "delete from t_GS_tableInfo where ftablename='g' and ftype=5"}
            << "select fsequence,fwidth from t_GS_tableInfo where ftablename='g' and ftype=0 order by fsequence " << "0|120";
    }
    void writes()
    {
        QFETCH(QStringList, statements);
        QFETCH(QString, check);
        QFETCH(QString, expected);
        for (auto &[engine, db] : m_db) {
            Connection &c = db->conn();
            c.beginTrans();
            try {
                for (const QString &sql : statements)
                    c.execute(sql);
                Recordset rs = c.openRecordset(check);
                const QStringList got = rows(rs);
                c.rollbackTrans();
                QCOMPARE(got.value(0), expected);
            } catch (const DbError &e) {
                c.rollbackTrans();
                QFAIL(qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(TestDatabase::engineName(engine)), e.description())));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestStatementShapes)
#include "tst_statementshapes.moc"
