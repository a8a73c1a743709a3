#include "support/TestDatabase.h"

#include "platform/DbError.h"
#include "sql/DatabaseSetup.h"

#include <QTest>

#include <memory>

namespace {

// A few rows in the module's own dialect: two invoices, one matched against
// two stock bills, a supplier, a department, three goods codes, users and
// periods.
const char *const kFixture[] = {
    "insert into tblUser(fuserid,fname,fisadmin) values(1,'管理员',1)",
    "insert into tblUser(fuserid,fname,fisadmin) values(3,'李主管',0)",
    "insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(10,'04.001','苏州恒通五金制品有限公司',4,1,0)",
    "insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(20,'02.01','采购部',2,1,0)",
    "insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail) values(30,'03.0001','六角螺栓',3,1)",
    "insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(31,'03.0002','铜芯电线',3,1,0)",
    "insert into tblItem(fitemid,fnumber,fname,fitemclassid,fisdetail,fislock) values(32,'03.0003','封箱胶带',3,1,1)",
    "update tblItem set fislock=null where fitemid=30",
    "insert into icitem(fitemid,fnumber,fname,fModel,fUnit,fInPrice,fOutPrice,fH) values(31,'03.0002','铜芯电线','BV2.5','卷',12.5,15,10)",
    "insert into icitem(fitemid,fnumber,fname,fModel,fInPrice) values(32,'03.0003','封箱胶带','48mm',3.2)",
    "insert into tblFP(finterid,fbillno,fstatus,fchecker,fcancellation,fyear,fperiod,fdate,fOperator,ftrantype,frob,fAmount,"
    "fbillNumber,fSupplyId,fDeptId,fInvoiceNo) values(1,'CGFP2024030001',1,3,0,2024,3,'2024-03-15',1,71,0,100.5,'0001',10,20,'00012345')",
    "insert into tblFP(finterid,fbillno,fstatus,fchecker,fcancellation,fyear,fperiod,fdate,fOperator,ftrantype,frob,fAmount,"
    "fEndAmount,fbillNumber,fSupplyId,fDeptId,fInvoiceNo,fNote) values(2,'CGFP2024040002',0,0,0,2024,4,'2024-04-02',1,71,0,300,"
    "120.25,'0002',10,0,'00012346','备注')",
    "insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) values(7,'WIN000007','2024-03-01',10,1,0,80,80,null)",
    "insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount,fKPAmount,fISKP) values(8,'WIN000008','2024-03-02',10,1,0,90.25,40.25,1)",
    "insert into icstockbill(finterid,fbillno,fdate,fsupplyid,ftrantype,fcancellation,fAllAmount) values(9,'WIN000009','2024-03-03',10,1,0,55)",
    "insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values(2,1,7,80)",
    "insert into tblFPEntry(fInterId,fEntryId,fStockInterId,fHXAmount) values(2,2,8,40.25)",
    "insert into tblPeriod(fYear,fPeriod,fstartdate) values(2024,3,null)",
    "insert into tblPeriod(fYear,fPeriod,fstartdate) values(2024,4,'2024-04-01')",
};

// Compares one value as the module reads it: a number as an amount that is
// not NULL (PostgreSQL gives 120.2500 where SQLite gives 120.25), an invalid
// value wants NULL, anything else is compared as text.
void compareValue(const Recordset &rs, const QString &column, const QVariant &expected)
{
    if (!expected.isValid()) {
        QVERIFY2(rs.isNull(column), qPrintable(rs.text(column)));
    } else if (expected.typeId() == QMetaType::Int || expected.typeId() == QMetaType::Double) {
        QVERIFY2(!rs.isNull(column), qPrintable(column));
        QCOMPARE(rs.amount(column), Amount::fromDouble(expected.toDouble()));
    } else {
        QCOMPARE(rs.text(column), expected.toString());
    }
}

QStringList catalogueObjects(Connection &conn, bool views)
{
    QStringList names;
    Recordset rs = conn.engine() == DbEngine::SQLite
        ? conn.openRecordsetNative(QStringLiteral("select name from sqlite_master where type=? and name not like 'sqlite%'"),
                                   {views ? QStringLiteral("view") : QStringLiteral("table")})
        : conn.openRecordsetNative(QStringLiteral("select table_name as name from information_schema.tables "
                                                  "where table_schema='public' and table_type=?"),
                                   {views ? QStringLiteral("VIEW") : QStringLiteral("BASE TABLE")});
    for (; !rs.eof(); rs.moveNext())
        names << rs.text(QStringLiteral("name")).toLower();
    return names;
}

// Name and definition of every index the schema made (not the engines' own
// indexes of primary keys), sorted.
QStringList indexDefinitions(Connection &conn)
{
    QStringList defs;
    Recordset rs = conn.engine() == DbEngine::SQLite
        ? conn.openRecordsetNative(QStringLiteral("select name, sql as def from sqlite_master where type='index' and sql is not null"))
        : conn.openRecordsetNative(QStringLiteral("select indexname as name, indexdef as def from pg_indexes where schemaname='public' "
                                                  "and indexname not like '%_pkey'"));
    for (; !rs.eof(); rs.moveNext())
        defs << rs.text(QStringLiteral("name")).toLower() + u'|' + rs.text(QStringLiteral("def")).simplified();
    defs.sort();
    return defs;
}

} // namespace

class TestSchema : public QObject {
    Q_OBJECT

    // One database per engine with the fixture, shared by the read-only
    // tests. On PostgreSQL every TestDatabase of the process uses the same
    // database, so a test that needs its own must release this one first.
    std::unique_ptr<TestDatabase> m_shared;

    TestDatabase &shared(DbEngine engine)
    {
        if (!m_shared || m_shared->engine() != engine) {
            m_shared.reset();
            m_shared = std::make_unique<TestDatabase>(engine, TestDatabase::Content::Schema);
            for (const char *sql : kFixture)
                m_shared->exec(QString::fromUtf8(sql));
        }
        return *m_shared;
    }

private slots:
    // One value (column v) of a statement on the fixture: the module's
    // functions and dialect on real columns, and what the views add. The
    // goods view lists class-3 codes only, with or without attributes; the
    // bill view gives one row per bill whatever its lookups hold, with the
    // unmatched amount; the print view gives one row per entry in line
    // order, and one row for a bill without entries so that its header prints.
    void values_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QVariant>("expected");
        const QList<std::tuple<const char *, const char *, QVariant>> cases = {
            {"isnull2-null-amount", "select isnull(fEndAmount,0) as v from tblFP where finterid=1", 0},
            {"isnull2-amount", "select isnull(fEndAmount,0) as v from tblFP where finterid=2", 120.25},
            {"isnull2-plus-negative", "select isnull(fEndAmount,0)+-20.25 as v from tblFP where finterid=2", 100},
            {"isnull2-null-text", "select isnull(fNote,'') as v from tblFP where finterid=1", QString()},
            {"isnull2-date", "select isnull(fstartdate,'1900-01-01') as v from tblPeriod where fYear=2024 and fPeriod=3", QStringLiteral("1900-01-01")},
            {"isnull2-date-set", "select isnull(fstartdate,'1900-01-01') as v from tblPeriod where fYear=2024 and fPeriod=4", QStringLiteral("2024-04-01")},
            {"isnull2-compare", "select count(*) as v from icstockbill where isnull(fAllAmount,0)<>isnull(fKPAmount,0) and isnull(fISKP,1)=1", 2},
            {"isnull1-true", "select iif(isnull(fNote)=true,'空',fNote) as v from tblFP where finterid=1", QStringLiteral("空")},
            {"isnull1-false", "select iif(isnull(fNote)=true,'空',fNote) as v from tblFP where finterid=2", QStringLiteral("备注")},
            {"year", "select year(fdate) as v from tblFP where finterid=1", 2024},
            {"year-of-null", "select year(fstartdate) as v from tblPeriod where fYear=2024 and fPeriod=3", QVariant()},
            {"isnull1-date", "select count(*) as v from tblPeriod where isnull(fstartdate)=true", 1},
            {"date-parts-where", "select count(*) as v from tblFP where year(fdate)=2024 and month(fdate)=4 and day(fdate)=2", 1},
            {"top", "select top 1 fbillno as v from tblFP order by finterid desc", QStringLiteral("CGFP2024040002")},
            {"top-subselect", "select count(*) as v from (select top 1 finterid from tblFPEntry order by fEntryId) as a", 1},
            {"matching-partial", "select count(*) as v from vPurFP where 1=1 and isnull(fEndAmount,0)<>0 and "
                                 "abs(isnull(fAmount,0))>abs(isnull(fEndAmount,0))", 1},
            {"date-compare", "select count(*) as v from tblFP where fdate>='2024-03-15'   and fdate<='2024-03-31' ", 1},
            {"goods-class-3-only", "select count(*) as v from vICItem", 3},
            {"goods-without-attributes", "select fmodel as v from vICItem where fitemid=30", QVariant()},
            {"goods-attributes", "select fmodel as v from vICItem where fitemid=31", QStringLiteral("BV2.5")},
            {"goods-lock", "select fislock as v from vICItem where fitemid=32", 1},
            {"bill-supplier", "select fSupplyIdNumber as v from vPurFP where finterid=1", QStringLiteral("04.001")},
            {"bill-supplier-name", "select fSupplyIdName as v from vPurFP where finterid=1", QStringLiteral("苏州恒通五金制品有限公司")},
            {"bill-department", "select fDeptIdName as v from vPurFP where finterid=1", QStringLiteral("采购部")},
            {"bill-operator", "select fOperatorName as v from vPurFP where finterid=1", QStringLiteral("管理员")},
            {"bill-checker", "select fCheckerName as v from vPurFP where finterid=1", QStringLiteral("李主管")},
            {"bill-unmatched-whole", "select fNoHXAmount as v from vPurFP where finterid=1", 100.5},
            {"bill-no-department", "select fDeptIdName as v from vPurFP where finterid=2", QString()},
            {"bill-not-audited", "select fCheckerName as v from vPurFP where finterid=2", QString()},
            {"bill-unmatched-part", "select fNoHXAmount as v from vPurFP where finterid=2", 179.75},
            {"bill-one-row-each", "select count(*) as v from vPurFP", 2},
            {"print-entries", "select count(*) as v from vPurFPPrint where finterid=2", 2},
            {"print-second-line", "select fStockBillNo as v from vPurFPPrint where finterid=2 and forderid=2", QStringLiteral("WIN000008")},
            {"print-stock-date", "select fStockDate as v from vPurFPPrint where finterid=2 and forderid=1", QStringLiteral("2024-03-01")},
            {"print-no-entries", "select count(*) as v from vPurFPPrint where finterid=1", 1},
            {"print-no-entries-header", "select fCheckerName as v from vPurFPPrint where finterid=1 and fStockBillNo is null", QStringLiteral("李主管")},
        };
        for (DbEngine e : TestDatabase::engines())
            for (const auto &[tag, sql, expected] : cases)
                QTest::newRow(qPrintable(engineTag(e, QString::fromLatin1(tag)))) << e << QString::fromUtf8(sql) << expected;
    }

    void values()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, sql);
        QFETCH(QVariant, expected);
        Recordset rs;
        try {
            rs = shared(engine).conn().openRecordset(sql);
        } catch (const DbError &e) {
            QFAIL(qPrintable(e.description()));
        }
        QCOMPARE(rs.recordCount(), 1);
        compareValue(rs, QStringLiteral("v"), expected);
    }

    // Bill numbers are unique; a second bill with the same number is refused.
    void billNumberIsUnique_data() { addEngineRows(); }
    void billNumberIsUnique()
    {
        QFETCH(DbEngine, engine);
        TestDatabase &db = shared(engine);
        QVERIFY_THROWS_EXCEPTION(DbError, db.exec(QStringLiteral(
            "insert into tblFP(finterid,fbillno,fstatus,fcancellation,fdate,ftrantype,frob,fAmount) "
            "values(3,'CGFP2024030001',0,0,'2024-03-20',71,0,1)")));
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblFP")).toInt(), 2);
    }

    // Dropping removes every object (and on PostgreSQL the functions), so
    // the script runs again on the same database.
    void dropAndCreateAgain_data() { addEngineRows(); }
    void dropAndCreateAgain()
    {
        QFETCH(DbEngine, engine);
        m_shared.reset();
        TestDatabase db(engine, TestDatabase::Content::Schema);
        Connection &conn = db.conn();
        db.exec(QStringLiteral("insert into tblUser(fuserid,fname,fisadmin) values(1,'管理员',1)"));

        DatabaseSetup::dropSchema(conn);
        QVERIFY(catalogueObjects(conn, false).isEmpty());
        QVERIFY(catalogueObjects(conn, true).isEmpty());
        if (engine == DbEngine::PostgreSQL)
            QVERIFY_THROWS_EXCEPTION(DbError, conn.openRecordset(QStringLiteral("select isnull(1,2) as v")));

        DatabaseSetup::createSchema(conn);
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblUser")).toInt(), 0);
        QCOMPARE(db.scalar(QStringLiteral("select isnull(null,7)")).toInt(), 7);
    }

    // A database whose indexes are missing or were made by another version
    // gets exactly the indexes a new database has; its rows stay.
    void rebuildIndexes_data() { addEngineRows(); }
    void rebuildIndexes()
    {
        QFETCH(DbEngine, engine);
        m_shared.reset();
        TestDatabase db(engine, TestDatabase::Content::Schema);
        Connection &conn = db.conn();
        const QStringList expected = indexDefinitions(conn);
        db.exec(QStringLiteral("insert into tblUser(fuserid,fname,fisadmin) values(1,'管理员',1)"));
        conn.executeNative(QStringLiteral("drop index ix_tblFP_fdate"));
        conn.executeNative(QStringLiteral("drop index ix_icstockbill_open"));
        conn.executeNative(QStringLiteral("create index ix_icstockbill_open on icstockbill(fdate)"));
        QVERIFY(indexDefinitions(conn) != expected);

        QCOMPARE(DatabaseSetup::rebuildIndexes(conn), int(expected.size()));
        QCOMPARE(indexDefinitions(conn), expected);
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tblUser")).toInt(), 1);
    }

    // The one schema source becomes each engine's script: type words map to
    // the engine's types (amounts stay exact), the other engine's blocks go,
    // comments keep their words, and a malformed source is refused.
    void engineSchemaScript_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("sqlite"); // empty: refused
        QTest::addColumn<QString>("postgresql");
        const QList<std::tuple<const char *, const char *, const char *, const char *>> cases = {
            {"type-words", "create table t (a @amount, d @date not null, b @bytes);",
             "create table t (a numeric, d text not null, b blob);",
             "create table t (a numeric(19,4), d date not null, b bytea);"},
            {"plain-kept", "create table t (id integer primary key, s text default 'x');\n",
             "create table t (id integer primary key, s text default 'x');\n",
             "create table t (id integer primary key, s text default 'x');\n"},
            {"word-in-comment", "    fAll    @amount,  -- @amount, @nonsense", "    fAll    numeric,  -- @amount, @nonsense",
             "    fAll    numeric(19,4),  -- @amount, @nonsense"},
            {"engine-blocks", "a;\n-- @postgresql\ncreate function f() $$ x $$;\n-- @end\n  --@sqlite  \ns;\n--@end\nb;",
             "a;\ns;\nb;", "a;\ncreate function f() $$ x $$;\nb;"},
            {"unknown-word", "create table t (a @money);", "", ""},
            {"unknown-marker", "-- @mysql\nx;\n-- @end", "", ""},
            {"unclosed-block", "-- @sqlite\nx;", "", ""},
            {"nested-block", "-- @sqlite\n-- @postgresql\n-- @end\n-- @end", "", ""},
            {"stray-end", "x;\n-- @end", "", ""},
        };
        for (const auto &[tag, source, sqlite, pg] : cases)
            QTest::newRow(tag) << QString::fromUtf8(source) << QString::fromUtf8(sqlite) << QString::fromUtf8(pg);
    }

    void engineSchemaScript()
    {
        QFETCH(QString, source);
        QFETCH(QString, sqlite);
        QFETCH(QString, postgresql);
        for (const auto &[engine, expected] : {std::pair{DbEngine::SQLite, sqlite}, std::pair{DbEngine::PostgreSQL, postgresql}}) {
            if (expected.isEmpty()) {
                QVERIFY_THROWS_EXCEPTION(DbError, DatabaseSetup::engineSchemaScript(source, engine));
                continue;
            }
            QString script;
            try {
                script = DatabaseSetup::engineSchemaScript(source, engine);
            } catch (const DbError &e) {
                QFAIL(qPrintable(e.description()));
            }
            QCOMPARE(script, expected);
        }
    }

    void cleanupTestCase() { m_shared.reset(); }
};

QTEST_GUILESS_MAIN(TestSchema)
#include "tst_schema.moc"
