#include "platform/Connection.h"
#include "platform/SettingsStore.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QProcess>
#include <QTest>

// The purfp host program as a user runs it from a shell.
class TestHost : public QObject {
    Q_OBJECT

    struct Run {
        int exitCode = -1;
        QString out;
        QString err;
    };
    static Run purfp(const QStringList &args)
    {
        QProcess p;
        // Methods are called for the host's binding; nobody closes forms here.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("PURFP_NO_FORMS"), QStringLiteral("1"));
        p.setProcessEnvironment(env);
        p.start(qEnvironmentVariable("PURFP_BIN_DIR") + QStringLiteral("/purfp"), args);
        p.waitForFinished(300000);
        return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

private slots:
    void initWritesDatabaseAndSettings()
    {
        TestSession t;
        const QString db = t.folder() + QStringLiteral("/data/demo.db");
        Run r = purfp({QStringLiteral("init"), QStringLiteral("--db"), db, QStringLiteral("--demo"),
                       QStringLiteral("--user-id"), QStringLiteral("2"), QStringLiteral("--user-name"), QStringLiteral("张会计"),
                       QStringLiteral("--admin"), QStringLiteral("0"), QStringLiteral("--title"), QStringLiteral("演示进销存")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QString app = QStringLiteral("Velkam");
        QCOMPARE(SettingsStore::read(app, QStringLiteral("DBOperation"), QStringLiteral("DBConnectionString"), QString()),
                 QStringLiteral("Driver=SQLite;Database=") + db);
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemLogin"), QStringLiteral("gLoginUserId"), QString()), QStringLiteral("2"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemLogin"), QStringLiteral("IsAdmin"), QString()), QStringLiteral("0"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemSetup"), QStringLiteral("msgTitle"), QString()), QStringLiteral("演示进销存"));
        QCOMPARE(SettingsStore::read(app, QStringLiteral("SystemSetup"), QStringLiteral("gAppPath"), QString()), t.folder() + QStringLiteral("/data"));
        {
            Connection c(QStringLiteral("Driver=SQLite;Database=") + db);
            c.open();
            QCOMPARE(c.openRecordset(QStringLiteral("select count(*) as n from tblFP")).toInt(QStringLiteral("n")), 500);
        }

        // A second init refuses to overwrite unless asked to.
        r = purfp({QStringLiteral("init"), QStringLiteral("--db"), db});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains(QStringLiteral("--force")));
        r = purfp({QStringLiteral("init"), QStringLiteral("--db"), db, QStringLiteral("--force")});
        QCOMPARE(r.exitCode, 0);

        // The methods run through the loaded component.
        r = purfp({QStringLiteral("findInfo2"), QStringLiteral(" and frob=1"), QStringLiteral("--right"), QStringLiteral("Q01")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.out.contains(QStringLiteral("findInfo2 返回: \"\"")) && r.out.contains(QStringLiteral("ReturnString=")), qPrintable(r.out));
    }

    void clearErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QTest::newRow("no arguments") << QStringList{} << 2 << "";
        QTest::newRow("init without database") << QStringList{"init"} << 2 << "--db";
        QTest::newRow("init with both") << QStringList{"init", "--db", "x.db", "--connection", "Driver=SQLite;Database=y"} << 2 << "--db";
        QTest::newRow("bad connection string") << QStringList{"init", "--connection", "Driver=Nope;Database=x"} << 1 << "Nope";
        QTest::newRow("unreachable server") << QStringList{"init", "--connection", "Driver=PostgreSQL;Server=127.0.0.1;Port=1;Database=x;Uid=u"} << 1 << "";
        QTest::newRow("bad scale") << QStringList{"init", "--db", "x.db", "--scale", "many"} << 2 << "--scale";
        QTest::newRow("unknown option") << QStringList{"findInfo", "--colour"} << 2 << "--colour";
        QTest::newRow("missing database") << QStringList{"findInfo"} << 1 << "missing.db";
        QTest::newRow("unknown method") << QStringList{"printAll"} << 2 << "printAll";
        QTest::newRow("property called as method") << QStringList{"UserRight"} << 1 << "UserRight";
        QTest::newRow("method without its argument") << QStringList{"findInfo1"} << 2 << "findInfo1";
    }
    void clearErrors()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        TestSession t;
        // Methods look for a database that is not there.
        t.writeHostSettings(QStringLiteral("Driver=SQLite;Database=") + t.folder() + QStringLiteral("/missing.db"));
        if (args.value(0) == u"printAll" || args.value(0) == u"UserRight" || args == QStringList{"findInfo1"}) {
            TestDatabase db(DbEngine::SQLite);
            t.writeHostSettings(db.connectionString());
            const Run r = purfp(args);
            QCOMPARE(r.exitCode, exitCode);
            QVERIFY2(r.err.contains(message), qPrintable(r.err));
            return;
        }
        const Run r = purfp(args);
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.err.contains(message) || r.out.contains(message), qPrintable(r.err + r.out));
        QVERIFY2(!r.err.isEmpty() || !r.out.isEmpty(), "a failure is never silent");
    }
};

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
