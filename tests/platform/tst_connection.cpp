#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/EngineRows.h"
#include "platform/SqlDialect.h"
#include "support/CaseRows.h"

#include <QTest>

#include <functional>

// A value as a statement writes it, and what openEach reads of it.
struct CellCase { const char *name; QString expression; };
Q_DECLARE_METATYPE(CellCase)

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

    // A missing file is named; a closed port brings the engine's text.
    void openFailuresCarryTheEngineText()
    {
        for (const char *text : {"Driver=SQLite;Database=/nonexistent/purfp.db", "Driver=PostgreSQL;Server=127.0.0.1;Port=1;Database=x;Uid=u"}) {
            Connection c(QString::fromLatin1(text));
            try {
                c.open();
                QFAIL(text);
            } catch (const DbError &e) {
                QVERIFY2(e.description().contains(c.engine() == DbEngine::SQLite ? QStringLiteral("/nonexistent/purfp.db") : QString()) && !e.description().isEmpty(),
                         qPrintable(e.description()));
            }
            QVERIFY(!c.isOpen());
        }
    }

    void recordsetsAndTransactions_data() { addEngineRows(); }
    void recordsetsAndTransactions()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine, TestDatabase::Content::Schema);
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

        // Bound values are stored as typed: a quote in text, bytes of every value.
        const QByteArray blob("\x00\x01\xffGRF", 6);
        c.addRow(QStringLiteral("tAmounts"), {{QStringLiteral("fid"), 7}, {QStringLiteral("fName"), QStringLiteral("O'Brien 供应商")},
                                             {QStringLiteral("fBlob"), blob}});
        rs = c.openRecordset(QStringLiteral("select * from tAmounts where fName=?"), {QStringLiteral("O'Brien 供应商")});
        QCOMPARE(rs.recordCount(), 1);
        QCOMPARE(rs.value(QStringLiteral("fblob")).toByteArray(), blob);

        // A failed statement rolls the whole transaction back; the connection goes on working.
        c.execute(QStringLiteral("delete from tAmounts"));
        c.beginTrans();
        c.execute(QStringLiteral("insert into tAmounts(fid,fAmt) values(1,10)"));
        QVERIFY_THROWS_EXCEPTION(DbError, c.execute(QStringLiteral("insert into tAmounts(fid,fAmt) values(1,20)")));
        QVERIFY(!c.inTransaction());
        QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tAmounts")).toInt(QStringLiteral("n")), 0);
        c.beginTrans();
        c.execute(QStringLiteral("insert into tAmounts(fid,fAmt) values(1,null)"));
        c.commitTrans();

        // Three additions of 33.33 and one of 0.01 must compare equal to 100.
        for (const char *step : {"33.33", "33.33", "33.33", "0.01"})
            c.execute(QStringLiteral("update tAmounts set fAmt=isnull(fAmt,0)+%1 where fid=1").arg(QLatin1String(step)));
        QCOMPARE(c.openRecordset(QStringLiteral("select fid from tAmounts where isnull(fAmt,0)<>isnull(100,0)")).recordCount(), 0);
        c.execute(QStringLiteral("update tAmounts set fAmt=isnull(fAmt,0)+-0.1 where fid=1"));
        c.execute(QStringLiteral("update tAmounts set fAmt=isnull(fAmt,0)+-0.2 where fid=1"));
        QCOMPARE(c.openRecordset(QStringLiteral("select isnull(fAmt,0) as a from tAmounts")).amount(QStringLiteral("a")).toString(),
                 QStringLiteral("99.7"));
    }

    // Each call runs one statement: every entry point refuses a text with a
    // second one before anything runs; a ";" inside quotes, quoted
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
            engineRow(e, "after comments") << "select a from tOne /* x */; -- y\n delete from tOne" << true;
            engineRow(e, "inside a string") << "update tOne set a=a where b='x; delete from tOne'" << false;
            engineRow(e, "inside a quoted identifier") << "select a as \"x;y\" from tOne" << false;
            engineRow(e, "inside comments") << "update tOne set a=a /* ; delete */ -- ; delete from tOne\n" << false;
            engineRow(e, "trailing") << "update tOne set a=a; " << false;
        }
        if (TestDatabase::postgresConfigured()) {
            // A backslash escapes the quote in an E string: the ";" is outside.
            engineRow(DbEngine::PostgreSQL, "after an E string") << "update tOne set b=E'\\''; delete from tOne --'" << true;
            engineRow(DbEngine::PostgreSQL, "inside a dollar quote") << "update tOne set a=a where b=$q$x; delete from tOne$q$" << false;
            engineRow(DbEngine::PostgreSQL, "trailing, nested comment") << "update tOne set a=a ; ; /* /* */ ; delete */ -- x" << false;
        }
        engineRow(DbEngine::SQLite, "trigger body")
            << "create trigger trgOne after insert on tOne begin update tOne set a=a; delete from tOne where a=9; end;" << false;
        engineRow(DbEngine::SQLite, "after a trigger") << "create trigger trgOne after insert on tOne begin select 1; end; delete from tOne" << true;
        engineRow(DbEngine::SQLite, "comment after the end") << "update tOne set a=2; -- x" << true; // the driver would refuse it
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
        const std::function<void()> calls[] = {[&] { c.execute(sql); }, [&] { c.executeNative(sql); }, [&] { c.openRecordset(sql); },
                                                [&] { c.openRecordsetNative(sql); }, [&] { c.readRows(sql); }};
        for (const auto &call : calls) {
            try {
                call();
                QVERIFY2(!refused, "a second statement was accepted");
                break;
            } catch (const DbError &e) {
                QVERIFY2(refused && e.description().contains(QStringLiteral("一条SQL语句")), qPrintable(e.description()));
            }
        }
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from tOne where a=1 and b='keep'")).toInt(), 1);
    }

    // Engine faults by their codes (an empty code too); the engine's text
    // follows as details, and ordinary SQL errors keep the engine's text.
    void faultsByCode_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("codes");
        QTest::addColumn<int>("fault");
        const auto row = [](DbEngine e, const char *name, const char *codes, DbFault f) { engineRow(e, name) << codes << int(f); };
        row(DbEngine::SQLite, "busy or locked, plain and extended", "5,517,6,262", DbFault::Busy);
        row(DbEngine::SQLite, "read-only", "8,1032", DbFault::ReadOnly);
        row(DbEngine::SQLite, "full", "13", DbFault::DiskFull);
        row(DbEngine::SQLite, "i/o", "10,3338", DbFault::IoError);
        row(DbEngine::SQLite, "other", ",1,2067,53100", DbFault::Other);
        row(DbEngine::PostgreSQL, "conflict", "40P01,40001", DbFault::Conflict);
        row(DbEngine::PostgreSQL, "lock not available", "55P03", DbFault::Busy);
        row(DbEngine::PostgreSQL, "read-only", "25006", DbFault::ReadOnly);
        row(DbEngine::PostgreSQL, "full", "53100", DbFault::DiskFull);
        row(DbEngine::PostgreSQL, "i/o", "58030", DbFault::IoError);
        row(DbEngine::PostgreSQL, "server ended the session", "57P01,08006", DbFault::ConnectionLost);
        row(DbEngine::PostgreSQL, "other", ",42601,23505,5", DbFault::Other);
    }
    void faultsByCode()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, codes);
        QFETCH(int, fault);
        for (const QString &code : codes.split(u','))
            QCOMPARE(int(dbFault(engine, code)), fault);
        const QString engineText = QStringLiteral("engine says: database is locked");
        const QString text = dbFaultText(DbFault(fault), engineText);
        QVERIFY(DbFault(fault) == DbFault::Other ? text == engineText
                                                 : text.endsWith(QStringLiteral("\n\n详细信息: ") + engineText) && !text.startsWith(u"engine"));
    }

    // A lock held by another connection (after a short bounded wait) and a
    // database that refuses writes give their own message; the code stays
    // the engine's. Read-only SQLite is made with "pragma query_only", since
    // file permissions do not stop a test running as root.
    // A statement run once per set of values gives, set by set, what it
    // gives run on its own: on PostgreSQL read in binary form and written
    // out as the server writes its text.
    void engineRowsPerSet_data()
    {
        addEngineCaseRows<CellCase>({
            {"null", "null"},
            {"whole", "cast(-2147483647 as integer)"},
            {"big whole", "cast(-9007199254740993 as bigint)"},
            {"amount", "cast(-30.5 as numeric(19,4))"},
            {"fraction", "cast(0.0001 as numeric(19,4))"},
            {"past four places", "cast(1.00005 as numeric(20,5))"},
            {"whole ten thousands", "cast(120000 as numeric(19,4))"},
            {"largest amount", "cast(-922337203685477.5807 as numeric(19,4))"},
            {"past 18 digits", "cast(98765432109876543210.12 as numeric(30,2))"},
            {"text", "'甲,\"乙\"'"},
            {"date", "cast('2025-03-01' as date)"},
            {"leap day", "cast('2024-02-29' as date)"},
            {"date BC", "cast('0044-03-15 BC' as date)"},
            {"far date", "cast('12345-06-07' as date)"},
            {"endless date", "cast('infinity' as date)"},
        });
    }
    void engineRowsPerSet()
    {
        QFETCH(DbEngine, engine);
        QFETCH(CellCase, row);
        TestDatabase db(engine, TestDatabase::Content::Empty);
        const QString value = QStringLiteral("select ") + row.expression + QStringLiteral(" as v,'k' as k");
        std::unique_ptr<EngineRows> alone = EngineRows::open(db.conn(), translateSql(value, engine));
        QVERIFY(alone && alone->next());
        const bool null = alone->cell(0).kind == EngineRows::Null;
        const QByteArray text = alone->text(0).toByteArray();
        alone.reset();

        std::unique_ptr<EngineRows> each = EngineRows::openEach(db.conn(), translateSql(value + QStringLiteral(" where 1=?"), engine), {{1}, {0}, {1}});
        QVERIFY(each);
        QList<int> counts;
        while (each->nextSet()) {
            counts << 0;
            while (each->next()) {
                ++counts.back();
                QCOMPARE(each->cell(0).kind == EngineRows::Null, null);
                QCOMPARE(each->text(0).toByteArray(), text);
                QCOMPARE(each->text(1).toByteArray(), QByteArray("k"));
            }
        }
        QCOMPARE(counts, (QList<int>{1, 0, 1}));
        each.reset();
        // Sets that do not match the placeholders are refused; the connection
        // serves as before.
        QVERIFY(!EngineRows::openEach(db.conn(), translateSql(value + QStringLiteral(" where 1=?"), engine), {{1, 2}}));
        QCOMPARE(db.scalar(QStringLiteral("select 2")).toInt(), 2);
    }

    void engineFaultsAreExplained_data() { addEngineRows(); }
    void engineFaultsAreExplained()
    {
        QFETCH(DbEngine, engine);
        const bool pg = engine == DbEngine::PostgreSQL;
        for (const DbFault fault : {DbFault::Busy, DbFault::ReadOnly}) {
            const bool busy = fault == DbFault::Busy;
            TestDatabase db(engine, TestDatabase::Content::Empty);
            db.conn().executeNative(QStringLiteral("create table tLock(a int)"));
            Connection writer(db.connectionString());
            writer.setBusyTimeout(50);
            writer.open();
            if (busy)
                db.conn().executeNative(pg ? QStringLiteral("begin") : QStringLiteral("begin immediate"));
            if (busy && pg) {
                db.conn().executeNative(QStringLiteral("lock table tLock in exclusive mode"));
                writer.executeNative(QStringLiteral("set lock_timeout = 50"));
            } else if (!busy) {
                writer.executeNative(pg ? QStringLiteral("set session characteristics as transaction read only") : QStringLiteral("pragma query_only = 1"));
            }
            try {
                writer.execute(QStringLiteral("insert into tLock(a) values(1)"));
                QFAIL("the write went through");
            } catch (const DbError &e) {
                QCOMPARE(int(dbFault(engine, e.code())), int(fault));
                const QString details = e.description().section(QStringLiteral("详细信息: "), 1); // the engine's text
                QVERIFY2(!details.isEmpty() && e.description() == dbFaultText(fault, details), qPrintable(e.description()));
            }
            if (busy)
                db.conn().executeNative(QStringLiteral("rollback"));
            QCOMPARE(db.scalar(QStringLiteral("select count(*) from tLock")).toInt(), 0);
        }
    }

    // The server ends a connection (pg_terminate_backend from another
    // session): outside a transaction the next command reconnects and runs;
    // inside one it fails saying the work is lost, nothing of it is kept, and
    // the command after it reconnects.
    void serverEndedConnection_data()
    {
        QTest::addColumn<QString>("next"); // the first command after the end
        if (!TestDatabase::postgresConfigured())
            QSKIP("needs PostgreSQL (PURFP_TEST_PG)");
        for (const char *next : {"statement", "begin", "in transaction", "commit"})
            QTest::newRow(next) << next;
    }
    void serverEndedConnection()
    {
        QFETCH(QString, next);
        TestDatabase db(DbEngine::PostgreSQL, TestDatabase::Content::Empty);
        db.conn().executeNative(QStringLiteral("create table tKill(a int)"));
        Connection victim(db.connectionString());
        victim.open();
        const int pid = victim.openRecordset(QStringLiteral("select pg_backend_pid()")).value(0).toInt();
        const bool inTransaction = next == u"in transaction" || next == u"commit";
        if (inTransaction) {
            victim.beginTrans();
            victim.execute(QStringLiteral("insert into tKill(a) values(1)"));
        }
        QVERIFY(db.scalar(QStringLiteral("select pg_terminate_backend(%1, 10000)").arg(pid)).toBool()); // returns when it is gone
        try {
            if (next == u"begin")
                victim.beginTrans();
            else if (next == u"commit")
                victim.commitTrans();
            else
                victim.execute(QStringLiteral("insert into tKill(a) values(2)"));
            QVERIFY(!inTransaction);
        } catch (const DbError &e) {
            QVERIFY2(inTransaction && e.description().startsWith(dbFaultText(DbFault::TransactionLost, QString())), qPrintable(e.description()));
        }
        QCOMPARE(victim.inTransaction(), next == u"begin");
        victim.execute(QStringLiteral("insert into tKill(a) values(3)"));
        if (victim.inTransaction())
            victim.commitTrans();
        QVERIFY(victim.openRecordset(QStringLiteral("select pg_backend_pid()")).value(0).toInt() != pid);
        QCOMPARE(db.scalar(QStringLiteral("select string_agg(a::text, ',' order by a) from tKill")).toString(),
                 next == u"statement" ? QStringLiteral("2,3") : QStringLiteral("3"));
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
