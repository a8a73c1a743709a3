#include "platform/Connection.h"
#include "platform/DbError.h"
#include "support/TestDatabase.h"

#include <QTest>

// The connection layer on its own: strings, opening, recordsets,
// transactions and the SQLite functions, on a small table of its own.
class TestConnection : public QObject {
    Q_OBJECT

    static void makeTable(Connection &c)
    {
        const bool pg = c.engine() == DbEngine::PostgreSQL;
        c.executeNative(QStringLiteral("create table tAmounts(fid integer primary key, fName varchar(50), fAmt %1, fDate %2, fBlob %3)")
                            .arg(pg ? "numeric(19,4)" : "numeric", pg ? "date" : "text", pg ? "bytea" : "blob"));
    }

private slots:
    void parseConnectionString_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("canonical"); // empty: must fail
        QTest::newRow("sqlite") << "Driver=SQLite;Database=/tmp/a.db" << "Driver=SQLite;Database=/tmp/a.db";
        QTest::newRow("keys any case, blanks, trailing ;") << " driver = sqlite ; DATABASE=/x.db ;" << "Driver=SQLite;Database=/x.db";
        QTest::newRow("postgres defaults")
            << "Driver=PostgreSQL;Database=purfp;Uid=u" << "Driver=PostgreSQL;Server=localhost;Port=5432;Database=purfp;Uid=u;Pwd=";
        QTest::newRow("postgres full")
            << "Driver=postgres;Server=db;Port=6000;Database=d;User Id=u;Password=p" << "Driver=PostgreSQL;Server=db;Port=6000;Database=d;Uid=u;Pwd=p";
        QTest::newRow("empty") << "" << "";
        QTest::newRow("no equals sign") << "Driver=SQLite;nonsense" << "";
        QTest::newRow("unknown driver") << "Driver=Oracle;Database=x" << "";
        QTest::newRow("no database") << "Driver=SQLite" << "";
        QTest::newRow("bad port") << "Driver=PostgreSQL;Database=d;Port=abc" << "";
    }
    void parseConnectionString()
    {
        QFETCH(QString, text);
        QFETCH(QString, canonical);
        if (canonical.isEmpty()) {
            QVERIFY_THROWS_EXCEPTION(DbError, ConnectionString::parse(text));
            return;
        }
        QCOMPARE(ConnectionString::parse(text).toString(), canonical);
    }

    void openFailuresCarryTheEngineText()
    {
        Connection missing(QStringLiteral("Driver=SQLite;Database=/nonexistent/purfp.db"));
        try {
            missing.open();
            QFAIL("opened a missing file");
        } catch (const DbError &e) {
            QVERIFY(e.description().contains(QStringLiteral("/nonexistent/purfp.db")));
        }
        Connection refused(QStringLiteral("Driver=PostgreSQL;Server=127.0.0.1;Port=1;Database=x;Uid=u"));
        try {
            refused.open();
            QFAIL("opened a closed port");
        } catch (const DbError &e) {
            QVERIFY2(!e.description().isEmpty(), "the engine's text must reach the caller");
        }
        QVERIFY(!refused.isOpen());
    }

    void recordsetFieldsByNameWithoutCase_data() { addEngineRows(); }
    void recordsetFieldsByNameWithoutCase()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine, TestDatabase::Content::Empty);
        Connection &c = db.conn();
        makeTable(c);
        c.execute(QStringLiteral("insert into tAmounts(fid,fName,fAmt,fDate) values(1,'甲',33.33,'2026-11-01')"));
        c.execute(QStringLiteral("insert into tAmounts(fid,fName,fAmt,fDate) values(2,null,null,null)"));
        Recordset rs = c.openRecordset(QStringLiteral("select fid,fname,famt,fdate from tAmounts order by fid"));
        QCOMPARE(rs.recordCount(), 2);
        QCOMPARE(rs.toInt(QStringLiteral("FID")), 1);
        QCOMPARE(rs.text(QStringLiteral("FName")), QStringLiteral("甲"));
        QCOMPARE(rs.amount(QStringLiteral("fAmt")).toString(), QStringLiteral("33.33"));
        QCOMPARE(rs.date(QStringLiteral("fdate")), QDate(2026, 11, 1));
        rs.moveNext();
        QVERIFY(rs.isNull(QStringLiteral("fname")));
        QCOMPARE(rs.text(QStringLiteral("fname")), QString());
        QCOMPARE(rs.amount(QStringLiteral("famt")).toString(), QStringLiteral("0"));
        QVERIFY(!rs.date(QStringLiteral("fdate")).isValid());
        QVERIFY_THROWS_EXCEPTION(DbError, rs.value(QStringLiteral("nosuchfield")));
        rs.moveNext();
        QVERIFY(rs.eof());
        QVERIFY_THROWS_EXCEPTION(DbError, rs.value(0));
    }

    void failedStatementRollsTheTransactionBack_data() { addEngineRows(); }
    void failedStatementRollsTheTransactionBack()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine, TestDatabase::Content::Empty);
        Connection &c = db.conn();
        makeTable(c);
        c.beginTrans();
        c.execute(QStringLiteral("insert into tAmounts(fid,fAmt) values(1,10)"));
        QVERIFY_THROWS_EXCEPTION(DbError, c.execute(QStringLiteral("insert into tAmounts(fid,fAmt) values(1,20)")));
        QVERIFY(!c.inTransaction());
        QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tAmounts")).toInt(QStringLiteral("n")), 0);
        // The connection goes on working after the rollback.
        c.beginTrans();
        c.execute(QStringLiteral("insert into tAmounts(fid,fAmt) values(2,5)"));
        c.commitTrans();
        QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tAmounts")).toInt(QStringLiteral("n")), 1);
    }

    void boundValuesAreStoredAsTyped_data() { addEngineRows(); }
    void boundValuesAreStoredAsTyped()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine, TestDatabase::Content::Empty);
        Connection &c = db.conn();
        makeTable(c);
        const QByteArray blob("\x00\x01\xffGRF", 6);
        c.addRow(QStringLiteral("tAmounts"), {{QStringLiteral("fid"), 7}, {QStringLiteral("fName"), QStringLiteral("O'Brien 供应商")},
                                             {QStringLiteral("fBlob"), blob}});
        Recordset rs = c.openRecordset(QStringLiteral("select * from tAmounts where fName=?"), {QStringLiteral("O'Brien 供应商")});
        QCOMPARE(rs.recordCount(), 1);
        QCOMPARE(rs.value(QStringLiteral("fblob")).toByteArray(), blob);
    }

    void amountArithmeticStaysExact_data() { addEngineRows(); }
    void amountArithmeticStaysExact()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine, TestDatabase::Content::Schema);
        Connection &c = db.conn();
        makeTable(c);
        c.execute(QStringLiteral("insert into tAmounts(fid,fAmt) values(1,null)"));
        // Three additions of 33.33 and one of 0.01 must compare equal to 100.
        for (const char *step : {"33.33", "33.33", "33.33", "0.01"})
            c.execute(QStringLiteral("update tAmounts set fAmt=isnull(fAmt,0)+%1 where fid=1").arg(QLatin1String(step)));
        QCOMPARE(c.openRecordset(QStringLiteral("select fid from tAmounts where isnull(fAmt,0)<>isnull(100,0)")).recordCount(), 0);
        c.execute(QStringLiteral("update tAmounts set fAmt=isnull(fAmt,0)+-0.1 where fid=1"));
        c.execute(QStringLiteral("update tAmounts set fAmt=isnull(fAmt,0)+-0.2 where fid=1"));
        QCOMPARE(c.openRecordset(QStringLiteral("select isnull(fAmt,0) as a from tAmounts")).amount(QStringLiteral("a")).toString(),
                 QStringLiteral("99.7"));
    }

    void dateFunctions_data() { addEngineRows(); }
    void dateFunctions()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine, TestDatabase::Content::Schema);
        Connection &c = db.conn();
        makeTable(c);
        c.execute(QStringLiteral("insert into tAmounts(fid,fDate) values(1,'2026-02-09')"));
        c.execute(QStringLiteral("insert into tAmounts(fid,fDate) values(2,null)"));
        Recordset rs = c.openRecordset(QStringLiteral("select year(fDate) as y,month(fDate) as m,day(fDate) as d,isnull(fDate) as n from tAmounts order by fid"));
        QCOMPARE(rs.toInt(QStringLiteral("y")), 2026);
        QCOMPARE(rs.toInt(QStringLiteral("m")), 2);
        QCOMPARE(rs.toInt(QStringLiteral("d")), 9);
        QVERIFY(!QVariant(rs.value(QStringLiteral("n"))).toBool());
        rs.moveNext();
        QVERIFY(rs.isNull(QStringLiteral("y")));
        QVERIFY(rs.value(QStringLiteral("n")).toBool());
        QCOMPARE(c.openRecordset(QStringLiteral("select fid from tAmounts where year(fdate)=2026 and month(fdate)=2 and day(fdate)=9")).recordCount(), 1);
    }

    void scriptSplitting()
    {
        const QStringList parts = splitSqlScript(QStringLiteral(
            "-- comment; not a statement\ncreate table a(x text default 'a;b');\n"
            "create function f() returns int as $$ select 1; $$ language sql;\n\n;insert into a values('it''s;');"));
        QCOMPARE(parts, QStringList({QStringLiteral("create table a(x text default 'a;b')"),
                                     QStringLiteral("create function f() returns int as $$ select 1; $$ language sql"),
                                     QStringLiteral("insert into a values('it''s;')")}));
    }
};

QTEST_GUILESS_MAIN(TestConnection)
#include "tst_connection.moc"
