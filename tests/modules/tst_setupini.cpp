#include "modules/Session.h"
#include "component/clsCGIn.h"
#include "modules/ConnectionRoutines.h"
#include "modules/SetupIni.h"
#include "platform/ConnectionString.h"
#include "platform/DbError.h"
#include "platform/IniFile.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QFile>
#include <QTest>

class TestSetupIni : public QObject {
    Q_OBJECT
private slots:
    void pathFollowsAppPath()
    {
        Session &s = TestSession::session();
        TestSession t;
        s.gAppPath = t.folder() + QStringLiteral("/app/");
        QCOMPARE(computeIniPath(s), t.folder() + QStringLiteral("/app/SetupInfo.ini"));
        QCOMPARE(IniPath(s), s.gIniPath);
        s.gAppPath.clear();
        QCOMPARE(computeIniPath(s), t.folder() + QStringLiteral("/data/TamsorPurFP/SetupInfo.ini"));
    }

    void readIni_data()
    {
        QTest::addColumn<QString>("stored");   // null: no entry at all
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("defaultWritten");
        QTest::newRow("absent") << QString() << "dflt" << true;
        QTest::newRow("empty value") << "" << "dflt" << true;
        QTest::newRow("plain") << "3" << "3" << false;
        QTest::newRow("144 kept") << QString(144, u'x') << QString(144, u'x') << false;
        QTest::newRow("145 cut to 144") << QString(145, u'y') << QString(144, u'y') << false;
        QTest::newRow("stops at a double-byte character") << QStringLiteral("12中文") << "12" << false;
    }
    void readIni()
    {
        QFETCH(QString, stored);
        QFETCH(QString, expected);
        QFETCH(bool, defaultWritten);
        Session &s = TestSession::session();
        TestSession t;
        s.gAppPath = t.folder();
        computeIniPath(s);
        IniFile ini(IniPath(s));
        if (!stored.isNull())
            ini.setValue(QStringLiteral("Print"), QStringLiteral("71Print"), stored);
        QCOMPARE(ReadIni(s, QStringLiteral("Print"), QStringLiteral("71Print"), QStringLiteral("dflt")), expected);
        QCOMPARE(ini.value(QStringLiteral("Print"), QStringLiteral("71Print")).value_or(QString()),
                 defaultWritten ? QStringLiteral("dflt") : stored);
    }

    // The shared connection opens once and closes harmlessly twice. A closed
    // connection is kept for the next unit of work only while it is
    // safe to hand back: not inside a transaction, same connection string,
    // same database file. A temporary table tells whether the physical
    // connection is the one from before.
    void idleConnectionIsReusedOnlyWhenSafe_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QString>("between"); // what happens while it is closed
        QTest::addColumn<bool>("reused");
        for (DbEngine engine : TestDatabase::engines()) {
            const QByteArray tag = TestDatabase::engineName(engine);
            QTest::newRow(tag + " nothing") << engine << "nothing" << true;
            QTest::newRow(tag + " closed inside a transaction") << engine << "transaction" << false;
            QTest::newRow(tag + " a statement failed") << engine << "error" << false;
            QTest::newRow(tag + " released") << engine << "release" << false;
            QTest::newRow(tag + " connection string changed") << engine << "string" << false;
        }
        QTest::newRow("sqlite file replaced") << DbEngine::SQLite << "replace" << false;
    }
    void idleConnectionIsReusedOnlyWhenSafe()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QString, between);
        QFETCH(bool, reused);
        TestDatabase db(engine);
        TestSession t;
        Session &s = TestSession::session();
        s.DBConnectionString = db.connectionString();
        QVERIFY(OpenConnection(s));
        Connection *first = s.gConn.get();
        QVERIFY(OpenConnection(s)); // opened once, while open
        QCOMPARE(s.gConn.get(), first);
        s.gConn->execute(QStringLiteral("create temp table tmpMarker(x int)"));
        if (between == u"transaction") {
            s.gConn->beginTrans();
            s.gConn->execute(QStringLiteral("insert into tblUser(fuserid,fname,fisadmin) values(901,'idle',0)"));
        }
        if (between == u"error")
            QVERIFY_THROWS_EXCEPTION(DbError, s.gConn->execute(QStringLiteral("select nosuchcolumn from tblUser")));
        CloseConnection(s);
        QVERIFY(!s.gConn);
        CloseConnection(s); // closing twice is harmless
        if (between == u"release") {
            ReleaseIdleConnection(s);
        } else if (between == u"string") {
            s.DBConnectionString += u';';
        } else if (between == u"replace") {
            const QString file = ConnectionString::parse(db.connectionString()).database;
            TestDatabase other(DbEngine::SQLite);
            other.exec(QStringLiteral("insert into tblUser(fuserid,fname,fisadmin) values(902,'other',0)"));
            other.conn().close();
            QVERIFY(QFile::remove(file));
            QVERIFY(QFile::copy(ConnectionString::parse(other.connectionString()).database, file));
        }
        OpenConnection(s);
        bool markerSeen = true;
        try {
            s.gConn->openRecordset(QStringLiteral("select count(*) from tmpMarker"));
        } catch (const DbError &) {
            markerSeen = false;
        }
        QCOMPARE(markerSeen, reused);
        // Work left in a transaction is never kept; a replaced file is read.
        QCOMPARE(s.gConn->openRecordset(QStringLiteral("select count(*) from tblUser where fuserid=901")).value(0).toInt(), 0);
        if (between == u"replace")
            QCOMPARE(s.gConn->openRecordset(QStringLiteral("select count(*) from tblUser where fuserid=902")).value(0).toInt(), 1);
        CloseConnection(s);
        ReleaseIdleConnection(s);
    }

    // The host letting go of the component closes the connection kept idle.
    void releasingTheComponentClosesTheIdleConnection_data() { addEngineRows(); }
    void releasingTheComponentClosesTheIdleConnection()
    {
        QFETCH(DbEngine, engine);
        Session &s = TestSession::session();
        TestDatabase db(engine, TestDatabase::Content::Demo);
        TestSession t;
        t.writeHostSettings(db.connectionString());
        std::unique_ptr<clsCGIn> obj = clsCGIn::create();
        QVERIFY(obj);
        QVERIFY(s.idleConn && s.idleConn->isOpen()); // the start-up's connection, parked
        obj.reset();
        QVERIFY(!s.idleConn);
    }

    void openFailureReachesTheCaller()
    {
        Session &s = TestSession::session();
        TestSession t;
        s.DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + t.folder() + QStringLiteral("/missing.db");
        QVERIFY_THROWS_EXCEPTION(DbError, OpenConnection(s));
        QVERIFY(!s.gConn);
    }
};

QTEST_MAIN(TestSetupIni)
#include "tst_setupini.moc"
