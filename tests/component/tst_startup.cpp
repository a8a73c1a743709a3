#include "modules/Session.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QTest>

// Session start-up: which settings are read with which defaults, what the
// database contributes, and which failures stop the creation.
class TestStartup : public QObject {
    Q_OBJECT
private slots:
    void noSettingsAtAll()
    {
        TestSession t;
        const QString error = t.start();
        QVERIFY2(!error.isEmpty(), "an empty connection string cannot be opened");
        const Session &s = session();
        QCOMPARE(s.msgTitle, QStringLiteral("维卡进销存"));
        QCOMPARE(s.gBillLength, 6);
        QCOMPARE(s.intPriceNumber, 2);
        QCOMPARE(s.gSeekItem, QStringLiteral("fNumber"));
        QCOMPARE(s.gLoginUserId, QStringLiteral("0"));
        QCOMPARE(s.DBConnectionString, QString());
        QCOMPARE(s.fTax1, 17.0);
        QVERIFY(s.gIsShowTip);
        QCOMPARE(s.gRightPrefix, QStringLiteral("Q"));
        QCOMPARE(s.gViewName, QStringLiteral("vPurFP"));
        QCOMPARE(s.gBillTypeId, 71);
        QVERIFY(t.prompts().calls.empty());
    }

    void unconvertibleSettingFailsCreation_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("error");
        QTest::newRow("bill length abc") << "gBillLength" << "abc" << "类型不匹配";
        QTest::newRow("show tip not a Boolean") << "gIsShowTip" << "maybe" << "类型不匹配";
        QTest::newRow("tax not a number") << "fTax1" << "17%" << "类型不匹配";
        QTest::newRow("admin out of range") << "IsAdmin" << "99999" << "溢出";
    }
    void unconvertibleSettingFailsCreation()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);
        QFETCH(QString, error);
        TestDatabase db(DbEngine::SQLite);
        TestSession t;
        t.writeHostSettings(db.connectionString());
        t.setSetting(key == u"IsAdmin" ? QStringLiteral("SystemLogin") : QStringLiteral("SystemSetup"), key, value);
        QCOMPARE(t.start(), error);
        QVERIFY(!session().gConn);
    }

    void databaseValues_data()
    {
        QTest::addColumn<DbEngine>("engine");
        QTest::addColumn<QStringList>("statements");
        QTest::addColumn<int>("year");
        QTest::addColumn<int>("period");
        QTest::addColumn<QDate>("periodStart");
        QTest::addColumn<QString>("billName");
        QTest::addColumn<QString>("message"); // critical message expected, or empty

        const QString maxBillNo = QStringLiteral("insert into tblMaxBillNo(ftypeid,fNewBillName,fbillno,fPreLetter,flength,fYLength) values(71,'采购发票(增值税)',0,'序号',4,2)");
        const QString year = QStringLiteral("insert into tblSystemInfo(ftypeid,fvalue) values(4,'2026')");
        const QString period = QStringLiteral("insert into tblSystemInfo(ftypeid,fvalue) values(5,'11')");
        const QString periodRow = QStringLiteral("insert into tblPeriod(fYear,fPeriod,fstartdate) values(2026,11,'2026-11-01')");
        for (DbEngine e : TestDatabase::engines()) {
            QTest::newRow(qPrintable(engineTag(e, "complete"))) << e << QStringList{maxBillNo, year, period, periodRow}
                << 2026 << 11 << QDate(2026, 11, 1) << "采购发票(增值税)" << "";
            QTest::newRow(qPrintable(engineTag(e, "nothing in the tables"))) << e << QStringList{}
                << 0 << 0 << QDate(1900, 1, 1) << "采购发票" << "";
            QTest::newRow(qPrintable(engineTag(e, "year without period"))) << e << QStringList{year, periodRow}
                << 2026 << 0 << QDate(1900, 1, 1) << "采购发票" << "";
            QTest::newRow(qPrintable(engineTag(e, "null period start"))) << e
                << QStringList{year, period, QStringLiteral("insert into tblPeriod(fYear,fPeriod,fstartdate) values(2026,11,null)")}
                << 2026 << 11 << QDate(1900, 1, 1) << "采购发票" << "";
            QTest::newRow(qPrintable(engineTag(e, "unreadable year"))) << e
                << QStringList{maxBillNo, QStringLiteral("insert into tblSystemInfo(ftypeid,fvalue) values(4,'abc')"), period, periodRow}
                << 0 << 0 << QDate(1900, 1, 1) << "采购发票(增值税)" << "类型不匹配";
            QTest::newRow(qPrintable(engineTag(e, "system table missing"))) << e
                << QStringList{maxBillNo, QStringLiteral("drop table tblSystemInfo")}
                << 0 << 0 << QDate(1900, 1, 1) << "采购发票(增值税)" << "tblSystemInfo";
            QTest::newRow(qPrintable(engineTag(e, "period table missing"))) << e
                << QStringList{year, period, QStringLiteral("drop table tblPeriod")}
                << 2026 << 11 << QDate(1900, 1, 1) << "采购发票" << "tblPeriod";
        }
    }
    void databaseValues()
    {
        QFETCH(DbEngine, engine);
        QFETCH(QStringList, statements);
        QFETCH(int, year);
        QFETCH(int, period);
        QFETCH(QDate, periodStart);
        QFETCH(QString, billName);
        QFETCH(QString, message);

        TestDatabase db(engine);
        for (const QString &sql : statements)
            db.conn().executeNative(sql);
        TestSession t;
        t.writeHostSettings(db.connectionString());
        // Values in the settings store are discarded in favour of the database.
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gCurrentYear"), QStringLiteral("2019"));
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gCurrentPeriod"), QStringLiteral("3"));
        QCOMPARE(t.start(), QString());

        const Session &s = session();
        QCOMPARE(int(s.gCurrentYear), year);
        QCOMPARE(int(s.gCurrentPeriod), period);
        QCOMPARE(s.gPeriodStartDate, periodStart);
        QCOMPARE(s.gBillName, billName);
        QVERIFY2(!s.gConn, "start-up closes the connection on every path");
        const auto messages = t.prompts().messages();
        if (message.isEmpty()) {
            QVERIFY(messages.empty());
        } else {
            QCOMPARE(int(messages.size()), 1);
            QVERIFY2(messages[0].text.contains(message, Qt::CaseInsensitive), qPrintable(messages[0].text));
            QCOMPARE(messages[0].icon, 16);
            QCOMPARE(messages[0].title, QStringLiteral("维卡进销存"));
        }
    }

    void settingsAreRead()
    {
        TestDatabase db(DbEngine::SQLite);
        TestSession t;
        t.writeHostSettings(db.connectionString(), 7, false);
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("msgTitle"), QStringLiteral("小店进销存"));
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gBillLength"), QStringLiteral("8"));
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gIsShowTip"), QStringLiteral("False"));
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gIsAddDelNumber"), QStringLiteral("1"));
        QCOMPARE(t.start(), QString());
        const Session &s = session();
        QCOMPARE(s.msgTitle, QStringLiteral("小店进销存"));
        QCOMPARE(s.gLoginUserId, QStringLiteral("7"));
        QCOMPARE(s.IsAdmin, 0);
        QCOMPARE(s.gBillLength, 8);
        QVERIFY(!s.gIsShowTip);
        QCOMPARE(s.gIsAddDelNumber, 1);
        QCOMPARE(s.gAppPath, t.folder() + QStringLiteral("/app"));
    }

    void failedConnectionFailsCreation()
    {
        TestSession t;
        t.writeHostSettings(QStringLiteral("Driver=SQLite;Database=") + t.folder() + QStringLiteral("/none.db"));
        QVERIFY(t.start().contains(QStringLiteral("none.db")));
        QVERIFY(t.prompts().calls.empty());
    }
};

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
