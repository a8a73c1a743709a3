#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QProcess>
#include <QTest>

// A C program loads libTamsorPurFP.so with dlopen and drives clsCGIn only
// through the C entry points, by name, as a host in another language would.
class TestCApi : public QObject {
    Q_OBJECT
private slots:
    void cHostDrivesTheComponentByName()
    {
        TestDatabase db(DbEngine::SQLite);
        TestSession t;
        t.writeHostSettings(db.connectionString());
        const QString bin = qEnvironmentVariable("PURFP_BIN_DIR");
        QVERIFY2(!bin.isEmpty(), "PURFP_BIN_DIR is set by CTest");

        QProcess client;
        // The methods are called for their binding only; nobody closes forms here.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("PURFP_NO_FORMS"), QStringLiteral("1"));
        client.setProcessEnvironment(env);
        client.start(bin + QStringLiteral("/capi_client"), {bin + QStringLiteral("/libTamsorPurFP.so")});
        QVERIFY(client.waitForFinished(60000));
        const QString out = QString::fromUtf8(client.readAllStandardOutput());
        QCOMPARE(client.exitCode(), 0);
        const QStringList expected = {
            "create other 80040111", "create 00000000 ", "id billName 00000000 68030004", "id STRAPPPATH 00000000 68030003",
            "id returnstring1 00000000 68030002", "id ReturnString 00000000 68030001", "id UserRight 00000000 68030000",
            "id newinfo 00000000 60030006", "id downFromOrder 00000000 60030007", "id FindInfo 00000000 60030008",
            "id findInfo1 00000000 60030009", "id findInfo2 00000000 6003000a", "id noSuchMember 80020006 ffffffff",
            "put UserRight 00000000", "get UserRight 00000000 Q01,Q02", "get billName small 00000000 采购",
            "findInfo2 00000000 []", "findInfo 00000000 [0]", "findInfo2 without argument 80070057",
            "findInfo as property 80020003", "UserRight as method 80020003", "unknown id 80020003",
        };
        QCOMPARE(out.split(u'\n', Qt::SkipEmptyParts), expected);
    }

    void creationFailureReportsTheError()
    {
        TestSession t;
        t.writeHostSettings(QStringLiteral("Driver=SQLite;Database=") + t.folder() + QStringLiteral("/gone.db"));
        const QString bin = qEnvironmentVariable("PURFP_BIN_DIR");
        QProcess client;
        client.start(bin + QStringLiteral("/capi_client"), {bin + QStringLiteral("/libTamsorPurFP.so")});
        QVERIFY(client.waitForFinished(60000));
        const QString out = QString::fromUtf8(client.readAllStandardOutput());
        QCOMPARE(client.exitCode(), 1);
        QVERIFY2(out.contains(QStringLiteral("create 80004005 ")) && out.contains(QStringLiteral("gone.db")), qPrintable(out));
    }
};

QTEST_GUILESS_MAIN(TestCApi)
#include "tst_capi.moc"
