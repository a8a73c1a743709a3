#include "platform/Connection.h"
#include "platform/DbError.h"
#include "support/TestDatabase.h"

#include <QTest>

#include <functional>

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

    // Each call runs one statement: a text with a second one is refused by
    // every entry point before anything runs; a ";" inside quotes, quoted
    // identifiers or comments, or at the end, is no second statement.
    void oneStatementPerCall_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<bool>("refused");
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "update then delete") << "update tOne set a=2; delete from tOne" << true;
            engineRow(e, "select then drop") << "select a from tOne; drop table tOne" << true;
            engineRow(e, "after a doubled quote") << "update tOne set b='it''s'; delete from tOne" << true;
            engineRow(e, "after a comment") << "select a from tOne /* x */; -- y\n delete from tOne" << true;
            engineRow(e, "inside a string") << "update tOne set a=a where b='x; delete from tOne'" << false;
            engineRow(e, "inside a quoted identifier") << "select a as \"x;y\" from tOne" << false;
            engineRow(e, "inside a line comment") << "update tOne set a=a -- ; delete from tOne\n" << false;
            engineRow(e, "inside a block comment") << "update tOne set a=a /* ; delete from tOne */" << false;
            engineRow(e, "trailing") << "update tOne set a=a; " << false;
        }
        if (TestDatabase::postgresConfigured()) {
            // A backslash escapes the quote in an E string: the ";" is outside.
            engineRow(DbEngine::PostgreSQL, "after an E string") << "update tOne set b=E'\\''; delete from tOne --'" << true;
            engineRow(DbEngine::PostgreSQL, "inside a dollar quote") << "update tOne set a=a where b=$q$x; delete from tOne$q$" << false;
            engineRow(DbEngine::PostgreSQL, "trailing, with comments") << "update tOne set a=a ; ; -- done\n /* end */ " << false;
            engineRow(DbEngine::PostgreSQL, "inside a nested comment") << "update tOne set a=a /* /* */ ; delete from tOne */" << false;
        }
        engineRow(DbEngine::SQLite, "trigger body")
            << "create trigger trgOne after insert on tOne begin update tOne set a=a; delete from tOne where a=9; end;" << false;
        engineRow(DbEngine::SQLite, "after a trigger") << "create trigger trgOne after insert on tOne begin select 1; end; delete from tOne" << true;
        engineRow(DbEngine::SQLite, "inside brackets") << "select a as [x;y] from tOne" << false;
    }
    void oneStatementPerCall()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, sql);
        QFETCH(bool, refused);
        TestDatabase db(engine, TestDatabase::Content::Empty);
        Connection &c = db.conn();
        c.executeNative(QStringLiteral("create table tOne(a int, b varchar(50))"));
        c.execute(QStringLiteral("insert into tOne(a,b) values(1,'keep')"));
        const QList<std::function<void()>> calls{
            [&] { c.execute(sql); },
            [&] { c.executeNative(sql); },
            [&] { c.openRecordset(sql); },
            [&] { c.openRecordsetNative(sql); },
            [&] { c.readRows(sql); },
        };
        for (const auto &call : calls) {
            if (!refused) {
                call();
                break;
            }
            try {
                call();
                QFAIL("a second statement was accepted");
            } catch (const DbError &e) {
                QVERIFY2(e.description().contains(QStringLiteral("一条SQL语句")), qPrintable(e.description()));
            }
        }
        QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tOne where a=1 and b='keep'")).toInt(QStringLiteral("n")), 1);
        QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tOne")).toInt(QStringLiteral("n")), 1);
    }

    // Engine faults by their codes; the engine's text follows as details and
    // ordinary SQL errors keep the engine's text alone.
    void faultsByCode_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("code");
        QTest::addColumn<int>("fault");
        const auto row = [](DbEngine e, const char *code, DbFault f) {
            QTest::newRow(qPrintable(engineTag(e, QString::fromLatin1(code)))) << e << QString::fromLatin1(code) << int(f);
        };
        row(DbEngine::SQLite, "5", DbFault::Busy);
        row(DbEngine::SQLite, "517", DbFault::Busy); // busy, extended
        row(DbEngine::SQLite, "6", DbFault::Busy);
        row(DbEngine::SQLite, "262", DbFault::Busy); // locked, extended
        row(DbEngine::SQLite, "8", DbFault::ReadOnly);
        row(DbEngine::SQLite, "1032", DbFault::ReadOnly);
        row(DbEngine::SQLite, "13", DbFault::DiskFull);
        row(DbEngine::SQLite, "10", DbFault::IoError);
        row(DbEngine::SQLite, "3338", DbFault::IoError);
        row(DbEngine::SQLite, "1", DbFault::Other);
        row(DbEngine::SQLite, "2067", DbFault::Other); // unique constraint
        row(DbEngine::SQLite, "53100", DbFault::Other); // not a code of this engine
        row(DbEngine::SQLite, "", DbFault::Other);
        row(DbEngine::PostgreSQL, "40P01", DbFault::Conflict);
        row(DbEngine::PostgreSQL, "40001", DbFault::Conflict);
        row(DbEngine::PostgreSQL, "55P03", DbFault::Busy);
        row(DbEngine::PostgreSQL, "25006", DbFault::ReadOnly);
        row(DbEngine::PostgreSQL, "53100", DbFault::DiskFull);
        row(DbEngine::PostgreSQL, "58030", DbFault::IoError);
        row(DbEngine::PostgreSQL, "57P01", DbFault::ConnectionLost);
        row(DbEngine::PostgreSQL, "08006", DbFault::ConnectionLost);
        row(DbEngine::PostgreSQL, "42601", DbFault::Other);
        row(DbEngine::PostgreSQL, "23505", DbFault::Other);
        row(DbEngine::PostgreSQL, "5", DbFault::Other);
    }
    void faultsByCode()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, code);
        QFETCH(int, fault);
        QCOMPARE(int(dbFault(engine, code)), fault);
        const QString engineText = QStringLiteral("engine says: database is locked");
        const QString text = dbFaultText(DbFault(fault), engineText);
        if (DbFault(fault) == DbFault::Other) {
            QCOMPARE(text, engineText);
        } else {
            QVERIFY(text.endsWith(QStringLiteral("\n\n详细信息: ") + engineText));
            QVERIFY(!text.startsWith(u"engine"));
        }
    }

    // A lock held by another connection (after a short bounded wait) and a
    // database that refuses writes give their own message; the code stays
    // the engine's. Read-only SQLite is made with "pragma query_only", since
    // file permissions do not stop a test running as root.
    void engineFaultsAreExplained_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<int>("fault");
        for (DbEngine e : TestDatabase::engines()) {
            engineRow(e, "locked by another connection") << int(DbFault::Busy);
            engineRow(e, "read-only") << int(DbFault::ReadOnly);
        }
    }
    void engineFaultsAreExplained()
    {
        QFETCH(DbEngine, engine);
        QFETCH(int, fault);
        const bool pg = engine == DbEngine::PostgreSQL;
        TestDatabase db(engine, TestDatabase::Content::Empty);
        db.conn().executeNative(QStringLiteral("create table tLock(a int)"));
        Connection writer(db.connectionString());
        writer.setBusyTimeout(50);
        writer.open();
        if (DbFault(fault) == DbFault::Busy) {
            db.conn().executeNative(pg ? QStringLiteral("begin") : QStringLiteral("begin immediate"));
            if (pg) {
                db.conn().executeNative(QStringLiteral("lock table tLock in exclusive mode"));
                writer.executeNative(QStringLiteral("set lock_timeout = 50"));
            }
        } else {
            writer.executeNative(pg ? QStringLiteral("set session characteristics as transaction read only") : QStringLiteral("pragma query_only = 1"));
        }
        try {
            writer.execute(QStringLiteral("insert into tLock(a) values(1)"));
            QFAIL("the write went through");
        } catch (const DbError &e) {
            QCOMPARE(int(dbFault(engine, e.code())), fault);
            const QString explanation = dbFaultText(DbFault(fault), QString());
            QVERIFY2(e.description().startsWith(explanation) && e.description().size() > explanation.size(), qPrintable(e.description()));
        }
        if (DbFault(fault) == DbFault::Busy)
            db.conn().executeNative(QStringLiteral("rollback"));
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tLock")).toInt(), 0);
    }

    // A server connection ended by the server (pg_terminate_backend from
    // another session): outside a transaction the next command reconnects
    // and runs; inside one it fails saying the work is lost, with nothing of
    // it kept, and the command after that reconnects.
    void serverEndedConnection_data()
    {
        QTest::addColumn<QString>("next"); // the first command after the end
        if (!TestDatabase::postgresConfigured())
            QSKIP("needs PostgreSQL (PURFP_TEST_PG)");
        QTest::newRow("statement") << "statement";
        QTest::newRow("recordset") << "recordset";
        QTest::newRow("begin transaction") << "begin";
        QTest::newRow("inside a transaction") << "transaction";
        QTest::newRow("commit") << "commit";
    }
    void serverEndedConnection()
    {
        QFETCH(QString, next);
        TestDatabase db(DbEngine::PostgreSQL, TestDatabase::Content::Empty);
        db.conn().executeNative(QStringLiteral("create table tKill(a int)"));
        Connection victim(db.connectionString());
        victim.open();
        const int pid = victim.openRecordset(QStringLiteral("select pg_backend_pid() as p")).toInt(QStringLiteral("p"));
        const bool inTransaction = next == u"transaction" || next == u"commit";
        if (inTransaction) {
            victim.beginTrans();
            victim.execute(QStringLiteral("insert into tKill(a) values(1)"));
        }
        // Waits until the session is gone.
        QVERIFY(db.scalar(QStringLiteral("select pg_terminate_backend(%1, 10000)").arg(pid)).toBool());
        try {
            if (next == u"statement")
                victim.execute(QStringLiteral("insert into tKill(a) values(2)"));
            else if (next == u"recordset")
                QCOMPARE(victim.openRecordset(QStringLiteral("select count(*) as n from tKill")).toInt(QStringLiteral("n")), 0);
            else if (next == u"begin")
                victim.beginTrans();
            else if (next == u"transaction")
                victim.execute(QStringLiteral("insert into tKill(a) values(2)"));
            else
                victim.commitTrans();
            QVERIFY(!inTransaction);
        } catch (const DbError &e) {
            QVERIFY2(inTransaction, qPrintable(e.description()));
            QVERIFY2(e.description().startsWith(dbFaultText(DbFault::TransactionLost, QString())), qPrintable(e.description()));
            QVERIFY(!victim.inTransaction());
        }
        QCOMPARE(victim.inTransaction(), next == u"begin");
        victim.execute(QStringLiteral("insert into tKill(a) values(3)"));
        if (victim.inTransaction())
            victim.commitTrans();
        QVERIFY(victim.openRecordset(QStringLiteral("select pg_backend_pid() as p")).toInt(QStringLiteral("p")) != pid);
        const QString expected = next == u"statement" ? QStringLiteral("2,3") : QStringLiteral("3");
        QCOMPARE(db.scalar(QStringLiteral("select string_agg(a::text, ',' order by a) from tKill")).toString(), expected);
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
