#include "modules/FormLauncher.h"
#include "modules/Session.h"
#include "component/clsCGIn.h"
#include "support/TestDatabase.h"
#include "support/TestSession.h"

#include <QTest>

// What each public method puts into the session before it shows its form,
// and what it hands back afterwards.
class TestClsCGIn : public QObject {
    Q_OBJECT

    QStringList m_opened; // form|modal|right|billMode|fromList|selectMode|findMode|findSql per form shown
    QString m_pick;       // what the "list" returns when the query dialog opens

    void record(const QString &form, bool modal)
    {
        const Session &s = TestSession::session();
        m_opened << QStringLiteral("%1|%2|%3|%4|%5|%6|%7|%8").arg(form).arg(int(modal)).arg(s.gUserRight).arg(s.gBillMode)
                        .arg(s.gFromList).arg(s.gIsSelectMode).arg(s.gFindMode).arg(s.gFindSql);
    }

private slots:
    void init()
    {
        Session &s = TestSession::session();
        m_opened.clear();
        m_pick.clear();
        clsCGIn::connectForms(); // the component's own openers give way to the recorders below
        FormLauncher::setEditorOpener([this](bool modal) { record(QStringLiteral("frmMainBill"), modal); });
        FormLauncher::setQueryOpener([this, &s] {
            record(QStringLiteral("frmMainBillFind"), true);
            if (s.gIsSelectMode == 1 && !m_pick.isEmpty()) {
                s.gReturnString = m_pick;
                s.gReturnString1 = QStringLiteral("CGFP-") + m_pick;
            }
        });
    }
    void cleanup()
    {
        FormLauncher::setEditorOpener({});
        FormLauncher::setQueryOpener({});
    }

    void methodsSetTheCallMode()
    {
        Session &s = TestSession::session();
        TestDatabase db(DbEngine::SQLite);
        TestSession t;
        t.writeHostSettings(db.connectionString());
        auto obj = clsCGIn::create();
        QVERIFY(obj);
        obj->setUserRight(QStringLiteral("R1"));

        QCOMPARE(obj->findInfo1(QStringLiteral(" and fAmount>0")), false);
        QCOMPARE(obj->findInfo(), false);            // keeps select mode 1
        QCOMPARE(obj->newInfo(), false);             // clears it
        obj->setUserRight(QStringLiteral("R2"));
        QCOMPARE(obj->downFromOrder(QStringLiteral("5,6")), false);
        QCOMPARE(obj->findInfo2(QStringLiteral(" and frob=1")), QString());

        QCOMPARE(m_opened, (QStringList{"frmMainBillFind|1|R1|0|0|1|1| and fAmount>0", "frmMainBillFind|1|R1|0|0|1|0|",
                                        "frmMainBill|1|R1|0|0|0|0|", "frmMainBill|0|R2|0|0|0|0|",
                                        "frmMainBillFind|1|R2|0|0|1|2| and frob=1"}));
        QCOMPARE(s.gIsDownFromOrder, 1);
        QCOMPARE(s.gDownInterIds, QStringLiteral("5,6"));
    }

    void lateBindingByName()
    {
        Session &s = TestSession::session();
        TestDatabase db(DbEngine::SQLite);
        TestSession t;
        t.writeHostSettings(db.connectionString());
        auto obj = clsCGIn::create();
        QVERIFY(obj);
        QVERIFY(obj->setProperty("UserRight", QStringLiteral("Q01")));
        QVERIFY(obj->setProperty("billName", QStringLiteral("别的名字")));
        QVERIFY(obj->setProperty("strAppPath", QStringLiteral("/elsewhere")));
        QCOMPARE(obj->property("billName").toString(), QStringLiteral("别的名字"));
        m_pick = QStringLiteral("3");
        QString result = QStringLiteral("unchanged");
        QVERIFY(QMetaObject::invokeMethod(obj.get(), "findInfo2", Q_RETURN_ARG(QString, result), Q_ARG(QString, QString())));
        QCOMPARE(result, QString());
        // A selection comes back only through the properties.
        QCOMPARE(obj->property("ReturnString").toString(), QStringLiteral("3"));
        QCOMPARE(obj->ReturnString1(), QStringLiteral("CGFP-3"));
        m_pick = QStringLiteral("7");
        QCOMPARE(obj->findInfo1(QString()), false);
        QCOMPARE(obj->ReturnString(), QStringLiteral("7"));
        QVERIFY(m_opened.back().startsWith(QStringLiteral("frmMainBillFind|1|Q01|")));
        // The two free properties change nothing the component uses.
        QCOMPARE(s.gBillName, QStringLiteral("采购发票"));
        QCOMPARE(s.gAppPath, t.folder() + QStringLiteral("/app"));
    }

    void creationFailureGivesTheText()
    {
        TestSession t;
        QString error;
        QVERIFY(!clsCGIn::create(&error));
        QVERIFY(!error.isEmpty());
    }
};

QTEST_MAIN(TestClsCGIn)
#include "tst_clscgin.moc"
