#include "component/Session.h"
#include "modules/ConnectionRoutines.h"
#include "modules/SetupIni.h"
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
        TestSession t;
        session().gAppPath = t.folder() + QStringLiteral("/app/");
        QCOMPARE(computeIniPath(), t.folder() + QStringLiteral("/app/SetupInfo.ini"));
        QCOMPARE(IniPath(), session().gIniPath);
        session().gAppPath.clear();
        QCOMPARE(computeIniPath(), t.folder() + QStringLiteral("/data/TamsorPurFP/SetupInfo.ini"));
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
        TestSession t;
        session().gAppPath = t.folder();
        computeIniPath();
        IniFile ini(IniPath());
        if (!stored.isNull())
            ini.setValue(QStringLiteral("Print"), QStringLiteral("71Print"), stored);
        QCOMPARE(ReadIni(QStringLiteral("Print"), QStringLiteral("71Print"), QStringLiteral("dflt")), expected);
        QCOMPARE(ini.value(QStringLiteral("Print"), QStringLiteral("71Print")).value_or(QString()),
                 defaultWritten ? QStringLiteral("dflt") : stored);
    }

    void connectionOpensOnceAndClosesTwiceHarmlessly_data() { addEngineRows(); }
    void connectionOpensOnceAndClosesTwiceHarmlessly()
    {
        QFETCH(DbEngine, engine);
        TestDatabase db(engine);
        TestSession t;
        session().DBConnectionString = db.connectionString();
        QVERIFY(OpenConnection());
        Connection *first = session().gConn.get();
        QVERIFY(OpenConnection());
        QCOMPARE(session().gConn.get(), first);
        CloseConnection();
        QVERIFY(!session().gConn);
        CloseConnection();
        QVERIFY(!session().gConn);
    }

    void openFailureReachesTheCaller()
    {
        TestSession t;
        session().DBConnectionString = QStringLiteral("Driver=SQLite;Database=") + t.folder() + QStringLiteral("/missing.db");
        QVERIFY_THROWS_EXCEPTION(DbError, OpenConnection());
        QVERIFY(!session().gConn);
    }
};

QTEST_MAIN(TestSetupIni)
#include "tst_setupini.moc"
