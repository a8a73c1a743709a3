#include "modules/Session.h"
#include "support/CaseRows.h"
#include "support/TestSession.h"

#include <QTest>

// Statements run on the new database; the year|period|period start|bill
// name the session then holds, and the critical message expected, or empty.
struct DbValues { const char *name; QStringList statements; QString values, message; };
Q_DECLARE_METATYPE(DbValues)

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
        const Session &s = TestSession::session();
        QCOMPARE((QStringList{s.msgTitle, s.gSeekItem, s.gLoginUserId, s.DBConnectionString, s.gRightPrefix, s.gViewName}),
                 (QStringList{"维卡进销存", "fNumber", "0", "", "Q", "vPurFP"}));
        QCOMPARE((QList<double>{double(s.gBillLength), double(s.intPriceNumber), s.fTax1, double(s.gIsShowTip), double(s.gBillTypeId)}),
                 (QList<double>{6, 2, 17, 1, 71}));
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
        QVERIFY(!TestSession::session().gConn);
    }

    void databaseValues_data()
    {

        const QString maxBillNo = QStringLiteral("insert into tblMaxBillNo(ftypeid,fNewBillName,fbillno,fPreLetter,flength,fYLength) values(71,'采购发票(增值税)',0,'序号',4,2)");
        const QString year = QStringLiteral("insert into tblSystemInfo(ftypeid,fvalue) values(4,'2026')");
        const QString period = QStringLiteral("insert into tblSystemInfo(ftypeid,fvalue) values(5,'11')");
        const QString periodRow = QStringLiteral("insert into tblPeriod(fYear,fPeriod,fstartdate) values(2026,11,'2026-11-01')");
        addEngineCaseRows<DbValues>({
            {"complete", {maxBillNo, year, period, periodRow}, "2026|11|2026-11-01|采购发票(增值税)", ""},
            {"nothing in the tables", {}, "0|0|1900-01-01|采购发票", ""},
            {"year without period", {year, periodRow}, "2026|0|1900-01-01|采购发票", ""},
            {"null period start", {year, period, QStringLiteral("insert into tblPeriod(fYear,fPeriod,fstartdate) values(2026,11,null)")}, "2026|11|1900-01-01|采购发票", ""},
            {"unreadable year", {maxBillNo, QStringLiteral("insert into tblSystemInfo(ftypeid,fvalue) values(4,'abc')"), period, periodRow}, "0|0|1900-01-01|采购发票(增值税)", "类型不匹配"},
            {"system table missing", {maxBillNo, QStringLiteral("drop table tblSystemInfo")}, "0|0|1900-01-01|采购发票(增值税)", "tblSystemInfo"},
            {"period table missing", {year, period, QStringLiteral("drop table tblPeriod")}, "2026|11|1900-01-01|采购发票", "tblPeriod"},
        });
    }
    void databaseValues()
    {
        QFETCH(DbEngine, engine);
        QFETCH(DbValues, row);
        const auto &[caseName, statements, values, message] = row;

        TestDatabase db(engine);
        for (const QString &sql : statements)
            db.conn().executeNative(sql);
        TestSession t;
        t.writeHostSettings(db.connectionString());
        // Values in the settings store are discarded in favour of the database.
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gCurrentYear"), QStringLiteral("2019"));
        t.setSetting(QStringLiteral("SystemSetup"), QStringLiteral("gCurrentPeriod"), QStringLiteral("3"));
        QCOMPARE(t.start(), QString());

        const Session &s = TestSession::session();
        QCOMPARE(QStringLiteral("%1|%2|%3|%4").arg(s.gCurrentYear).arg(s.gCurrentPeriod)
                     .arg(s.gPeriodStartDate.toString(QStringLiteral("yyyy-MM-dd")), s.gBillName), values);
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
        const Session &s = TestSession::session();
        QCOMPARE((QStringList{s.msgTitle, s.gLoginUserId, s.gAppPath}), (QStringList{"小店进销存", "7", t.folder() + "/app"}));
        QCOMPARE((QList<int>{s.IsAdmin, s.gBillLength, int(s.gIsShowTip), s.gIsAddDelNumber}), (QList<int>{0, 8, 0, 1}));
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
